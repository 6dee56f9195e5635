// The words of a job file's lines.
#include "client/jobs/reading.h"

#include "base/text.h"

namespace xyl::client {

const CHAR8 *const g_jobConditions[] = {"", "ok:", "different:", "failed:"};
const CHAR8 *const g_jobEnds[] = {"return", "reset", "shutdown"};

void mistake(JobReader *reader, const CHAR8 *what, const CHAR8 *which) {
  complain(reader->front, "job file, line %d: %a%a", reader->number, what, which);
  reader->hasMistake = true;
}

void mistakeIn(JobReader *reader, const JobLine &line, const CHAR8 *fault) {
  if (fault != nullptr) {
    complain(reader->front, "job file, line %d: '%a' %a", reader->number, textOf(line.words), fault);
    reader->hasMistake = true;
  }
}

static bool isBlank(CHAR8 letter) {
  return letter == ' ' || letter == '\t' || letter == '\r';
}

void skipBlanks(Cursor *cursor) {
  while (cursor->at != cursor->end && isBlank(*cursor->at)) {
    ++cursor->at;
  }
}

// Takes what stands behind a percent sign, up to the next one.
static void takeName(JobReader *reader, Cursor *cursor, Text *to) {
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
static bool takeWord(JobReader *reader, Cursor *cursor, Text *word) {
  skipBlanks(cursor);
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

void takeWords(JobReader *reader, Cursor cursor, JobLine *line) {
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

JobWords wordsOf(const JobLine &line) {
  JobWords words = {line.wordCount < jobWordsMax ? line.wordCount : jobWordsMax, {}};
  const CHAR8 *word = textOf(line.words);
  for (UINTN i = 0; i < words.count; ++i) {
    words.items[i] = word;
    word += textLength(word) + 1;
  }
  return words;
}

} // namespace xyl::client
