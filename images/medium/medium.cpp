// The client on a boot medium.
#include "images/medium/medium.h"

#include "base/console.h"
#include "base/crc32.h"
#include "base/text.h"
#include "client/transcript/transcript.h"
#include "images/medium/run.h"

namespace xyl::images {

constexpr CHAR8 jobsName[] = "jobs.txt";
constexpr UINT32 printedLimit = 0x10000U; // bytes of what a line prints that the result keeps

// --- What the commands get ---

static void writeBoth(const client::Front *front, const CHAR8 *text, UINTN length) {
  firmwareWrite(front, text, length);
  client::Text *printed = &mediumOf(front)->printed;
  UINTN room = printedLimit - (printed->length < printedLimit ? printed->length : printedLimit);
  client::putBytes(printed, text, length < room ? length : room);
}

static client::Answer askNobody(const client::Front *, const CHAR8 *) {
  return client::Answer::noTerminal;
}

// --- A line ---

// The controller that the line worked on; without one of its own nothing is told.
static void noteController(const client::Front *front, const client::Request &request, JobRecord *record) {
  if (!client::xylNeedsController(request)) {
    return;
  }
  client::Text unheard = {};
  client::Front silent = client::capturingFront(&unheard, front->kind);
  client::Controller controller;
  record->hasController = !client::isFailure(client::openController(client::Context{&silent, &request}, &controller));
  record->controller = controller.identity;
  client::freeText(&unheard);
}

static client::Result runCommand(const client::Front *front, const client::JobLine &line, JobRecord *record) {
  client::Front own = *front;
  client::Request request;
  client::Result result = client::parseJob(&own, line, &request);
  if (!client::isFailure(result)) {
    client::xylSilence(&own, request);
    result = client::xylRun(&own, request);
    noteController(front, request, record);
  }
  return result;
}

constexpr UINT32 limitCode = 0x10000U; // the first that is not the firmware's own

// Lets the firmware reset the machine after so many minutes; 0 is never.
static void setLimit(const client::Front *front, UINT32 minutes) {
  EFI_STATUS status = g_bootServices->SetWatchdogTimer(UINTN{minutes} * 60, limitCode, /* DataSize= */ 0,
                                                       /* Data= */ nullptr);
  if (EFI_ERROR(status) && minutes != 0) {
    client::complain(front, "the firmware takes no limit of %d minutes: %a", minutes, client::statusWords(status));
  }
}

// Runs a command line and keeps what it printed. The medium tells before that it runs.
static EFI_STATUS runLine(JobRun *run, UINT32 index) {
  const client::JobLine &line = run->file.lines.items[index];
  JobRecord *record = &run->records.items[index];
  Medium *medium = mediumOf(run->front);
  setLimit(run->front, line.limit);
  record->state = JobState::running;
  readClock(&record->started);
  EFI_STATUS status = medium->keeps ? tellProgress(run, index) : EFI_SUCCESS;
  if (EFI_ERROR(status)) {
    client::complain(run->front, "the medium does not take what a line comes to: %a; no further line runs",
                     client::statusWords(status));
    record->state = JobState::notReached;
    return status;
  }
  client::say(run->front, "==> %d/%d %a\n", index + 1, run->file.lines.count, client::textOf(line.text));
  client::freeText(&medium->printed);
  record->result =
      line.transfer != client::jobs::Transfer::none ? runTransfer(run, line) : runCommand(run->front, line, record);
  record->printed = medium->printed;
  medium->printed = {};
  record->state = JobState::ran;
  EFI_TIME now;
  readClock(&now);
  UINT64 started = secondsOf(record->started);
  UINT64 ended = secondsOf(now);
  record->seconds = ended > started ? ended - started : 0; // somebody may set the clock, or it may fail
  client::say(run->front, "==> %d/%d %a, exit code %d, %a, %ld s\n", index + 1, run->file.lines.count,
              outcomeWord(record->result.outcome), static_cast<UINT32>(record->result.outcome),
              client::statusWords(record->result.status), record->seconds);
  client::freeText(&medium->printed);
  return EFI_SUCCESS;
}

static EFI_STATUS runLines(JobRun *run) {
  client::Outcome last = client::outcomeSuccess;
  for (UINT32 i = 0; i < run->file.lines.count; ++i) {
    const client::JobLine &line = run->file.lines.items[i];
    JobRecord *record = &run->records.items[i];
    if (!client::isJobFor(line.condition, last)) {
      record->state = JobState::passedOver;
    } else if (line.end != client::jobGoesOn) {
      readClock(&record->started);
      record->state = JobState::ran;
      run->end = line.end;
      return EFI_SUCCESS;
    } else {
      EFI_STATUS status = runLine(run, i);
      if (EFI_ERROR(status)) {
        return status;
      }
      last = record->result.outcome;
    }
  }
  return EFI_SUCCESS;
}

// --- The job ---

// Reads a job and, after a mistake in it, keeps what was told: EFI_INVALID_PARAMETER.
static EFI_STATUS readJob(JobRun *run, const CHAR8 *text, UINTN size, const client::JobFile *namedBy) {
  run->sum = crc32Of(text, size);
  formatHex(run->job, run->sum, 8);
  CHAR8 *serial = textDuplicate(run->server.serial);
  if (serial == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  makeFileName(serial);
  const client::JobName rows[] = {{"SERIAL", serial}, {"UUID", run->server.uuid}};
  client::freeText(&mediumOf(run->front)->printed);
  client::Result result = client::readJobs(run->front, text, size, {rows, 2}, &run->file, namedBy);
  EFI_STATUS status = client::isFailure(result) ? EFI_INVALID_PARAMETER : checkTransfers(run);
  client::freeText(&run->mistakes);
  run->mistakes = mediumOf(run->front)->printed;
  mediumOf(run->front)->printed = {};
  poolFree(serial);
  return status;
}

static EFI_STATUS readJobFile(JobRun *run) {
  CHAR8 *text = nullptr;
  UINTN size = 0;
  EFI_STATUS status = run->front->readFile(run->front, jobsName, &text, &size);
  if (EFI_ERROR(status)) {
    client::complain(run->front, "cannot read '\\raidxyl\\%a': %a", jobsName, client::statusWords(status));
    return status;
  }
  status = readJob(run, text, size, /* namedBy= */ nullptr);
  poolFree(text);
  return status;
}

// Takes the job from where the medium's own file says. The drivers come first: one may be the card's.
static EFI_STATUS fetchNamedJob(EFI_HANDLE image, JobRun *run) {
  run->namedBy = run->file;
  run->file = {};
  setLimit(run->front, run->namedBy.source.limit);
  loadDrivers(run->front, image, &run->drivers);
  client::Result result = fetchJob(run);
  if (client::isFailure(result)) {
    bool isNone = result.outcome == client::outcomeNotFound;
    client::complain(run->front, isNone ? "the server has no job for this machine" : "without a job nothing is run");
  }
  return result.status;
}

static EFI_STATUS readNamedJob(JobRun *run) {
  EFI_STATUS status = readJob(run, client::textOf(run->fetched), run->fetched.length, &run->namedBy);
  run->file.again = run->file.again || run->namedBy.again;
  if (run->file.result.wordCount == 0) {
    run->file.result = run->namedBy.result;
    run->namedBy.result = {};
  }
  return status;
}

static bool hasRun(const JobRun &run) {
  if (run.file.again || !hasResult(run)) {
    return false;
  }
  bool isNameless = *run.server.serial == 0 && *run.server.uuid == 0;
  client::complain(
      run.front,
      "this job has run, or begun to, and \\raidxyl\\%a tells what came of it. Without that file, or with the line "
      "'again' in %a, it runs anew%a",
      resultName(run, RESULT_SUFFIX).text, jobsName,
      isNameless ? ". This machine tells neither serial number nor UUID, so it may have been another one" : "");
  return true;
}

// What cannot be kept on the medium is shown.
static void showAfter(EFI_STATUS status, JobRun *run) {
  if (EFI_ERROR(status) && mediumOf(run->front)->keeps) {
    client::complain(run->front, "nothing can be kept on the medium; files are shown here instead");
    closeProgress(run);
    keepNothing(run->front);
  }
}

// What is sent is what stays here, byte for byte; that it could not be sent is told here, too.
static void endResult(JobRun *run, const CHAR8 *state) {
  setLimit(run->front, run->file.result.limit);
  run->state = state;
  readClock(&run->ended);
  client::Text result = makeResult(*run);
  EFI_STATUS status = writeResult(*run, result);
  showAfter(status, run);
  if (EFI_ERROR(status)) {
    writeResult(*run, result);
  }
  endProgress(run);
  bool isUp = run->namedBy.source.wordCount != 0 || !textEqual(state, "refused"); // else nothing is connected
  run->sent = run->file.result.wordCount != 0 && isUp ? sendResult(run, result) : EFI_SUCCESS;
  client::freeText(&result);
  if (EFI_ERROR(run->sent) && mediumOf(run->front)->keeps) {
    writeResult(*run);
  }
}

// The job that was fetched stands beside its result.
static void keepJob(JobRun *run) {
  if (run->namedBy.source.wordCount != 0) {
    ResultName name = resultName(*run, fetchedSuffix);
    EFI_STATUS status = writeOnMedium(run->front, name.text, run->fetched);
    showAfter(status, run);
    if (EFI_ERROR(status)) {
      writeOnMedium(run->front, name.text, run->fetched);
    }
  }
}

// Tells that the job has begun, on the medium or else in the machine; false when that tells already that it has.
static bool beginOnce(JobRun *run) {
  run->state = "running";
  if (mediumOf(run->front)->keeps) {
    showAfter(writeResult(*run), run);
  }
  if (mediumOf(run->front)->keeps || run->file.again) {
    forgetDone();
    return true;
  }
  if (isDone(*run)) {
    client::complain(
        run->front,
        "this machine has begun the job of this medium before, and nothing was told to it since. With the line "
        "'again' in %a, or from a medium that is made anew, it runs again",
        jobsName);
    return false;
  }
  EFI_STATUS status = noteDone(*run);
  if (EFI_ERROR(status)) {
    client::complain(run->front, "the machine does not remember this job, which runs at the next boot too: %a",
                     client::statusWords(status));
  }
  return true;
}

// A driver may hang, so the job is told to have begun by now.
static void bringUp(EFI_HANDLE image, JobRun *run) {
  setLimit(run->front, run->file.lines.items[0].limit);
  if (run->namedBy.source.wordCount == 0) {
    loadDrivers(run->front, image, &run->drivers);
  }
  if (mediumOf(run->front)->keeps) {
    showAfter(writeResult(*run), run);
  }
  if (mediumOf(run->front)->keeps) {
    showAfter(beginProgress(run), run);
  }
}

static EFI_STATUS runJob(EFI_HANDLE image, JobRun *run) {
  client::readServer(&run->server, run->front->systemTable);
  readClock(&run->started);
  EFI_STATUS status = readJobFile(run);
  if (!EFI_ERROR(status) && run->file.source.wordCount != 0) {
    status = fetchNamedJob(image, run);
    if (EFI_ERROR(status)) {
      return status; // whatever it is, it tells of no mistake in a job
    }
    status = readNamedJob(run);
  }
  bool isRefused = status == EFI_INVALID_PARAMETER;
  if (EFI_ERROR(status) && !isRefused) {
    return status;
  }
  if (hasRun(*run)) {
    return EFI_ALREADY_STARTED;
  }
  if (isRefused) {
    client::complain(run->front, "the job file has mistakes; nothing was run");
    keepJob(run);
    endResult(run, "refused");
    return status;
  }
  run->records.items = poolNew<JobRecord>(run->file.lines.count);
  if (run->records.items == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  run->records.count = run->file.lines.count;
  if (!beginOnce(run)) {
    return EFI_ALREADY_STARTED;
  }
  keepJob(run);
  bringUp(image, run);
  status = runLines(run);
  endResult(run, EFI_ERROR(status) ? "stopped" : "done");
  return status;
}

static void freeRun(JobRun *run) {
  for (UINT32 i = 0; i < run->records.count; ++i) {
    client::freeText(&run->records.items[i].printed);
  }
  poolFree(run->records.items);
  freeDrivers(&run->drivers);
  client::freeText(&run->mistakes);
  client::freeText(&run->fetched);
  client::freeJobs(&run->namedBy);
  client::freeJobs(&run->file);
}

// Types of ResetSystem.
constexpr UINT32 resetCold = 0;
constexpr UINT32 resetShutdown = 2;

static void endMachine(EFI_SYSTEM_TABLE *systemTable, client::JobEnd end) {
  if (end != client::jobReturn) {
    systemTable->RuntimeServices->ResetSystem(end == client::jobReset ? resetCold : resetShutdown, EFI_SUCCESS,
                                              /* DataSize= */ 0, /* Data= */ nullptr);
  }
}

// The machine's network is as it was behind this.
static EFI_STATUS runOnce(EFI_HANDLE image, client::Front *front, client::JobEnd *end) {
  JobRun run = {};
  run.front = front;
  EFI_STATUS status = runJob(image, &run);
  *end = EFI_ERROR(status) ? client::jobReturn : run.end;
  if (run.namedBy.source.limit != 0 || run.file.result.limit != 0) {
    setLimit(front, 0);
  }
  client::say(front, "==> %a\n", client::g_jobEnds[*end]);
  freeRun(&run);
  return status;
}

extern "C" EFI_STATUS EFIAPI MediumEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  // The boot manager's five minutes are not for what a restore takes.
  g_bootServices->SetWatchdogTimer(/* Timeout= */ 0, /* Code= */ 0, /* DataSize= */ 0, /* Data= */ nullptr);
  Medium medium = {};
  client::Front front = {};
  front.kind = client::frontShell;
  front.systemTable = systemTable;
  front.writeOut = writeBoth;
  front.writeError = writeBoth;
  front.askYes = askNobody;
  front.terminal = true;
  front.commands = client::g_xylCommands;
  front.busy = firmwareBusy;
  EFI_STATUS status = openMedium(image, &medium, &front);
  if (EFI_ERROR(status)) {
    Print(u"xyl: the medium has no folder \\raidxyl that can be read: %r\r\n", status);
    return status;
  }
  client::JobEnd end = client::jobReturn;
  status = runOnce(image, &front, &end);
  bool isDone = !EFI_ERROR(status);
  closeMedium(&medium);
  if (isDone) {
    endMachine(systemTable, end);
  }
  // After a success the boot manager would show its menu and wait for a person.
  return isDone ? EFI_ABORTED : status;
}

} // namespace xyl::images
