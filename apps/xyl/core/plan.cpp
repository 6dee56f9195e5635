#include "apps/xyl/core/plan.h"

#include "apps/xyl/core/lists.h"
#include "base/pool.h"
#include "request/request.h"
#include "restore/restore.h"
#include "xml/value_names.h"

struct PLAN {
  const RAID_CONFIG *Saved;
  const RAID_CONFIG *Live;
  const UINT32 *Map; // per saved disk the partner's ObjectID + 1, or 0; null without disks
};

enum PARTNER { PARTNER_FOUND, PARTNER_MISSING, PARTNER_UNKNOWN };

XYL_RESULT readConfiguration(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **config) {
  *config = nullptr;
  UINT32 count = 1;
  EFI_STATUS status = ParseXMLBlob(text, config, &count);
  if (!EFI_ERROR(status) && (*config == nullptr || (*config)->adapter == nullptr)) {
    status = EFI_INVALID_PARAMETER;
  }
  if (EFI_ERROR(status)) {
    releaseConfig(*config);
    *config = nullptr;
    complain(context.Host, u"%a is no usable configuration: %a", name, statusWords(status));
    return failed(status);
  }
  return succeeded();
}

// The live disk that stands in for a saved one.
static PARTNER partnerOf(const PLAN &plan, UINT32 savedId, UINT32 *liveId) {
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    if (plan.Saved->physicalDisks[i].ObjectID == savedId) {
      UINT32 entry = plan.Map != nullptr ? plan.Map[i] : 0;
      *liveId = entry - 1;
      return entry != 0 ? PARTNER_FOUND : PARTNER_MISSING;
    }
  }
  return PARTNER_UNKNOWN;
}

static bool uses(const RAID_VD_RECORD &volume, UINT32 diskId) {
  const UINT32 *members = volume.PDs;
  for (UINT32 i = 0; i < volume.PDCount; ++i) {
    if (members[i] == diskId) {
      return true;
    }
  }
  return false;
}

// Whether the rebuild overwrites a live disk: it belongs to a volume now, or will.
static bool losesContents(const PLAN &plan, UINT32 liveId) {
  for (UINT32 i = 0; i < plan.Live->logicalDiskCount; ++i) {
    if (uses(plan.Live->logicalDisks[i], liveId)) {
      return true;
    }
  }
  for (UINT32 i = 0; plan.Map != nullptr && i < plan.Saved->physicalDiskCount; ++i) {
    UINT32 savedId = plan.Saved->physicalDisks[i].ObjectID;
    for (UINT32 j = 0; plan.Map[i] == liveId + 1 && j < plan.Saved->logicalDiskCount; ++j) {
      if (uses(plan.Saved->logicalDisks[j], savedId)) {
        return true;
      }
    }
  }
  return false;
}

static void sayVolume(const XYL_HOST *host, const RAID_VD_RECORD &volume) {
  CHAR8 size[SIZE_TEXT_CAPACITY];
  formatSize(size, volume.Size);
  const CHAR16 *name = volume.Name;
  say(host, u"  virtual disk %d \"%s\", %a, %a", volume.ObjectID, name != nullptr ? name : u"",
      GetNameFromValue(volume.RAIDLevel, g_raidLevelTable), size);
}

static void sayDestroyed(const XYL_HOST *host, const PLAN &plan) {
  say(host, u"The rebuild destroys, with all data:\n");
  for (UINT32 i = 0; i < plan.Live->logicalDiskCount; ++i) {
    const RAID_VD_RECORD &volume = plan.Live->logicalDisks[i];
    const UINT32 *members = volume.PDs;
    WORD_LIST disks = {};
    for (UINT32 j = volume.PDCount; j-- > 0;) {
      appendNumber(disks, ", ", members[j]);
    }
    sayVolume(host, volume);
    say(host, u", on disks %a\n", orNone(disks.Text));
  }
  say(host, u"  foreign configurations and hot spare assignments, if there are any\n");
  if ((plan.Live->adapter->Attributes & RAID_ADAPTER_HAS_SECURITY_KEY) != 0) {
    say(host, u"  the security key\n");
  }
  WORD_LIST lost = {};
  for (UINT32 i = 0; i < plan.Live->physicalDiskCount; ++i) {
    if (losesContents(plan, plan.Live->physicalDisks[i].ObjectID)) {
      appendNumber(lost, ", ", plan.Live->physicalDisks[i].ObjectID);
    }
  }
  say(host, u"Disks that lose their contents: %a\n", orNone(lost.Text));
}

