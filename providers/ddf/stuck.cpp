// Sets that no change can mend, since it would write over what is not understood or cannot be written as it has to be.

#include "providers/ddf/set_stages.h"

constexpr UINT32 MOST_STEPS = 0x10000; // of one change; sequence numbers must have room for them

const CHAR8 *ddfSetFault(const DDF_SET &set) {
  return set.apart != 0                           ? "some disks of its set were changed apart from the others"
         : !set.sound                             ? "its set has records that are not understood"
         : !set.ordered                           ? "its set has metadata that Linux would misplace"
         : set.sequence > 0xFFFFFFFF - MOST_STEPS ? "its set has no sequence numbers left"
                                                  : nullptr;
}

const CHAR8 *ddfDiskFault(const DDF_MODEL &model, UINT32 number) {
  const DDF_DISK &disk = model.disks[number];
  const DDF_HEADER &newest = model.disks[model.sets[disk.set].newest].copy.header;
  return disk.copy.header.secondaryLba == DDF_NO_LBA ? "has no second copy of its metadata"
         : disk.misplaced                            ? "has no room where its metadata belongs"
         : !ddfSameLayout(disk.copy.header, newest)  ? "its metadata has another layout than that of its set"
                                                     : nullptr;
}

const CHAR8 *whyStuck(const DDF_MODEL &model, const DDF_SET &set) {
  const CHAR8 *why = ddfSetFault(set);
  bool works = false;
  for (UINT32 i = 0; i < set.pdCount && why == nullptr; i++) {
    UINT32 disk = set.pds[i].disk;
    bool isWritten = disk != DDF_NONE && (set.pds[i].entry->state & (DDF_PD_FAILED | DDF_PD_MISSING)) == 0;
    works = works || isWritten;
    why = isWritten && ddfDiskFault(model, disk) != nullptr ? "a disk of its set has no place to write to" : nullptr;
  }
  return why != nullptr || works ? why : "its set has no disk that works";
}
