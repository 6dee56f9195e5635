#include "client/jobs/jobs.h"

#include "base/text.h"
#include "client/controllers/controllers.h"

const CHAR8 *const g_jobConditions[] = {"", "ok:", "different:", "failed:"};
const CHAR8 *const g_jobEnds[] = {"return", "reset", "shutdown"};

#define JOB_WORDS_MAX 100U
#define TRANSFERS_MAX 100U

namespace {

// What is known while the file is read.
struct READER {
  const XYL_FRONT *Front;
  const JOB_NAMES *Names;
  JOB_FILE *Jobs;
  UINT32 Number;   // of the line
  bool HasMistake; // anywhere
  bool IsOver;     // behind an unconditional end
  UINT32 Limit;    // of the lines from here on
  jobs::Tries Tries;
  bool IsFetched;
  UINT32 Transfers;            // lines with a transfer
  UINT32 Sends[TRANSFERS_MAX]; // those of the job's lines that send a file
  UINT32 SendCount;
};

} // namespace

static void mistake(READER *reader, const CHAR8 *what, const CHAR8 *which = "") {
  complain(reader->Front, "job file, line %d: %a%a", reader->Number, what, which);
  reader->HasMistake = true;
}

// --- Words ---

struct CURSOR {
  const CHAR8 *At;
  const CHAR8 *End; // of the line
};

static bool isBlank(CHAR8 letter) {
  return letter == ' ' || letter == '\t' || letter == '\r';
}

// Takes what stands behind a percent sign, up to the next one.
static void takeName(READER *reader, CURSOR *cursor, TEXT *to) {
  TEXT name = {};
  for (; cursor->At != cursor->End && *cursor->At != '%'; ++cursor->At) {
    putBytes(&name, cursor->At, 1);
  }
  bool isClosed = cursor->At != cursor->End;
  cursor->At += isClosed ? 1 : 0;
  const JOB_NAME *row = nullptr;
  for (UINTN i = 0; i < reader->Names->Count; ++i) {
    row = textEqual(reader->Names->Rows[i].Name, textOf(name)) ? &reader->Names->Rows[i] : row;
  }
  if (!isClosed) {
    mistake(reader, "a percent sign has no partner; %% stands for one");
  } else if (name.Length == 0) {
    putText(to, "%");
  } else if (row == nullptr) {
    mistake(reader, "there are %SERIAL% and %UUID%, and no %", textOf(name));
  } else if (row->Value != nullptr && *row->Value == 0) {
    mistake(reader, "this machine's firmware does not tell its %", textOf(name));
  } else {
    const CHAR8 *mark = row->Value != nullptr ? "" : "%";
    putText(to, mark);
    putText(to, row->Value != nullptr ? row->Value : row->Name);
    putText(to, mark);
  }
  freeText(&name);
}

