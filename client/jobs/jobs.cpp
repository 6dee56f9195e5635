#include "client/jobs/jobs.h"

#include "base/text.h"
#include "client/controllers/controllers.h"

namespace xyl::client {

const CHAR8 *const g_jobConditions[] = {"", "ok:", "different:", "failed:"};
const CHAR8 *const g_jobEnds[] = {"return", "reset", "shutdown"};

constexpr UINT32 jobWordsMax = 100U;
constexpr UINT32 transfersMax = 100U;

namespace {

// What is known while the file is read.
struct Reader {
  const Front *front;
  const JobNames *names;
  JobFile *jobs;
  UINT32 number;   // of the line
  bool hasMistake; // anywhere
  bool isOver;     // behind an unconditional end
  UINT32 limit;    // of the lines from here on
  jobs::Tries tries;
  bool isFetched;
  UINT32 transfers;           // lines with a transfer
  UINT32 sends[transfersMax]; // those of the job's lines that send a file
  UINT32 sendCount;
};

} // namespace

static void mistake(Reader *reader, const CHAR8 *what, const CHAR8 *which = "") {
  complain(reader->front, "job file, line %d: %a%a", reader->number, what, which);
  reader->hasMistake = true;
}

// --- Words ---

struct Cursor {
  const CHAR8 *at;
  const CHAR8 *end; // of the line
};

static bool isBlank(CHAR8 letter) {
  return letter == ' ' || letter == '\t' || letter == '\r';
}

// Takes what stands behind a percent sign, up to the next one.
static void takeName(Reader *reader, Cursor *cursor, Text *to) {
  Text name = {};
  for (; cursor->at != cursor->end && *cursor->at != '%'; ++cursor->at) {
    putBytes(&name, cursor->at, 1);
  }
  bool isClosed = cursor->at != cursor->end;
  cursor->at += isClosed ? 1 : 0;
  const JobName *row = nullptr;
  for (UINTN i = 0; i < reader->names->count; ++i) {
    row = textEqual(reader->names->rows[i].name, textOf(name)) ? &reader->names->rows[i] : row;
  }
  if (!isClosed) {
    mistake(reader, "a percent sign has no partner; %% stands for one");
  } else if (name.length == 0) {
    putText(to, "%");
  } else if (row == nullptr) {
    mistake(reader, "there are %SERIAL% and %UUID%, and no %", textOf(name));
  } else if (row->value != nullptr && *row->value == 0) {
    mistake(reader, "this machine's firmware does not tell its %", textOf(name));
  } else {
    const CHAR8 *mark = row->value != nullptr ? "" : "%";
    putText(to, mark);
    putText(to, row->value != nullptr ? row->value : row->name);
    putText(to, mark);
  }
  freeText(&name);
}

// Takes one word; false at the end of the line.
static bool takeWord(Reader *reader, Cursor *cursor, Text *word) {
  while (cursor->at != cursor->end && isBlank(*cursor->at)) {
    ++cursor->at;
  }
  if (cursor->at == cursor->end) {
    return false;
  }
  bool isQuoted = false;
  while (cursor->at != cursor->end && (isQuoted || !isBlank(*cursor->at))) {
    CHAR8 letter = *cursor->at++;
    if (letter == '"') {
      isQuoted = !isQuoted;
    } else if (letter == '%') {
      takeName(reader, cursor, word);
    } else {
      putBytes(word, &letter, 1);
    }
  }
  if (isQuoted) {
    mistake(reader, "a quotation mark has no partner");
  }
  return true;
}

static bool hasBlank(const CHAR8 *text) {
  while (*text != 0 && !isBlank(*text)) {
    ++text;
  }
  return *text != 0;
}

static void addWord(JobLine *line, const Text &word) {
  const CHAR8 *mark = word.length == 0 || hasBlank(textOf(word)) ? "\"" : "";
  const CHAR8 *parts[] = {line->wordCount != 0 ? " " : "", mark, textOf(word), mark};
  for (const CHAR8 *part : parts) {
    putText(&line->text, part);
  }
  putBytes(&line->words, textOf(word), word.length + 1);
  ++line->wordCount;
}

static void takeWords(Reader *reader, Cursor cursor, JobLine *line) {
  bool isFirst = true;
  for (Text word = {}; takeWord(reader, &cursor, &word); freeText(&word), isFirst = false) {
    UINTN condition = jobFailed;
    while (isFirst && condition != jobAlways && !textEqual(textOf(word), g_jobConditions[condition])) {
      --condition;
    }
    if (isFirst && condition != jobAlways) {
      line->condition = static_cast<JobCondition>(condition);
    } else if (isFirst && word.length != 0 && word.chars[word.length - 1] == ':') {
      mistake(reader, "conditions are ok:, different: and failed:, not ", textOf(word));
    } else {
      addWord(line, word);
    }
    if (word.failed) {
      reader->hasMistake = true;
    }
  }
  if (line->text.failed || line->words.failed) {
    mistake(reader, "there is not enough memory");
  }
}

// --- What a line says ---

static const CHAR8 *wordOf(const JobLine &line, UINTN index) {
  const CHAR8 *word = textOf(line.words);
  for (; index != 0; --index) {
    word += textLength(word) + 1;
  }
  return word;
}

static void readEnd(Reader *reader, JobLine *line) {
  UINTN end = jobShutdown;
  while (line->wordCount == 2 && end != jobReturn && !textEqual(wordOf(*line, 1), g_jobEnds[end])) {
    --end;
  }
  if (line->wordCount != 2 || !textEqual(wordOf(*line, 1), g_jobEnds[end])) {
    mistake(reader, "'end' wants one of return, reset and shutdown");
  }
  line->end = static_cast<JobEnd>(end);
  reader->isOver = reader->isOver || line->condition == jobAlways;
}

constexpr UINT32 limitMax = 1440U; // minutes

static void readLimit(Reader *reader, JobLine *line) {
  const CHAR8 *text = line->wordCount == 2 ? wordOf(*line, 1) : "";
  bool isNumber = *text != 0;
  for (const CHAR8 *at = text; *at != 0; ++at) {
    isNumber = isNumber && *at >= '0' && *at <= '9';
  }
  UINT64 minutes = parseDecimal(text);
  if (!isNumber || minutes > limitMax) {
    mistake(reader, "'limit' wants minutes, at most 1440; 0 is none");
    return;
  }
  reader->limit = static_cast<UINT32>(minutes);
}

// --- The network ---

namespace {

// What the line's first words say, which is no more than a file or URL and how it is sent.
struct Words {
  UINTN count;
  const CHAR8 *items[jobWordsMax];
};

} // namespace

static Words wordsOf(const JobLine &line) {
  Words words = {line.wordCount < jobWordsMax ? line.wordCount : jobWordsMax, {}};
  const CHAR8 *word = textOf(line.words);
  for (UINTN i = 0; i < words.count; ++i) {
    words.items[i] = word;
    word += textLength(word) + 1;
  }
  return words;
}

static void mistakeIn(Reader *reader, const JobLine &line, const CHAR8 *fault) {
  if (fault != nullptr) {
    complain(reader->front, "job file, line %d: '%a' %a", reader->number, textOf(line.words), fault);
    reader->hasMistake = true;
  }
}

static void checkUrl(Reader *reader, const CHAR8 *text) {
  jobs::Url url;
  const CHAR8 *fault = jobs::readUrl(text, &url);
  if (fault == nullptr && *url.path == 0) {
    fault = "names no file on the server";
  }
  if (fault != nullptr) {
    complain(reader->front, "job file, line %d: the URL %a: '%a'", reader->number, fault, text);
    reader->hasMistake = true;
  }
  reader->jobs->isSecure = reader->jobs->isSecure || url.isSecure;
}

jobs::TransferLine transferOf(const JobLine &line) {
  Words words = wordsOf(line);
  jobs::TransferLine read;
  jobs::readTransfer(words.count, words.items, &read);
  return read;
}

static void readTransferLine(Reader *reader, JobLine *line) {
  Words words = wordsOf(*line);
  jobs::TransferLine read;
  const CHAR8 *fault = jobs::readTransfer(words.count, words.items, &read);
  mistakeIn(reader, *line, fault);
  if (fault == nullptr) {
    checkUrl(reader, read.url);
  }
  line->transfer = read.transfer;
  line->tries = reader->tries;
  if (++reader->transfers == transfersMax + 1) {
    mistake(reader, "a job has at most 100 lines with 'fetch' and 'send'");
  }
}

// Keeps a line that is done before the first or behind the last of the others.
static void takeAside(Reader *reader, JobLine *line, JobLine *kept) {
  if (kept->wordCount != 0) {
    mistake(reader, "stands here for a second time");
    return;
  }
  line->tries = reader->tries;
  *kept = *line;
  line->text = {}; // are the other's
  line->words = {};
}

static void readSource(Reader *reader, JobLine *line) {
  if (line->wordCount != 2) {
    mistakeIn(reader, *line, "wants the URL from which the job comes");
  } else if (reader->isFetched) {
    mistakeIn(reader, *line, "does not stand in a job that was fetched");
  } else {
    checkUrl(reader, wordsOf(*line).items[1]);
    takeAside(reader, line, &reader->jobs->source);
  }
}

const CHAR8 *sourceOf(const JobFile &jobs) {
  return jobs.source.wordCount == 2 ? wordOf(jobs.source, 1) : "";
}

static void readNetworkLine(Reader *reader, JobLine *line) {
  Words words = wordsOf(*line);
  if (reader->isFetched) {
    mistakeIn(reader, *line, "stands in the medium's own file, by which the job was fetched");
    return;
  }
  mistakeIn(reader, *line, jobs::readNetwork(words.count, words.items, &reader->jobs->network));
}

static void readTriesLine(Reader *reader, JobLine *line) {
  Words words = wordsOf(*line);
  mistakeIn(reader, *line, jobs::readTries(words.count, words.items, &reader->tries));
}

static void readResult(Reader *reader, JobLine *line) {
  readTransferLine(reader, line);
  takeAside(reader, line, &reader->jobs->result);
}

// --- What says how the job runs ---

static void readAgain(Reader *reader, JobLine *) {
  reader->jobs->again = true;
}

namespace {

struct Setting {
  const CHAR8 *word;
  const CHAR8 *second; // null: any
  UINT32 wordsMax;
  void (*read)(Reader *reader, JobLine *line);
};

} // namespace

static constexpr Setting g_settings[] = {
    {"again", nullptr, 1, readAgain},
    {"limit", nullptr, jobWordsMax, readLimit},
    {"job", nullptr, jobWordsMax, readSource},
    {"network", nullptr, jobWordsMax, readNetworkLine},
    {"attempts", nullptr, jobWordsMax, readTriesLine},
    {"send", jobs::resultFile, jobWordsMax, readResult},
};

// Takes what is no line of the job, but says how it runs.
static bool takeSetting(Reader *reader, JobLine *line) {
  const CHAR8 *first = textOf(line->words);
  for (const Setting &setting : g_settings) {
    if (line->wordCount != 0 && line->wordCount <= setting.wordsMax && textEqual(first, setting.word) &&
        (setting.second == nullptr ||
         (line->wordCount > 1 && jobs::isSameName(wordsOf(*line).items[1], setting.second)))) {
      if (line->condition == jobAlways) {
        setting.read(reader, line);
      } else {
        mistakeIn(reader, *line, "is for the whole job and takes no condition here");
      }
      return true;
    }
  }
  return false;
}

Result parseJob(const Front *front, const JobLine &line, Request *request) {
  const CHAR8 *words[jobWordsMax];
  for (UINTN i = 0; i < line.wordCount; ++i) {
    words[i] = wordOf(line, i);
  }
  return xylParse(front, line.wordCount, words, request);
}

// Without the prefix and the line feed that are for a message of its own.
static const CHAR8 *messageOf(Text *told) {
  UINTN prefix = 5;
  if (told->length <= prefix) {
    return "the command line is wrong";
  }
  told->chars[told->length - 1] = 0;
  return told->chars + prefix;
}

static void checkCommand(Reader *reader, const JobLine &line) {
  if (line.wordCount > jobWordsMax) {
    mistake(reader, "there are too many words");
    return;
  }
  Text told = {};
  Front front = capturingFront(&told, frontShell);
  front.commands = g_xylCommands;
  Request request;
  if (isFailure(parseJob(&front, line, &request))) {
    mistake(reader, messageOf(&told));
  } else if (xylChangesController(request) && request.options[optionYes] != nullptr) {
    const CHAR8 *controller = request.options[optionNumber];
    if (controller == nullptr || isControllerNumber(controller)) {
      mistake(reader, "--yes wants -c with the controller's PCI place, WWN or name");
    }
  }
  freeText(&told);
}

static void freeLine(JobLine *line) {
  freeText(&line->text);
  freeText(&line->words);
}

static void readLine(Reader *reader, Cursor cursor) {
  JobLine *line = arrayAppend(reader->jobs->lines);
  if (line == nullptr) {
    mistake(reader, "there is not enough memory");
    return;
  }
  line->number = reader->number;
  line->end = jobGoesOn;
  line->limit = reader->limit;
  bool hadMistake = reader->hasMistake;
  reader->hasMistake = false;
  bool wasOver = reader->isOver;
  takeWords(reader, cursor, line);
  const CHAR8 *first = textOf(line->words);
  if (reader->hasMistake) {
    // Told already.
  } else if (wasOver) {
    mistake(reader, "stands behind the end and would never run");
  } else if (line->wordCount == 0) {
    mistake(reader, "a condition wants a command behind it");
  } else if (takeSetting(reader, line)) {
    freeLine(line);
    --reader->jobs->lines.count;
  } else if (line->condition != jobAlways && reader->jobs->lines.count == 1) {
    mistake(reader, "a condition wants a line before it");
  } else if (textEqual(first, "end")) {
    readEnd(reader, line);
  } else if (textEqual(first, "fetch") || textEqual(first, "send")) {
    readTransferLine(reader, line);
    if (line->transfer != jobs::Transfer::fetch && reader->sendCount < transfersMax) {
      reader->sends[reader->sendCount++] = reader->jobs->lines.count - 1;
    }
  } else {
    checkCommand(reader, *line);
  }
  reader->hasMistake = reader->hasMistake || hadMistake;
}

// --- The file ---

static bool isText(const CHAR8 *text, UINTN size) {
  for (UINTN i = 0; i < size; ++i) {
    if (text[i] == 0) {
      return false; // as in UTF-16
    }
  }
  return true;
}

static void readLines(Reader *reader, const CHAR8 *text, UINTN size) {
  bool hasMark = size >= 3 && __builtin_memcmp(text, "\xEF\xBB\xBF", 3) == 0;
  const CHAR8 *end = text + size;
  for (const CHAR8 *at = text + (hasMark ? 3 : 0); at != end;) {
    Cursor cursor = {at, at};
    while (cursor.end != end && *cursor.end != '\n') {
      ++cursor.end;
    }
    at = cursor.end != end ? cursor.end + 1 : end;
    ++reader->number;
    while (cursor.at != cursor.end && isBlank(*cursor.at)) {
      ++cursor.at;
    }
    if (cursor.at != cursor.end && *cursor.at != '#') {
      readLine(reader, cursor);
    }
  }
  bool isNamed = reader->jobs->source.wordCount != 0;
  if (isNamed && reader->jobs->lines.count != 0) {
    mistake(reader, "the job comes from the URL of 'job', so no other lines stand here");
  } else if (!isNamed && reader->jobs->lines.count == 0 && !reader->hasMistake) {
    mistake(reader, "there is nothing to do");
  }
}

// No line sends a file that is something for another line. withheld may be null.
static void checkSends(Reader *reader, const CHAR8 *withheld, const CHAR8 *why) {
  const Front *front = reader->front;
  for (UINT32 i = 0; withheld != nullptr && i < reader->sendCount; ++i) {
    const JobLine &line = reader->jobs->lines.items[reader->sends[i]];
    const CHAR8 *file = transferOf(line).file;
    if (jobs::isSameName(file, withheld) ||
        (front->isSameFile != nullptr && front->isSameFile(front, file, withheld))) {
      reader->number = line.number;
      mistake(reader, why, file);
    }
  }
}

// Passphrases stay. And who writes a job elsewhere must not get, by a login of the medium's, what another server has.
static void checkAllSends(Reader *reader) {
  static constexpr const CHAR8 *passphrase = "a file with a passphrase is not sent: ";
  for (UINT32 i = 0; reader->sendCount != 0 && i < reader->jobs->lines.count; ++i) {
    const JobLine &line = reader->jobs->lines.items[i];
    Text unheard = {};
    Front front = capturingFront(&unheard, frontShell);
    front.commands = g_xylCommands;
    Request request;
    if (line.transfer == jobs::Transfer::none && line.end == jobGoesOn && line.wordCount <= jobWordsMax &&
        !isFailure(parseJob(&front, line, &request))) {
      checkSends(reader, request.options[optionPassphraseFile], passphrase);
      checkSends(reader, request.options[optionOldPassphraseFile], passphrase);
    } else if (line.transfer == jobs::Transfer::fetch && reader->isFetched) {
      checkSends(reader, transferOf(line).file, "a job that was fetched does not send what it fetches: ");
    }
    freeText(&unheard);
  }
}

Result readJobs(const Front *front, const CHAR8 *text, UINTN size, const JobNames &names, JobFile *jobs,
                const JobFile *namedBy) {
  *jobs = {};
  Reader reader = {};
  reader.front = front;
  reader.names = &names;
  reader.jobs = jobs;
  reader.tries = jobs::usualTries;
  reader.isFetched = namedBy != nullptr;
  if (namedBy != nullptr) {
    jobs->network = namedBy->network;
    reader.limit = namedBy->source.limit;
    reader.tries = namedBy->source.tries;
  }
  if (size > jobFileLimit) {
    mistake(&reader, "the file is larger than 64 KB");
  } else if (!isText(text, size)) {
    mistake(&reader, "the file is no UTF-8 text");
  } else {
    readLines(&reader, text, size);
    checkAllSends(&reader);
  }
  return reader.hasMistake ? wrongUsage() : succeeded();
}

void freeJobs(JobFile *jobs) {
  for (UINT32 i = 0; i < jobs->lines.count; ++i) {
    freeLine(&jobs->lines.items[i]);
  }
  freeLine(&jobs->source);
  freeLine(&jobs->result);
  poolFree(jobs->lines.items);
  *jobs = {};
}

bool isJobFor(JobCondition condition, Outcome outcome) {
  switch (condition) {
  case jobOk:
    return outcome == outcomeSuccess;
  case jobDifferent:
    return outcome == outcomeDifferent;
  case jobFailed:
    return outcome > outcomeDifferent;
  default:
    return true;
  }
}

} // namespace xyl::client
