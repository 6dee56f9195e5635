// result.json: what ran, when, on which machine and controller, and what came of it.
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

// --- The document ---

static void writeMachine(JSON *json, const SERVER &server) {
  jsonObject(json, "machine");
  jsonText(json, "maker", server.Maker);
  jsonText(json, "product", server.Product);
  jsonText(json, "serial", server.Serial);
  jsonText(json, "uuid", server.Uuid);
  jsonEnd(json);
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

// What was printed waits for the end: the result is written before each line, and would be all that came before it.
static void writeLine(JSON *json, const JOB_LINE &line, const JOB_RECORD &record, bool isDone) {
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
    if (isDone) {
      jsonText(json, "printed", textOf(record.Printed));
    }
  }
  jsonEnd(json);
}

static void writeDocument(JSON *json, const JOB_RUN &run) {
  jsonObject(json, nullptr);
  jsonText(json, "job", run.Job);
  jsonText(json, "state", run.State);
  writeMachine(json, run.Server);
  writeTime(json, "started", run.Started);
  bool isDone = !textEqual(run.State, "running");
  if (isDone) {
    EFI_TIME now;
    readClock(&now);
    writeTime(json, "ended", now);
    jsonText(json, "end", g_jobEnds[run.End]);
  }
  if (run.Mistakes.Length != 0) {
    jsonText(json, "mistakes", textOf(run.Mistakes));
  }
  writeDrivers(json, run.Drivers);
  jsonArray(json, "lines");
  for (UINT32 i = 0; i < run.Records.count; ++i) {
    writeLine(json, run.File.Lines.items[i], run.Records.items[i], isDone);
  }
  jsonEnd(json);
  jsonEnd(json);
}

EFI_STATUS writeResult(const JOB_RUN &run) {
  TEXT text = {};
  XYL_HOST host = capturingHost(&text, run.Host->Front);
  JSON json = {};
  json.Host = &host;
  writeDocument(&json, run);
  EFI_STATUS status = writeOnMedium(run.Host, RESULT_NAME, text);
  if (EFI_ERROR(status)) {
    complain(run.Host, "cannot write '%a': %a", RESULT_NAME, statusWords(status));
  }
  freeText(&text);
  return status;
}

// --- An earlier boot ---

// Whether text begins as a whole result of the job does.
static bool isResultOf(const CHAR8 *text, UINTN size, const CHAR8 *job) {
  TEXT start = {};
  putText(&start, "{\n  \"job\": \"");
  putText(&start, job);
  bool is = !start.Failed && size > start.Length && __builtin_memcmp(text, start.Chars, start.Length) == 0 &&
            text[size - 2] == '}' && text[size - 1] == '\n';
  freeText(&start);
  return is;
}

// A power cut may have come while a new result took the place of the old one.
bool hasResult(const JOB_RUN &run) {
  static constexpr const CHAR8 *names[] = {RESULT_NAME, RESULT_NAME FIRMWARE_OLD_SUFFIX,
                                           RESULT_NAME FIRMWARE_NEW_SUFFIX};
  bool has = false;
  for (const CHAR8 *name : names) {
    CHAR8 *text = nullptr;
    UINTN size = 0;
    if (!has && !EFI_ERROR(run.Host->ReadFile(run.Host, name, &text, &size))) {
      has = isResultOf(text, size, run.Job);
      poolFree(text);
    }
  }
  return has;
}
