// The verbs that need little more than the objects' ids: import, delete, spare, identify.
#include "client/verbs/builders.h"
#include "client/verbs/layout.h"
#include "client/verbs/methods.h"

XYL_RESULT buildImport(const XYL_CONTEXT &, const RAID_CONFIG &, CHANGE_WRITER *writer) {
  openMethod(writer, "Import", "Adapter");
  return succeeded();
}

XYL_RESULT buildDelete(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  CHOICE virtualDisks = {};
  XYL_RESULT result = chooseOperands(context, config, chooseVirtualDisks, &virtualDisks);
  if (!isFailure(result)) {
    openMethod(writer, "Delete", "Virtual Disk");
    for (UINT32 i = 0; i < virtualDisks.Count; ++i) {
      putElement(writer, "OID", config.logicalDisks[virtualDisks.Places[i]].ObjectID);
    }
  }
  freeChoice(&virtualDisks);
  return result;
}

XYL_RESULT buildIdentify(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  const XYL_REQUEST &request = *context.Request;
  CHOICE disks = {};
  XYL_RESULT result = chooseOperands(context, config, chooseDisks, &disks);
  if (!isFailure(result)) {
    result = chooseDisks(context, config, request.Options[XYL_OPTION_BLINK], &disks);
  }
  for (UINTN i = 0; xylDisksAreNames(request) && i < request.DiskCount && !isFailure(result); ++i) {
    result = chooseDisks(context, config, request.Disks[i], &disks);
  }
  if (!isFailure(result)) {
    openMethod(writer, "Identify", "Physical Disk");
    for (UINT32 i = 0; i < disks.Count; ++i) {
      putElement(writer, "OID", config.physicalDisks[disks.Places[i]].ObjectID);
    }
  }
  freeChoice(&disks);
  return result;
}

// --- spare ---

static XYL_RESULT checkSpare(const XYL_CONTEXT &context, const RAID_CONFIG &config, const RAID_PD_RECORD &disk,
                             const CHOICE &virtualDisks, UINT64 kind) {
  if (kind == RAID_HOTSPARE_NONE && disk.Hotspare == RAID_HOTSPARE_NONE) {
    complain(context.Front, "disk %d is no hot spare", disk.ObjectID);
    return refused();
  }
  if (kind != RAID_HOTSPARE_NONE && disk.State != RAID_STATE_READY) {
    WORD_LIST ready = {};
    appendFree(ready, config);
    complain(context.Front, "disk %d is %a; a hot spare has to be Ready, %a%a", disk.ObjectID, stateOf(disk),
             ready.Text[0] != 0 ? "as " : "and no disk is", ready.Text);
    return refused();
  }
  for (UINT32 i = 0; i < virtualDisks.Count; ++i) {
    const RAID_VD_RECORD &virtualDisk = config.logicalDisks[virtualDisks.Places[i]];
    XYL_RESULT result = checkSpareFits(context, config, disk, virtualDisk);
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

static XYL_RESULT checkSpares(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CHOICE &disks,
                              const CHOICE &virtualDisks, UINT64 kind) {
  for (UINT32 i = 0; i < disks.Count; ++i) {
    XYL_RESULT result = checkSpare(context, config, config.physicalDisks[disks.Places[i]], virtualDisks, kind);
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

XYL_RESULT buildSpare(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  const CHAR8 *names = context.Request->Options[XYL_OPTION_FOR];
  bool frees = hasOption(context, XYL_OPTION_REMOVE);
  if (names != nullptr && frees) {
    complain(context.Front, "--for and --remove exclude each other; give one of them");
    return wrongUsage();
  }
  UINT64 kind = names != nullptr ? RAID_HOTSPARE_DEDICATED : RAID_HOTSPARE_GLOBAL;
  kind = frees ? RAID_HOTSPARE_NONE : kind;
  CHOICE disks = {};
  CHOICE virtualDisks = {};
  XYL_RESULT result = chooseOperands(context, config, chooseDisks, &disks);
  if (!isFailure(result)) {
    result = chooseVirtualDisks(context, config, names, &virtualDisks);
  }
  if (!isFailure(result)) {
    result = checkSpares(context, config, disks, virtualDisks, kind);
  }
  if (!isFailure(result)) {
    for (UINT32 i = 0; i < virtualDisks.Count; ++i) {
      virtualDisks.Places[i] = config.logicalDisks[virtualDisks.Places[i]].ObjectID;
    }
    putSpareChange(writer, config, {kind, &disks, virtualDisks.Places, virtualDisks.Count});
  }
  freeChoice(&virtualDisks);
  freeChoice(&disks);
  return result;
}
