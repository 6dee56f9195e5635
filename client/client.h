// The command core of the client: what both fronts (firmware shell and host program) call, and what they provide.
#pragma once

#include "uefi/tables.h"

enum XYL_FRONTS { XYL_FRONT_HOST = 1, XYL_FRONT_SHELL = 2, XYL_FRONT_BOTH = 3 };

// How a command ended; the host program's exit codes follow it.
enum XYL_OUTCOME {
  XYL_SUCCESS = 0,
  XYL_DIFFERENT = 1, // differences were found, or a plan is not complete
  XYL_USAGE = 2,
  XYL_NOT_FOUND = 3, // no such controller or file
  XYL_FAILED = 4,
  XYL_OUTCOME_COUNT
};

// What programs tell apart beyond the outcome.
enum XYL_REASON {
  XYL_REASON_OTHER,
  XYL_REASON_DECLINED,  // nobody said yes, so nothing was changed
  XYL_REASON_EXISTS,    // an output would replace a file
  XYL_REASON_DOCUMENT,  // what was read is no document of the kind
  XYL_REASON_INCOMPLETE // a document lacks what it refers to, or the controller did not tell all
};

struct XYL_RESULT {
  XYL_OUTCOME Outcome;
  EFI_STATUS Status; // what the shell application returns
  XYL_REASON Reason = XYL_REASON_OTHER;
};

inline bool isFailure(const XYL_RESULT &result) {
  return result.Outcome != XYL_SUCCESS;
}

enum XYL_ANSWER { XYL_ANSWER_NO, XYL_ANSWER_YES, XYL_ANSWER_NO_TERMINAL };

struct XYL_COMMAND;

// The commands that a front has, in the order of the help.
struct XYL_COMMANDS {
  const XYL_COMMAND *Rows = nullptr;
  UINTN Count = 0;
};

// The client's own, which the fronts in firmware have.
extern const XYL_COMMANDS g_xylCommands;

// What a front gives the core. Texts are 8-bit (UTF-8 in names).
struct XYL_FRONT {
  void *Context; // the front's own
  XYL_FRONTS Kind;
  EFI_SYSTEM_TABLE *SystemTable; // only needed by xylRun
  void (*WriteOut)(const XYL_FRONT *front, const CHAR8 *text, UINTN length);
  void (*WriteError)(const XYL_FRONT *front, const CHAR8 *text, UINTN length);
  // Reads a whole file into pool memory of *size bytes and a NUL behind them; the caller frees *data. A file above
  // XYL_FILE_LIMIT is EFI_BAD_BUFFER_SIZE.
  EFI_STATUS (*ReadFile)(const XYL_FRONT *front, const CHAR8 *name, CHAR8 **data, UINTN *size);
  // Opens an output: makes sure that the file can be written and that there is room for that many bytes. What stands
  // under the name stays as it is. EFI_ALREADY_STARTED when there is a plain file and it may not be replaced;
  // EFI_INVALID_PARAMETER for a directory.
  EFI_STATUS (*OpenOutput)(const XYL_FRONT *front, const CHAR8 *name, UINTN room, bool replaces, void **output);
  // Writes the whole file beside its place, flushes it and puts it there; on failure what stood there is untouched.
  // Null data: nothing is written. The output is gone either way.
  EFI_STATUS (*CloseOutput)(const XYL_FRONT *front, void *output, const CHAR8 *data, UINTN size);
  // Whether two names are those of one file; names of files that do not exist are compared as texts.
  bool (*IsSameFile)(const XYL_FRONT *front, const CHAR8 *a, const CHAR8 *b);
  // Puts the question to a person at a terminal; only a typed "yes" is a yes.
  XYL_ANSWER (*AskYes)(const XYL_FRONT *front, const CHAR8 *question);
  // Puts the question to a person and reads a line that is not shown, of less than capacity bytes, into secret, which
  // the caller overwrites. EFI_NOT_FOUND: nobody can be asked; EFI_ABORTED: the person gave up; EFI_BAD_BUFFER_SIZE:
  // the line is longer. Without success nothing stays in secret. Null is nobody.
  EFI_STATUS (*AskSecret)(const XYL_FRONT *front, const CHAR8 *question, CHAR8 *secret, UINTN capacity) = nullptr;
  // Reads a file in which another system describes a layout, and makes a layout document of it: pool memory, which the
  // caller frees. A failure comes with a message. Null: the front knows no such files.
  XYL_RESULT (*TranslateLayout)(const XYL_FRONT *front, const CHAR8 *file, CHAR8 **document) = nullptr;
  XYL_COMMANDS Commands = {};        // for xylParse and xylHelp
  const CHAR8 *ServerName = nullptr; // what people call the machine; null: as its firmware does
  bool Terminal = false;             // the standard output is a terminal, which may take bytes for commands
  bool Colours = false;              // and understands colour sequences
  UINTN Columns = 80;                // of a line, for tables
  // Told when a call of the driver that may take long begins and when it is over, so that the front can show to a
  // person that time passes and which steps the driver's log tells of; steps is how many it will take, 0 where nobody
  // knows. Null: it does not.
  void (*Busy)(const XYL_FRONT *front, bool begins, UINT32 steps) = nullptr;
};

