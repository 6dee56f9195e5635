// Files of the front on a boot medium.
#pragma once

#include "base/array.h"
#include "client/controllers/controllers.h"
#include "client/jobs/jobs.h"
#include "images/firmware/firmware.h"
#include "images/medium/file_system.h"
#include "images/network/network.h"

// A file that cannot be kept on the medium; later lines read it here.
struct MEMORY_FILE {
  CHAR8 *Name; // pool
  CHAR8 *Data; // pool
  UINTN Size;
};

struct MEDIUM {
  FIRMWARE_CONTEXT Firmware; // first: XYL_HOST's Context leads here
  FILE_SYSTEM FileSystem;    // of Device
  EFI_HANDLE Device;
  bool Keeps; // what is written stays; otherwise files go to the console
  POOL_ARRAY<MEMORY_FILE> Files;
  POOL_ARRAY<CHAR8 *> Written; // names of files that this run wrote on the medium
  TEXT Printed;                // by the line that runs
};

inline MEDIUM *mediumOf(const XYL_FRONT *front) {
  return static_cast<MEDIUM *>(front->Context);
}

// --- The medium: names are those below \raidxyl, or begin with a backslash ---

// Opens the medium that the image comes from and makes the host's functions for files those of the medium.
EFI_STATUS openMedium(EFI_HANDLE image, MEDIUM *medium, XYL_FRONT *front);
void closeMedium(MEDIUM *medium);
// From now on files are kept in memory and shown on the console. No file of the medium may be open: after a failed
// write its file system keeps what it could not write, and fails at all that it is asked, so it is started anew.
void keepNothing(XYL_FRONT *front);
// Writes a whole file, also over an old one.
EFI_STATUS writeOnMedium(const XYL_FRONT *front, const CHAR8 *name, const TEXT &text);
// The same for what came over the network, which is not shown where nothing can be kept: it may be large, or a secret.
EFI_STATUS keepFetched(const XYL_FRONT *front, const CHAR8 *name, const CHAR8 *data, UINTN size);
// Whether this run wrote the file.
bool hasWritten(const XYL_FRONT *front, const CHAR8 *name);

// --- Drivers ---

// What came of a driver on the medium.
struct MEDIUM_DRIVER {
  CHAR16 *Name; // pool
  EFI_STATUS Status;
};

// Loads and starts the drivers in the order of their names, each with what a file NAME.opt beside it says as its
// options, and connects every controller. What fails is told. The caller frees the drivers.
void loadDrivers(const XYL_FRONT *front, EFI_HANDLE image, POOL_ARRAY<MEDIUM_DRIVER> *drivers);
void freeDrivers(POOL_ARRAY<MEDIUM_DRIVER> *drivers);

// --- Results ---

enum JOB_STATE { JOB_NOT_REACHED, JOB_PASSED_OVER, JOB_RUNNING, JOB_RAN };

// What came of a line.
struct JOB_RECORD {
  JOB_STATE State;
  XYL_RESULT Result;
  EFI_TIME Started;
  UINT64 Seconds;
  bool HasController;
  CONTROLLER_IDENTITY Controller;
  TEXT Printed;
};

struct JOB_RUN {
  XYL_FRONT *Front;
  SERVER Server;
  UINT32 Sum;   // CRC-32 of the job file
  CHAR8 Job[9]; // and in digits
  JOB_FILE File;
  JOB_FILE NamedBy; // where that came from: the medium's own, with one line 'job'
  TEXT Fetched;     // what came then
  network::Cards Cards;
  network::Trust Trust;
  POOL_ARRAY<MEDIUM_DRIVER> Drivers;
  POOL_ARRAY<JOB_RECORD> Records; // of the lines
  const CHAR8 *State;             // "running", "done", "stopped" or "refused"
  TEXT Mistakes;                  // of a refused job file
  EFI_TIME Started;
  EFI_TIME Ended;
  EFI_STATUS Sent; // the result; EFI_SUCCESS when that is not wanted, too
  JOB_END End;
  OPEN_FILE Progress; // null: not told
  UINT32 Running;     // the line that was told last
};

// Names of what tells of a run on this machine; several machines may use one medium.
struct RESULT_NAME {
  CHAR8 Text[160];
};
#define RESULT_SUFFIX ".json"
#define PROGRESS_SUFFIX ".lines"
#define FETCHED_SUFFIX ".txt"
RESULT_NAME resultName(const JOB_RUN &run, const CHAR8 *suffix);
// Letters that a file name cannot have become underscores.
void makeFileName(CHAR8 *name);

// The result as it is now; the caller frees it.
TEXT makeResult(const JOB_RUN &run);
// Writes the result, as it is now or was made.
EFI_STATUS writeResult(const JOB_RUN &run);
EFI_STATUS writeResult(const JOB_RUN &run, const TEXT &result);
// Whether an earlier boot of this machine began the same job file on this medium.
bool hasResult(const JOB_RUN &run);
// One line's part of it; what was printed is only for the end.
void writeLine(JSON *json, const JOB_LINE &line, const JOB_RECORD &record, bool hasPrinted);

// Begins to tell which lines ran, beside the result of a run that is not over.
EFI_STATUS beginProgress(JOB_RUN *run);
// Tells what came of the lines before, and that this one runs.
EFI_STATUS tellProgress(JOB_RUN *run, UINT32 index);
// Leaves it as it is.
void closeProgress(JOB_RUN *run);
// Once the result is kept it is of no more use.
void endProgress(JOB_RUN *run);

// --- The network ---

// Makes sure before anything runs that what the job wants of the network can be had: EFI_INVALID_PARAMETER, with a
// message, when it wants https and there is no certificate.
EFI_STATUS checkTransfers(JOB_RUN *run);
// Fetches the job that the medium's own file names, into Fetched. Failures come with a message; XYL_NOT_FOUND: the
// server has none for this machine.
XYL_RESULT fetchJob(JOB_RUN *run);
// Runs a line with a transfer.
XYL_RESULT runTransfer(JOB_RUN *run, const JOB_LINE &line);
// Sends the result to whom the job says.
EFI_STATUS sendResult(JOB_RUN *run, const TEXT &result);

// --- What the machine remembers, where the medium keeps nothing ---

#define MEDIUM_ID_NAME "medium.id"

// Whether the machine's variable tells that the job of this medium was begun, and none after it.
bool isDone(const JOB_RUN &run);
EFI_STATUS noteDone(const JOB_RUN &run);
void forgetDone();

// --- Time ---

void readClock(EFI_TIME *time);
UINT64 secondsOf(const EFI_TIME &time); // counted from some day; only differences mean something
const CHAR8 *outcomeWord(XYL_OUTCOME outcome);
