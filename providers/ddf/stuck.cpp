// Sets that no change can mend, since it would write over what is not understood or cannot be written as it has to be.

#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

constexpr UINT32 mostSteps = 0x10000; // of one change; sequence numbers must have room for them

const CHAR8 *faultOfSet(const Set &set) {
  return set.apart != 0                          ? "some disks of its set were changed apart from the others"
         : !set.sound                            ? "its set has records that are not understood"
         : !set.ordered                          ? "its set has metadata that Linux would misplace"
         : set.sequence > 0xFFFFFFFF - mostSteps ? "its set has no sequence numbers left"
                                                 : nullptr;
}

const CHAR8 *faultOfDisk(const Model &model, UINT32 number) {
  const Disk &disk = model.disks[number];
  const Header &newest = model.disks[model.sets[disk.set].newest].copy.header;
  return disk.copy.header.secondaryLba == noLba  ? "has no second copy of its metadata"
         : disk.misplaced                        ? "has no room where its metadata belongs"
         : !sameLayout(disk.copy.header, newest) ? "its metadata has another layout than that of its set"
                                                 : nullptr;
}

const CHAR8 *whyStuck(const Model &model, const Set &set) {
  const CHAR8 *why = faultOfSet(set);
  bool works = false;
  for (UINT32 i = 0; i < set.pdCount && why == nullptr; ++i) {
    UINT32 disk = set.pds[i].disk;
    bool isWritten = disk != noIndex && (set.pds[i].entry->state & (pdFailed | pdMissing)) == 0;
    works = works || isWritten;
    why = isWritten && faultOfDisk(model, disk) != nullptr ? "a disk of its set has no place to write to" : nullptr;
  }
  return why != nullptr || works ? why : "its set has no disk that works";
}

} // namespace xyl::ddf
