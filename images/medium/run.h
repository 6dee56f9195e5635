// Files of the front on a boot medium.
#pragma once

#include "base/array.h"
#include "client/controllers/controllers.h"
#include "client/jobs/jobs.h"
#include "images/firmware/firmware.h"

#define RESULT_NAME "result.json"

// A file that cannot be kept on the medium; later lines read it here.
struct MEMORY_FILE {
  CHAR8 *Name; // pool
  CHAR8 *Data; // pool
  UINTN Size;
};

struct MEDIUM {
  FIRMWARE_CONTEXT Firmware; // first: XYL_HOST's Context leads here
  bool Keeps;                // what is written stays; otherwise files go to the console
  POOL_ARRAY<MEMORY_FILE> Files;
  TEXT Printed; // by the line that runs
};

inline MEDIUM *mediumOf(const XYL_HOST *host) {
  return static_cast<MEDIUM *>(host->Context);
}

// --- The medium: names are those below \raidxyl, or begin with a backslash ---

// Opens the medium that the image comes from and makes the host's functions for files those of the medium.
EFI_STATUS openMedium(EFI_HANDLE image, MEDIUM *medium, XYL_HOST *host);
void closeMedium(MEDIUM *medium);
// Writes a whole file, also over an old one.
EFI_STATUS writeOnMedium(const XYL_HOST *host, const CHAR8 *name, const TEXT &text);

// --- Drivers ---

// What came of a driver on the medium.
struct MEDIUM_DRIVER {
  CHAR16 *Name; // pool
  EFI_STATUS Status;
};

// Loads and starts the drivers in the order of their names, each with what a file NAME.opt beside it says as its
// options, and connects every controller. What fails is told. The caller frees the drivers.
void loadDrivers(const XYL_HOST *host, EFI_HANDLE image, POOL_ARRAY<MEDIUM_DRIVER> *drivers);
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
  const XYL_HOST *Host;
  SERVER Server;
  CHAR8 Job[9]; // CRC-32 of the job file
  JOB_FILE File;
  POOL_ARRAY<MEDIUM_DRIVER> Drivers;
  POOL_ARRAY<JOB_RECORD> Records; // of the lines
  const CHAR8 *State;             // "running", "done" or "refused"
  TEXT Mistakes;                  // of a refused job file
  EFI_TIME Started;
  JOB_END End;
};

// Writes the result as it is now.
EFI_STATUS writeResult(const JOB_RUN &run);
// Whether an earlier boot began the same job file on this medium.
bool hasResult(const JOB_RUN &run);

void readClock(EFI_TIME *time);
UINT64 secondsOf(const EFI_TIME &time); // counted from some day; only differences mean something
const CHAR8 *outcomeWord(XYL_OUTCOME outcome);
