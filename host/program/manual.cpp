#include "host/program/manual.h"

#include <algorithm>
#include <string>
#include <vector>

#include "base/status_text.h"
#include "host/common/common.h"
#include "providers/sim_controller/presets.h"

namespace xyl::host {

static void put(const client::Front &front, const std::string &text) {
  front.writeOut(&front, text.c_str(), text.size());
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

static std::string optionRoff(const client::Option &option) {
  std::string out = ".TP\n";
  if (option.letter != nullptr) {
    out += "\\fB" + roff(option.letter) + "\\fR, ";
  }
  out += "\\fB" + roff(option.longName) + "\\fR";
  if (option.value != nullptr) {
    out += " \\fI" + roff(option.value) + "\\fR";
  }
  return out + "\n" + roff(option.help) + ".\n";
}

static std::string commandRoff(const client::Command &command) {
  std::string out = std::string(".SS \"xyl ") + command.name;
  out += command.options != 0 ? " [OPTIONS]" : "";
  out += *command.operands != 0 ? std::string(" ") + roff(command.operands) : "";
  out += "\"\n" + roff(command.description) + "\n";
  std::string options;
  for (UINTN id = 0; id < client::optionCount; ++id) {
    if (client::takesOption(command.options, id) && (client::g_xylOptions[id].fronts & client::frontHost) != 0) {
      options += (options.empty() ? "" : ", ") + roff(client::g_xylOptions[id].longName);
    }
  }
  out += options.empty() ? "" : ".PP\nOptions: " + options + ".\n";
  return out + ".PP\n.nf\n.RS\n" + roff(command.hostExamples) + "\n.RE\n.fi\n";
}

client::Result runMan(const client::Context &context) {
  const client::Front &front = *context.front;
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
  for (const client::Command &command : front.commands) {
    put(front, commandRoff(command));
  }
  put(front, ".SH OPTIONS\nOptions may stand before or behind the command.\n");
  for (const client::Option &option : client::g_xylOptions) {
    if ((option.fronts & client::frontHost) != 0) {
      put(front, optionRoff(option));
    }
  }
  put(front, ".SH EXIT STATUS\n");
  for (const client::OutcomeText &outcome : client::g_xylOutcomes) {
    put(front, std::string(".TP\n") + outcome.hostCode + "\n" + roff(outcome.meaning) + ".\n");
  }
  put(front, ".SH ENVIRONMENT\n.TP\nNO_COLOR\nWhen set and not empty, states are shown without colours.\n");
  return client::succeeded();
}

// --- The completion ---

// The words that may follow prefix in the name of a command, each once; a command and its kin stand together.
static std::string wordsOf(const client::Commands &commands, const std::string &prefix) {
  std::string words;
  std::string last;
  for (const client::Command &command : commands) {
    std::string name = command.name;
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
  for (UINTN id = 0; id < client::optionCount; ++id) {
    if (client::takesOption(taken, id) && (client::g_xylOptions[id].fronts & client::frontHost) != 0) {
      const client::Option &option = client::g_xylOptions[id];
      options += (option.letter != nullptr ? std::string(" ") + option.letter : "") + " " + option.longName;
    }
  }
  return options;
}

// The names of the table up to a value, as 'sim fail-next' takes them.
static std::string commandNames() {
  std::string names = "any";
  for (const driver::VALUE_NAME_TABLE *row = driver::g_commandTable; row->Name != nullptr; ++row) {
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
static std::vector<std::string> groupsOf(const client::Commands &commands) {
  std::vector<std::string> words;
  for (const client::Command &command : commands) {
    std::string name = command.name;
    name.resize(std::min(name.find(' '), name.size()));
    if (name != command.name && (words.empty() || words.back() != name)) {
      words.push_back(name);
    }
  }
  return words;
}

// The words that name commands so far; behind "help" they name what help is about.
static void writeCommandCases(const client::Front &front) {
  for (const char *before : {"", "help "}) {
    for (const client::Command &command : front.commands) {
      std::string name = command.name;
      std::string whole = before + name;
      put(front, *before == 0 && name.find(' ') == std::string::npos ? "    \" " : "    \"");
      put(front, whole);
      put(front, "\") command=\"");
      put(front, whole);
      put(front, "\" ;;\n");
    }
  }
  for (const std::string &group : groupsOf(front.commands)) {
    put(front, "    \" " + group);
    put(front, "\" | \"help " + group);
    put(front, "\") command=\"${command:+help }" + group);
    put(front, "\" ;;\n");
  }
  put(front, "    \"sim fail-next \"*) [[ $word == -* ]] || (( ++given )) ;;\n");
}

// What may come behind each command.
static void writeWordCases(const client::Front &front) {
  put(front, "    \"\") words=\"" + wordsOf(front.commands, "") +
                 "\"\n      [[ $current == -* ]] && words=\"--version " + optionsOf(~0ULL) + "\" ;;\n");
  put(front, "    help) words=\"" + wordsOf(front.commands, "") +
                 "\"\n      [[ $current == -* ]] && words=\"--help --json\" ;;\n");
  for (const std::string &group : groupsOf(front.commands)) {
    put(front, "    " + group);
    put(front, " | \"help " + group);
    put(front, "\") words=\"" + wordsOf(front.commands, group + " "));
    put(front, "\" ;;\n");
  }
  for (const client::Command &command : front.commands) {
    std::string name = command.name;
    put(front, "    \"" + name + "\")\n");
    if (name == "sim fail-next") {
      put(front, "      [[ $given == 1 ]] && words=\"" + commandNames() + "\"\n      [[ $given == 2 ]] && words=\"" +
                     errorNames() + "\"\n");
    }
    put(front, "      [[ $current == -* ]] && words=\"" + optionsOf(command.options) + "\" ;;\n");
  }
}

client::Result runCompletion(const client::Context &context) {
  const client::Front &front = *context.front;
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
  return client::succeeded();
}

} // namespace xyl::host
