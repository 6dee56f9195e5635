// The tables of options and commands; parser and help work from them on both fronts.
#pragma once

#include "base/text.h"
#include "client/client.h"
#include "client/output/output.h"

struct XYL_OPTION {
  const CHAR8 *Short; // null: none
  const CHAR8 *Long;
  const CHAR8 *Value; // name of the value, null for a switch
  XYL_FRONT Fronts;
  const CHAR8 *Help;
  bool Repeats = false; // may be given several times
};

// Indexed by XYL_OPTION_ID.
extern const XYL_OPTION g_xylOptions[XYL_OPTION_COUNT];

// What an outcome leaves for the caller, and what it means.
struct XYL_OUTCOME_TEXT {
  const CHAR8 *HostCode;
  const CHAR8 *ShellCode;
  const CHAR8 *Meaning;
};

// Indexed by XYL_OUTCOME.
extern const XYL_OUTCOME_TEXT g_xylOutcomes[XYL_OUTCOME_COUNT];

enum XYL_NEEDS {
  XYL_NEEDS_NOTHING,
  XYL_NEEDS_CONTROLLER,
  XYL_NEEDS_CONTROLLER_OR_FILE // a controller unless all operands are given
};

struct XYL_CONTEXT {
  const XYL_HOST *Host;
  const XYL_REQUEST *Request;
};

struct XYL_COMMAND {
  const CHAR8 *Name;     // one or two words
  const CHAR8 *Operands; // as the synopsis shows them
  UINTN OperandsMin;
  UINTN OperandsMax;
  UINT64 Options;  // bits 1 << XYL_OPTION_ID
  UINT32 Outcomes; // bits 1 << XYL_OUTCOME
  XYL_FRONT Fronts;
  XYL_NEEDS Needs;
  bool ChangesController;
  const CHAR8 *Summary;
  const CHAR8 *Description;
  const CHAR8 *HostExamples;
  const CHAR8 *ShellExamples;
  XYL_RESULT (*Run)(const XYL_CONTEXT &context); // null: the front's own command, and help
};

extern const XYL_COMMAND g_xylCommands[];
extern const UINTN g_xylCommandCount;

// Whether the word stands before others in the command's name, and the front has the command.
bool isInGroup(const XYL_HOST *host, const XYL_COMMAND &command, const CHAR8 *word);

// Refuses options that name a controller which the command would not ask, since it has documents.
XYL_RESULT refuseController(const XYL_HOST *host, const XYL_REQUEST &request);

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

// The disks of the machine may not be any more as they were: the next question to their controller looks at them again.
void lookAgain();
