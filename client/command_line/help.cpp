#include "base/text.h"
#include "client/command_line/command_line.h"

const XYL_OUTCOME_TEXT g_xylOutcomes[XYL_OUTCOME_COUNT] = {
    {"0", "0", "success"},
    {"1", "0x1B", "there are differences"},
    {"2", "0x2", "the command line is wrong"},
    {"3", "0xE", "no such controller or file"},
    {"4", "other", "the operation failed; the message says how"},
};

static void sayOption(const XYL_FRONT *front, const XYL_OPTION &option) {
  CHAR8 synopsis[64] = {};
  UINTN length = 0;
  const CHAR8 *parts[] = {option.Short, option.Short != nullptr ? ", " : nullptr, option.Long,
                          option.Value != nullptr ? " " : nullptr, option.Value};
  for (const CHAR8 *part : parts) {
    for (; part != nullptr && *part != 0 && length < sizeof(synopsis) - 1; ++part) {
      synopsis[length++] = *part;
    }
  }
  say(front, "  %-24a  %a\n", synopsis, option.Help);
}

static void sayOptions(const XYL_FRONT *front, UINT64 options) {
  say(front, "\nOptions, before or behind the command:\n");
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (takesOption(options, id) && (g_xylOptions[id].Fronts & front->Kind) != 0) {
      sayOption(front, g_xylOptions[id]);
    }
  }
  // The firmware shell takes -? for itself: it shows xyl.man for "xyl -?" and refuses it behind a command.
  say(front, "  %-24a  %a\n", front->Kind == XYL_FRONT_SHELL ? "-h, --help" : "-h, --help, -?", "show help");
  say(front, "  %-24a  %a\n", "--version", "show the version");
}

static void sayOutcomes(const XYL_FRONT *front, UINT32 outcomes) {
  say(front, "\nReturn values%a:\n", front->Kind == XYL_FRONT_SHELL ? " (in %lasterror%)" : "");
  for (UINTN i = 0; i < XYL_OUTCOME_COUNT; ++i) {
    if ((outcomes & (1U << i)) != 0) {
      const XYL_OUTCOME_TEXT &row = g_xylOutcomes[i];
      say(front, "  %-5a  %a\n", front->Kind == XYL_FRONT_SHELL ? row.ShellCode : row.HostCode, row.Meaning);
    }
  }
}

static constexpr UINTN HELP_COLUMNS = 113;

// The bytes of the text that go on its first line: whole words, or more where one is too long.
static UINTN lineOf(const CHAR8 *text) {
  UINTN end = 0;
  for (UINTN at = 0; at <= HELP_COLUMNS || end == 0; ++at) {
    if (text[at] == 0 || text[at] == '\n') {
      return at;
    }
    end = text[at] == ' ' ? at : end;
  }
  return end;
}

static void sayParagraphs(const XYL_FRONT *front, const CHAR8 *text) {
  while (*text != 0) {
    UINTN length = lineOf(text);
    front->WriteOut(front, text, length);
    front->WriteOut(front, "\n", 1);
    text += length;
    text += *text != 0 ? 1 : 0;
  }
}

// Every line of text behind two blanks.
static void sayIndented(const XYL_FRONT *front, const CHAR8 *text) {
  while (*text != 0) {
    const CHAR8 *end = text;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    front->WriteOut(front, "  ", 2);
    front->WriteOut(front, text, static_cast<UINTN>(end - text));
    front->WriteOut(front, "\n", 1);
    text = *end != 0 ? end + 1 : end;
  }
}

static void helpOnCommand(const XYL_FRONT *front, const XYL_COMMAND &command) {
  say(front, "xyl %a - %a\n\nUsage:\n  xyl %a%a%a%a\n\n", command.Name, command.Summary, command.Name,
      command.Options != 0 ? " [OPTIONS]" : "", *command.Operands != 0 ? " " : "", command.Operands);
  sayParagraphs(front, command.Description);
  sayOptions(front, command.Options);
  say(front, "\nExamples:\n");
  sayIndented(front, front->Kind == XYL_FRONT_SHELL ? command.ShellExamples : command.HostExamples);
  sayOutcomes(front, command.Outcomes);
}

