#include "base/pool.h"
#include "base/text.h"
#include "client/command_line/command_line.h"
#include "client/command_line/looks.h"

// The command line split into options (in the request) and words.
struct WORDS {
  const CHAR8 *Words[XYL_WORDS_MAX];
  UINTN Count;
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
static UINTN findOption(const XYL_FRONT *front, const CHAR8 *argument, const CHAR8 **value) {
  *value = nullptr;
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    const XYL_OPTION &option = g_xylOptions[id];
    if ((option.Fronts & front->Kind) == 0) {
      continue;
    }
    if (textEqual(argument, option.Long) || (option.Short != nullptr && textEqual(argument, option.Short))) {
      return id;
    }
    *value = valueBehind(argument, option.Long);
    if (*value != nullptr) {
      return id;
    }
  }
  return XYL_OPTION_COUNT;
}

// Takes the option at *at and its value, and leaves *at on the last argument taken.
static XYL_RESULT takeOption(const XYL_FRONT *front, UINTN count, const CHAR8 *const *arguments, UINTN *at,
                             XYL_REQUEST *request) {
  const CHAR8 *argument = arguments[*at];
  const CHAR8 *value = nullptr;
  UINTN id = findOption(front, argument, &value);
  if (id == XYL_OPTION_COUNT) {
    complain(front, "unknown option '%a'; 'xyl help' lists the options", argument);
    return wrongUsage();
  }
  const XYL_OPTION &option = g_xylOptions[id];
  if (request->Options[id] != nullptr && !option.Repeats) {
    complain(front, "option %a is given twice; give it once", option.Long);
    return wrongUsage();
  }
  if (option.Value == nullptr && value != nullptr) {
    complain(front, "option %a takes no value; leave out '=%a'", option.Long, value);
    return wrongUsage();
  }
  if (option.Value != nullptr && value == nullptr && *at + 1 < count) {
    value = arguments[++*at];
  }
  if (option.Value != nullptr && (value == nullptr || *value == 0)) {
    complain(front, "option %a needs a value; write %a %a", argument, argument, option.Value);
    return wrongUsage();
  }
  request->Options[id] = value != nullptr ? value : "";
  if (id != XYL_OPTION_DISK) {
    return succeeded();
  }
  if (request->DiskCount == XYL_DISKS_MAX) {
    complain(front, "option %a is given too often; %u disks are served at most", option.Long, UINT32{XYL_DISKS_MAX});
    return wrongUsage();
  }
  request->Disks[request->DiskCount++] = value;
  return succeeded();
}

static XYL_RESULT splitArguments(const XYL_FRONT *front, UINTN count, const CHAR8 *const *arguments,
                                 XYL_REQUEST *request, WORDS *words) {
  bool optionsEnded = false;
  for (UINTN i = 0; i < count; ++i) {
    const CHAR8 *argument = arguments[i];
    if (!optionsEnded && isHelpSwitch(argument)) {
      request->Help = true;
    } else if (!optionsEnded && textEqual(argument, "--version")) {
      request->Version = true;
    } else if (!optionsEnded && textEqual(argument, "--")) {
      optionsEnded = true;
    } else if (!optionsEnded && argument[0] == '-' && argument[1] != 0) {
      XYL_RESULT result = takeOption(front, count, arguments, &i, request);
      if (isFailure(result)) {
        return result;
      }
    } else if (words->Count == XYL_WORDS_MAX) {
      complain(front, "too many arguments from '%a' on; 'xyl help' lists the commands", argument);
      return wrongUsage();
    } else {
      words->Words[words->Count++] = argument;
    }
  }
  return succeeded();
}

