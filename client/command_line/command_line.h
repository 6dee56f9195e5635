// The tables of options and commands; parser and help work from them on both fronts.
#pragma once

#include "base/text.h"
#include "client/client.h"
#include "client/output/output.h"
#include "raid_disks.h"

namespace xyl::client {

struct Option {
  const CHAR8 *letter; // null: none
  const CHAR8 *longName;
  const CHAR8 *value; // name of the value, null for a switch
  Fronts fronts;
  const CHAR8 *help;
  bool repeats = false; // may be given several times
};

// Indexed by OptionId.
extern const Option (&g_xylOptions)[optionCount];

// What an outcome leaves for the caller, and what it means.
struct OutcomeText {
  const CHAR8 *hostCode;
  const CHAR8 *shellCode;
  const CHAR8 *meaning;
};

// Indexed by Outcome.
extern const OutcomeText g_xylOutcomes[outcomeCount];

// What most commands may end with.
inline constexpr UINT32 xylPlainOutcomes =
    1U << outcomeSuccess | 1U << outcomeUsage | 1U << outcomeNotFound | 1U << outcomeFailed;

// What a request needs a controller for.
enum class Need { nothing, toRead, toChange };

struct Context {
  const Front *front;
  const Request *request;
};

struct Command {
  const CHAR8 *name = nullptr; // one or two words
  const CHAR8 *operands = "";  // as the synopsis shows them
  UINTN operandsMin = 0;
  UINTN operandsMax = 0;
  UINT64 options = 0;                             // bits 1 << OptionId
  UINT32 outcomes = xylPlainOutcomes;             // bits 1 << Outcome
  Need (*need)(const Request &request) = nullptr; // null: no request needs any
  bool changesController = false;                 // whatever the request
  bool asksNames = false;                         // of controllers, which the firmware keeps from then on
  bool namesDisks = false;                        // takes optionDisk for the names of a controller's disks
  const CHAR8 *summary = nullptr;
  const CHAR8 *description = nullptr; // a paragraph a line; help breaks them
  const CHAR8 *hostExamples = nullptr;
  const CHAR8 *shellExamples = nullptr;
  Result (*run)(const Context &context); // no row may leave it out
};

inline const Command *begin(const Commands &commands) {
  return commands.rows;
}
inline const Command *end(const Commands &commands) {
  return commands.rows + commands.count;
}

// For Need: each request needs a controller; or unless all operands, which are documents, are given.
Need needController(const Request &request);
Need needControllerOrFile(const Request &request);

// Whether the word stands before others in the command's name.
bool isInGroup(const Command &command, const CHAR8 *word);

// help: prints what the request, or the command line, asks about.
Result runHelp(const Context &context);

static_assert(optionCount <= 64, "a command's options fit into its mask");
inline bool takesOption(UINT64 options, UINTN id) {
  return (options >> id & 1) != 0;
}

// Whether the name of an output is "-", which stands for the standard output.
inline bool isStandardOutput(const CHAR8 *file) {
  return file != nullptr && textEqual(file, "-");
}

inline bool hasOption(const Context &context, OptionId id) {
  return context.request->options[id] != nullptr;
}

// What a controller over disks of the machine tells of them; null: it is another one.
RAID_DISKS_PROTOCOL *machineDisksOf(EFI_HANDLE controller);

// The disks of the machine may not be any more as they were: the next question to their controller looks at them again.
void lookAgain();

} // namespace xyl::client
