#include "fitting/fitting.h"

#include "base/bits.h"
#include "records/levels.h"

namespace xyl::fitting {

// --- One disk ---

static bool isUsable(const RAID_PD_RECORD &disk) {
  bool isLocked = disk.SecureState == RAID_SECURE_STATE_LOCKED || disk.SecureState == RAID_SECURE_STATE_FOREIGN;
  return disk.Hotspare == RAID_HOTSPARE_NONE && !isLocked;
}

bool isFree(const RAID_PD_RECORD &disk) {
  return disk.State == RAID_STATE_READY && isUsable(disk);
}

UINT64 roomOf(const RAID_PD_RECORD &disk) {
  if (disk.State == RAID_STATE_ONLINE && isUsable(disk)) {
    // What alignment has left over is no room.
    return disk.FreeSize > disk.Size >> 16 ? disk.FreeSize : 0;
  }
  return isFree(disk) ? disk.Size : 0;
}

// --- Levels ---

const RAID_LEVEL_PARAMS *levelOf(const RAID_ADAPTER_RECORD &adapter, UINT64 level) {
  UINT32 count = countBits(adapter.SupportedRAIDLevels);
  for (UINT32 i = 0; adapter.RAIDLevelParams != nullptr && i < count; ++i) {
    if (adapter.RAIDLevelParams[i].RAIDLevel == level) {
      return &adapter.RAIDLevelParams[i];
    }
  }
  return nullptr;
}

// The fewest equal spans of parity disks that the adapter makes of so many; 0 when there is no such number.
static UINT32 spansOf(const RAID_ADAPTER_RECORD &adapter, const records::LevelLayout &rule, UINT32 count) {
  for (UINT32 spans = 2; spans <= adapter.MaxSpansPerLD && count / spans > rule.parity + 1; ++spans) {
    if (count % spans == 0 && count / spans <= adapter.MaxPDsPerSpan) {
      return spans;
    }
  }
  return 0;
}

// A mirror of at most three disks is one of copies, else mirrors are of pairs.
static UINT32 dataMembers(const RAID_ADAPTER_RECORD &adapter, const records::LevelLayout &rule,
                          const RAID_LEVEL_PARAMS &level, UINT32 count) {
  if (rule.mirrored && level.MaxDisks == 3) {
    return 1;
  }
  if (rule.mirrored) {
    return count % 2 == 0 ? count / 2 : 0;
  }
  UINT32 spans = rule.spanned ? spansOf(adapter, rule, count) : 1;
  return spans != 0 && count > rule.parity * spans ? count - rule.parity * spans : 0;
}

Verdict judgeCount(const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level, UINT32 count, Layout *layout) {
  *layout = {};
  if (count < level.MinDisks || count > level.MaxDisks) {
    return Verdict::wrongCount;
  }
  const records::LevelLayout *rule = records::levelLayout(level.RAIDLevel);
  if (rule == nullptr) {
    return Verdict::fits;
  }
  layout->dataMembers = dataMembers(adapter, *rule, level, count);
  if (layout->dataMembers == 0) {
    return rule->mirrored ? Verdict::oddCount : Verdict::unequalSpans;
  }
  return Verdict::fits;
}

UINT64 shareOf(const Layout &layout, UINT64 size) {
  UINT64 members = layout.dataMembers;
  return members != 0 ? divideUp(size, members) : 0;
}

// --- Disks together ---

void addKind(Kinds *kinds, const RAID_PD_RECORD &disk) {
  kinds->media |= isSolidState(disk) ? RAID_LEVEL_ATTRIBUTE_SSD : RAID_LEVEL_ATTRIBUTE_HDD;
  kinds->protocols |= disk.Protocol;
}

Verdict judgeKinds(const RAID_LEVEL_PARAMS &level, const Kinds &kinds) {
  static constexpr UINT32 bothMedia = RAID_LEVEL_ATTRIBUTE_HDD | RAID_LEVEL_ATTRIBUTE_SSD;
  if ((kinds.media & ~level.Attributes) != 0) {
    return Verdict::wrongMedium;
  }
  if ((kinds.protocols & ~level.AvailableProtocols) != 0) {
    return Verdict::wrongProtocol;
  }
  if (kinds.media == bothMedia &&
      (level.Attributes & (RAID_LEVEL_ATTRIBUTE_HDD_SSD | RAID_LEVEL_ATTRIBUTE_MIX_ALL)) == 0) {
    return Verdict::mixedMedia;
  }
  UINT32 mixing = RAID_LEVEL_ATTRIBUTE_MIX_ALL;
  mixing |= (kinds.media & RAID_LEVEL_ATTRIBUTE_HDD) != 0 ? RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD : 0;
  mixing |= (kinds.media & RAID_LEVEL_ATTRIBUTE_SSD) != 0 ? RAID_LEVEL_ATTRIBUTE_SAS_SATA_SSD : 0;
  bool isMixed = (kinds.protocols & (kinds.protocols - 1)) != 0;
  return isMixed && (level.Attributes & mixing) == 0 ? Verdict::mixedProtocols : Verdict::fits;
}

static bool isMemberOf(const RAID_PD_RECORD &disk, UINT32 virtualDisk) {
  for (UINT32 i = 0; disk.Hotspare == RAID_HOTSPARE_NONE && disk.VDs != nullptr && i < disk.VDCount; ++i) {
    if (disk.VDs[i] == virtualDisk) {
      return true;
    }
  }
  return false;
}

Verdict judgeSpare(const RAID_LEVEL_PARAMS &level, Kinds members, UINT64 share, const RAID_PD_RECORD &disk) {
  addKind(&members, disk);
  Verdict verdict = judgeKinds(level, members);
  return verdict == Verdict::fits && disk.Size < share ? Verdict::tooSmall : verdict;
}

Verdict judgeSpare(const RAID_ADAPTER_RECORD &adapter, const Disks &disks, const RAID_PD_RECORD &disk,
                   const RAID_VD_RECORD &virtualDisk, UINT64 *share) {
  Kinds kinds = {};
  for (UINT32 i = 0; i < disks.count; ++i) {
    if (isMemberOf(disks.items[i], virtualDisk.ObjectID)) {
      addKind(&kinds, disks.items[i]);
    }
  }
  const records::LevelLayout *rule = records::levelLayout(virtualDisk.RAIDLevel);
  Layout layout = {rule != nullptr ? dataMembers(adapter, *rule, virtualDisk.RAIDLevelDesc, virtualDisk.PDCount) : 0};
  *share = shareOf(layout, virtualDisk.Size);
  return judgeSpare(virtualDisk.RAIDLevelDesc, kinds, *share, disk);
}

} // namespace xyl::fitting
