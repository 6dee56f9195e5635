// What reads a job file, part by part: its words, the lines about the network, and all others.
#pragma once

#include "client/jobs/jobs.h"

namespace xyl::client {

inline constexpr UINT32 jobWordsMax = 100;
inline constexpr UINT32 transfersMax = 100;

// What is known while a file is read.
struct JobReader {
  const Front *front;
  const JobNames *names;
  JobFile *jobs;
  UINT32 number;   // of the line
  bool hasMistake; // anywhere
  bool isOver;     // behind an unconditional end
  UINT32 limit;    // of the lines from here on
  jobs::Tries tries;
  bool isFetched;
  UINT32 transfers;           // lines with a transfer
  UINT32 sends[transfersMax]; // those of the job's lines that send a file
  UINT32 sendCount;
};

// Tells a mistake of the line: what, and which.
void mistake(JobReader *reader, const CHAR8 *what, const CHAR8 *which = "");

// Tells a mistake of the line behind the line's first word; fault is null when there is none.
void mistakeIn(JobReader *reader, const JobLine &line, const CHAR8 *fault);

// --- Words ---

struct Cursor {
  const CHAR8 *at;
  const CHAR8 *end; // of the line
};

void skipBlanks(Cursor *cursor);

// Takes a line apart: its condition, and its words with the names between percent signs filled in.
void takeWords(JobReader *reader, Cursor cursor, JobLine *line);

// The line's words, at most as many as a line may have. They are the line's.
struct JobWords {
  UINTN count;
  const CHAR8 *items[jobWordsMax];
};
JobWords wordsOf(const JobLine &line);

// --- Lines about the network: each checks its line and keeps what it says ---

void readTransferLine(JobReader *reader, JobLine *line);
void readSource(JobReader *reader, JobLine *line);
void readNetworkLine(JobReader *reader, JobLine *line);
void readTriesLine(JobReader *reader, JobLine *line);
void readResult(JobReader *reader, JobLine *line);

} // namespace xyl::client
