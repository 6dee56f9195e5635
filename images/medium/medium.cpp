// The client on a boot medium.
#include "images/medium/medium.h"

#include "base/console.h"
#include "base/crc32.h"
#include "base/text.h"
#include "client/transcript/transcript.h"
#include "images/medium/run.h"

#define JOBS_NAME "jobs.txt"
#define PRINTED_LIMIT 0x10000U // bytes of what a line prints that the result keeps

// --- What the commands get ---

static void writeBoth(const XYL_FRONT *front, const CHAR8 *text, UINTN length) {
  firmwareWrite(front, text, length);
  TEXT *printed = &mediumOf(front)->Printed;
  UINTN room = PRINTED_LIMIT - (printed->Length < PRINTED_LIMIT ? printed->Length : PRINTED_LIMIT);
  putBytes(printed, text, length < room ? length : room);
}

static XYL_ANSWER askNobody(const XYL_FRONT *, const CHAR8 *) {
  return XYL_ANSWER_NO_TERMINAL;
}

// --- A line ---

// The controller that the line worked on; without one of its own nothing is told.
static void noteController(const XYL_FRONT *front, const XYL_REQUEST &request, JOB_RECORD *record) {
  if (!xylNeedsController(request)) {
    return;
  }
  TEXT unheard = {};
  XYL_FRONT silent = capturingFront(&unheard, front->Kind);
  CONTROLLER controller;
  record->HasController = !isFailure(openController(XYL_CONTEXT{&silent, &request}, &controller));
  record->Controller = controller.Identity;
  freeText(&unheard);
}

static XYL_RESULT runCommand(const XYL_FRONT *front, const JOB_LINE &line, JOB_RECORD *record) {
  XYL_FRONT own = *front;
  XYL_REQUEST request;
  XYL_RESULT result = parseJob(&own, line, &request);
  if (!isFailure(result)) {
    xylSilence(&own, request);
    result = xylRun(&own, request);
    noteController(front, request, record);
  }
  return result;
}

#define LIMIT_CODE 0x10000U // the first that is not the firmware's own

// Lets the firmware reset the machine after so many minutes; 0 is never.
static void setLimit(const XYL_FRONT *front, UINT32 minutes) {
  EFI_STATUS status = g_bootServices->SetWatchdogTimer(UINTN{minutes} * 60, LIMIT_CODE, /* DataSize= */ 0,
                                                       /* Data= */ nullptr);
  if (EFI_ERROR(status) && minutes != 0) {
    complain(front, "the firmware takes no limit of %d minutes: %a", minutes, statusWords(status));
  }
}

// Runs a command line and keeps what it printed. The medium tells before that it runs.
static EFI_STATUS runLine(JOB_RUN *run, UINT32 index) {
  const JOB_LINE &line = run->File.Lines.items[index];
  JOB_RECORD *record = &run->Records.items[index];
  MEDIUM *medium = mediumOf(run->Front);
  setLimit(run->Front, line.Limit);
  record->State = JOB_RUNNING;
  readClock(&record->Started);
  EFI_STATUS status = medium->Keeps ? tellProgress(run, index) : EFI_SUCCESS;
  if (EFI_ERROR(status)) {
    complain(run->Front, "the medium does not take what a line comes to: %a; no further line runs",
             statusWords(status));
    record->State = JOB_NOT_REACHED;
    return status;
  }
  say(run->Front, "==> %d/%d %a\n", index + 1, run->File.Lines.count, textOf(line.Text));
  freeText(&medium->Printed);
  record->Result =
      line.Transfer != jobs::Transfer::none ? runTransfer(run, line) : runCommand(run->Front, line, record);
  record->Printed = medium->Printed;
  medium->Printed = {};
  record->State = JOB_RAN;
  EFI_TIME now;
  readClock(&now);
  UINT64 started = secondsOf(record->Started);
  UINT64 ended = secondsOf(now);
  record->Seconds = ended > started ? ended - started : 0; // somebody may set the clock, or it may fail
  say(run->Front, "==> %d/%d %a, exit code %d, %a, %ld s\n", index + 1, run->File.Lines.count,
      outcomeWord(record->Result.Outcome), static_cast<UINT32>(record->Result.Outcome),
      statusWords(record->Result.Status), record->Seconds);
  freeText(&medium->Printed);
  return EFI_SUCCESS;
}

static EFI_STATUS runLines(JOB_RUN *run) {
  XYL_OUTCOME last = XYL_SUCCESS;
  for (UINT32 i = 0; i < run->File.Lines.count; ++i) {
    const JOB_LINE &line = run->File.Lines.items[i];
    JOB_RECORD *record = &run->Records.items[i];
    if (!isJobFor(line.Condition, last)) {
      record->State = JOB_PASSED_OVER;
    } else if (line.End != JOB_GOES_ON) {
      readClock(&record->Started);
      record->State = JOB_RAN;
      run->End = line.End;
      return EFI_SUCCESS;
    } else {
      EFI_STATUS status = runLine(run, i);
      if (EFI_ERROR(status)) {
        return status;
      }
      last = record->Result.Outcome;
    }
  }
  return EFI_SUCCESS;
}

