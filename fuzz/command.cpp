// Command lines and job files of any bytes. Whatever was typed, a request that is accepted is one that its command
// takes, and what is told can harm no terminal.

#include <vector>

#include "client/jobs/jobs.h"
#include "fuzz/pure.h"
#include "host/program/host_commands.h"
#include "tests/support/memory_front.h"

static MemoryFront g_front;

static XYL_FRONT frontOf(XYL_FRONTS kind) {
  XYL_FRONT front = g_front.as(kind, kind == XYL_FRONT_HOST ? g_hostCommands : g_xylCommands);
  front.Terminal = true;
  return front;
}

static void checkRequest(const XYL_FRONT &front, const XYL_REQUEST &request) {
  mustHold(request.Command != nullptr || request.Version || request.Help, "nothing is asked for");
  if (xylHelp(&front, request)) {
    return mustHold(!g_front.out.empty(), "no help");
  }
  const XYL_COMMAND &command = *request.Command;
  mustHold(&command >= begin(front.Commands) && &command < end(front.Commands), "a command of the other front");
  mustHold(request.OperandCount >= command.OperandsMin && request.OperandCount <= command.OperandsMax, "operands");
  for (UINTN i = 0; i < XYL_OPTION_COUNT; ++i) {
    const CHAR8 *value = request.Options[i];
    mustHold(value == nullptr || takesOption(command.Options, i), "an option of another command");
    mustHold(value == nullptr || (g_xylOptions[i].Fronts & front.Kind) != 0, "an option of the other front");
    mustHold(value == nullptr || (*value != 0) == (g_xylOptions[i].Value != nullptr), "the value of an option");
  }
  mustHold((request.DiskCount != 0) == (request.Options[XYL_OPTION_DISK] != nullptr), "disks");
}

// A failure is told in one line each, and only there.
static void checkTold(bool isFailure) {
  mustHold(isFailure == !g_front.errors.empty() && (!isFailure || g_front.out.empty()),
           "what is told: " + g_front.errors);
  for (char letter : g_front.errors) {
    mustHold(static_cast<unsigned char>(letter) >= ' ' ? letter != 0x7F : letter == '\n', "a control character");
  }
}

static void checkLine(XYL_FRONTS kind, FuzzInput &input) {
  std::vector<std::string> words;
  while (!input.atEnd()) {
    words.push_back(input.text());
  }
  std::vector<const CHAR8 *> arguments;
  arguments.reserve(words.size());
  for (const std::string &word : words) {
    arguments.push_back(word.c_str());
  }
  XYL_FRONT front = frontOf(kind);
  XYL_REQUEST request;
  XYL_RESULT result = xylParse(&front, arguments.size(), arguments.data(), &request);
  mustHold(result.Outcome == XYL_SUCCESS || result.Outcome == XYL_USAGE, "outcome of parsing");
  checkTold(isFailure(result));
  isFailure(result) ? void() : checkRequest(front, request);
}

// The lines that a job file is read as make the same file again, whose percent signs are those of names.
static void checkJobs(const std::string &text, bool again) {
  static constexpr JOB_NAME ROWS[] = {{"SERIAL", "S 1"}, {"UUID", nullptr}};
  XYL_FRONT front = frontOf(XYL_FRONT_SHELL);
  JOB_FILE jobs;
  XYL_RESULT result = readJobs(&front, text.data(), text.size(), {ROWS, 2}, &jobs);
  checkTold(isFailure(result));
  std::string same = jobs.Again ? "again\n" : "";
  for (UINT32 i = 0; i < jobs.Lines.count && !isFailure(result); ++i) {
    const JOB_LINE &line = jobs.Lines.items[i];
    XYL_REQUEST request;
    same += std::string(g_jobConditions[line.Condition]) + " " + textOf(line.Text) + "\n";
    if (line.End == JOB_GOES_ON && line.Transfer == jobs::Transfer::none) {
      mustHold(!isFailure(parseJob(&front, line, &request)), "a line of a job that does not parse");
      checkRequest(front, request);
    }
  }
  bool isHere = jobs.Lines.count != 0; // and not behind a URL
  freeJobs(&jobs);
  if (isHere && !isFailure(result) && same.find('%') == same.npos && !again) {
    checkJobs(same, /* again= */ true);
  }
  mustHold(!again || (!isFailure(result) && same == text), "another job file:\n" + same + "instead of\n" + text);
}

FUZZ_PURE_TARGET(command) {
  uint8_t kind = input.byte() % 4;
  kind < 2 ? checkLine(kind == 0 ? XYL_FRONT_HOST : XYL_FRONT_SHELL, input)
           : checkJobs(input.text(), /* again= */ false);
}
