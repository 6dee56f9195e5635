#include "client/verbs/layout.h"

#include "base/bits.h"
#include "records/levels.h"

const RAID_LEVEL_PARAMS *levelOf(const RAID_ADAPTER_RECORD &adapter, UINT64 level) {
  UINT32 count = countBits(adapter.SupportedRAIDLevels);
  for (UINT32 i = 0; adapter.RAIDLevelParams != nullptr && i < count; ++i) {
    if (adapter.RAIDLevelParams[i].RAIDLevel == level) {
      return &adapter.RAIDLevelParams[i];
    }
  }
  return nullptr;
}

// --- Counts ---

// The fewest equal spans of parity disks that the adapter makes of so many; 0 when there is no such number.
static UINT32 spansOf(const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_LAYOUT &rule, UINT32 count) {
  for (UINT32 spans = 2; spans <= adapter.MaxSpansPerLD && count / spans > rule.parity + 1; ++spans) {
    if (count % spans == 0 && count / spans <= adapter.MaxPDsPerSpan) {
      return spans;
    }
  }
  return 0;
}

// A mirror of at most three disks is one of copies, else mirrors are of pairs.
static UINT32 dataMembers(const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_LAYOUT &rule,
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

XYL_RESULT checkCount(const XYL_CONTEXT &context, const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level,
                      UINT32 count, LAYOUT *layout) {
  *layout = {};
  const CHAR8 *name = GetNameFromValue(level.RAIDLevel, g_raidLevelTable);
  if (count < level.MinDisks || count > level.MaxDisks) {
    complain(context.Front, "%a takes %d to %d disks here, not %d", name, level.MinDisks, level.MaxDisks, count);
    return failed(EFI_INVALID_PARAMETER);
  }
  const RAID_LEVEL_LAYOUT *rule = levelLayout(level.RAIDLevel);
  if (rule == nullptr) {
    return succeeded();
  }
  layout->DataMembers = dataMembers(adapter, *rule, level, count);
  if (layout->DataMembers == 0) {
    complain(context.Front, "%a needs %a; %d disks cannot be divided so", name,
             rule->mirrored ? "an even number of disks" : "two or more equal spans", count);
    return failed(EFI_INVALID_PARAMETER);
  }
  return succeeded();
}

UINT64 shareOf(const LAYOUT &layout, UINT64 size) {
  UINT64 members = layout.DataMembers;
  return members != 0 ? size / members + (size % members != 0 ? 1 : 0) : 0;
}

// --- Kinds ---

static bool isSsd(const RAID_PD_RECORD &disk) {
  return (disk.Attributes & RAID_PD_ATTRIBUTE_SSD) != 0;
}

void addKind(DISK_KINDS *kinds, const RAID_PD_RECORD &disk) {
  kinds->Media |= isSsd(disk) ? RAID_LEVEL_ATTRIBUTE_SSD : RAID_LEVEL_ATTRIBUTE_HDD;
  kinds->Protocols |= disk.Protocol;
}

void appendKind(WORD_LIST &list, const CHAR8 *separator, const RAID_PD_RECORD &disk) {
  append(list, separator, GetNameFromValue(disk.Protocol, g_protocolTable));
  append(list, "", isSsd(disk) ? " solid state disk" : " hard disk");
}

const CHAR8 *whyNotTogether(const RAID_LEVEL_PARAMS &level, const DISK_KINDS &kinds) {
  static constexpr UINT32 BOTH_MEDIA = RAID_LEVEL_ATTRIBUTE_HDD | RAID_LEVEL_ATTRIBUTE_SSD;
  UINT32 mixesProtocols = RAID_LEVEL_ATTRIBUTE_MIX_ALL;
  mixesProtocols |= (kinds.Media & RAID_LEVEL_ATTRIBUTE_HDD) != 0 ? RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD : 0;
  mixesProtocols |= (kinds.Media & RAID_LEVEL_ATTRIBUTE_SSD) != 0 ? RAID_LEVEL_ATTRIBUTE_SAS_SATA_SSD : 0;
  const struct {
    bool IsWrong;
    const CHAR8 *Why;
  } rules[] = {
      {(kinds.Media & ~level.Attributes) != 0, "the level takes no disks of this medium"},
      {(kinds.Protocols & ~level.AvailableProtocols) != 0, "the level takes no disks of this protocol"},
      {kinds.Media == BOTH_MEDIA &&
           (level.Attributes & (RAID_LEVEL_ATTRIBUTE_HDD_SSD | RAID_LEVEL_ATTRIBUTE_MIX_ALL)) == 0,
       "the level mixes no hard disks and solid state disks"},
      {(kinds.Protocols & (kinds.Protocols - 1)) != 0 && (level.Attributes & mixesProtocols) == 0,
       "the level mixes no SAS and SATA disks of this medium"},
  };
  for (const auto &rule : rules) {
    if (rule.IsWrong) {
      return rule.Why;
    }
  }
  return nullptr;
}

// --- Spares ---

XYL_RESULT checkSpareFits(const XYL_CONTEXT &context, const RAID_CONFIG &config, const RAID_PD_RECORD &disk,
                          const RAID_VD_RECORD &virtualDisk) {
  DISK_KINDS kinds = {};
  addKind(&kinds, disk);
  for (UINT32 i = 0; i < config.physicalDiskCount; ++i) {
    const RAID_PD_RECORD &member = config.physicalDisks[i];
    bool isMember = false;
    for (UINT32 v = 0; member.Hotspare == RAID_HOTSPARE_NONE && v < member.VDCount; ++v) {
      isMember = isMember || member.VDs[v] == virtualDisk.ObjectID;
    }
    if (isMember) {
      addKind(&kinds, member);
    }
  }
  const CHAR8 *why = whyNotTogether(virtualDisk.RAIDLevelDesc, kinds);
  if (why != nullptr) {
    complain(context.Front, "disk %d is no spare for virtual disk %d: %a", disk.ObjectID, virtualDisk.ObjectID, why);
    return failed(EFI_INVALID_PARAMETER);
  }
  const RAID_LEVEL_LAYOUT *rule = levelLayout(virtualDisk.RAIDLevel);
  LAYOUT layout = {rule != nullptr ? dataMembers(*config.adapter, *rule, virtualDisk.RAIDLevelDesc, virtualDisk.PDCount)
                                   : 0};
  if (disk.Size < shareOf(layout, virtualDisk.Size)) {
    CHAR8 size[SIZE_TEXT_CAPACITY];
    formatSize(size, shareOf(layout, virtualDisk.Size));
    complain(context.Front, "disk %d is too small for virtual disk %d, of which each member holds %a", disk.ObjectID,
             virtualDisk.ObjectID, size);
    return failed(EFI_INVALID_PARAMETER);
  }
  return succeeded();
}