static void sayCommands(const XYL_FRONT *front, const CHAR8 *group) {
  for (const XYL_COMMAND &command : front->Commands) {
    if (group == nullptr || isInGroup(command, group)) {
      say(front, front->Kind == XYL_FRONT_HOST ? "  %-19a  %a\n" : "  %-12a  %a\n", command.Name, command.Summary);
    }
  }
}

static void helpOnProgram(const XYL_FRONT *front) {
  say(front, "xyl - manages the RAID controllers that the RaidXyl driver serves\n\n");
  say(front, "Usage:\n  xyl COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands ('xyl help COMMAND' tells more):\n");
  sayCommands(front, /* group= */ nullptr);
  sayOptions(front, ~0ULL);
  sayOutcomes(front, ~0U);
}

static void helpOnGroup(const XYL_FRONT *front, const CHAR8 *group) {
  say(front, "Usage:\n  xyl %a COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands ('xyl help %a COMMAND' tells more):\n", group,
      group);
  sayCommands(front, group);
}

// --- For programs ---

static void writeCommand(JSON *json, const XYL_FRONT *front, const XYL_COMMAND &command) {
  jsonObject(json, nullptr);
  jsonText(json, "name", command.Name);
  jsonText(json, "operands", command.Operands);
  jsonText(json, "summary", command.Summary);
  jsonBool(json, "changesController", command.ChangesController);
  jsonArray(json, "options");
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (takesOption(command.Options, id) && (g_xylOptions[id].Fronts & front->Kind) != 0) {
      jsonText(json, nullptr, g_xylOptions[id].Long);
    }
  }
  jsonEnd(json);
  jsonEnd(json);
}

static void writeCommands(JSON *json, const XYL_FRONT *front, const XYL_REQUEST &request) {
  jsonArray(json, "commands");
  for (const XYL_COMMAND &command : front->Commands) {
    bool isWanted = request.Command != nullptr ? &command == request.Command
                                               : request.Group == nullptr || isInGroup(command, request.Group);
    if (isWanted) {
      writeCommand(json, front, command);
    }
  }
  jsonEnd(json);
}

static void writeOptions(JSON *json, const XYL_FRONT *front) {
  jsonArray(json, "options");
  for (const XYL_OPTION &option : g_xylOptions) {
    if ((option.Fronts & front->Kind) == 0) {
      continue;
    }
    jsonObject(json, nullptr);
    jsonText(json, "name", option.Long);
    if (option.Short != nullptr) {
      jsonText(json, "short", option.Short);
    }
    if (option.Value != nullptr) {
      jsonText(json, "value", option.Value);
    }
    jsonText(json, "help", option.Help);
    jsonEnd(json);
  }
  jsonEnd(json);
}

static void writeHelp(const XYL_FRONT *front, const XYL_REQUEST &request) {
  JSON json = {};
  json.Front = front;
  jsonObject(&json, nullptr);
  jsonText(&json, "version", RAIDXYL_VERSION);
  writeCommands(&json, front, request);
  writeOptions(&json, front);
  jsonArray(&json, "outcomes");
  for (const XYL_OUTCOME_TEXT &outcome : g_xylOutcomes) {
    jsonObject(&json, nullptr);
    jsonText(&json, "code", front->Kind == XYL_FRONT_SHELL ? outcome.ShellCode : outcome.HostCode);
    jsonText(&json, "meaning", outcome.Meaning);
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runHelp(const XYL_CONTEXT &context) {
  const XYL_FRONT *front = context.Front;
  const XYL_REQUEST &request = *context.Request;
  if (request.Version) {
    say(front, "xyl %a\n", RAIDXYL_VERSION);
  } else if (request.Options[XYL_OPTION_JSON] != nullptr) {
    writeHelp(front, request);
  } else if (request.Command != nullptr) {
    helpOnCommand(front, *request.Command);
  } else if (request.Group != nullptr) {
    helpOnGroup(front, request.Group);
  } else {
    helpOnProgram(front);
  }
  return succeeded();
}

bool xylHelp(const XYL_FRONT *front, const XYL_REQUEST &request) {
  bool isAsked = request.Version || request.Help;
  if (isAsked) {
    runHelp({front, &request});
  }
  return isAsked;
}