#define XYL_FILE_LIMIT 0x10000000ULL

enum XYL_OPTION_ID {
  XYL_OPTION_NUMBER,
  XYL_OPTION_OUTPUT,
  XYL_OPTION_SAVED,
  XYL_OPTION_LOG_FILE,
  XYL_OPTION_PRESERVE_VD,
  XYL_OPTION_REBUILD,
  XYL_OPTION_STOP_ON_ERROR,
  XYL_OPTION_YES,
  XYL_OPTION_PRESET,
  XYL_OPTION_CONTROLLER,
  XYL_OPTION_LOG,
  XYL_OPTION_FORCE,
  XYL_OPTION_FROM,
  XYL_OPTION_SIZE,
  XYL_OPTION_MODEL,
  XYL_OPTION_JSON,
  XYL_OPTION_INCOMPLETE,
  XYL_OPTION_PARTIAL,
  XYL_OPTION_DISCARD_FOREIGN,
  XYL_OPTION_NO_BACKUP,
  XYL_OPTION_SHOW,
  XYL_OPTION_DISK,
  XYL_OPTION_QUIET,
  XYL_OPTION_LEVEL,
  XYL_OPTION_DISKS,
  XYL_OPTION_HOW_MANY,
  XYL_OPTION_STRIPE,
  XYL_OPTION_CACHE,
  XYL_OPTION_NAME,
  XYL_OPTION_SPARE,
  XYL_OPTION_FOR,
  XYL_OPTION_REMOVE,
  XYL_OPTION_KEY_ID,
  XYL_OPTION_PASSPHRASE_FILE,
  XYL_OPTION_OLD_PASSPHRASE_FILE,
  XYL_OPTION_BLINK,
  XYL_OPTION_PAGES,
  XYL_OPTION_WIPE,
  XYL_OPTION_REQUEST,
  XYL_OPTION_IF_MATCH,
  XYL_OPTION_REPORTS,
  XYL_OPTION_PROGRESS,
  XYL_OPTION_PLAN,
  XYL_OPTION_SHOW_LAYOUT,
  XYL_OPTION_LAYOUT,
  XYL_OPTION_RESULT,
  XYL_OPTION_CANCEL,
  XYL_OPTION_ESP,
  XYL_OPTION_IMAGES,
  XYL_OPTION_COUNT
};

#define XYL_WORDS_MAX 72 // of a command line, options not counted: a controller has up to 64 virtual disks
#define XYL_DISKS_MAX 64

// A parsed command line; its texts are the caller's arguments.
struct XYL_REQUEST {
  const XYL_COMMAND *Command; // null only for the version, the general help and that of a group
  bool Version;
  bool Help;
  const CHAR8 *Group;                     // first word of the commands that the help is about; null: all
  const CHAR8 *Options[XYL_OPTION_COUNT]; // null: not given; an option without a value holds ""
  const CHAR8 *Operands[XYL_WORDS_MAX];
  UINTN OperandCount;
  const CHAR8 *Disks[XYL_DISKS_MAX]; // the values of every XYL_OPTION_DISK
  UINTN DiskCount;
};

// Whether the request's command works on a controller (the host program then provides one).
bool xylNeedsController(const XYL_REQUEST &request);
// Whether it may have changed the controller's state.
bool xylChangesController(const XYL_REQUEST &request);
// Whether the values of XYL_OPTION_DISK name disks of a controller that another option gives: 'identify' has it so.
bool xylDisksAreNames(const XYL_REQUEST &request);
// Whether it asks for the names of controllers, whose records then stay with the firmware.
bool xylAsksNames(const XYL_REQUEST &request);

// Parses the arguments behind the program's name. A mistake is told on the error output and gives XYL_USAGE.
XYL_RESULT xylParse(const XYL_FRONT *front, UINTN count, const CHAR8 *const *arguments, XYL_REQUEST *request);

// Prints the help or the version when the request asks for it; whether it did.
bool xylHelp(const XYL_FRONT *front, const XYL_REQUEST &request);

// With --quiet leaves a front only what is written as an error: nothing is printed, shown as busy or asked.
void xylSilence(XYL_FRONT *front, const XYL_REQUEST &request);

// With --json, says as a document why a command failed that has begun none.
void xylTellFailure(const XYL_FRONT *front, const XYL_REQUEST &request, const XYL_RESULT &result);

// Runs a parsed command on the boot services of host->SystemTable. Nothing of it stays allocated.
XYL_RESULT xylRun(const XYL_FRONT *front, const XYL_REQUEST &request);
