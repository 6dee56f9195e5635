// What has run so far: a JSON object a line, behind the others, so that a job of thousands of lines takes no longer for
// the last one. The result takes its place once all is done.
#include "base/text.h"
#include "images/medium/run.h"

static FIRMWARE_FILES *filesOf(const JOB_RUN &run) {
  return firmwareContext(run.Front)->Files;
}

// The name as the file functions want it; pool memory, or null.
static CHAR16 *wideName(const JOB_RUN &run) {
  RESULT_NAME name = resultName(run, PROGRESS_SUFFIX);
  return wideFromUtf8(name.Text, textLength(name.Text), /* carriageReturns= */ false);
}

EFI_STATUS beginProgress(JOB_RUN *run) {
  CHAR16 *name = wideName(*run);
  if (name == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  FIRMWARE_FILES *files = filesOf(*run);
  deleteNamed(files, name); // of an earlier run, which creating would not shorten
  EFI_STATUS status = files->Open(files, name, EFI_FILE_MODE_CREATE, &run->Progress);
  run->Progress = EFI_ERROR(status) ? nullptr : run->Progress;
  poolFree(name);
  return status;
}

// The same text in one line: within a value there is no line feed.
static void putCompact(TEXT *to, const TEXT &text) {
  const CHAR8 *at = textOf(text);
  while (*at != 0) {
    const CHAR8 *end = at;
    while (*end != 0 && *end != '\n') {
      ++end;
    }
    putBytes(to, at, static_cast<UINTN>(end - at));
    for (at = end; *at == '\n' || *at == ' '; ++at) {
    }
  }
  putText(to, "\n");
}

static void putRecord(TEXT *to, const JOB_RUN &run, UINT32 index) {
  TEXT text = {};
  XYL_FRONT front = capturingFront(&text, run.Front->Kind);
  JSON json = {};
  json.Front = &front;
  writeLine(&json, run.File.Lines.items[index], run.Records.items[index], /* hasPrinted= */ false);
  putCompact(to, text);
  to->Failed = to->Failed || text.Failed;
  freeText(&text);
}

EFI_STATUS tellProgress(JOB_RUN *run, UINT32 index) {
  TEXT text = {};
  for (UINT32 i = run->Running; i <= index; ++i) {
    putRecord(&text, *run, i);
  }
  FIRMWARE_FILES *files = filesOf(*run);
  UINTN size = text.Length;
  EFI_STATUS status = text.Failed ? EFI_OUT_OF_RESOURCES : files->Write(files, run->Progress, &size, textOf(text));
  if (!EFI_ERROR(status)) {
    status = size == text.Length ? files->Flush(files, run->Progress) : EFI_VOLUME_FULL;
  }
  run->Running = index;
  freeText(&text);
  return status;
}

void closeProgress(JOB_RUN *run) {
  if (run->Progress != nullptr) {
    filesOf(*run)->Close(filesOf(*run), run->Progress);
    run->Progress = nullptr;
  }
}

void endProgress(JOB_RUN *run) {
  if (run->Progress != nullptr) {
    filesOf(*run)->Delete(filesOf(*run), run->Progress); // closes it too
    run->Progress = nullptr;
  }
}
