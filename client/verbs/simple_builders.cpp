// The verbs that need little more than the objects' ids: import, delete, spare, identify.
#include "client/verbs/builders.h"
#include "client/verbs/layout.h"
#include "client/verbs/methods.h"

namespace xyl::client {

Result buildImport(const Context &, const RAID_CONFIG &, ChangeWriter *writer) {
  openMethod(writer, "Import", "Adapter");
  return succeeded();
}

Result buildDelete(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  Choice virtualDisks = {};
  Result result = chooseOperands(context, config, chooseVirtualDisks, &virtualDisks);
  if (!isFailure(result)) {
    openMethod(writer, "Delete", "Virtual Disk");
    for (UINT32 i = 0; i < virtualDisks.count; ++i) {
      putElement(writer, "OID", config.logicalDisks[virtualDisks.places[i]].ObjectID);
    }
  }
  freeChoice(&virtualDisks);
  return result;
}

Result buildIdentify(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  const Request &request = *context.request;
  Choice disks = {};
  Result result = chooseOperands(context, config, chooseDisks, &disks);
  if (!isFailure(result)) {
    result = chooseDisks(context, config, request.options[optionBlink], &disks);
  }
  for (UINTN i = 0; xylDisksAreNames(request) && i < request.diskCount && !isFailure(result); ++i) {
    result = chooseDisks(context, config, request.disks[i], &disks);
  }
  if (!isFailure(result)) {
    openMethod(writer, "Identify", "Physical Disk");
    for (UINT32 i = 0; i < disks.count; ++i) {
      putElement(writer, "OID", config.physicalDisks[disks.places[i]].ObjectID);
    }
  }
  freeChoice(&disks);
  return result;
}

// --- spare ---

static Result checkSpare(const Context &context, const RAID_CONFIG &config, const RAID_PD_RECORD &disk,
                         const Choice &virtualDisks, UINT64 kind) {
  if (kind == RAID_HOTSPARE_NONE && disk.Hotspare == RAID_HOTSPARE_NONE) {
    complain(context.front, "disk %d is no hot spare", disk.ObjectID);
    return refused();
  }
  if (kind != RAID_HOTSPARE_NONE && disk.State != RAID_STATE_READY) {
    WordList ready = {};
    appendFree(ready, config);
    complain(context.front, "disk %d is %a; a hot spare has to be Ready, %a%a", disk.ObjectID, stateOf(disk),
             ready.text[0] != 0 ? "as " : "and no disk is", ready.text);
    return refused();
  }
  for (UINT32 i = 0; i < virtualDisks.count; ++i) {
    const RAID_VD_RECORD &virtualDisk = config.logicalDisks[virtualDisks.places[i]];
    Result result = checkSpareFits(context, config, disk, virtualDisk);
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

static Result checkSpares(const Context &context, const RAID_CONFIG &config, const Choice &disks,
                          const Choice &virtualDisks, UINT64 kind) {
  for (UINT32 i = 0; i < disks.count; ++i) {
    Result result = checkSpare(context, config, config.physicalDisks[disks.places[i]], virtualDisks, kind);
    if (isFailure(result)) {
      return result;
    }
  }
  return succeeded();
}

Result buildSpare(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  const CHAR8 *names = context.request->options[optionFor];
  bool frees = hasOption(context, optionRemove);
  if (names != nullptr && frees) {
    complain(context.front, "--for and --remove exclude each other; give one of them");
    return wrongUsage();
  }
  UINT64 kind = names != nullptr ? RAID_HOTSPARE_DEDICATED : RAID_HOTSPARE_GLOBAL;
  kind = frees ? RAID_HOTSPARE_NONE : kind;
  Choice disks = {};
  Choice virtualDisks = {};
  Result result = chooseOperands(context, config, chooseDisks, &disks);
  if (!isFailure(result)) {
    result = chooseVirtualDisks(context, config, names, &virtualDisks);
  }
  if (!isFailure(result)) {
    result = checkSpares(context, config, disks, virtualDisks, kind);
  }
  if (!isFailure(result)) {
    for (UINT32 i = 0; i < virtualDisks.count; ++i) {
      virtualDisks.places[i] = config.logicalDisks[virtualDisks.places[i]].ObjectID;
    }
    putSpareChange(writer, config, {kind, &disks, virtualDisks.places, virtualDisks.count});
  }
  freeChoice(&virtualDisks);
  freeChoice(&disks);
  return result;
}

} // namespace xyl::client