// Takes one word; false at the end of the line.
static bool takeWord(READER *reader, CURSOR *cursor, TEXT *word) {
  while (cursor->At != cursor->End && isBlank(*cursor->At)) {
    ++cursor->At;
  }
  if (cursor->At == cursor->End) {
    return false;
  }
  bool isQuoted = false;
  while (cursor->At != cursor->End && (isQuoted || !isBlank(*cursor->At))) {
    CHAR8 letter = *cursor->At++;
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

static void addWord(JOB_LINE *line, const TEXT &word) {
  const CHAR8 *mark = word.Length == 0 || hasBlank(textOf(word)) ? "\"" : "";
  const CHAR8 *parts[] = {line->WordCount != 0 ? " " : "", mark, textOf(word), mark};
  for (const CHAR8 *part : parts) {
    putText(&line->Text, part);
  }
  putBytes(&line->Words, textOf(word), word.Length + 1);
  ++line->WordCount;
}

static void takeWords(READER *reader, CURSOR cursor, JOB_LINE *line) {
  bool isFirst = true;
  for (TEXT word = {}; takeWord(reader, &cursor, &word); freeText(&word), isFirst = false) {
    UINTN condition = JOB_FAILED;
    while (isFirst && condition != JOB_ALWAYS && !textEqual(textOf(word), g_jobConditions[condition])) {
      --condition;
    }
    if (isFirst && condition != JOB_ALWAYS) {
      line->Condition = static_cast<JOB_CONDITION>(condition);
    } else if (isFirst && word.Length != 0 && word.Chars[word.Length - 1] == ':') {
      mistake(reader, "conditions are ok:, different: and failed:, not ", textOf(word));
    } else {
      addWord(line, word);
    }
    if (word.Failed) {
      reader->HasMistake = true;
    }
  }
  if (line->Text.Failed || line->Words.Failed) {
    mistake(reader, "there is not enough memory");
  }
}

// --- What a line says ---

static const CHAR8 *wordOf(const JOB_LINE &line, UINTN index) {
  const CHAR8 *word = textOf(line.Words);
  for (; index != 0; --index) {
    word += textLength(word) + 1;
  }
  return word;
}

static void readEnd(READER *reader, JOB_LINE *line) {
  UINTN end = JOB_SHUTDOWN;
  while (line->WordCount == 2 && end != JOB_RETURN && !textEqual(wordOf(*line, 1), g_jobEnds[end])) {
    --end;
  }
  if (line->WordCount != 2 || !textEqual(wordOf(*line, 1), g_jobEnds[end])) {
    mistake(reader, "'end' wants one of return, reset and shutdown");
  }
  line->End = static_cast<JOB_END>(end);
  reader->IsOver = reader->IsOver || line->Condition == JOB_ALWAYS;
}

#define LIMIT_MAX 1440U // minutes

static void readLimit(READER *reader, JOB_LINE *line) {
  const CHAR8 *text = line->WordCount == 2 ? wordOf(*line, 1) : "";
  bool isNumber = *text != 0;
  for (const CHAR8 *at = text; *at != 0; ++at) {
    isNumber = isNumber && *at >= '0' && *at <= '9';
  }
  UINT64 minutes = parseDecimal(text);
  if (!isNumber || minutes > LIMIT_MAX) {
    mistake(reader, "'limit' wants minutes, at most 1440; 0 is none");
    return;
  }
  reader->Limit = static_cast<UINT32>(minutes);
}

// --- The network ---

namespace {

// What the line's first words say, which is no more than a file or URL and how it is sent.
struct WORDS {
  UINTN Count;
  const CHAR8 *Items[JOB_WORDS_MAX];
};

} // namespace

static WORDS wordsOf(const JOB_LINE &line) {
  WORDS words = {line.WordCount < JOB_WORDS_MAX ? line.WordCount : JOB_WORDS_MAX, {}};
  const CHAR8 *word = textOf(line.Words);
  for (UINTN i = 0; i < words.Count; ++i) {
    words.Items[i] = word;
    word += textLength(word) + 1;
  }
  return words;
}

static void mistakeIn(READER *reader, const JOB_LINE &line, const CHAR8 *fault) {
  if (fault != nullptr) {
    complain(reader->Front, "job file, line %d: '%a' %a", reader->Number, textOf(line.Words), fault);
    reader->HasMistake = true;
  }
}

static void checkUrl(READER *reader, const CHAR8 *text) {
  jobs::Url url;
  const CHAR8 *fault = jobs::readUrl(text, &url);
  if (fault == nullptr && *url.path == 0) {
    fault = "names no file on the server";
  }
  if (fault != nullptr) {
    complain(reader->Front, "job file, line %d: the URL %a: '%a'", reader->Number, fault, text);
    reader->HasMistake = true;
  }
  reader->Jobs->IsSecure = reader->Jobs->IsSecure || url.isSecure;
}

jobs::TransferLine transferOf(const JOB_LINE &line) {
  WORDS words = wordsOf(line);
  jobs::TransferLine read;
  jobs::readTransfer(words.Count, words.Items, &read);
  return read;
}

static void readTransferLine(READER *reader, JOB_LINE *line) {
  WORDS words = wordsOf(*line);
  jobs::TransferLine read;
  const CHAR8 *fault = jobs::readTransfer(words.Count, words.Items, &read);
  mistakeIn(reader, *line, fault);
  if (fault == nullptr) {
    checkUrl(reader, read.url);
  }
  line->Transfer = read.transfer;
  line->Tries = reader->Tries;
  if (++reader->Transfers == TRANSFERS_MAX + 1) {
    mistake(reader, "a job has at most 100 lines with 'fetch' and 'send'");
  }
}

// Keeps a line that is done before the first or behind the last of the others.
static void takeAside(READER *reader, JOB_LINE *line, JOB_LINE *kept) {
  if (kept->WordCount != 0) {
    mistake(reader, "stands here for a second time");
    return;
  }
  line->Tries = reader->Tries;
  *kept = *line;
  line->Text = {}; // are the other's
  line->Words = {};
}

static void readSource(READER *reader, JOB_LINE *line) {
  if (line->WordCount != 2) {
    mistakeIn(reader, *line, "wants the URL from which the job comes");
  } else if (reader->IsFetched) {
    mistakeIn(reader, *line, "does not stand in a job that was fetched");
  } else {
    checkUrl(reader, wordsOf(*line).Items[1]);
    takeAside(reader, line, &reader->Jobs->Source);
  }
}

const CHAR8 *sourceOf(const JOB_FILE &jobs) {
  return jobs.Source.WordCount == 2 ? wordOf(jobs.Source, 1) : "";
}

static void readNetworkLine(READER *reader, JOB_LINE *line) {
  WORDS words = wordsOf(*line);
  if (reader->IsFetched) {
    mistakeIn(reader, *line, "stands in the medium's own file, by which the job was fetched");
    return;
  }
  mistakeIn(reader, *line, jobs::readNetwork(words.Count, words.Items, &reader->Jobs->Network));
}

static void readTriesLine(READER *reader, JOB_LINE *line) {
  WORDS words = wordsOf(*line);
  mistakeIn(reader, *line, jobs::readTries(words.Count, words.Items, &reader->Tries));
}

static void readResult(READER *reader, JOB_LINE *line) {
  readTransferLine(reader, line);
  takeAside(reader, line, &reader->Jobs->Result);
}

// --- What says how the job runs ---

static void readAgain(READER *reader, JOB_LINE *) {
  reader->Jobs->Again = true;
}

namespace {

struct SETTING {
  const CHAR8 *Word;
  const CHAR8 *Second; // null: any
  UINT32 WordsMax;
  void (*Read)(READER *reader, JOB_LINE *line);
};

} // namespace

static constexpr SETTING g_settings[] = {
    {"again", nullptr, 1, readAgain},
    {"limit", nullptr, JOB_WORDS_MAX, readLimit},
    {"job", nullptr, JOB_WORDS_MAX, readSource},
    {"network", nullptr, JOB_WORDS_MAX, readNetworkLine},
    {"attempts", nullptr, JOB_WORDS_MAX, readTriesLine},
    {"send", jobs::resultFile, JOB_WORDS_MAX, readResult},
};

// Takes what is no line of the job, but says how it runs.
static bool takeSetting(READER *reader, JOB_LINE *line) {
  const CHAR8 *first = textOf(line->Words);
  for (const SETTING &setting : g_settings) {
    if (line->WordCount != 0 && line->WordCount <= setting.WordsMax && textEqual(first, setting.Word) &&
        (setting.Second == nullptr ||
         (line->WordCount > 1 && jobs::isSameName(wordsOf(*line).Items[1], setting.Second)))) {
      if (line->Condition == JOB_ALWAYS) {
        setting.Read(reader, line);
      } else {
        mistakeIn(reader, *line, "is for the whole job and takes no condition here");
      }
      return true;
    }
  }
  return false;
}

XYL_RESULT parseJob(const XYL_FRONT *front, const JOB_LINE &line, XYL_REQUEST *request) {
  const CHAR8 *words[JOB_WORDS_MAX];
  for (UINTN i = 0; i < line.WordCount; ++i) {
    words[i] = wordOf(line, i);
  }
  return xylParse(front, line.WordCount, words, request);
}

// Without the prefix and the line feed that are for a message of its own.
static const CHAR8 *messageOf(TEXT *told) {
  UINTN prefix = 5;
  if (told->Length <= prefix) {
    return "the command line is wrong";
  }
  told->Chars[told->Length - 1] = 0;
  return told->Chars + prefix;
}

static void checkCommand(READER *reader, const JOB_LINE &line) {
  if (line.WordCount > JOB_WORDS_MAX) {
    mistake(reader, "there are too many words");
    return;
  }
  TEXT told = {};
  XYL_FRONT front = capturingFront(&told, XYL_FRONT_SHELL);
  front.Commands = g_xylCommands;
  XYL_REQUEST request;
  if (isFailure(parseJob(&front, line, &request))) {
    mistake(reader, messageOf(&told));
  } else if (xylChangesController(request) && request.Options[XYL_OPTION_YES] != nullptr) {
    const CHAR8 *controller = request.Options[XYL_OPTION_NUMBER];
    if (controller == nullptr || isControllerNumber(controller)) {
      mistake(reader, "--yes wants -c with the controller's PCI place, WWN or name");
    }
  }
  freeText(&told);
}

static void freeLine(JOB_LINE *line) {
  freeText(&line->Text);
  freeText(&line->Words);
}

static void readLine(READER *reader, CURSOR cursor) {
  JOB_LINE *line = arrayAppend(reader->Jobs->Lines);
  if (line == nullptr) {
    mistake(reader, "there is not enough memory");
    return;
  }
  line->Number = reader->Number;
  line->End = JOB_GOES_ON;
  line->Limit = reader->Limit;
  bool hadMistake = reader->HasMistake;
  reader->HasMistake = false;
  bool wasOver = reader->IsOver;
  takeWords(reader, cursor, line);
  const CHAR8 *first = textOf(line->Words);
  if (reader->HasMistake) {
    // Told already.
  } else if (wasOver) {
    mistake(reader, "stands behind the end and would never run");
  } else if (line->WordCount == 0) {
    mistake(reader, "a condition wants a command behind it");
  } else if (takeSetting(reader, line)) {
    freeLine(line);
    --reader->Jobs->Lines.count;
  } else if (line->Condition != JOB_ALWAYS && reader->Jobs->Lines.count == 1) {
    mistake(reader, "a condition wants a line before it");
  } else if (textEqual(first, "end")) {
    readEnd(reader, line);
  } else if (textEqual(first, "fetch") || textEqual(first, "send")) {
    readTransferLine(reader, line);
    if (line->Transfer != jobs::Transfer::fetch && reader->SendCount < TRANSFERS_MAX) {
      reader->Sends[reader->SendCount++] = reader->Jobs->Lines.count - 1;
    }
  } else {
    checkCommand(reader, *line);
  }
  reader->HasMistake = reader->HasMistake || hadMistake;
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

static void readLines(READER *reader, const CHAR8 *text, UINTN size) {
  bool hasMark = size >= 3 && __builtin_memcmp(text, "\xEF\xBB\xBF", 3) == 0;
  const CHAR8 *end = text + size;
  for (const CHAR8 *at = text + (hasMark ? 3 : 0); at != end;) {
    CURSOR cursor = {at, at};
    while (cursor.End != end && *cursor.End != '\n') {
      ++cursor.End;
    }
    at = cursor.End != end ? cursor.End + 1 : end;
    ++reader->Number;
    while (cursor.At != cursor.End && isBlank(*cursor.At)) {
      ++cursor.At;
    }
    if (cursor.At != cursor.End && *cursor.At != '#') {
      readLine(reader, cursor);
    }
  }
  bool isNamed = reader->Jobs->Source.WordCount != 0;
  if (isNamed && reader->Jobs->Lines.count != 0) {
    mistake(reader, "the job comes from the URL of 'job', so no other lines stand here");
  } else if (!isNamed && reader->Jobs->Lines.count == 0 && !reader->HasMistake) {
    mistake(reader, "there is nothing to do");
  }
}

// No line sends a file that is something for another line. withheld may be null.
static void checkSends(READER *reader, const CHAR8 *withheld, const CHAR8 *why) {
  const XYL_FRONT *front = reader->Front;
  for (UINT32 i = 0; withheld != nullptr && i < reader->SendCount; ++i) {
    const JOB_LINE &line = reader->Jobs->Lines.items[reader->Sends[i]];
    const CHAR8 *file = transferOf(line).file;
    if (jobs::isSameName(file, withheld) ||
        (front->IsSameFile != nullptr && front->IsSameFile(front, file, withheld))) {
      reader->Number = line.Number;
      mistake(reader, why, file);
    }
  }
}

// Passphrases stay. And who writes a job elsewhere must not get, by a login of the medium's, what another server has.
static void checkAllSends(READER *reader) {
  static constexpr const CHAR8 *passphrase = "a file with a passphrase is not sent: ";
  for (UINT32 i = 0; reader->SendCount != 0 && i < reader->Jobs->Lines.count; ++i) {
    const JOB_LINE &line = reader->Jobs->Lines.items[i];
    TEXT unheard = {};
    XYL_FRONT front = capturingFront(&unheard, XYL_FRONT_SHELL);
    front.Commands = g_xylCommands;
    XYL_REQUEST request;
    if (line.Transfer == jobs::Transfer::none && line.End == JOB_GOES_ON && line.WordCount <= JOB_WORDS_MAX &&
        !isFailure(parseJob(&front, line, &request))) {
      checkSends(reader, request.Options[XYL_OPTION_PASSPHRASE_FILE], passphrase);
      checkSends(reader, request.Options[XYL_OPTION_OLD_PASSPHRASE_FILE], passphrase);
    } else if (line.Transfer == jobs::Transfer::fetch && reader->IsFetched) {
      checkSends(reader, transferOf(line).file, "a job that was fetched does not send what it fetches: ");
    }
    freeText(&unheard);
  }
}

XYL_RESULT readJobs(const XYL_FRONT *front, const CHAR8 *text, UINTN size, const JOB_NAMES &names, JOB_FILE *jobs,
                    const JOB_FILE *namedBy) {
  *jobs = {};
  READER reader = {};
  reader.Front = front;
  reader.Names = &names;
  reader.Jobs = jobs;
  reader.Tries = jobs::usualTries;
  reader.IsFetched = namedBy != nullptr;
  if (namedBy != nullptr) {
    jobs->Network = namedBy->Network;
    reader.Limit = namedBy->Source.Limit;
    reader.Tries = namedBy->Source.Tries;
  }
  if (size > JOB_FILE_LIMIT) {
    mistake(&reader, "the file is larger than 64 KB");
  } else if (!isText(text, size)) {
    mistake(&reader, "the file is no UTF-8 text");
  } else {
    readLines(&reader, text, size);
    checkAllSends(&reader);
  }
  return reader.HasMistake ? wrongUsage() : succeeded();
}

void freeJobs(JOB_FILE *jobs) {
  for (UINT32 i = 0; i < jobs->Lines.count; ++i) {
    freeLine(&jobs->Lines.items[i]);
  }
  freeLine(&jobs->Source);
  freeLine(&jobs->Result);
  poolFree(jobs->Lines.items);
  *jobs = {};
}

bool isJobFor(JOB_CONDITION condition, XYL_OUTCOME outcome) {
  switch (condition) {
  case JOB_OK:
    return outcome == XYL_SUCCESS;
  case JOB_DIFFERENT:
    return outcome == XYL_DIFFERENT;
  case JOB_FAILED:
    return outcome > XYL_DIFFERENT;
  default:
    return true;
  }
}
