#include "client/jobs/reading.h"

#include "base/text.h"
#include "client/controllers/controllers.h"

namespace xyl::client {

// --- What a line says ---

static void readEnd(JobReader *reader, JobLine *line) {
  const CHAR8 *word = line->wordCount == 2 ? wordsOf(*line).items[1] : "";
  UINTN end = jobShutdown;
  while (end != jobReturn && !textEqual(word, g_jobEnds[end])) {
    --end;
  }
  if (!textEqual(word, g_jobEnds[end])) {
    mistake(reader, "'end' wants one of return, reset and shutdown");
  }
  line->end = static_cast<JobEnd>(end);
  reader->isOver = reader->isOver || line->condition == jobAlways;
}

constexpr UINT32 limitMax = 1440U; // minutes

static void readLimit(JobReader *reader, JobLine *line) {
  const CHAR8 *text = line->wordCount == 2 ? wordsOf(*line).items[1] : "";
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

// --- What says how the job runs ---

static void readAgain(JobReader *reader, JobLine *) {
  reader->jobs->again = true;
}

namespace {

struct Setting {
  const CHAR8 *word;
  const CHAR8 *second; // null: any
  UINT32 wordsMax;
  void (*read)(JobReader *reader, JobLine *line);
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
static bool takeSetting(JobReader *reader, JobLine *line) {
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
  JobWords words = wordsOf(line);
  return xylParse(front, words.count, words.items, request);
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

static void checkCommand(JobReader *reader, const JobLine &line) {
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

static void readLine(JobReader *reader, Cursor cursor) {
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

static void readLines(JobReader *reader, const CHAR8 *text, UINTN size) {
  bool hasMark = size >= 3 && __builtin_memcmp(text, "\xEF\xBB\xBF", 3) == 0;
  const CHAR8 *end = text + size;
  for (const CHAR8 *at = text + (hasMark ? 3 : 0); at != end;) {
    Cursor cursor = {at, at};
    while (cursor.end != end && *cursor.end != '\n') {
      ++cursor.end;
    }
    at = cursor.end != end ? cursor.end + 1 : end;
    ++reader->number;
    skipBlanks(&cursor);
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
static void checkSends(JobReader *reader, const CHAR8 *withheld, const CHAR8 *why) {
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
static void checkAllSends(JobReader *reader) {
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
  JobReader reader = {};
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
