// What the machine remembers of media that keep nothing: the job that it did last. A medium that stays attached would
// rebuild its controllers at every boot.
#include "base/crc32.h"
#include "images/medium/run.h"

namespace xyl::images {

static constexpr EFI_GUID g_ownGuid = {0x303ab25c, 0xd761, 0x402c, {0xbf, 0xbd, 0xaa, 0x15, 0x5b, 0x7b, 0xc0, 0x93}};
static constexpr const CHAR16 *g_variable = u"RaidXylJob";

struct Done {
  UINT32 job;    // CRC-32 of the job file
  UINT32 medium; // CRC-32 of the file that no other medium has; 0: it has none either
};

static Done doneBy(const JobRun &run) {
  CHAR8 *text = nullptr;
  UINTN size = 0;
  Done done = {run.sum, 0};
  if (!EFI_ERROR(run.front->readFile(run.front, mediumIdName, &text, &size))) {
    done.medium = crc32Of(text, size);
    poolFree(text);
  }
  return done;
}

// Whether the variable is there; one of another size tells of no job.
static bool readDone(Done *done) {
  UINTN size = sizeof(*done);
  UINT32 attributes = 0;
  EFI_STATUS status = g_systemTable->RuntimeServices->GetVariable(g_variable, &g_ownGuid, &attributes, &size, done);
  if (EFI_ERROR(status) || size != sizeof(*done)) {
    *done = {};
  }
  return status != EFI_NOT_FOUND;
}

bool isDone(const JobRun &run) {
  Done wanted = doneBy(run);
  Done done;
  return readDone(&done) && done.job == wanted.job && done.medium == wanted.medium;
}

void forgetDone() {
  Done done;
  if (readDone(&done)) {
    g_systemTable->RuntimeServices->SetVariable(g_variable, &g_ownGuid, /* Attributes= */ 0, /* Size= */ 0,
                                                /* Data= */ nullptr);
  }
}

// The system may see it, too, and remove it ('xyl stage' does).
EFI_STATUS noteDone(const JobRun &run) {
  forgetDone(); // firmware refuses new attributes of one that is there
  Done done = doneBy(run);
  return g_systemTable->RuntimeServices->SetVariable(
      g_variable, &g_ownGuid, EFI_VARIABLE_NON_VOLATILE | EFI_VARIABLE_BOOTSERVICE_ACCESS | EFI_VARIABLE_RUNTIME_ACCESS,
      sizeof(done), &done);
}

} // namespace xyl::images
