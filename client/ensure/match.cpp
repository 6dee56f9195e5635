// Whether a virtual disk is what the layout says.
#include "base/text.h"
#include "client/ensure/work.h"
#include "driver/xml/xml.h"

namespace xyl::client::ensure {

// --- Disks ---

static bool isWhereWished(const Work &work, const DiskWish &wish, const RAID_PD_RECORD &disk) {
  if (wish.where == Where::anywhere) {
    return true;
  }
  bool direct = isDirect(work.config, disk);
  if (wish.where == Where::direct || direct) {
    return wish.where == Where::direct && direct;
  }
  UINT32 place = findEnclosure(work.config, wish.enclosure);
  return place != records::noId && work.config.enclosures[place].ObjectID == disk.EnclosureObjectID;
}

const CHAR8 *whyNotWished(const Work &work, const DiskWish &wish, const RAID_PD_RECORD &disk) {
  UINT32 medium = fitting::isSolidState(disk) ? RAID_LEVEL_ATTRIBUTE_SSD : RAID_LEVEL_ATTRIBUTE_HDD;
  if (wish.medium != 0 && wish.medium != medium) {
    return wish.medium == RAID_LEVEL_ATTRIBUTE_SSD ? "is no solid state disk" : "is no hard disk";
  }
  if (wish.protocol != 0 && wish.protocol != disk.Protocol) {
    return "has another protocol";
  }
  if (disk.Size < wish.smallest) {
    return "is too small";
  }
  return isWhereWished(work, wish, disk) ? nullptr : "is in another place";
}

// --- Sizes ---

// What a size may be off: what people cannot see of it, since they write two places of what is shown, and what a
// controller needs to come to whole stripes.
static UINT64 graceOf(UINT64 size, UINT32 stripe, UINT64 members) {
  UINT64 bytes = stripe != 0 ? UINT64{stripe} * 512 : 0;
  bytes = bytes > 1ULL << 20 ? bytes : 1ULL << 20;
  return size / 100 + bytes * (members != 0 ? members : 1);
}

static bool isNear(UINT64 a, UINT64 b, UINT64 grace) {
  return a > b ? a - b <= grace : b - a <= grace;
}

// What is left on the member that has the least left.
static UINT64 leftOver(const Work &work, const RAID_VD_RECORD &virtualDisk, UINT64 *size) {
  UINT64 left = ~0ULL;
  const UINT32 *members = virtualDisk.PDs;
  *size = 0;
  for (UINT32 i = 0; members != nullptr && i < virtualDisk.PDCount; ++i) {
    const RAID_PD_RECORD *disk = diskOf(work, members[i]);
    if (disk != nullptr && disk->FreeSize < left) {
      left = disk->FreeSize;
      *size = disk->Size;
    }
  }
  return left == ~0ULL ? 0 : left;
}

static void putSizeDifference(const Work &work, const VirtualDiskWish &wish, const RAID_VD_RECORD &virtualDisk,
                              Text *why) {
  if (wish.size == sizeAll) {
    UINT64 size = 0;
    UINT64 left = leftOver(work, virtualDisk, &size);
    if (left > graceOf(size, virtualDisk.StripeSize, 1)) {
      put(nextReason(why), "it leaves ");
      putBytesOf(why, left);
      putText(why, " of each disk");
    }
  } else if (wish.size != 0 &&
             !isNear(wish.size, virtualDisk.Size, graceOf(wish.size, virtualDisk.StripeSize, virtualDisk.PDCount))) {
    put(nextReason(why), "it has ");
    putBytesOf(why, virtualDisk.Size);
    putText(why, ", not ");
    putBytesOf(why, wish.size);
  }
}

// --- All of it ---

static void putMemberDifference(const Work &work, const VirtualDiskWish &wish, const RAID_VD_RECORD &virtualDisk,
                                Text *why) {
  const UINT32 *members = virtualDisk.PDs;
  for (UINT32 i = 0; members != nullptr && i < virtualDisk.PDCount; ++i) {
    const RAID_PD_RECORD *disk = diskOf(work, members[i]);
    const CHAR8 *reason = disk != nullptr ? whyNotWished(work, wish.disks, *disk) : nullptr;
    if (reason != nullptr) {
      put(nextReason(why), "its disk ");
      putDisk(why, work.config, *disk);
      put(why, " ", reason);
      return;
    }
  }
}

void putDifferences(const Work &work, const VirtualDiskWish &wish, const RAID_VD_RECORD &virtualDisk, Text *why) {
  if (virtualDisk.State != RAID_STATE_ONLINE && virtualDisk.State != RAID_STATE_DEGRADED) {
    put(nextReason(why), "it is ", driver::GetNameFromValue(virtualDisk.State, driver::g_stateTable));
  }
  if (virtualDisk.RAIDLevel != wish.level) {
    put(nextReason(why), "it is ", driver::GetNameFromValue(virtualDisk.RAIDLevel, driver::g_raidLevelTable), ", not ",
        driver::GetNameFromValue(wish.level, driver::g_raidLevelTable));
  }
  if (wish.disks.count != 0 && virtualDisk.PDCount != wish.disks.count) {
    put(nextReason(why), "it has ", virtualDisk.PDCount, " disks, not ", wish.disks.count);
  }
  putMemberDifference(work, wish, virtualDisk, why);
  putSizeDifference(work, wish, virtualDisk, why);
  if (wish.stripe != 0 && virtualDisk.StripeSize != wish.stripe) {
    put(nextReason(why), "its stripes are ",
        driver::GetNameFromValue(virtualDisk.StripeSize, driver::g_stripeSizeTable), ", not ",
        driver::GetNameFromValue(wish.stripe, driver::g_stripeSizeTable));
  }
}

} // namespace xyl::client::ensure
