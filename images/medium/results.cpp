// The result: what ran, when, on which machine and controller, and what came of it.
#include "base/text.h"
#include "images/medium/run.h"

namespace xyl::images {

const CHAR8 *outcomeWord(client::Outcome outcome) {
  return outcome == client::outcomeSuccess ? "ok" : outcome == client::outcomeDifferent ? "different" : "failed";
}

// --- Time ---

void readClock(EFI_TIME *time) {
  *time = {};
  EFI_RUNTIME_SERVICES *services = g_systemTable->RuntimeServices;
  if (services != nullptr && EFI_ERROR(services->GetTime(time, /* Capabilities= */ nullptr))) {
    *time = {};
  }
}

UINT64 secondsOf(const EFI_TIME &time) {
  // Years begin in March, so that the day that may be there is the last one.
  UINT64 years = time.Year - (time.Month < 3 ? 1U : 0U);
  UINT64 months = time.Month < 3 ? time.Month + 9U : time.Month - 3U;
  UINT64 days = years * 365 + years / 4 - years / 100 + years / 400 + (months * 153 + 2) / 5 + time.Day;
  return ((days * 24 + time.Hour) * 60 + time.Minute) * 60 + time.Second;
}

// The machine's clock as it goes, mostly UTC; "" when it tells nothing.
static void writeTime(client::Json *json, const CHAR8 *name, const EFI_TIME &time) {
  CHAR8 text[24] = "";
  const struct {
    UINT64 value;
    CHAR8 mark;
  } parts[] = {{time.Month, '-'}, {time.Day, '-'}, {time.Hour, 'T'}, {time.Minute, ':'}, {time.Second, ':'}};
  if (time.Year >= 1000 && time.Year <= 9999) {
    CHAR8 *at = text + formatDecimal(text, time.Year);
    for (const auto &part : parts) {
      *at++ = part.mark;
      *at++ = static_cast<CHAR8>('0' + part.value / 10 % 10);
      *at++ = static_cast<CHAR8>('0' + part.value % 10);
    }
    *at = 0;
  }
  client::jsonText(json, name, text);
}

// --- Names ---

void makeFileName(CHAR8 *name) {
  for (; *name != 0; ++name) {
    bool isPlain = (*name >= '0' && *name <= '9') || ((*name | 0x20) >= 'a' && (*name | 0x20) <= 'z') || *name == '-' ||
                   *name == '.' || *name == '_';
    *name = isPlain ? *name : '_';
  }
}

static constexpr UINTN serialLimit = 64; // letters of it in a name

ResultName resultName(const JobRun &run, const CHAR8 *suffix) {
  CHAR8 serial[serialLimit + 1] = "";
  UINTN length = textLength(run.server.serial);
  copyBytes(serial, run.server.serial, length < serialLimit ? length : serialLimit);
  makeFileName(serial);
  bool hasBoth = *serial != 0 && *run.server.uuid != 0;
  bool hasNone = *serial == 0 && *run.server.uuid == 0;
  ResultName name = {};
  CHAR8 *at = name.text;
  const CHAR8 *parts[] = {"results\\", serial, hasBoth ? "-" : hasNone ? "unnamed" : "", run.server.uuid, suffix};
  for (const CHAR8 *part : parts) {
    copyBytes(at, part, textLength(part));
    at += textLength(part);
  }
  return name;
}

// --- The document ---

// What tells whose result it is comes first, and is compared.
static void writeHead(client::Json *json, const JobRun &run) {
  client::jsonObject(json, nullptr);
  client::jsonText(json, "job", run.job);
  client::jsonObject(json, "machine");
  client::jsonText(json, "serial", run.server.serial);
  client::jsonText(json, "uuid", run.server.uuid);
}

static void writeDrivers(client::Json *json, const PoolArray<MediumDriver> &drivers) {
  client::jsonArray(json, "drivers");
  for (UINT32 i = 0; i < drivers.count; ++i) {
    CHAR8 *name = utf8FromWide(drivers.items[i].name);
    client::jsonObject(json, nullptr);
    client::jsonText(json, "file", name != nullptr ? name : "");
    client::jsonText(json, "status", client::statusWords(drivers.items[i].status));
    client::jsonEnd(json);
    poolFree(name);
  }
  client::jsonEnd(json);
}

void writeLine(client::Json *json, const client::JobLine &line, const JobRecord &record, bool hasPrinted) {
  static constexpr const CHAR8 *states[] = {"not reached", "passed over", "running", "ran"};
  client::jsonObject(json, nullptr);
  client::jsonNumber(json, "line", line.number);
  if (line.condition != client::jobAlways) {
    client::jsonText(json, "condition", client::g_jobConditions[line.condition]);
  }
  client::jsonText(json, "command", client::textOf(line.text));
  client::jsonText(json, "state", states[static_cast<UINTN>(record.state)]);
  if (record.state >= JobState::running) {
    writeTime(json, "started", record.started);
  }
  if (record.state == JobState::ran && line.end == client::jobGoesOn) {
    client::jsonNumber(json, "seconds", record.seconds);
    client::jsonNumber(json, "exitCode", record.result.outcome);
    client::jsonText(json, "outcome", outcomeWord(record.result.outcome));
    client::jsonText(json, "status", client::statusWords(record.result.status));
    if (record.hasController) {
      client::writeIdentity(json, record.controller);
    }
    if (hasPrinted) {
      client::jsonText(json, "printed", client::textOf(record.printed));
    }
  }
  client::jsonEnd(json);
}

static void writeEnd(client::Json *json, const JobRun &run) {
  writeTime(json, "ended", run.ended);
  client::jsonText(json, "end", client::g_jobEnds[run.end]);
}

// A run that is not over tells its lines beside the result.
static void writeLines(client::Json *json, const JobRun &run) {
  client::jsonArray(json, "lines");
  for (UINT32 i = 0; i < run.records.count; ++i) {
    writeLine(json, run.file.lines.items[i], run.records.items[i], /* hasPrinted= */ true);
  }
  client::jsonEnd(json);
}

static void writeDocument(client::Json *json, const JobRun &run) {
  bool isOver = !textEqual(run.state, "running");
  writeHead(json, run);
  client::jsonText(json, "maker", run.server.maker);
  client::jsonText(json, "product", run.server.product);
  client::jsonEnd(json);
  client::jsonText(json, "state", run.state);
  if (run.namedBy.source.wordCount != 0) {
    client::jsonText(json, "from", client::sourceOf(run.namedBy));
  }
  if (EFI_ERROR(run.sent)) {
    client::jsonText(json, "notSent", client::statusWords(run.sent));
  }
  writeTime(json, "started", run.started);
  if (isOver) {
    writeEnd(json, run);
  }
  if (run.mistakes.length != 0) {
    client::jsonText(json, "mistakes", client::textOf(run.mistakes));
  }
  writeDrivers(json, run.drivers);
  if (isOver) {
    writeLines(json, run);
  }
  client::jsonEnd(json);
}

client::Text makeResult(const JobRun &run) {
  client::Text text = {};
  client::Front front = client::capturingFront(&text, run.front->kind);
  client::Json json = {};
  json.front = &front;
  writeDocument(&json, run);
  return text;
}

EFI_STATUS writeResult(const JobRun &run, const client::Text &result) {
  ResultName name = resultName(run, RESULT_SUFFIX);
  EFI_STATUS status = writeOnMedium(run.front, name.text, result);
  if (EFI_ERROR(status)) {
    client::complain(run.front, "cannot write '%a': %a", name.text, client::statusWords(status));
  }
  return status;
}

EFI_STATUS writeResult(const JobRun &run) {
  client::Text text = makeResult(run);
  EFI_STATUS status = writeResult(run, text);
  client::freeText(&text);
  return status;
}

// --- An earlier boot ---

// Whether text is whole and begins as a result of this job on this machine does.
static bool isResultOf(const CHAR8 *text, UINTN size, const JobRun &run) {
  client::Text start = {};
  client::Front front = client::capturingFront(&start, run.front->kind);
  client::Json json = {};
  json.front = &front;
  writeHead(&json, run);
  bool is = !start.failed && size > start.length && __builtin_memcmp(text, start.chars, start.length) == 0 &&
            text[size - 2] == '}' && text[size - 1] == '\n';
  client::freeText(&start);
  return is;
}

// A power cut may have come while a new result took the place of the old one.
bool hasResult(const JobRun &run) {
  static constexpr const CHAR8 *suffixes[] = {RESULT_SUFFIX, RESULT_SUFFIX FIRMWARE_OLD_SUFFIX,
                                              RESULT_SUFFIX FIRMWARE_NEW_SUFFIX};
  bool has = false;
  for (const CHAR8 *suffix : suffixes) {
    CHAR8 *text = nullptr;
    UINTN size = 0;
    if (!has && !EFI_ERROR(run.front->readFile(run.front, resultName(run, suffix).text, &text, &size))) {
      has = isResultOf(text, size, run);
      poolFree(text);
    }
  }
  return has;
}

} // namespace xyl::images
