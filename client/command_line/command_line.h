// The tables of options and commands; parser and help work from them on both fronts.
#pragma once

#include "base/text.h"
#include "client/client.h"
#include "client/output/output.h"
#include "raid_disks.h"

struct XYL_OPTION {
  const CHAR8 *Short; // null: none
  const CHAR8 *Long;
  const CHAR8 *Value; // name of the value, null for a switch
  XYL_FRONTS Fronts;
  const CHAR8 *Help;
  bool Repeats = false; // may be given several times
};

// Indexed by XYL_OPTION_ID.
extern const XYL_OPTION (&g_xylOptions)[XYL_OPTION_COUNT];

// What an outcome leaves for the caller, and what it means.
struct XYL_OUTCOME_TEXT {
  const CHAR8 *HostCode;
  const CHAR8 *ShellCode;
  const CHAR8 *Meaning;
};

// Indexed by XYL_OUTCOME.
extern const XYL_OUTCOME_TEXT g_xylOutcomes[XYL_OUTCOME_COUNT];

// What most commands may end with.
inline constexpr UINT32 XYL_PLAIN_OUTCOMES =
    1U << XYL_SUCCESS | 1U << XYL_USAGE | 1U << XYL_NOT_FOUND | 1U << XYL_FAILED;

// What a request needs a controller for.
enum XYL_NEED { XYL_NEED_NOTHING, XYL_NEED_TO_READ, XYL_NEED_TO_CHANGE };

struct XYL_CONTEXT {
  const XYL_FRONT *Front;
  const XYL_REQUEST *Request;
};

struct XYL_COMMAND {
  const CHAR8 *Name = nullptr; // one or two words
  const CHAR8 *Operands = "";  // as the synopsis shows them
  UINTN OperandsMin = 0;
  UINTN OperandsMax = 0;
  UINT64 Options = 0;                                     // bits 1 << XYL_OPTION_ID
  UINT32 Outcomes = XYL_PLAIN_OUTCOMES;                   // bits 1 << XYL_OUTCOME
  XYL_NEED (*Need)(const XYL_REQUEST &request) = nullptr; // null: no request needs any
  bool ChangesController = false;                         // whatever the request
  bool AsksNames = false;                                 // of controllers, which the firmware keeps from then on
  bool NamesDisks = false;                                // takes XYL_OPTION_DISK for the names of a controller's disks
  const CHAR8 *Summary = nullptr;
  const CHAR8 *Description = nullptr; // a paragraph a line; help breaks them
  const CHAR8 *HostExamples = nullptr;
  const CHAR8 *ShellExamples = nullptr;
  XYL_RESULT (*Run)(const XYL_CONTEXT &context); // no row may leave it out
};

inline const XYL_COMMAND *begin(const XYL_COMMANDS &commands) {
  return commands.Rows;
}
inline const XYL_COMMAND *end(const XYL_COMMANDS &commands) {
  return commands.Rows + commands.Count;
}

// For Need: each request needs a controller; or unless all operands, which are documents, are given.
XYL_NEED needController(const XYL_REQUEST &request);
XYL_NEED needControllerOrFile(const XYL_REQUEST &request);

// Whether the word stands before others in the command's name.
bool isInGroup(const XYL_COMMAND &command, const CHAR8 *word);

// help: prints what the request, or the command line, asks about.
XYL_RESULT runHelp(const XYL_CONTEXT &context);

static_assert(XYL_OPTION_COUNT <= 64, "a command's options fit into its mask");
inline bool takesOption(UINT64 options, UINTN id) {
  return (options >> id & 1) != 0;
}

// Whether the name of an output is "-", which stands for the standard output.
inline bool isStandardOutput(const CHAR8 *file) {
  return file != nullptr && textEqual(file, "-");
}

inline bool hasOption(const XYL_CONTEXT &context, XYL_OPTION_ID id) {
  return context.Request->Options[id] != nullptr;
}

// What a controller over disks of the machine tells of them; null: it is another one.
RAID_DISKS_PROTOCOL *machineDisksOf(EFI_HANDLE controller);

// The disks of the machine may not be any more as they were: the next question to their controller looks at them again.
void lookAgain();