// --- The job ---

// Reads a job and, after a mistake in it, keeps what was told: EFI_INVALID_PARAMETER.
static EFI_STATUS readJob(JOB_RUN *run, const CHAR8 *text, UINTN size, const JOB_FILE *namedBy) {
  run->Sum = crc32Of(text, size);
  formatHex(run->Job, run->Sum, 8);
  CHAR8 *serial = textDuplicate(run->Server.Serial);
  if (serial == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  makeFileName(serial);
  const JOB_NAME rows[] = {{"SERIAL", serial}, {"UUID", run->Server.Uuid}};
  freeText(&mediumOf(run->Front)->Printed);
  XYL_RESULT result = readJobs(run->Front, text, size, {rows, 2}, &run->File, namedBy);
  EFI_STATUS status = isFailure(result) ? EFI_INVALID_PARAMETER : checkTransfers(run);
  freeText(&run->Mistakes);
  run->Mistakes = mediumOf(run->Front)->Printed;
  mediumOf(run->Front)->Printed = {};
  poolFree(serial);
  return status;
}

static EFI_STATUS readJobFile(JOB_RUN *run) {
  CHAR8 *text = nullptr;
  UINTN size = 0;
  EFI_STATUS status = run->Front->ReadFile(run->Front, JOBS_NAME, &text, &size);
  if (EFI_ERROR(status)) {
    complain(run->Front, "cannot read '\\raidxyl\\%a': %a", JOBS_NAME, statusWords(status));
    return status;
  }
  status = readJob(run, text, size, /* namedBy= */ nullptr);
  poolFree(text);
  return status;
}

// Takes the job from where the medium's own file says. The drivers come first: one may be the card's.
static EFI_STATUS fetchNamedJob(EFI_HANDLE image, JOB_RUN *run) {
  run->NamedBy = run->File;
  run->File = {};
  setLimit(run->Front, run->NamedBy.Source.Limit);
  loadDrivers(run->Front, image, &run->Drivers);
  XYL_RESULT result = fetchJob(run);
  if (isFailure(result)) {
    bool isNone = result.Outcome == XYL_NOT_FOUND;
    complain(run->Front, isNone ? "the server has no job for this machine" : "without a job nothing is run");
  }
  return result.Status;
}

static EFI_STATUS readNamedJob(JOB_RUN *run) {
  EFI_STATUS status = readJob(run, textOf(run->Fetched), run->Fetched.Length, &run->NamedBy);
  run->File.Again = run->File.Again || run->NamedBy.Again;
  if (run->File.Result.WordCount == 0) {
    run->File.Result = run->NamedBy.Result;
    run->NamedBy.Result = {};
  }
  return status;
}

static bool hasRun(const JOB_RUN &run) {
  if (run.File.Again || !hasResult(run)) {
    return false;
  }
  bool isNameless = *run.Server.Serial == 0 && *run.Server.Uuid == 0;
  complain(
      run.Front,
      "this job has run, or begun to, and \\raidxyl\\%a tells what came of it. Without that file, or with the line "
      "'again' in %a, it runs anew%a",
      resultName(run, RESULT_SUFFIX).Text, JOBS_NAME,
      isNameless ? ". This machine tells neither serial number nor UUID, so it may have been another one" : "");
  return true;
}

// What cannot be kept on the medium is shown.
static void showAfter(EFI_STATUS status, JOB_RUN *run) {
  if (EFI_ERROR(status) && mediumOf(run->Front)->Keeps) {
    complain(run->Front, "nothing can be kept on the medium; files are shown here instead");
    closeProgress(run);
    keepNothing(run->Front);
  }
}

// What is sent is what stays here, byte for byte; that it could not be sent is told here, too.
static void endResult(JOB_RUN *run, const CHAR8 *state) {
  setLimit(run->Front, run->File.Result.Limit);
  run->State = state;
  readClock(&run->Ended);
  TEXT result = makeResult(*run);
  EFI_STATUS status = writeResult(*run, result);
  showAfter(status, run);
  if (EFI_ERROR(status)) {
    writeResult(*run, result);
  }
  endProgress(run);
  bool isUp = run->NamedBy.Source.WordCount != 0 || !textEqual(state, "refused"); // else nothing is connected
  run->Sent = run->File.Result.WordCount != 0 && isUp ? sendResult(run, result) : EFI_SUCCESS;
  freeText(&result);
  if (EFI_ERROR(run->Sent) && mediumOf(run->Front)->Keeps) {
    writeResult(*run);
  }
}

// The job that was fetched stands beside its result.
static void keepJob(JOB_RUN *run) {
  if (run->NamedBy.Source.WordCount != 0) {
    RESULT_NAME name = resultName(*run, FETCHED_SUFFIX);
    EFI_STATUS status = writeOnMedium(run->Front, name.Text, run->Fetched);
    showAfter(status, run);
    if (EFI_ERROR(status)) {
      writeOnMedium(run->Front, name.Text, run->Fetched);
    }
  }
}

// Tells that the job has begun, on the medium or else in the machine; false when that tells already that it has.
static bool beginOnce(JOB_RUN *run) {
  run->State = "running";
  if (mediumOf(run->Front)->Keeps) {
    showAfter(writeResult(*run), run);
  }
  if (mediumOf(run->Front)->Keeps || run->File.Again) {
    forgetDone();
    return true;
  }
  if (isDone(*run)) {
    complain(run->Front,
             "this machine has begun the job of this medium before, and nothing was told to it since. With the line "
             "'again' in %a, or from a medium that is made anew, it runs again",
             JOBS_NAME);
    return false;
  }
  EFI_STATUS status = noteDone(*run);
  if (EFI_ERROR(status)) {
    complain(run->Front, "the machine does not remember this job, which runs at the next boot too: %a",
             statusWords(status));
  }
  return true;
}

// A driver may hang, so the job is told to have begun by now.
static void bringUp(EFI_HANDLE image, JOB_RUN *run) {
  setLimit(run->Front, run->File.Lines.items[0].Limit);
  if (run->NamedBy.Source.WordCount == 0) {
    loadDrivers(run->Front, image, &run->Drivers);
  }
  if (mediumOf(run->Front)->Keeps) {
    showAfter(writeResult(*run), run);
  }
  if (mediumOf(run->Front)->Keeps) {
    showAfter(beginProgress(run), run);
  }
}

static EFI_STATUS runJob(EFI_HANDLE image, JOB_RUN *run) {
  readServer(&run->Server, run->Front->SystemTable);
  readClock(&run->Started);
  EFI_STATUS status = readJobFile(run);
  if (!EFI_ERROR(status) && run->File.Source.WordCount != 0) {
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
    complain(run->Front, "the job file has mistakes; nothing was run");
    keepJob(run);
    endResult(run, "refused");
    return status;
  }
  run->Records.items = poolNew<JOB_RECORD>(run->File.Lines.count);
  if (run->Records.items == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  run->Records.count = run->File.Lines.count;
  if (!beginOnce(run)) {
    return EFI_ALREADY_STARTED;
  }
  keepJob(run);
  bringUp(image, run);
  status = runLines(run);
  endResult(run, EFI_ERROR(status) ? "stopped" : "done");
  return status;
}

static void freeRun(JOB_RUN *run) {
  for (UINT32 i = 0; i < run->Records.count; ++i) {
    freeText(&run->Records.items[i].Printed);
  }
  poolFree(run->Records.items);
  freeDrivers(&run->Drivers);
  freeText(&run->Mistakes);
  freeText(&run->Fetched);
  freeJobs(&run->NamedBy);
  freeJobs(&run->File);
}

// Types of ResetSystem.
#define RESET_COLD 0
#define RESET_SHUTDOWN 2

static void endMachine(EFI_SYSTEM_TABLE *systemTable, JOB_END end) {
  if (end != JOB_RETURN) {
    systemTable->RuntimeServices->ResetSystem(end == JOB_RESET ? RESET_COLD : RESET_SHUTDOWN, EFI_SUCCESS,
                                              /* DataSize= */ 0, /* Data= */ nullptr);
  }
}

// The machine's network is as it was behind this.
static EFI_STATUS runOnce(EFI_HANDLE image, XYL_FRONT *front, JOB_END *end) {
  JOB_RUN run = {};
  run.Front = front;
  EFI_STATUS status = runJob(image, &run);
  *end = EFI_ERROR(status) ? JOB_RETURN : run.End;
  if (run.NamedBy.Source.Limit != 0 || run.File.Result.Limit != 0) {
    setLimit(front, 0);
  }
  say(front, "==> %a\n", g_jobEnds[*end]);
  freeRun(&run);
  return status;
}

extern "C" EFI_STATUS EFIAPI MediumEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  setSystemTable(systemTable);
  // The boot manager's five minutes are not for what a restore takes.
  g_bootServices->SetWatchdogTimer(/* Timeout= */ 0, /* Code= */ 0, /* DataSize= */ 0, /* Data= */ nullptr);
  MEDIUM medium = {};
  XYL_FRONT front = {};
  front.Kind = XYL_FRONT_SHELL;
  front.SystemTable = systemTable;
  front.WriteOut = writeBoth;
  front.WriteError = writeBoth;
  front.AskYes = askNobody;
  front.Terminal = true;
  front.Commands = g_xylCommands;
  front.Busy = firmwareBusy;
  EFI_STATUS status = openMedium(image, &medium, &front);
  if (EFI_ERROR(status)) {
    Print(u"xyl: the medium has no folder \\raidxyl that can be read: %r\r\n", status);
    return status;
  }
  JOB_END end = JOB_RETURN;
  status = runOnce(image, &front, &end);
  bool isDone = !EFI_ERROR(status);
  closeMedium(&medium);
  if (isDone) {
    endMachine(systemTable, end);
  }
  // After a success the boot manager would show its menu and wait for a person.
  return isDone ? EFI_ABORTED : status;
}
