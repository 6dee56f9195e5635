#include "host/program/manual.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/status_text.h"
#include "host/common/common.h"
#include "providers/sim_controller/presets.h"

static void put(const XYL_FRONT &front, const std::string &text) {
  front.WriteOut(&front, text.c_str(), text.size());
}

// --- The manual page ---

// Text as the formatter shows it: nothing in it is taken for a request, and a dash stays one that can be copied.
static std::string roff(const std::string &text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    bool lineStart = i == 0 || text[i - 1] == '\n';
    if (lineStart && (text[i] == '.' || text[i] == '\'')) {
      out += "\\&";
    }
    out += text[i] == '-' ? "\\-" : text[i] == '\\' ? "\\e" : std::string(1, text[i]);
  }
  return out;
}

static std::string optionRoff(const XYL_OPTION &option) {
  std::string out = ".TP\n";
  if (option.Short != nullptr) {
    out += "\\fB" + roff(option.Short) + "\\fR, ";
  }
  out += "\\fB" + roff(option.Long) + "\\fR";
  if (option.Value != nullptr) {
    out += " \\fI" + roff(option.Value) + "\\fR";
  }
  return out + "\n" + roff(option.Help) + ".\n";
}

static std::string commandRoff(const XYL_COMMAND &command) {
  std::string out = std::string(".SS \"xyl ") + command.Name;
  out += command.Options != 0 ? " [OPTIONS]" : "";
  out += *command.Operands != 0 ? std::string(" ") + roff(command.Operands) : "";
  out += "\"\n" + roff(command.Description) + "\n";
  std::string options;
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (takesOption(command.Options, id) && (g_xylOptions[id].Fronts & XYL_FRONT_HOST) != 0) {
      options += (options.empty() ? "" : ", ") + roff(g_xylOptions[id].Long);
    }
  }
  out += options.empty() ? "" : ".PP\nOptions: " + options + ".\n";
  return out + ".PP\n.nf\n.RS\n" + roff(command.HostExamples) + "\n.RE\n.fi\n";
}

XYL_RESULT runMan(const XYL_CONTEXT &context) {
  const XYL_FRONT &front = *context.Front;
  put(front,
      ".TH XYL 1 \"\" \"RaidXyl\" \"User Commands\"\n"
      ".SH NAME\nxyl \\- manages RAID controllers through the RaidXyl driver\n"
      ".SH SYNOPSIS\n.B xyl\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n"
      ".SH DESCRIPTION\n"
      "Reads, verifies, restores and changes the configuration of a RAID controller. This program runs the driver\n"
      "on a simulated controller, a fresh one (\\fB\\-\\-preset\\fR) or one that a file keeps\n"
      "(\\fB\\-\\-controller\\fR); the program of the same name for the UEFI Shell works on real ones.\n"
      "Documents are XML.\n"
      ".SH COMMANDS\n");
  for (const XYL_COMMAND &command : front.Commands) {
    put(front, commandRoff(command));
  }
  put(front, ".SH OPTIONS\nOptions may stand before or behind the command.\n");
  for (const XYL_OPTION &option : g_xylOptions) {
    if ((option.Fronts & XYL_FRONT_HOST) != 0) {
      put(front, optionRoff(option));
    }
  }
  put(front, ".SH EXIT STATUS\n");
  for (const XYL_OUTCOME_TEXT &outcome : g_xylOutcomes) {
    put(front, std::string(".TP\n") + outcome.HostCode + "\n" + roff(outcome.Meaning) + ".\n");
  }
  put(front, ".SH ENVIRONMENT\n.TP\nNO_COLOR\nWhen set and not empty, states are shown without colours.\n");
  return succeeded();
}

// --- The completion ---

// The words that may follow prefix in the name of a command, each once; a command and its kin stand together.
static std::string wordsOf(const XYL_COMMANDS &commands, const std::string &prefix) {
  std::string words;
  std::string last;
  for (const XYL_COMMAND &command : commands) {
    std::string name = command.Name;
    if (!name.starts_with(prefix)) {
      continue;
    }
    std::string word = name.substr(prefix.size());
    word.resize(std::min(word.find(' '), word.size()));
    if (word != last) {
      words += (words.empty() ? "" : " ") + word;
    }
    last = word;
  }
  return words;
}

// Those whose bits are set.
static std::string optionsOf(UINT64 taken) {
  std::string options = "-h --help";
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (takesOption(taken, id) && (g_xylOptions[id].Fronts & XYL_FRONT_HOST) != 0) {
      const XYL_OPTION &option = g_xylOptions[id];
      options += (option.Short != nullptr ? std::string(" ") + option.Short : "") + " " + option.Long;
    }
  }
  return options;
}

