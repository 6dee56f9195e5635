// The command core of the client: what both fronts (firmware shell and host program) call, and what they provide.
#pragma once

#include "uefi/tables.h"

namespace xyl::client {

enum Fronts { frontHost = 1, frontShell = 2, frontBoth = 3 };

// How a command ended; the host program's exit codes follow it.
enum Outcome {
  outcomeSuccess = 0,
  outcomeDifferent = 1, // differences were found, or a plan is not complete
  outcomeUsage = 2,
  outcomeNotFound = 3, // no such controller or file
  outcomeFailed = 4,
  outcomeCount
};

// What programs tell apart beyond the outcome.
enum class Reason {
  other,
  declined,  // nobody said yes, so nothing was changed
  exists,    // an output would replace a file
  document,  // what was read is no document of the kind
  incomplete // a document lacks what it refers to, or the controller did not tell all
};

struct [[nodiscard]] Result {
  Outcome outcome;
  EFI_STATUS status; // what the shell application returns
  Reason reason = Reason::other;
};

inline bool isFailure(const Result &result) {
  return result.outcome != outcomeSuccess;
}

enum class Answer { no, yes, noTerminal };

struct Command;

// The commands that a front has, in the order of the help.
struct Commands {
  const Command *rows = nullptr;
  UINTN count = 0;
};

// The client's own, which the fronts in firmware have.
extern const Commands g_xylCommands;

// What a front gives the core. Texts are 8-bit (UTF-8 in names).
struct Front {
  void *context; // the front's own
  Fronts kind;
  EFI_SYSTEM_TABLE *systemTable; // only needed by xylRun
  void (*writeOut)(const Front *front, const CHAR8 *text, UINTN length);
  void (*writeError)(const Front *front, const CHAR8 *text, UINTN length);
  // Reads a whole file into pool memory of *size bytes and a NUL behind them; the caller frees *data. A file above
  // fileLimit is EFI_BAD_BUFFER_SIZE.
  EFI_STATUS (*readFile)(const Front *front, const CHAR8 *name, CHAR8 **data, UINTN *size);
  // Opens an output: makes sure that the file can be written and that there is room for that many bytes. What stands
  // under the name stays as it is. EFI_ALREADY_STARTED when there is a plain file and it may not be replaced;
  // EFI_INVALID_PARAMETER for a directory.
  EFI_STATUS (*openOutput)(const Front *front, const CHAR8 *name, UINTN room, bool replaces, void **output);
  // Writes the whole file beside its place, flushes it and puts it there; on failure what stood there is untouched.
  // Null data: nothing is written. The output is gone either way.
  EFI_STATUS (*closeOutput)(const Front *front, void *output, const CHAR8 *data, UINTN size);
  // Whether two names are those of one file; names of files that do not exist are compared as texts.
  bool (*isSameFile)(const Front *front, const CHAR8 *a, const CHAR8 *b);
  // Puts the question to a person at a terminal; only a typed "yes" is a yes.
  Answer (*askYes)(const Front *front, const CHAR8 *question);
  // Puts the question to a person and reads a line that is not shown, of less than capacity bytes, into secret, which
  // the caller overwrites. EFI_NOT_FOUND: nobody can be asked; EFI_ABORTED: the person gave up; EFI_BAD_BUFFER_SIZE:
  // the line is longer. Without success nothing stays in secret. Null is nobody.
  EFI_STATUS (*askSecret)(const Front *front, const CHAR8 *question, CHAR8 *secret, UINTN capacity) = nullptr;
  // Reads a file in which another system describes a layout, and makes a layout document of it: pool memory, which the
  // caller frees. A failure comes with a message. Null: the front knows no such files.
  Result (*translateLayout)(const Front *front, const CHAR8 *file, CHAR8 **document) = nullptr;
  Commands commands = {};            // for xylParse and xylHelp
  const CHAR8 *serverName = nullptr; // what people call the machine; null: as its firmware does
  bool terminal = false;             // the standard output is a terminal, which may take bytes for commands
  bool colours = false;              // and understands colour sequences
  UINTN columns = 80;                // of a line, for tables
  // Told when a call of the driver that may take long begins and when it is over, so that the front can show to a
  // person that time passes and which steps the driver's log tells of; steps is how many it will take, 0 where nobody
  // knows. Null: it does not.
  void (*busy)(const Front *front, bool begins, UINT32 steps) = nullptr;
};

inline constexpr UINT64 fileLimit = 0x10000000ULL;

enum OptionId {
  optionNumber,
  optionOutput,
  optionSaved,
  optionLogFile,
  optionPreserveVd,
  optionRebuild,
  optionStopOnError,
  optionYes,
  optionPreset,
  optionController,
  optionLog,
  optionForce,
  optionFrom,
  optionSize,
  optionModel,
  optionJson,
  optionIncomplete,
  optionPartial,
  optionDiscardForeign,
  optionNoBackup,
  optionShow,
  optionDisk,
  optionQuiet,
  optionLevel,
  optionDisks,
  optionHowMany,
  optionStripe,
  optionCache,
  optionName,
  optionSpare,
  optionFor,
  optionRemove,
  optionKeyId,
  optionPassphraseFile,
  optionOldPassphraseFile,
  optionBlink,
  optionPages,
  optionWipe,
  optionRequest,
  optionIfMatch,
  optionReports,
  optionProgress,
  optionPlan,
  optionShowLayout,
  optionLayout,
  optionResult,
  optionCancel,
  optionEsp,
  optionImages,
  optionCount
};

inline constexpr UINT32 wordsMax =
    72; // of a command line, options not counted: a controller has up to 64 virtual disks
inline constexpr UINT32 disksMax = 64;

// A parsed command line; its texts are the caller's arguments.
struct Request {
  const Command *command; // null only for the version, the general help and that of a group
  bool version;
  bool help;
  const CHAR8 *group;                // first word of the commands that the help is about; null: all
  const CHAR8 *options[optionCount]; // null: not given; an option without a value holds ""
  const CHAR8 *operands[wordsMax];
  UINTN operandCount;
  const CHAR8 *disks[disksMax]; // the values of every optionDisk
  UINTN diskCount;
};

// Whether the request's command works on a controller (the host program then provides one).
bool xylNeedsController(const Request &request);
// Whether it may have changed the controller's state.
bool xylChangesController(const Request &request);
// Whether the values of optionDisk name disks of a controller that another option gives: 'identify' has it so.
bool xylDisksAreNames(const Request &request);
// Whether it asks for the names of controllers, whose records then stay with the firmware.
bool xylAsksNames(const Request &request);

// Parses the arguments behind the program's name. A mistake is told on the error output and gives outcomeUsage.
Result xylParse(const Front *front, UINTN count, const CHAR8 *const *arguments, Request *request);

// Prints the help or the version when the request asks for it; whether it did.
bool xylHelp(const Front *front, const Request &request);

// With --quiet leaves a front only what is written as an error: nothing is printed, shown as busy or asked.
void xylSilence(Front *front, const Request &request);

// With --json, says as a document why a command failed that has begun none.
void xylTellFailure(const Front *front, const Request &request, const Result &result);

// Runs a parsed command on the boot services of host->SystemTable. Nothing of it stays allocated.
Result xylRun(const Front *front, const Request &request);

} // namespace xyl::client
