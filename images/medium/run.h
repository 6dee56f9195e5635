// Files of the front on a boot medium.
#pragma once

#include "base/array.h"
#include "client/controllers/controllers.h"
#include "client/jobs/jobs.h"
#include "images/firmware/firmware.h"
#include "images/medium/file_system.h"
#include "images/network/network.h"

namespace xyl::images {

// A file that cannot be kept on the medium; later lines read it here.
struct MemoryFile {
  CHAR8 *name; // pool
  CHAR8 *data; // pool
  UINTN size;
};

struct Medium {
  FirmwareContext firmware; // first: XYL_HOST's Context leads here
  FileSystem fileSystem;    // of Device
  EFI_HANDLE device;
  bool keeps; // what is written stays; otherwise files go to the console
  PoolArray<MemoryFile> files;
  PoolArray<CHAR8 *> written; // names of files that this run wrote on the medium
  client::Text printed;       // by the line that runs
};

inline Medium *mediumOf(const client::Front *front) {
  return static_cast<Medium *>(front->context);
}

// --- The medium: names are those below \raidxyl, or begin with a backslash ---

// Opens the medium that the image comes from and makes the host's functions for files those of the medium.
EFI_STATUS openMedium(EFI_HANDLE image, Medium *medium, client::Front *front);
void closeMedium(Medium *medium);
// From now on files are kept in memory and shown on the console. No file of the medium may be open: after a failed
// write its file system keeps what it could not write, and fails at all that it is asked, so it is started anew.
void keepNothing(client::Front *front);
// Writes a whole file, also over an old one.
EFI_STATUS writeOnMedium(const client::Front *front, const CHAR8 *name, const client::Text &text);
// The same for what came over the network, which is not shown where nothing can be kept: it may be large, or a secret.
EFI_STATUS keepFetched(const client::Front *front, const CHAR8 *name, const CHAR8 *data, UINTN size);
// Whether this run wrote the file.
bool hasWritten(const client::Front *front, const CHAR8 *name);

// --- Drivers ---

// What came of a driver on the medium.
struct MediumDriver {
  CHAR16 *name; // pool
  EFI_STATUS status;
};

// Loads and starts the drivers in the order of their names, each with what a file NAME.opt beside it says as its
// options, and connects every controller. What fails is told. The caller frees the drivers.
void loadDrivers(const client::Front *front, EFI_HANDLE image, PoolArray<MediumDriver> *drivers);
void freeDrivers(PoolArray<MediumDriver> *drivers);

// --- Results ---

enum class JobState { notReached, passedOver, running, ran };

// What came of a line.
struct JobRecord {
  JobState state;
  client::Result result;
  EFI_TIME started;
  UINT64 seconds;
  bool hasController;
  client::ControllerIdentity controller;
  client::Text printed;
};

struct JobRun {
  client::Front *front;
  client::Server server;
  UINT32 sum;   // CRC-32 of the job file
  CHAR8 job[9]; // and in digits
  client::JobFile file;
  client::JobFile namedBy; // where that came from: the medium's own, with one line 'job'
  client::Text fetched;    // what came then
  network::Cards cards;
  network::Trust trust;
  PoolArray<MediumDriver> drivers;
  PoolArray<JobRecord> records; // of the lines
  const CHAR8 *state;           // "running", "done", "stopped" or "refused"
  client::Text mistakes;        // of a refused job file
  EFI_TIME started;
  EFI_TIME ended;
  EFI_STATUS sent; // the result; EFI_SUCCESS when that is not wanted, too
  client::JobEnd end;
  OpenFile progress; // null: not told
  UINT32 running;    // the line that was told last
};

// Names of what tells of a run on this machine; several machines may use one medium.
struct ResultName {
  CHAR8 text[160];
};
#define RESULT_SUFFIX ".json"
inline constexpr CHAR8 progressSuffix[] = ".lines";
inline constexpr CHAR8 fetchedSuffix[] = ".txt";
ResultName resultName(const JobRun &run, const CHAR8 *suffix);
// Letters that a file name cannot have become underscores.
void makeFileName(CHAR8 *name);

// The result as it is now; the caller frees it.
client::Text makeResult(const JobRun &run);
// Writes the result, as it is now or was made.
EFI_STATUS writeResult(const JobRun &run);
EFI_STATUS writeResult(const JobRun &run, const client::Text &result);
// Whether an earlier boot of this machine began the same job file on this medium.
bool hasResult(const JobRun &run);
// One line's part of it; what was printed is only for the end.
void writeLine(client::Json *json, const client::JobLine &line, const JobRecord &record, bool hasPrinted);

// Begins to tell which lines ran, beside the result of a run that is not over.
EFI_STATUS beginProgress(JobRun *run);
// Tells what came of the lines before, and that this one runs.
EFI_STATUS tellProgress(JobRun *run, UINT32 index);
// Leaves it as it is.
void closeProgress(JobRun *run);
// Once the result is kept it is of no more use.
void endProgress(JobRun *run);

// --- The network ---

// Makes sure before anything runs that what the job wants of the network can be had: EFI_INVALID_PARAMETER, with a
// message, when it wants https and there is no certificate.
EFI_STATUS checkTransfers(JobRun *run);
// Fetches the job that the medium's own file names, into Fetched. Failures come with a message; outcomeNotFound: the
// server has none for this machine.
client::Result fetchJob(JobRun *run);
// Runs a line with a transfer.
client::Result runTransfer(JobRun *run, const client::JobLine &line);
// Sends the result to whom the job says.
EFI_STATUS sendResult(JobRun *run, const client::Text &result);

// --- What the machine remembers, where the medium keeps nothing ---

inline constexpr CHAR8 mediumIdName[] = "medium.id";

// Whether the machine's variable tells that the job of this medium was begun, and none after it.
bool isDone(const JobRun &run);
EFI_STATUS noteDone(const JobRun &run);
void forgetDone();

// --- Time ---

void readClock(EFI_TIME *time);
UINT64 secondsOf(const EFI_TIME &time); // counted from some day; only differences mean something
const CHAR8 *outcomeWord(client::Outcome outcome);

} // namespace xyl::images
