// The job file of a boot medium: the command lines that run, and how the machine goes on.
//
//   # a comment
//   limit 30
//   verify saved\%SERIAL%.xml
//   ok: end shutdown
//   different: restore saved\%SERIAL%.xml --rebuild --yes -c 03:00.0
//   get -o after.xml
//   end reset
//
// or the one line that says where it comes from:
//
//   job http://provisioning/jobs/%SERIAL%.txt
//
// A condition stands for the exit code of the line that ran last. Words are separated by blanks; those between
// quotation marks belong together.
#pragma once

#include "base/array.h"
#include "client/command_line/command_line.h"
#include "client/jobs/transfer.h"

#define JOB_FILE_LIMIT 0x10000U // bytes

enum JOB_CONDITION { JOB_ALWAYS, JOB_OK, JOB_DIFFERENT, JOB_FAILED };
enum JOB_END { JOB_RETURN, JOB_RESET, JOB_SHUTDOWN, JOB_GOES_ON };

// The words for them, as the file has them; "" for JOB_ALWAYS.
extern const CHAR8 *const g_jobConditions[JOB_FAILED + 1];
extern const CHAR8 *const g_jobEnds[JOB_SHUTDOWN + 1];

struct JOB_LINE {
  UINT32 Number; // in the file, from 1
  JOB_CONDITION Condition;
  JOB_END End; // JOB_GOES_ON: a command line
  TEXT Text;   // for people, without the condition
  TEXT Words;  // WordCount of them, each with its NUL
  UINT32 WordCount;
  UINT32 Limit; // minutes that it may take; 0: any time
  // No command of the client's, but a file that comes or goes.
  jobs::Transfer Transfer;
  jobs::Tries Tries;
};

// Takes a line with a transfer apart; the texts are the line's.
jobs::TransferLine transferOf(const JOB_LINE &line);

struct JOB_FILE {
  POOL_ARRAY<JOB_LINE> Lines;
  bool Again; // runs although a result of it is there
  jobs::Network Network;
  JOB_LINE Source; // "job URL"; without words: the job is here
  JOB_LINE Result; // "send result.json URL", which comes behind all lines; without words: nobody wants it
  bool IsSecure;   // a URL begins with https
};

// What stands between percent signs, and what it stands for.
struct JOB_NAME {
  const CHAR8 *Name;
  const CHAR8 *Value; // null: not known here, the name stays; "": this machine has none, which is a mistake
};
struct JOB_NAMES {
  const JOB_NAME *Rows;
  UINTN Count;
};

// Reads a job file of size bytes; the caller frees it, also after a mistake. Each mistake is told on the error output,
// with its line, and gives XYL_USAGE. A job that another one named by its URL begins with what that says of the
// network.
XYL_RESULT readJobs(const XYL_FRONT *front, const CHAR8 *text, UINTN size, const JOB_NAMES &names, JOB_FILE *jobs,
                    const JOB_FILE *namedBy = nullptr);
void freeJobs(JOB_FILE *jobs);

// The URL of the job that a file names.
const CHAR8 *sourceOf(const JOB_FILE &jobs);

// Parses the words of a command line; the request's texts are the line's.
XYL_RESULT parseJob(const XYL_FRONT *front, const JOB_LINE &line, XYL_REQUEST *request);

// Whether the line is for an outcome.
bool isJobFor(JOB_CONDITION condition, XYL_OUTCOME outcome);
