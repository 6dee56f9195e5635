// The lines of a job file about files that come and go, and about the network.
#include "client/jobs/reading.h"

#include "base/text.h"

namespace xyl::client {

static void checkUrl(JobReader *reader, const CHAR8 *text) {
  jobs::Url url;
  const CHAR8 *fault = jobs::readUrl(text, &url);
  if (fault == nullptr && *url.path == 0) {
    fault = "names no file on the server";
  }
  if (fault != nullptr) {
    complain(reader->front, "job file, line %d: the URL %a: '%a'", reader->number, fault, text);
    reader->hasMistake = true;
  }
  reader->jobs->isSecure = reader->jobs->isSecure || url.isSecure;
}

jobs::TransferLine transferOf(const JobLine &line) {
  JobWords words = wordsOf(line);
  jobs::TransferLine read;
  jobs::readTransfer(words.count, words.items, &read);
  return read;
}

void readTransferLine(JobReader *reader, JobLine *line) {
  JobWords words = wordsOf(*line);
  jobs::TransferLine read;
  const CHAR8 *fault = jobs::readTransfer(words.count, words.items, &read);
  mistakeIn(reader, *line, fault);
  if (fault == nullptr) {
    checkUrl(reader, read.url);
  }
  line->transfer = read.transfer;
  line->tries = reader->tries;
  if (++reader->transfers == transfersMax + 1) {
    mistake(reader, "a job has at most 100 lines with 'fetch' and 'send'");
  }
}

// Keeps a line that is done before the first or behind the last of the others.
static void takeAside(JobReader *reader, JobLine *line, JobLine *kept) {
  if (kept->wordCount != 0) {
    mistake(reader, "stands here for a second time");
    return;
  }
  line->tries = reader->tries;
  *kept = *line;
  line->text = {}; // are the other's
  line->words = {};
}

void readSource(JobReader *reader, JobLine *line) {
  if (line->wordCount != 2) {
    mistakeIn(reader, *line, "wants the URL from which the job comes");
  } else if (reader->isFetched) {
    mistakeIn(reader, *line, "does not stand in a job that was fetched");
  } else {
    checkUrl(reader, wordsOf(*line).items[1]);
    takeAside(reader, line, &reader->jobs->source);
  }
}

const CHAR8 *sourceOf(const JobFile &jobs) {
  return jobs.source.wordCount == 2 ? wordsOf(jobs.source).items[1] : "";
}

void readNetworkLine(JobReader *reader, JobLine *line) {
  JobWords words = wordsOf(*line);
  if (reader->isFetched) {
    mistakeIn(reader, *line, "stands in the medium's own file, by which the job was fetched");
    return;
  }
  mistakeIn(reader, *line, jobs::readNetwork(words.count, words.items, &reader->jobs->network));
}

void readTriesLine(JobReader *reader, JobLine *line) {
  JobWords words = wordsOf(*line);
  mistakeIn(reader, *line, jobs::readTries(words.count, words.items, &reader->tries));
}

void readResult(JobReader *reader, JobLine *line) {
  readTransferLine(reader, line);
  takeAside(reader, line, &reader->jobs->result);
}

} // namespace xyl::client
