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

namespace xyl::client {

inline constexpr UINT32 jobFileLimit = 0x10000U; // bytes

enum JobCondition { jobAlways, jobOk, jobDifferent, jobFailed };
enum JobEnd { jobReturn, jobReset, jobShutdown, jobGoesOn };

// The words for them, as the file has them; "" for jobAlways.
extern const CHAR8 *const g_jobConditions[jobFailed + 1];
extern const CHAR8 *const g_jobEnds[jobShutdown + 1];

struct JobLine {
  UINT32 number; // in the file, from 1
  JobCondition condition;
  JobEnd end; // jobGoesOn: a command line
  Text text;  // for people, without the condition
  Text words; // wordCount of them, each with its NUL
  UINT32 wordCount;
  UINT32 limit; // minutes that it may take; 0: any time
  // No command of the client's, but a file that comes or goes.
  jobs::Transfer transfer;
  jobs::Tries tries;
};

// Takes a line with a transfer apart; the texts are the line's.
jobs::TransferLine transferOf(const JobLine &line);

struct JobFile {
  PoolArray<JobLine> lines;
  bool again; // runs although a result of it is there
  jobs::Network network;
  JobLine source; // "job URL"; without words: the job is here
  JobLine result; // "send result.json URL", which comes behind all lines; without words: nobody wants it
  bool isSecure;  // a URL begins with https
};

// What stands between percent signs, and what it stands for.
struct JobName {
  const CHAR8 *name;
  const CHAR8 *value; // null: not known here, the name stays; "": this machine has none, which is a mistake
};
struct JobNames {
  const JobName *rows;
  UINTN count;
};

// Reads a job file of size bytes; the caller frees it, also after a mistake. Each mistake is told on the error output,
// with its line, and gives outcomeUsage. A job that another one named by its URL begins with what that says of the
// network.
Result readJobs(const Front *front, const CHAR8 *text, UINTN size, const JobNames &names, JobFile *jobs,
                const JobFile *namedBy = nullptr);
void freeJobs(JobFile *jobs);

// The URL of the job that a file names.
const CHAR8 *sourceOf(const JobFile &jobs);

// Parses the words of a command line; the request's texts are the line's.
Result parseJob(const Front *front, const JobLine &line, Request *request);

// Whether the line is for an outcome.
bool isJobFor(JobCondition condition, Outcome outcome);

} // namespace xyl::client