// Whether the words at from begin with the command's name; *taken is then the number of its words.
static bool namesCommand(const WORDS &words, UINTN from, const CHAR8 *name, UINTN *taken) {
  UINTN word = from;
  const CHAR8 *at = name;
  for (; word < words.Count; ++word) {
    for (const CHAR8 *text = words.Words[word]; *text != 0; ++text, ++at) {
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

static bool namesGroup(const XYL_FRONT *front, const CHAR8 *word) {
  for (const XYL_COMMAND &command : front->Commands) {
    if (isInGroup(command, word)) {
      return true;
    }
  }
  return false;
}

// A command of two words of which the second is missing or unknown. There may be no pool yet.
static void complainOfGroup(const XYL_FRONT *front, const CHAR8 *group, const CHAR8 *word) {
  CHAR8 verbs[256] = {};
  UINTN length = 0;
  for (const XYL_COMMAND &command : front->Commands) {
    if (!isInGroup(command, group)) {
      continue;
    }
    const CHAR8 *parts[] = {length != 0 ? ", " : "", command.Name + textLength(group) + 1};
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
static const XYL_COMMAND *findCommand(const XYL_FRONT *front, const WORDS &words, UINTN *from) {
  for (const XYL_COMMAND &command : front->Commands) {
    UINTN taken = 0;
    if (namesCommand(words, *from, command.Name, &taken)) {
      *from += taken;
      return &command;
    }
  }
  if (namesGroup(front, words.Words[*from])) {
    complainOfGroup(front, words.Words[*from], *from + 1 < words.Count ? words.Words[*from + 1] : "");
  } else {
    complain(front, "unknown command '%a'; 'xyl help' lists the commands", words.Words[*from]);
  }
  return nullptr;
}

// What is asked for must not be what --quiet leaves out.
static XYL_RESULT checkQuiet(const XYL_FRONT *front, const XYL_REQUEST &request) {
  static constexpr XYL_OPTION_ID others[] = {XYL_OPTION_JSON, XYL_OPTION_PROGRESS};
  if (request.Options[XYL_OPTION_QUIET] == nullptr) {
    return succeeded();
  }
  for (XYL_OPTION_ID id : others) {
    if (request.Options[id] != nullptr) {
      complain(front, "--quiet and %a exclude each other; give one of them", g_xylOptions[id].Long);
      return wrongUsage();
    }
  }
  const CHAR8 *output = request.Options[XYL_OPTION_OUTPUT];
  if (takesOption(request.Command->Options, XYL_OPTION_OUTPUT) && (output == nullptr || isStandardOutput(output))) {
    complain(front, "--quiet leaves nothing of '%a'; give --output FILE as well", request.Command->Name);
    return wrongUsage();
  }
  return succeeded();
}

// What is printed besides must not stand in the way of a log, nor a log in that of a document.
static XYL_RESULT checkLogFile(const XYL_FRONT *front, const XYL_REQUEST &request) {
  static constexpr XYL_OPTION_ID others[] = {XYL_OPTION_QUIET, XYL_OPTION_JSON};
  for (XYL_OPTION_ID id : others) {
    if (request.Options[id] != nullptr && isStandardOutput(request.Options[XYL_OPTION_LOG_FILE])) {
      complain(front, "%a leaves no place for the log on the standard output; give --log-file FILE",
               g_xylOptions[id].Long);
      return wrongUsage();
    }
  }
  return succeeded();
}

static XYL_RESULT checkOptions(const XYL_FRONT *front, const XYL_REQUEST &request) {
  const XYL_COMMAND &command = *request.Command;
  for (UINTN id = 0; id < XYL_OPTION_COUNT; ++id) {
    if (request.Options[id] != nullptr && !takesOption(command.Options, id)) {
      complain(front, "'%a' does not take option %a; see 'xyl help %a'", command.Name, g_xylOptions[id].Long,
               command.Name);
      return wrongUsage();
    }
  }
  XYL_RESULT result = checkQuiet(front, request);
  return isFailure(result) ? result : checkLogFile(front, request);
}

static XYL_RESULT checkOperands(const XYL_FRONT *front, const XYL_REQUEST &request) {
  const XYL_COMMAND &command = *request.Command;
  for (UINTN i = 0; i < request.OperandCount; ++i) {
    if (*request.Operands[i] == 0) { // as a variable of a script that is not set
      complain(front, "argument %d of '%a' is empty; nothing was done", static_cast<UINT32>(i + 1), command.Name);
      return wrongUsage();
    }
  }
  if (request.OperandCount < command.OperandsMin) {
    complain(front, "'%a' needs an argument %a; see 'xyl help %a'", command.Name, command.Operands, command.Name);
    return wrongUsage();
  }
  if (request.OperandCount > command.OperandsMax) {
    complain(front, "'%a' does not take the argument '%a'; see 'xyl help %a'", command.Name,
             request.Operands[command.OperandsMax], command.Name);
    return wrongUsage();
  }
  return succeeded();
}

// Refuses options that name a controller which the command would not ask, since it has documents.
static XYL_RESULT refuseController(const XYL_FRONT *front, const XYL_REQUEST &request) {
  static constexpr XYL_OPTION_ID sources[] = {XYL_OPTION_CONTROLLER, XYL_OPTION_PRESET, XYL_OPTION_DISK,
                                              XYL_OPTION_NUMBER};
  for (XYL_OPTION_ID id : sources) {
    if (request.Options[id] != nullptr) {
      complain(front, "'%a' reads the documents that it is given and asks no controller; leave out %a",
               request.Command->Name, g_xylOptions[id].Long);
      return wrongUsage();
    }
  }
  return succeeded();
}

XYL_RESULT xylParse(const XYL_FRONT *front, UINTN count, const CHAR8 *const *arguments, XYL_REQUEST *request) {
  *request = {};
  WORDS words = {};
  XYL_RESULT result = splitArguments(front, count, arguments, request, &words);
  if (isFailure(result) || request->Version) {
    return result;
  }
  UINTN at = 0;
  if (words.Count != 0 && textEqual(words.Words[0], "help")) {
    request->Help = true;
    at = 1;
  }
  if (at == words.Count) {
    if (request->Help) {
      return succeeded();
    }
    complain(front, "no command is given; 'xyl help' lists the commands");
    return wrongUsage();
  }
  if (request->Help && at + 1 == words.Count && namesGroup(front, words.Words[at])) {
    request->Group = words.Words[at];
    return succeeded();
  }
  request->Command = findCommand(front, words, &at);
  if (request->Command == nullptr) {
    return wrongUsage();
  }
  if (request->Help) {
    return succeeded();
  }
  for (; at < words.Count; ++at) {
    request->Operands[request->OperandCount++] = words.Words[at];
  }
  result = checkOptions(front, *request);
  if (!isFailure(result)) {
    result = checkOperands(front, *request);
  }
  bool asksNone = request->Command->Need != nullptr && !xylNeedsController(*request);
  return isFailure(result) || !asksNone ? result : refuseController(front, *request);
}

XYL_RESULT xylRun(const XYL_FRONT *front, const XYL_REQUEST &request) {
  if (xylHelp(front, request)) {
    return succeeded();
  }
  setSystemTable(front->SystemTable);
  jsonForget();
  LOOKS looks = beginLooks();
  XYL_RESULT result = request.Command->Run(XYL_CONTEXT{front, &request});
  endLooks(&looks);
  xylTellFailure(front, request, result);
  return result;
}
