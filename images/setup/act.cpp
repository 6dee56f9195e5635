#include "images/setup/act.h"
#include "images/setup/plan.h"
#include "images/setup/policies.h"

namespace xyl::images::setup {

EFI_STATUS send(RAID_MGMT_PROTOCOL *mgmt, const Command &command) {
  RAID_CMD_BLOCK block = {};
  block.Revision = 2;
  block.Command = command.command;
  block.ObjectType = command.objectType;
  block.ObjectIdCount = command.idCount;
  block.ObjectIds = command.ids;
  block.ObjectData = command.data;
  RAID_CMD_RESULT result = {};
  EFI_STATUS status = mgmt->Execute(mgmt, &block, &result);
  if (!EFI_ERROR(status) && result.Data != nullptr) {
    mgmt->FreeRecords(mgmt, result.Data, result.DataSize >> RAID_RECORD_SHIFT);
  }
  return status;
}

// --- What came of it ---

static void tell(Page *page, Text text, const Phrase &subject = {}, EFI_STATUS status = EFI_SUCCESS) {
  page->note.text = text;
  page->note.status = status;
  for (UINTN i = 0; i < languageCount; ++i) {
    writePhrase(subject, static_cast<Language>(i), page->note.subjects[i], nameCapacity);
  }
}

static void tellResult(Page *page, EFI_STATUS status, Text done, const Phrase &subject = {}) {
  tell(page, EFI_ERROR(status) ? Text::refused : done, subject, status);
}

// Whether the controller told all that an action goes by.
static bool isTold(Page *page, const Snapshot &all) {
  if (EFI_ERROR(all.status())) {
    tell(page, Text::unread, {}, all.status());
  }
  return !EFI_ERROR(all.status());
}

// --- Objects as a person saw them ---

static const RAID_PD_RECORD *shownDisk(Page *page, const Snapshot &all) {
  const RAID_PD_RECORD *disk = page->disk.kind == Kind::disk ? all.disk(page->disk.id) : nullptr;
  if (disk == nullptr) {
    tell(page, Text::goneMeanwhile);
    return nullptr;
  }
  if (printOf(*disk) != page->disk.print) {
    tell(page, Text::changed);
    return nullptr;
  }
  return disk;
}

static const RAID_VD_RECORD *sameVirtualDisk(Page *page, const Snapshot &all, UINT32 id, UINT64 print) {
  const RAID_VD_RECORD *virtualDisk = all.virtualDisk(id);
  if (virtualDisk == nullptr) {
    tell(page, Text::goneMeanwhile);
    return nullptr;
  }
  if (printOf(*virtualDisk) != print) {
    tell(page, Text::changed);
    return nullptr;
  }
  return virtualDisk;
}

// --- Hot spares ---

static EFI_STATUS setSpare(const Snapshot &all, UINT32 disk, UINT8 kind, UINT32 *virtualDisk) {
  ObjectData data = {};
  RAID_PD_RECORD *wanted = data.as<RAID_PD_RECORD>(RAID_OBJECT_PHYSICAL_DISK);
  wanted->ObjectID = disk;
  wanted->Hotspare = kind;
  wanted->VDCount = virtualDisk != nullptr ? 1 : 0;
  wanted->VDs = virtualDisk;
  return send(all.mgmt(), {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, &disk, 1, wanted});
}

static Phrase diskName(const Snapshot &all, const RAID_PD_RECORD &disk) {
  const RAID_ENCLOSURE_RECORD *enclosure = all.enclosureOf(disk);
  if (enclosure == nullptr) {
    return {Text::diskDirect, number(disk.Slot)};
  }
  return {Text::diskIn, number(enclosure->ObjectID), number(disk.Slot)};
}

static const Target *spareTarget(const Page &page) {
  for (UINT32 i = 0; i < page.targets.count; ++i) {
    const Target &target = page.targets.items[i];
    if (target.kind == Kind::virtualDisk && target.id == page.spareFor) {
      return &target;
    }
  }
  return nullptr;
}

static void makeSpare(Page *page, Ask ask, const Snapshot &all) {
  const RAID_PD_RECORD *disk = shownDisk(page, all);
  if (disk == nullptr) {
    return;
  }
  Phrase name = diskName(all, *disk);
  if (ask != Ask::makeDedicated) {
    bool frees = ask == Ask::freeSpare;
    EFI_STATUS status = setSpare(all, disk->ObjectID, frees ? RAID_HOTSPARE_NONE : RAID_HOTSPARE_GLOBAL, nullptr);
    tellResult(page, status, frees ? Text::doneFree : Text::doneGlobal, name);
    return;
  }
  const Target *target = spareTarget(*page);
  const RAID_VD_RECORD *virtualDisk =
      target != nullptr ? sameVirtualDisk(page, all, target->id, target->print) : nullptr;
  if (virtualDisk != nullptr) {
    UINT32 id = virtualDisk->ObjectID;
    tellResult(page, setSpare(all, disk->ObjectID, RAID_HOTSPARE_DEDICATED, &id), Text::doneDedicated, name);
  } else if (target == nullptr) {
    tell(page, Text::goneMeanwhile);
  }
}

// --- What loses something ---

static void deleteVirtualDisk(Page *page, const Snapshot &all) {
  const RAID_VD_RECORD *virtualDisk = sameVirtualDisk(page, all, page->doomed.id, page->doomed.print);
  if (virtualDisk != nullptr) {
    UINT32 id = virtualDisk->ObjectID;
    EFI_STATUS status = send(all.mgmt(), {RAID_COMMAND_DELETE, RAID_OBJECT_VIRTUAL_DISK, &id, 1, nullptr});
    tellResult(page, status, Text::doneDelete, nameOf(*virtualDisk));
  }
}

static void failMember(Page *page, const Snapshot &all) {
  UINT32 id = page->doomed.id;
  if (sameVirtualDisk(page, all, page->doomed.of, page->doomed.print) == nullptr) {
    return;
  }
  if (all.disk(id) != nullptr) {
    tell(page, Text::changed); // it has come back
    return;
  }
  ObjectData data = {};
  RAID_PD_RECORD *wanted = data.as<RAID_PD_RECORD>(RAID_OBJECT_PHYSICAL_DISK);
  wanted->ObjectID = id;
  wanted->State = RAID_STATE_FAILED;
  EFI_STATUS status = send(all.mgmt(), {RAID_COMMAND_CHANGE, RAID_OBJECT_PHYSICAL_DISK, &id, 1, wanted});
  tellResult(page, status, Text::doneFail, {Text::diskNumber, number(id)});
}

static void clearForeign(Page *page, const Snapshot &all) {
  UINT32 count = 0;
  if (foreignPrint(all.disks(), &count) != page->doomed.print) {
    tell(page, count == 0 ? Text::goneMeanwhile : Text::changed);
    return;
  }
  tellResult(page, send(all.mgmt(), {.command = RAID_COMMAND_CLEAR, .objectType = RAID_OBJECT_ADAPTER}),
             Text::doneClear);
}

// Not without the tick, whatever firmware lets through.
static void confirmLoss(Page *page, const Snapshot &all) {
  if (!page->sure) {
    return;
  }
  switch (page->doomed.kind) {
  case Kind::virtualDisk:
    deleteVirtualDisk(page, all);
    break;
  case Kind::missing:
    failMember(page, all);
    break;
  case Kind::foreign:
    clearForeign(page, all);
    break;
  default:
    break;
  }
  page->doomed = {};
  page->sure = false;
}

// --- A new virtual disk ---

// Groups that are not chosen are as the level has them, since the policy is one word to the controller.
static UINT32 cachePolicy(const Creation &creation, const RAID_LEVEL_PARAMS &level) {
  UINT32 policy = 0;
  for (UINT8 choice : creation.cache) {
    policy |= bitOf(choice);
  }
  for (UINTN i = 0; policy != 0 && i < cacheGroups; ++i) {
    policy |= creation.cache[i] == 0 ? level.DefaultCachePolicy & g_cacheGroups[i].mask : 0;
  }
  return policy;
}

static EFI_STATUS sendCreation(Page *page, const Snapshot &all, const Plan &plan) {
  Creation &creation = page->creation;
  ObjectData data = {};
  RAID_VD_RECORD *wanted = data.as<RAID_VD_RECORD>(RAID_OBJECT_VIRTUAL_DISK);
  wanted->Name = creation.name[0] != 0 ? creation.name : nullptr;
  wanted->RAIDLevel = creation.level;
  wanted->Size = creation.megabytes * megabyte;
  wanted->StripeSize = bitOf(creation.stripe) & plan.level()->AvailableStripeSize;
  wanted->CurrentCachePolicy = cachePolicy(creation, *plan.level()) & plan.level()->AvailableCachePolicy;
  return send(all.mgmt(), {RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, const_cast<UINT32 *>(plan.members()),
                           plan.count(), wanted});
}

static void forgetCreation(Creation *creation) {
  release(creation->members.items);
  *creation = {};
}

static void create(Page *page, const Snapshot &all) {
  Plan plan(*page, all);
  if (plan.status() == EFI_MEDIA_CHANGED) {
    tell(page, Text::changed);
    return;
  }
  if (!plan.fits()) {
    tellResult(page, plan.status(), Text::none); // the form says why
    return;
  }
  Creation &creation = page->creation;
  Phrase name = creation.name[0] != 0 ? Phrase(wide(creation.name)) : Phrase(Text::theVirtualDisk);
  EFI_STATUS status = sendCreation(page, all, plan);
  tellResult(page, status, Text::doneCreate, name);
  if (!EFI_ERROR(status)) {
    forgetCreation(&creation);
  }
}

static void pick(Page *page, const Snapshot &all) {
  if (!pickMembers(&page->creation, all, page->creation.howMany)) {
    tell(page, Text::notPicked);
  }
}

// --- All of it ---

void act(Page *page, Ask ask, RAID_MGMT_PROTOCOL *mgmt) {
  page->note = {};
  Snapshot all(mgmt, Extent::whole);
  if (!isTold(page, all)) {
    return;
  }
  switch (ask) {
  case Ask::makeGlobal:
  case Ask::freeSpare:
  case Ask::makeDedicated:
    return makeSpare(page, ask, all);
  case Ask::importForeign:
    return tellResult(page, send(mgmt, {.command = RAID_COMMAND_IMPORT, .objectType = RAID_OBJECT_ADAPTER}),
                      Text::doneImport);
  case Ask::confirm:
    return confirmLoss(page, all);
  case Ask::create:
    return create(page, all);
  case Ask::howMany:
    return pick(page, all);
  default:
    return;
  }
}

} // namespace xyl::images::setup