static void sayCreatedVolume(const XYL_HOST *host, const PLAN &plan, const RAID_VD_RECORD &volume) {
  WORD_LIST disks = {};
  WORD_LIST missing = {};
  const UINT32 *members = volume.PDs;
  for (UINT32 j = volume.PDCount; j-- > 0;) {
    UINT32 liveId = 0;
    if (partnerOf(plan, members[j], &liveId) == PARTNER_FOUND) {
      appendNumber(disks, ", ", liveId);
    } else {
      appendNumber(missing, ", ", members[j]);
    }
  }
  sayVolume(host, volume);
  bool needsCacheCade = (volume.Attributes & RAID_VD_ATTRIBUTE_CACHECADE) != 0;
  if (needsCacheCade && (plan.Live->adapter->Attributes & RAID_ADAPTER_CACHECADE_CAPABLE) == 0) {
    say(host, u": NOT CREATED, the adapter has no CacheCade\n");
  } else if (*missing.Text != 0) {
    say(host, u": NOT CREATED, no partner for saved disks %a\n", missing.Text);
  } else {
    say(host, u", on disks %a\n", orNone(disks.Text));
  }
}

static void sayCreated(const XYL_HOST *host, const PLAN &plan) {
  say(host, u"It then creates:\n");
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    sayCreatedVolume(host, plan, plan.Saved->logicalDisks[i]);
  }
  WORD_LIST spares = {};
  WORD_LIST alone = {};
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    const RAID_PD_RECORD &disk = plan.Saved->physicalDisks[i];
    UINT32 liveId = 0;
    PARTNER partner = partnerOf(plan, disk.ObjectID, &liveId);
    if (partner != PARTNER_FOUND) {
      appendNumber(alone, ", ", disk.ObjectID);
    } else if (disk.Hotspare != 0) {
      appendNumber(spares, ", ", liveId);
    }
  }
  say(host, u"  hot spares on disks %a\n", orNone(spares.Text));
  say(host, u"Saved disks without a partner: %a\n", orNone(alone.Text));
}

static XYL_RESULT showPlan(const XYL_CONTEXT &context, const RAID_CONFIG *saved, const RAID_CONFIG *live) {
  UINT32 *map = nullptr;
  EFI_STATUS status = _ValidateRestore(live->adapter, live->physicalDisks, live->physicalDiskCount, saved, &map);
  if (EFI_ERROR(status)) {
    complain(context.Host, status == EFI_UNSUPPORTED
                               ? u"the saved configuration belongs to another kind of adapter; nothing was "
                                 u"changed"
                               : u"the disks cannot be matched; nothing was changed");
    return failed(status);
  }
  PLAN plan = {saved, live, map};
  sayDestroyed(context.Host, plan);
  sayCreated(context.Host, plan);
  poolFree(map);
  return succeeded();
}

XYL_RESULT showRebuildPlan(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL *operations, const RAID_CONFIG *saved) {
  DOCUMENT_TEXT document;
  XYL_RESULT result = readInventory(context, operations, &document);
  if (isFailure(result)) {
    return result;
  }
  RAID_CONFIG *live = nullptr;
  result = readConfiguration(context, "the controller's inventory", document.Text, &live);
  poolFree(document.Text);
  if (isFailure(result)) {
    return result;
  }
  result = showPlan(context, saved, live);
  releaseConfig(live);
  return result;
}
