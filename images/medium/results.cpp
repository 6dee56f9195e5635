// The result: what ran, when, on which machine and controller, and what came of it.
#include "base/text.h"
#include "images/medium/run.h"

const CHAR8 *outcomeWord(XYL_OUTCOME outcome) {
  return outcome == XYL_SUCCESS ? "ok" : outcome == XYL_DIFFERENT ? "different" : "failed";
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
static void writeTime(JSON *json, const CHAR8 *name, const EFI_TIME &time) {
  CHAR8 text[24] = "";
  const struct {
    UINT64 Value;
    CHAR8 Mark;
  } parts[] = {{time.Month, '-'}, {time.Day, '-'}, {time.Hour, 'T'}, {time.Minute, ':'}, {time.Second, ':'}};
  if (time.Year >= 1000 && time.Year <= 9999) {
    CHAR8 *at = text + formatDecimal(text, time.Year);
    for (const auto &part : parts) {
      *at++ = part.Mark;
      *at++ = static_cast<CHAR8>('0' + part.Value / 10 % 10);
      *at++ = static_cast<CHAR8>('0' + part.Value % 10);
    }
    *at = 0;
  }
  jsonText(json, name, text);
}

// --- Names ---

void makeFileName(CHAR8 *name) {
  for (; *name != 0; ++name) {
    bool isPlain = (*name >= '0' && *name <= '9') || ((*name | 0x20) >= 'a' && (*name | 0x20) <= 'z') || *name == '-' ||
                   *name == '.' || *name == '_';
    *name = isPlain ? *name : '_';
  }
}

static constexpr UINTN SERIAL_LIMIT = 64; // letters of it in a name

RESULT_NAME resultName(const JOB_RUN &run, const CHAR8 *suffix) {
  CHAR8 serial[SERIAL_LIMIT + 1] = "";
  UINTN length = textLength(run.Server.Serial);
  copyBytes(serial, run.Server.Serial, length < SERIAL_LIMIT ? length : SERIAL_LIMIT);
  makeFileName(serial);
  bool hasBoth = *serial != 0 && *run.Server.Uuid != 0;
  bool hasNone = *serial == 0 && *run.Server.Uuid == 0;
  RESULT_NAME name = {};
  CHAR8 *at = name.Text;
  const CHAR8 *parts[] = {"results\\", serial, hasBoth ? "-" : hasNone ? "unnamed" : "", run.Server.Uuid, suffix};
  for (const CHAR8 *part : parts) {
    copyBytes(at, part, textLength(part));
    at += textLength(part);
  }
  return name;
}

// --- The document ---

// What tells whose result it is comes first, and is compared.
static void writeHead(JSON *json, const JOB_RUN &run) {
  jsonObject(json, nullptr);
  jsonText(json, "job", run.Job);
  jsonObject(json, "machine");
  jsonText(json, "serial", run.Server.Serial);
  jsonText(json, "uuid", run.Server.Uuid);
}

static void writeDrivers(JSON *json, const POOL_ARRAY<MEDIUM_DRIVER> &drivers) {
  jsonArray(json, "drivers");
  for (UINT32 i = 0; i < drivers.count; ++i) {
    CHAR8 *name = utf8FromWide(drivers.items[i].Name);
    jsonObject(json, nullptr);
    jsonText(json, "file", name != nullptr ? name : "");
    jsonText(json, "status", statusWords(drivers.items[i].Status));
    jsonEnd(json);
    poolFree(name);
  }
  jsonEnd(json);
}

void writeLine(JSON *json, const JOB_LINE &line, const JOB_RECORD &record, bool hasPrinted) {
  static constexpr const CHAR8 *states[] = {"not reached", "passed over", "running", "ran"};
  jsonObject(json, nullptr);
  jsonNumber(json, "line", line.Number);
  if (line.Condition != JOB_ALWAYS) {
    jsonText(json, "condition", g_jobConditions[line.Condition]);
  }
  jsonText(json, "command", textOf(line.Text));
  jsonText(json, "state", states[record.State]);
  if (record.State >= JOB_RUNNING) {
    writeTime(json, "started", record.Started);
  }
  if (record.State == JOB_RAN && line.End == JOB_GOES_ON) {
    jsonNumber(json, "seconds", record.Seconds);
    jsonNumber(json, "exitCode", record.Result.Outcome);
    jsonText(json, "outcome", outcomeWord(record.Result.Outcome));
    jsonText(json, "status", statusWords(record.Result.Status));
    if (record.HasController) {
      writeIdentity(json, record.Controller);
    }
    if (hasPrinted) {
      jsonText(json, "printed", textOf(record.Printed));
    }
  }
  jsonEnd(json);
}

static void writeEnd(JSON *json, const JOB_RUN &run) {
  writeTime(json, "ended", run.Ended);
  jsonText(json, "end", g_jobEnds[run.End]);
}

// A run that is not over tells its lines beside the result.
static void writeLines(JSON *json, const JOB_RUN &run) {
  jsonArray(json, "lines");
  for (UINT32 i = 0; i < run.Records.count; ++i) {
    writeLine(json, run.File.Lines.items[i], run.Records.items[i], /* hasPrinted= */ true);
  }
  jsonEnd(json);
}

static void writeDocument(JSON *json, const JOB_RUN &run) {
  bool isOver = !textEqual(run.State, "running");
  writeHead(json, run);
  jsonText(json, "maker", run.Server.Maker);
  jsonText(json, "product", run.Server.Product);
  jsonEnd(json);
  jsonText(json, "state", run.State);
  if (run.NamedBy.Source.WordCount != 0) {
    jsonText(json, "from", sourceOf(run.NamedBy));
  }
  if (EFI_ERROR(run.Sent)) {
    jsonText(json, "notSent", statusWords(run.Sent));
  }
  writeTime(json, "started", run.Started);
  if (isOver) {
    writeEnd(json, run);
  }
  if (run.Mistakes.Length != 0) {
    jsonText(json, "mistakes", textOf(run.Mistakes));
  }
  writeDrivers(json, run.Drivers);
  if (isOver) {
    writeLines(json, run);
  }
  jsonEnd(json);
}

TEXT makeResult(const JOB_RUN &run) {
  TEXT text = {};
  XYL_FRONT front = capturingFront(&text, run.Front->Kind);
  JSON json = {};
  json.Front = &front;
  writeDocument(&json, run);
  return text;
}

EFI_STATUS writeResult(const JOB_RUN &run, const TEXT &result) {
  RESULT_NAME name = resultName(run, RESULT_SUFFIX);
  EFI_STATUS status = writeOnMedium(run.Front, name.Text, result);
  if (EFI_ERROR(status)) {
    complain(run.Front, "cannot write '%a': %a", name.Text, statusWords(status));
  }
  return status;
}

EFI_STATUS writeResult(const JOB_RUN &run) {
  TEXT text = makeResult(run);
  EFI_STATUS status = writeResult(run, text);
  freeText(&text);
  return status;
}

// --- An earlier boot ---

// Whether text is whole and begins as a result of this job on this machine does.
static bool isResultOf(const CHAR8 *text, UINTN size, const JOB_RUN &run) {
  TEXT start = {};
  XYL_FRONT front = capturingFront(&start, run.Front->Kind);
  JSON json = {};
  json.Front = &front;
  writeHead(&json, run);
  bool is = !start.Failed && size > start.Length && __builtin_memcmp(text, start.Chars, start.Length) == 0 &&
            text[size - 2] == '}' && text[size - 1] == '\n';
  freeText(&start);
  return is;
}

// A power cut may have come while a new result took the place of the old one.
bool hasResult(const JOB_RUN &run) {
  static constexpr const CHAR8 *suffixes[] = {RESULT_SUFFIX, RESULT_SUFFIX FIRMWARE_OLD_SUFFIX,
                                              RESULT_SUFFIX FIRMWARE_NEW_SUFFIX};
  bool has = false;
  for (const CHAR8 *suffix : suffixes) {
    CHAR8 *text = nullptr;
    UINTN size = 0;
    if (!has && !EFI_ERROR(run.Front->ReadFile(run.Front, resultName(run, suffix).Text, &text, &size))) {
      has = isResultOf(text, size, run);
      poolFree(text);
    }
  }
  return has;
}
