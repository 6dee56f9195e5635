// Command lines and job files of any bytes. Whatever was typed, a request that is accepted is one that its command
// takes, and what is told can harm no terminal.

#include <vector>

#include "client/jobs/jobs.h"
#include "fuzz/pure.h"
#include "host/program/host_commands.h"
#include "tests/support/memory_front.h"

using namespace xyl;
using namespace xyl::client;

static MemoryFront g_front;

static Front frontOf(Fronts kind) {
  Front front = g_front.as(kind, kind == frontHost ? host::g_hostCommands : g_xylCommands);
  front.terminal = true;
  return front;
}

static void checkRequest(const Front &front, const Request &request) {
  mustHold(request.command != nullptr || request.version || request.help, "nothing is asked for");
  if (xylHelp(&front, request)) {
    return mustHold(!g_front.out.empty(), "no help");
  }
  const Command &command = *request.command;
  mustHold(&command >= begin(front.commands) && &command < end(front.commands), "a command of the other front");
  mustHold(request.operandCount >= command.operandsMin && request.operandCount <= command.operandsMax, "operands");
  for (UINTN i = 0; i < optionCount; ++i) {
    const CHAR8 *value = request.options[i];
    mustHold(value == nullptr || takesOption(command.options, i), "an option of another command");
    mustHold(value == nullptr || (g_xylOptions[i].fronts & front.kind) != 0, "an option of the other front");
    mustHold(value == nullptr || (*value != 0) == (g_xylOptions[i].value != nullptr), "the value of an option");
  }
  mustHold((request.diskCount != 0) == (request.options[optionDisk] != nullptr), "disks");
}

// A failure is told in one line each, and only there.
static void checkTold(bool isFailure) {
  mustHold(isFailure == !g_front.errors.empty() && (!isFailure || g_front.out.empty()),
           "what is told: " + g_front.errors);
  for (char letter : g_front.errors) {
    mustHold(static_cast<unsigned char>(letter) >= ' ' ? letter != 0x7F : letter == '\n', "a control character");
  }
}

static void checkLine(Fronts kind, FuzzInput &input) {
  std::vector<std::string> words;
  while (!input.atEnd()) {
    words.push_back(input.text());
  }
  std::vector<const CHAR8 *> arguments;
  arguments.reserve(words.size());
  for (const std::string &word : words) {
    arguments.push_back(word.c_str());
  }
  Front front = frontOf(kind);
  Request request;
  Result result = xylParse(&front, arguments.size(), arguments.data(), &request);
  mustHold(result.outcome == outcomeSuccess || result.outcome == outcomeUsage, "outcome of parsing");
  checkTold(isFailure(result));
  isFailure(result) ? void() : checkRequest(front, request);
}

// The lines that a job file is read as make the same file again, whose percent signs are those of names.
static void checkJobs(const std::string &text, bool again) {
  static constexpr JobName rows[] = {{"SERIAL", "S 1"}, {"UUID", nullptr}};
  Front front = frontOf(frontShell);
  JobFile jobs;
  Result result = readJobs(&front, text.data(), text.size(), {rows, 2}, &jobs);
  checkTold(isFailure(result));
  std::string same = jobs.again ? "again\n" : "";
  for (UINT32 i = 0; i < jobs.lines.count && !isFailure(result); ++i) {
    const JobLine &line = jobs.lines.items[i];
    Request request;
    same += std::string(g_jobConditions[line.condition]) + " " + textOf(line.text) + "\n";
    if (line.end == jobGoesOn && line.transfer == jobs::Transfer::none) {
      mustHold(!isFailure(parseJob(&front, line, &request)), "a line of a job that does not parse");
      checkRequest(front, request);
    }
  }
  bool isHere = jobs.lines.count != 0; // and not behind a URL
  freeJobs(&jobs);
  if (isHere && !isFailure(result) && same.find('%') == same.npos && !again) {
    checkJobs(same, /* again= */ true);
  }
  mustHold(!again || (!isFailure(result) && same == text), "another job file:\n" + same + "instead of\n" + text);
}

FUZZ_PURE_TARGET(command) {
  uint8_t kind = input.byte() % 4;
  kind < 2 ? checkLine(kind == 0 ? frontHost : frontShell, input) : checkJobs(input.text(), /* again= */ false);
}
