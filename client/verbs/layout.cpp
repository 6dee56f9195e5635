#include "client/verbs/layout.h"

namespace xyl::client {

using fitting::Verdict;

WordList whyNotCount(Verdict verdict, const RAID_LEVEL_PARAMS &level, UINT32 count) {
  WordList why = {};
  append(why, "", driver::GetNameFromValue(level.RAIDLevel, driver::g_raidLevelTable));
  if (verdict == Verdict::wrongCount) {
    appendNumber(why, " takes ", level.MinDisks);
    appendNumber(why, " to ", level.MaxDisks);
    appendNumber(why, " disks here, not ", count);
    return why;
  }
  append(why, " needs ", verdict == Verdict::oddCount ? "an even number of disks" : "two or more equal spans");
  appendNumber(why, "; ", count);
  append(why, "", " disks cannot be divided so");
  return why;
}

Result checkCount(const Context &context, const RAID_ADAPTER_RECORD &adapter, const RAID_LEVEL_PARAMS &level,
                  UINT32 count, fitting::Layout *layout) {
  Verdict verdict = fitting::judgeCount(adapter, level, count, layout);
  if (verdict == Verdict::fits) {
    return succeeded();
  }
  WordList why = whyNotCount(verdict, level, count);
  complain(context.front, "%a", why.text);
  return failed(EFI_INVALID_PARAMETER);
}

const CHAR8 *whyNotTogether(Verdict verdict) {
  switch (verdict) {
  case Verdict::wrongMedium:
    return "the level takes no disks of this medium";
  case Verdict::wrongProtocol:
    return "the level takes no disks of this protocol";
  case Verdict::mixedMedia:
    return "the level mixes no hard disks and solid state disks";
  default:
    return "the level mixes no SAS and SATA disks of this medium";
  }
}

void appendKind(WordList &list, const CHAR8 *separator, const RAID_PD_RECORD &disk) {
  append(list, separator, driver::GetNameFromValue(disk.Protocol, driver::g_protocolTable));
  append(list, "", fitting::isSolidState(disk) ? " solid state disk" : " hard disk");
}

Result checkSpareFits(const Context &context, const RAID_CONFIG &config, const RAID_PD_RECORD &disk,
                      const RAID_VD_RECORD &virtualDisk) {
  UINT64 share = 0;
  Verdict verdict =
      fitting::judgeSpare(*config.adapter, {config.physicalDisks, config.physicalDiskCount}, disk, virtualDisk, &share);
  if (verdict == Verdict::fits) {
    return succeeded();
  }
  if (verdict == Verdict::tooSmall) {
    CHAR8 size[sizeTextCapacity];
    formatSize(size, share);
    complain(context.front, "disk %d is too small for virtual disk %d, of which each member holds %a", disk.ObjectID,
             virtualDisk.ObjectID, size);
  } else {
    complain(context.front, "disk %d is no spare for virtual disk %d: %a", disk.ObjectID, virtualDisk.ObjectID,
             whyNotTogether(verdict));
  }
  return failed(EFI_INVALID_PARAMETER);
}

} // namespace xyl::client
