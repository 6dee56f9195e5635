// What has run so far: a JSON object a line, behind the others, so that a job of thousands of lines takes no longer for
// the last one. The result takes its place once all is done.
#include "base/text.h"
#include "images/medium/run.h"

namespace xyl::images {

static FirmwareFiles *filesOf(const JobRun &run) {
  return firmwareContext(run.front)->files;
}

// The name as the file functions want it; pool memory, or null.
static CHAR16 *wideName(const JobRun &run) {
  ResultName name = resultName(run, progressSuffix);
  return wideFromUtf8(name.text, textLength(name.text), /* carriageReturns= */ false);
}

EFI_STATUS beginProgress(JobRun *run) {
  CHAR16 *name = wideName(*run);
  if (name == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  FirmwareFiles *files = filesOf(*run);
  deleteNamed(files, name); // of an earlier run, which creating would not shorten
  EFI_STATUS status = files->open(files, name, EFI_FILE_MODE_CREATE, &run->progress);
  run->progress = EFI_ERROR(status) ? nullptr : run->progress;
  poolFree(name);
  return status;
}

// The same text in one line: within a value there is no line feed.
static void putCompact(client::Text *to, const client::Text &text) {
  const CHAR8 *at = client::textOf(text);
  while (*at != 0) {
    const CHAR8 *end = at;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    client::putBytes(to, at, static_cast<UINTN>(end - at));
    for (at = end; *at == '\n' || *at == ' '; ++at) {
    }
  }
  client::putText(to, "\n");
}

static void putRecord(client::Text *to, const JobRun &run, UINT32 index) {
  client::Text text = {};
  client::Front front = client::capturingFront(&text, run.front->kind);
  client::Json json = {};
  json.front = &front;
  writeLine(&json, run.file.lines.items[index], run.records.items[index], /* hasPrinted= */ false);
  putCompact(to, text);
  to->failed = to->failed || text.failed;
  client::freeText(&text);
}

EFI_STATUS tellProgress(JobRun *run, UINT32 index) {
  client::Text text = {};
  for (UINT32 i = run->running; i <= index; ++i) {
    putRecord(&text, *run, i);
  }
  FirmwareFiles *files = filesOf(*run);
  UINTN size = text.length;
  EFI_STATUS status =
      text.failed ? EFI_OUT_OF_RESOURCES : files->write(files, run->progress, &size, client::textOf(text));
  if (!EFI_ERROR(status)) {
    status = size == text.length ? files->flush(files, run->progress) : EFI_VOLUME_FULL;
  }
  run->running = index;
  client::freeText(&text);
  return status;
}

void closeProgress(JobRun *run) {
  if (run->progress != nullptr) {
    filesOf(*run)->close(filesOf(*run), run->progress);
    run->progress = nullptr;
  }
}

void endProgress(JobRun *run) {
  if (run->progress != nullptr) {
    filesOf(*run)->remove(filesOf(*run), run->progress); // closes it too
    run->progress = nullptr;
  }
}

} // namespace xyl::images
