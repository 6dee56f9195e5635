#include "base/text.h"
#include "client/command_line/command_line.h"

namespace xyl::client {

const OutcomeText g_xylOutcomes[outcomeCount] = {
    {"0", "0", "success"},
    {"1", "0x1B", "there are differences"},
    {"2", "0x2", "the command line is wrong"},
    {"3", "0xE", "no such controller or file"},
    {"4", "other", "the operation failed; the message says how"},
};

static void sayOption(const Front *front, const Option &option) {
  CHAR8 synopsis[64] = {};
  UINTN length = 0;
  const CHAR8 *parts[] = {option.letter, option.letter != nullptr ? ", " : nullptr, option.longName,
                          option.value != nullptr ? " " : nullptr, option.value};
  for (const CHAR8 *part : parts) {
    for (; part != nullptr && *part != 0 && length < sizeof(synopsis) - 1; ++part) {
      synopsis[length++] = *part;
    }
  }
  say(front, "  %-24a  %a\n", synopsis, option.help);
}

static void sayOptions(const Front *front, UINT64 options) {
  say(front, "\nOptions, before or behind the command:\n");
  for (UINTN id = 0; id < optionCount; ++id) {
    if (takesOption(options, id) && (g_xylOptions[id].fronts & front->kind) != 0) {
      sayOption(front, g_xylOptions[id]);
    }
  }
  // The firmware shell takes -? for itself: it shows xyl.man for "xyl -?" and refuses it behind a command.
  say(front, "  %-24a  %a\n", front->kind == frontShell ? "-h, --help" : "-h, --help, -?", "show help");
  say(front, "  %-24a  %a\n", "--version", "show the version");
}

static void sayOutcomes(const Front *front, UINT32 outcomes) {
  say(front, "\nReturn values%a:\n", front->kind == frontShell ? " (in %lasterror%)" : "");
  for (UINTN i = 0; i < outcomeCount; ++i) {
    if ((outcomes & (1U << i)) != 0) {
      const OutcomeText &row = g_xylOutcomes[i];
      say(front, "  %-5a  %a\n", front->kind == frontShell ? row.shellCode : row.hostCode, row.meaning);
    }
  }
}

static constexpr UINTN helpColumns = 113;

// The bytes of the text that go on its first line: whole words, or more where one is too long.
static UINTN lineOf(const CHAR8 *text) {
  UINTN end = 0;
  for (UINTN at = 0; at <= helpColumns || end == 0; ++at) {
    if (text[at] == 0 || text[at] == '\n') {
      return at;
    }
    end = text[at] == ' ' ? at : end;
  }
  return end;
}

static void sayParagraphs(const Front *front, const CHAR8 *text) {
  while (*text != 0) {
    UINTN length = lineOf(text);
    front->writeOut(front, text, length);
    front->writeOut(front, "\n", 1);
    text += length;
    text += *text != 0 ? 1 : 0;
  }
}

// Every line of text behind two blanks.
static void sayIndented(const Front *front, const CHAR8 *text) {
  while (*text != 0) {
    const CHAR8 *end = text;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    front->writeOut(front, "  ", 2);
    front->writeOut(front, text, static_cast<UINTN>(end - text));
    front->writeOut(front, "\n", 1);
    text = *end != 0 ? end + 1 : end;
  }
}

static void helpOnCommand(const Front *front, const Command &command) {
  say(front, "xyl %a - %a\n\nUsage:\n  xyl %a%a%a%a\n\n", command.name, command.summary, command.name,
      command.options != 0 ? " [OPTIONS]" : "", *command.operands != 0 ? " " : "", command.operands);
  sayParagraphs(front, command.description);
  sayOptions(front, command.options);
  say(front, "\nExamples:\n");
  sayIndented(front, front->kind == frontShell ? command.shellExamples : command.hostExamples);
  sayOutcomes(front, command.outcomes);
}

static void sayCommands(const Front *front, const CHAR8 *group) {
  for (const Command &command : front->commands) {
    if (group == nullptr || isInGroup(command, group)) {
      say(front, front->kind == frontHost ? "  %-19a  %a\n" : "  %-12a  %a\n", command.name, command.summary);
    }
  }
}

static void helpOnProgram(const Front *front) {
  say(front, "xyl - manages the RAID controllers that the RaidXyl driver serves\n\n");
  say(front, "Usage:\n  xyl COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands ('xyl help COMMAND' tells more):\n");
  sayCommands(front, /* group= */ nullptr);
  sayOptions(front, ~0ULL);
  sayOutcomes(front, ~0U);
}

static void helpOnGroup(const Front *front, const CHAR8 *group) {
  say(front, "Usage:\n  xyl %a COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands ('xyl help %a COMMAND' tells more):\n", group,
      group);
  sayCommands(front, group);
}

// --- For programs ---

static void writeCommand(Json *json, const Front *front, const Command &command) {
  jsonObject(json, nullptr);
  jsonText(json, "name", command.name);
  jsonText(json, "operands", command.operands);
  jsonText(json, "summary", command.summary);
  jsonBool(json, "changesController", command.changesController);
  jsonArray(json, "options");
  for (UINTN id = 0; id < optionCount; ++id) {
    if (takesOption(command.options, id) && (g_xylOptions[id].fronts & front->kind) != 0) {
      jsonText(json, nullptr, g_xylOptions[id].longName);
    }
  }
  jsonEnd(json);
  jsonEnd(json);
}

static void writeCommands(Json *json, const Front *front, const Request &request) {
  jsonArray(json, "commands");
  for (const Command &command : front->commands) {
    bool isWanted = request.command != nullptr ? &command == request.command
                                               : request.group == nullptr || isInGroup(command, request.group);
    if (isWanted) {
      writeCommand(json, front, command);
    }
  }
  jsonEnd(json);
}

static void writeOptions(Json *json, const Front *front) {
  jsonArray(json, "options");
  for (const Option &option : g_xylOptions) {
    if ((option.fronts & front->kind) == 0) {
      continue;
    }
    jsonObject(json, nullptr);
    jsonText(json, "name", option.longName);
    if (option.letter != nullptr) {
      jsonText(json, "short", option.letter);
    }
    if (option.value != nullptr) {
      jsonText(json, "value", option.value);
    }
    jsonText(json, "help", option.help);
    jsonEnd(json);
  }
  jsonEnd(json);
}

static void writeHelp(const Front *front, const Request &request) {
  Json json = {};
  json.front = front;
  jsonObject(&json, nullptr);
  jsonText(&json, "version", RAIDXYL_VERSION);
  writeCommands(&json, front, request);
  writeOptions(&json, front);
  jsonArray(&json, "outcomes");
  for (const OutcomeText &outcome : g_xylOutcomes) {
    jsonObject(&json, nullptr);
    jsonText(&json, "code", front->kind == frontShell ? outcome.shellCode : outcome.hostCode);
    jsonText(&json, "meaning", outcome.meaning);
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

Result runHelp(const Context &context) {
  const Front *front = context.front;
  const Request &request = *context.request;
  if (request.version) {
    say(front, "xyl %a\n", RAIDXYL_VERSION);
  } else if (request.options[optionJson] != nullptr) {
    writeHelp(front, request);
  } else if (request.command != nullptr) {
    helpOnCommand(front, *request.command);
  } else if (request.group != nullptr) {
    helpOnGroup(front, request.group);
  } else {
    helpOnProgram(front);
  }
  return succeeded();
}

bool xylHelp(const Front *front, const Request &request) {
  bool isAsked = request.version || request.help;
  return isAsked && !isFailure(runHelp({front, &request}));
}

} // namespace xyl::client