// The names of the table up to a value, as 'sim fail-next' takes them.
static std::string commandNames() {
  std::string names = "any";
  for (const VALUE_NAME_TABLE *row = g_commandTable; row->Name != nullptr; ++row) {
    names += row->Value <= RAID_COMMAND_GET_KEY_ID ? " " + normalised(row->Name) : "";
  }
  return names;
}

static std::string errorNames() {
  std::string names;
  for (UINT64 number = 1; number < 64; ++number) {
    const CHAR8 *words = statusText(EFI_ERROR_CODE(number));
    std::string name = words != nullptr ? words : "";
    std::replace(name.begin(), name.end(), ' ', '-');
    std::transform(name.begin(), name.end(), name.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
    names += (names.empty() || name.empty() ? "" : " ") + name;
  }
  return names;
}

static std::string presetNames() {
  std::string names;
  for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
    names += (names.empty() ? "" : " ") + std::string(sim::presetAt(i)->name);
  }
  return names;
}

// The first words of commands of two.
static std::vector<std::string> groupsOf(const XYL_COMMANDS &commands) {
  std::vector<std::string> words;
  for (const XYL_COMMAND &command : commands) {
    std::string name = command.Name;
    name.resize(std::min(name.find(' '), name.size()));
    if (name != command.Name && (words.empty() || words.back() != name)) {
      words.push_back(name);
    }
  }
  return words;
}

// The words that name commands so far; behind "help" they name what help is about.
static void writeCommandCases(const XYL_FRONT &front) {
  for (const char *before : {"", "help "}) {
    for (const XYL_COMMAND &command : front.Commands) {
      std::string name = command.Name;
      std::string whole = before + name;
      put(front, *before == 0 && name.find(' ') == std::string::npos ? "    \" " : "    \"");
      put(front, whole);
      put(front, "\") command=\"");
      put(front, whole);
      put(front, "\" ;;\n");
    }
  }
  for (const std::string &group : groupsOf(front.Commands)) {
    put(front, "    \" " + group);
    put(front, "\" | \"help " + group);
    put(front, "\") command=\"${command:+help }" + group);
    put(front, "\" ;;\n");
  }
  put(front, "    \"sim fail-next \"*) [[ $word == -* ]] || (( ++given )) ;;\n");
}

// What may come behind each command.
static void writeWordCases(const XYL_FRONT &front) {
  put(front, "    \"\") words=\"" + wordsOf(front.Commands, "") +
                 "\"\n      [[ $current == -* ]] && words=\"--version " + optionsOf(~0ULL) + "\" ;;\n");
  put(front, "    help) words=\"" + wordsOf(front.Commands, "") +
                 "\"\n      [[ $current == -* ]] && words=\"--help --json\" ;;\n");
  for (const std::string &group : groupsOf(front.Commands)) {
    put(front, "    " + group);
    put(front, " | \"help " + group);
    put(front, "\") words=\"" + wordsOf(front.Commands, group + " "));
    put(front, "\" ;;\n");
  }
  for (const XYL_COMMAND &command : front.Commands) {
    std::string name = command.Name;
    put(front, "    \"" + name + "\")\n");
    if (name == "sim fail-next") {
      put(front, "      [[ $given == 1 ]] && words=\"" + commandNames() + "\"\n      [[ $given == 2 ]] && words=\"" +
                     errorNames() + "\"\n");
    }
    put(front, "      [[ $current == -* ]] && words=\"" + optionsOf(command.Options) + "\" ;;\n");
  }
}

XYL_RESULT runCompletion(const XYL_CONTEXT &context) {
  const XYL_FRONT &front = *context.Front;
  put(front, "# Completion of xyl for bash: source this file, or put it where bash-completion looks for it.\n"
             "_xyl() {\n"
             "  local current=\"${COMP_WORDS[COMP_CWORD]}\" previous=\"${COMP_WORDS[COMP_CWORD-1]}\"\n"
             "  local command=\"\" word words=\"\" given=0\n"
             "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
             "    case \"$command $word\" in\n");
  writeCommandCases(front);
  put(front, "    esac\n"
             "  done\n"
             "  case \"$previous\" in\n"
             "  --preset) words=\"" +
                 presetNames() +
                 "\" ;;\n"
                 "  --log) words=\"trace warn error\" ;;\n"
                 "  *)\n"
                 "    case \"$command\" in\n");
  writeWordCases(front);
  put(front, "    esac ;;\n"
             "  esac\n"
             "  COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
             "}\n"
             "complete -o default -F _xyl xyl\n");
  return succeeded();
}
