#include "base/text.h"
#include "client/command_line/command_line.h"

const XYL_OUTCOME_TEXT g_xylOutcomes[XYL_OUTCOME_COUNT] = {
    {"0", "0", "success"},
    {"1", "0x1B", "there are differences"},
    {"2", "0x2", "the command line is wrong"},
    {"3", "0xE", "no such controller or file"},
    {"4", "other", "the operation failed; the message says how"},
};

static void sayOption(const XYL_HOST *host, const XYL_OPTION &option) {
  CHAR8 synopsis[64] = {};
  UINTN length = 0;
  const CHAR8 *parts[] = {option.Short, option.Short != nullptr ? ", " : nullptr, option.Long,
                          option.Value != nullptr ? " " : nullptr, option.Value};
  for (const CHAR8 *part : parts) {
    for (; part != nullptr && *part != 0 && length < sizeof(synopsis) - 1; ++part) {
      synopsis[length++] = *part;
    }
  }
  say(host, "  %-24a  %a\n", synopsis, option.Help);
}

static void sayOptions(const XYL_HOST *host, UINT64 options) {
  say(host, "\nOptions, before or behind the command:\n");
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (takesOption(options, id) && (g_xylOptions[id].Fronts & host->Front) != 0) {
      sayOption(host, g_xylOptions[id]);
    }
  }
  // The firmware shell takes -? for itself: it shows xyl.man for "xyl -?" and refuses it behind a command.
  say(host, "  %-24a  %a\n", host->Front == XYL_FRONT_SHELL ? "-h, --help" : "-h, --help, -?", "show help");
  say(host, "  %-24a  %a\n", "--version", "show the version");
}

static void sayOutcomes(const XYL_HOST *host, UINT32 outcomes) {
  say(host, "\nReturn values%a:\n", host->Front == XYL_FRONT_SHELL ? " (in %lasterror%)" : "");
  for (UINTN i = 0; i < XYL_OUTCOME_COUNT; ++i) {
    if ((outcomes & (1U << i)) != 0) {
      const XYL_OUTCOME_TEXT &row = g_xylOutcomes[i];
      say(host, "  %-5a  %a\n", host->Front == XYL_FRONT_SHELL ? row.ShellCode : row.HostCode, row.Meaning);
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

static void sayParagraphs(const XYL_HOST *host, const CHAR8 *text) {
  while (*text != 0) {
    UINTN length = lineOf(text);
    host->WriteOut(host, text, length);
    host->WriteOut(host, "\n", 1);
    text += length;
    text += *text != 0 ? 1 : 0;
  }
}

// Every line of text behind two blanks.
static void sayIndented(const XYL_HOST *host, const CHAR8 *text) {
  while (*text != 0) {
    const CHAR8 *end = text;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    host->WriteOut(host, "  ", 2);
    host->WriteOut(host, text, static_cast<UINTN>(end - text));
    host->WriteOut(host, "\n", 1);
    text = *end != 0 ? end + 1 : end;
  }
}

static void helpOnCommand(const XYL_HOST *host, const XYL_COMMAND &command) {
  say(host, "xyl %a - %a\n\nUsage:\n  xyl %a%a%a%a\n\n", command.Name, command.Summary, command.Name,
      command.Options != 0 ? " [OPTIONS]" : "", *command.Operands != 0 ? " " : "", command.Operands);
  sayParagraphs(host, command.Description);
  sayOptions(host, command.Options);
  say(host, "\nExamples:\n");
  sayIndented(host, host->Front == XYL_FRONT_SHELL ? command.ShellExamples : command.HostExamples);
  sayOutcomes(host, command.Outcomes);
}

static void sayCommands(const XYL_HOST *host, const CHAR8 *group) {
  for (const XYL_COMMAND &command : host->Commands) {
    if (group == nullptr || isInGroup(command, group)) {
      say(host, host->Front == XYL_FRONT_HOST ? "  %-19a  %a\n" : "  %-12a  %a\n", command.Name, command.Summary);
    }
  }
}

static void helpOnProgram(const XYL_HOST *host) {
  say(host, "xyl - manages the RAID controllers that the RaidXyl driver serves\n\n");
  say(host, "Usage:\n  xyl COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands ('xyl help COMMAND' tells more):\n");
  sayCommands(host, /* group= */ nullptr);
  sayOptions(host, ~0ULL);
  sayOutcomes(host, ~0U);
}

static void helpOnGroup(const XYL_HOST *host, const CHAR8 *group) {
  say(host, "Usage:\n  xyl %a COMMAND [OPTIONS] [ARGUMENTS]\n\nCommands ('xyl help %a COMMAND' tells more):\n", group,
      group);
  sayCommands(host, group);
}

// --- For programs ---

static void writeCommand(JSON *json, const XYL_HOST *host, const XYL_COMMAND &command) {
  jsonObject(json, nullptr);
  jsonText(json, "name", command.Name);
  jsonText(json, "operands", command.Operands);
  jsonText(json, "summary", command.Summary);
  jsonBool(json, "changesController", command.ChangesController);
  jsonArray(json, "options");
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (takesOption(command.Options, id) && (g_xylOptions[id].Fronts & host->Front) != 0) {
      jsonText(json, nullptr, g_xylOptions[id].Long);
    }
  }
  jsonEnd(json);
  jsonEnd(json);
}

static void writeCommands(JSON *json, const XYL_HOST *host, const XYL_REQUEST &request) {
  jsonArray(json, "commands");
  for (const XYL_COMMAND &command : host->Commands) {
    bool isWanted = request.Command != nullptr ? &command == request.Command
                                               : request.Group == nullptr || isInGroup(command, request.Group);
    if (isWanted) {
      writeCommand(json, host, command);
    }
  }
  jsonEnd(json);
}

static void writeOptions(JSON *json, const XYL_HOST *host) {
  jsonArray(json, "options");
  for (const XYL_OPTION &option : g_xylOptions) {
    if ((option.Fronts & host->Front) == 0) {
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

static void writeHelp(const XYL_HOST *host, const XYL_REQUEST &request) {
  JSON json = {};
  json.Host = host;
  jsonObject(&json, nullptr);
  jsonText(&json, "version", RAIDXYL_VERSION);
  writeCommands(&json, host, request);
  writeOptions(&json, host);
  jsonArray(&json, "outcomes");
  for (const XYL_OUTCOME_TEXT &outcome : g_xylOutcomes) {
    jsonObject(&json, nullptr);
    jsonText(&json, "code", host->Front == XYL_FRONT_SHELL ? outcome.ShellCode : outcome.HostCode);
    jsonText(&json, "meaning", outcome.Meaning);
    jsonEnd(&json);
  }
  jsonEnd(&json);
  jsonEnd(&json);
}

XYL_RESULT runHelp(const XYL_CONTEXT &context) {
  const XYL_HOST *host = context.Host;
  const XYL_REQUEST &request = *context.Request;
  if (request.Version) {
    say(host, "xyl %a\n", RAIDXYL_VERSION);
  } else if (request.Options[XYL_OPTION_JSON] != nullptr) {
    writeHelp(host, request);
  } else if (request.Command != nullptr) {
    helpOnCommand(host, *request.Command);
  } else if (request.Group != nullptr) {
    helpOnGroup(host, request.Group);
  } else {
    helpOnProgram(host);
  }
  return succeeded();
}

bool xylHelp(const XYL_HOST *host, const XYL_REQUEST &request) {
  bool isAsked = request.Version || request.Help;
  if (isAsked) {
    runHelp({host, &request});
  }
  return isAsked;
}
