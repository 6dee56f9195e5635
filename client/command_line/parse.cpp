#include "base/pool.h"
#include "base/text.h"
#include "client/command_line/command_line.h"
#include "client/command_line/looks.h"

namespace xyl::client {

// The command line split into options (in the request) and words.
struct Words {
  const CHAR8 *words[wordsMax];
  UINTN count;
};

static bool isHelpSwitch(const CHAR8 *argument) {
  return textEqual(argument, "-h") || textEqual(argument, "--help") || textEqual(argument, "-?");
}

// The value behind name= in a long option, or null when argument is not that option with a value.
static const CHAR8 *valueBehind(const CHAR8 *argument, const CHAR8 *name) {
  UINTN length = textLength(name);
  for (UINTN i = 0; i < length; ++i) {
    if (argument[i] != name[i]) {
      return nullptr;
    }
  }
  return argument[length] == '=' ? argument + length + 1 : nullptr;
}

// Finds the option that argument names; *value is what stands behind its "=", or null.
static UINTN findOption(const Front *front, const CHAR8 *argument, const CHAR8 **value) {
  *value = nullptr;
  for (UINTN id = 0; id < optionCount; ++id) {
    const Option &option = g_xylOptions[id];
    if ((option.fronts & front->kind) == 0) {
      continue;
    }
    if (textEqual(argument, option.longName) || (option.letter != nullptr && textEqual(argument, option.letter))) {
      return id;
    }
    *value = valueBehind(argument, option.longName);
    if (*value != nullptr) {
      return id;
    }
  }
  return optionCount;
}

// Takes the option at *at and its value, and leaves *at on the last argument taken.
static Result takeOption(const Front *front, UINTN count, const CHAR8 *const *arguments, UINTN *at, Request *request) {
  const CHAR8 *argument = arguments[*at];
  const CHAR8 *value = nullptr;
  UINTN id = findOption(front, argument, &value);
  if (id == optionCount) {
    complain(front, "unknown option '%a'; 'xyl help' lists the options", argument);
    return wrongUsage();
  }
  const Option &option = g_xylOptions[id];
  if (request->options[id] != nullptr && !option.repeats) {
    complain(front, "option %a is given twice; give it once", option.longName);
    return wrongUsage();
  }
  if (option.value == nullptr && value != nullptr) {
    complain(front, "option %a takes no value; leave out '=%a'", option.longName, value);
    return wrongUsage();
  }
  if (option.value != nullptr && value == nullptr && *at + 1 < count) {
    value = arguments[++*at];
  }
  if (option.value != nullptr && (value == nullptr || *value == 0)) {
    complain(front, "option %a needs a value; write %a %a", argument, argument, option.value);
    return wrongUsage();
  }
  request->options[id] = value != nullptr ? value : "";
  if (id != optionDisk) {
    return succeeded();
  }
  if (request->diskCount == disksMax) {
    complain(front, "option %a is given too often; %u disks are served at most", option.longName, UINT32{disksMax});
    return wrongUsage();
  }
  request->disks[request->diskCount++] = value;
  return succeeded();
}

static Result splitArguments(const Front *front, UINTN count, const CHAR8 *const *arguments, Request *request,
                             Words *words) {
  bool optionsEnded = false;
  for (UINTN i = 0; i < count; ++i) {
    const CHAR8 *argument = arguments[i];
    if (!optionsEnded && isHelpSwitch(argument)) {
      request->help = true;
    } else if (!optionsEnded && textEqual(argument, "--version")) {
      request->version = true;
    } else if (!optionsEnded && textEqual(argument, "--")) {
      optionsEnded = true;
    } else if (!optionsEnded && argument[0] == '-' && argument[1] != 0) {
      Result result = takeOption(front, count, arguments, &i, request);
      if (isFailure(result)) {
        return result;
      }
    } else if (words->count == wordsMax) {
      complain(front, "too many arguments from '%a' on; 'xyl help' lists the commands", argument);
      return wrongUsage();
    } else {
      words->words[words->count++] = argument;
    }
  }
  return succeeded();
}

// Whether the words at from begin with the command's name; *taken is then the number of its words.
static bool namesCommand(const Words &words, UINTN from, const CHAR8 *name, UINTN *taken) {
  UINTN word = from;
  const CHAR8 *at = name;
  for (; word < words.count; ++word) {
    for (const CHAR8 *text = words.words[word]; *text != 0; ++text, ++at) {
      if (*at != *text) {
        return false;
      }
    }
    if (*at == 0) {
      *taken = word + 1 - from;
      return true;
    }
    if (*at++ != ' ') {
      return false;
    }
  }
  return false;
}

static bool namesGroup(const Front *front, const CHAR8 *word) {
  for (const Command &command : front->commands) {
    if (isInGroup(command, word)) {
      return true;
    }
  }
  return false;
}

// A command of two words of which the second is missing or unknown. There may be no pool yet.
static void complainOfGroup(const Front *front, const CHAR8 *group, const CHAR8 *word) {
  CHAR8 verbs[256] = {};
  UINTN length = 0;
  for (const Command &command : front->commands) {
    if (!isInGroup(command, group)) {
      continue;
    }
    const CHAR8 *parts[] = {length != 0 ? ", " : "", command.name + textLength(group) + 1};
    for (const CHAR8 *part : parts) {
      UINTN most = sizeof(verbs) - 1 - length;
      UINTN size = textLength(part) < most ? textLength(part) : most;
      copyBytes(verbs + length, part, size);
      length += size;
    }
  }
  complain(front,
           *word != 0 ? "'%a' has no command '%a'; it has %a, and 'xyl help %a' tells more"
                      : "'%a%a' is part of a command; behind it comes one of %a, and 'xyl help %a' tells more",
           group, word, verbs, group);
}

// Finds the command that the words at from name and steps *from over it; null with a message for an unknown one.
static const Command *findCommand(const Front *front, const Words &words, UINTN *from) {
  for (const Command &command : front->commands) {
    UINTN taken = 0;
    if (namesCommand(words, *from, command.name, &taken)) {
      *from += taken;
      return &command;
    }
  }
  if (namesGroup(front, words.words[*from])) {
    complainOfGroup(front, words.words[*from], *from + 1 < words.count ? words.words[*from + 1] : "");
  } else {
    complain(front, "unknown command '%a'; 'xyl help' lists the commands", words.words[*from]);
  }
  return nullptr;
}

// What is asked for must not be what --quiet leaves out.
static Result checkQuiet(const Front *front, const Request &request) {
  static constexpr OptionId others[] = {optionJson, optionProgress};
  if (request.options[optionQuiet] == nullptr) {
    return succeeded();
  }
  for (OptionId id : others) {
    if (request.options[id] != nullptr) {
      complain(front, "--quiet and %a exclude each other; give one of them", g_xylOptions[id].longName);
      return wrongUsage();
    }
  }
  const CHAR8 *output = request.options[optionOutput];
  if (takesOption(request.command->options, optionOutput) && (output == nullptr || isStandardOutput(output))) {
    complain(front, "--quiet leaves nothing of '%a'; give --output FILE as well", request.command->name);
    return wrongUsage();
  }
  return succeeded();
}

// What is printed besides must not stand in the way of a log, nor a log in that of a document.
static Result checkLogFile(const Front *front, const Request &request) {
  static constexpr OptionId others[] = {optionQuiet, optionJson};
  for (OptionId id : others) {
    if (request.options[id] != nullptr && isStandardOutput(request.options[optionLogFile])) {
      complain(front, "%a leaves no place for the log on the standard output; give --log-file FILE",
               g_xylOptions[id].longName);
      return wrongUsage();
    }
  }
  return succeeded();
}

static Result checkOptions(const Front *front, const Request &request) {
  const Command &command = *request.command;
  for (UINTN id = 0; id < optionCount; ++id) {
    if (request.options[id] != nullptr && !takesOption(command.options, id)) {
      complain(front, "'%a' does not take option %a; see 'xyl help %a'", command.name, g_xylOptions[id].longName,
               command.name);
      return wrongUsage();
    }
  }
  Result result = checkQuiet(front, request);
  return isFailure(result) ? result : checkLogFile(front, request);
}

static Result checkOperands(const Front *front, const Request &request) {
  const Command &command = *request.command;
  for (UINTN i = 0; i < request.operandCount; ++i) {
    if (*request.operands[i] == 0) { // as a variable of a script that is not set
      complain(front, "argument %d of '%a' is empty; nothing was done", static_cast<UINT32>(i + 1), command.name);
      return wrongUsage();
    }
  }
  if (request.operandCount < command.operandsMin) {
    complain(front, "'%a' needs an argument %a; see 'xyl help %a'", command.name, command.operands, command.name);
    return wrongUsage();
  }
  if (request.operandCount > command.operandsMax) {
    complain(front, "'%a' does not take the argument '%a'; see 'xyl help %a'", command.name,
             request.operands[command.operandsMax], command.name);
    return wrongUsage();
  }
  return succeeded();
}

// Refuses options that name a controller which the command would not ask, since it has documents.
static Result refuseController(const Front *front, const Request &request) {
  static constexpr OptionId sources[] = {optionController, optionPreset, optionDisk, optionNumber};
  for (OptionId id : sources) {
    if (request.options[id] != nullptr) {
      complain(front, "'%a' reads the documents that it is given and asks no controller; leave out %a",
               request.command->name, g_xylOptions[id].longName);
      return wrongUsage();
    }
  }
  return succeeded();
}

Result xylParse(const Front *front, UINTN count, const CHAR8 *const *arguments, Request *request) {
  *request = {};
  Words words = {};
  Result result = splitArguments(front, count, arguments, request, &words);
  if (isFailure(result) || request->version) {
    return result;
  }
  UINTN at = 0;
  if (words.count != 0 && textEqual(words.words[0], "help")) {
    request->help = true;
    at = 1;
  }
  if (at == words.count) {
    if (request->help) {
      return succeeded();
    }
    complain(front, "no command is given; 'xyl help' lists the commands");
    return wrongUsage();
  }
  if (request->help && at + 1 == words.count && namesGroup(front, words.words[at])) {
    request->group = words.words[at];
    return succeeded();
  }
  request->command = findCommand(front, words, &at);
  if (request->command == nullptr) {
    return wrongUsage();
  }
  if (request->help) {
    return succeeded();
  }
  for (; at < words.count; ++at) {
    request->operands[request->operandCount++] = words.words[at];
  }
  result = checkOptions(front, *request);
  if (!isFailure(result)) {
    result = checkOperands(front, *request);
  }
  bool asksNone = request->command->need != nullptr && !xylNeedsController(*request);
  return isFailure(result) || !asksNone ? result : refuseController(front, *request);
}

Result xylRun(const Front *front, const Request &request) {
  if (xylHelp(front, request)) {
    return succeeded();
  }
  setSystemTable(front->systemTable);
  jsonForget();
  Looks looks = beginLooks();
  Result result = request.command->run(Context{front, &request});
  endLooks(&looks);
  xylTellFailure(front, request, result);
  return result;
}

} // namespace xyl::client
