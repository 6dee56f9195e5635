// What firmware says while a person uses the page.
#include "images/setup/act.h"
#include "images/setup/plan.h"
#include "images/setup/policies.h"

#include "base/text.h"

namespace xyl::images::setup {

static constexpr EFI_GUID g_stringGuid = EFI_HII_STRING_PROTOCOL_GUID;

// --- Drawing ---

EFI_STATUS redraw(Page *page, const Snapshot &all) {
  auto *database = locate<EFI_HII_DATABASE_PROTOCOL>(g_databaseGuid);
  Bytes list;
  drawPage(page, all, &list);
  if (database == nullptr || list.failed()) {
    return EFI_OUT_OF_RESOURCES;
  }
  return database->UpdatePackageList(database, page->list,
                                     reinterpret_cast<const EFI_HII_PACKAGE_LIST_HEADER *>(list.data()));
}

EFI_STATUS refresh(Page *page, RAID_MGMT_PROTOCOL *mgmt) {
  Snapshot all(mgmt, Extent::whole);
  page->isFresh = true;
  return redraw(page, all);
}

const Target *targetOf(const Page &page, EFI_QUESTION_ID question) {
  UINT32 at = question - static_cast<UINT32>(Ask::target);
  return question >= static_cast<UINT32>(Ask::target) && at < page.targets.count ? &page.targets.items[at] : nullptr;
}

// --- Values that have no store ---

static bool isCache(Ask ask) {
  return ask >= Ask::cache && static_cast<UINTN>(ask) < static_cast<UINTN>(Ask::cache) + cacheGroups;
}

static UINT8 *cacheOf(Page *page, Ask ask) {
  return &page->creation.cache[static_cast<UINTN>(ask) - static_cast<UINTN>(Ask::cache)];
}

// What the question shows, as a number of eight bytes; firmware has room for that, whatever the question's kind.
static EFI_STATUS retrieve(Page *page, Ask ask, UINT64 *value) {
  const Creation &creation = page->creation;
  const Target *target = targetOf(*page, static_cast<EFI_QUESTION_ID>(ask));
  if (target != nullptr && target->kind == Kind::candidate) {
    *value = isChosen(creation, target->id) ? 1 : 0;
    return EFI_SUCCESS;
  }
  if (isCache(ask)) {
    *value = *cacheOf(page, ask);
    return EFI_SUCCESS;
  }
  switch (ask) {
  case Ask::sure:
    *value = page->sure ? 1 : 0;
    break;
  case Ask::spareFor:
    *value = page->spareFor;
    break;
  case Ask::level:
    *value = choiceOf(creation.level);
    break;
  case Ask::howMany:
    *value = creation.howMany;
    break;
  case Ask::size:
    *value = creation.megabytes;
    break;
  case Ask::name:
    *value = page->nameId;
    break;
  case Ask::stripe:
    *value = creation.stripe;
    break;
  default:
    return EFI_UNSUPPORTED;
  }
  return EFI_SUCCESS;
}

// --- Another form ---

// Remembers what the next form is about; whether the question leads to one.
static bool select(Page *page, Ask ask) {
  const Target *target = targetOf(*page, static_cast<EFI_QUESTION_ID>(ask));
  if (target != nullptr) {
    switch (target->kind) {
    case Kind::virtualDisk:
      page->virtualDisk = *target;
      return true;
    case Kind::disk:
      page->disk = *target;
      page->spareFor = 0;
      return true;
    case Kind::missing:
      page->doomed = *target;
      page->sure = false;
      return true;
    default:
      return false;
    }
  }
  switch (ask) {
  case Ask::toDelete:
    page->doomed = page->virtualDisk;
    page->sure = false;
    return true;
  case Ask::toClear:
    page->doomed = {Kind::foreign, 0, 0, 0};
    page->sure = false;
    return true;
  default:
    return ask < Ask::toDelete;
  }
}

static EFI_STATUS changing(Page *page, Ask ask, RAID_MGMT_PROTOCOL *mgmt) {
  if (!select(page, ask)) {
    return EFI_SUCCESS;
  }
  page->note = {};
  EFI_STATUS status = refresh(page, mgmt);
  page->isEntering = !EFI_ERROR(status); // else firmware stays where it is
  return status;
}

// --- Another value, or something to do ---

static bool takeName(Page *page, EFI_STRING_ID id) {
  auto *strings = locate<EFI_HII_STRING_PROTOCOL>(g_stringGuid);
  CHAR16 name[nameCapacity + 1] = {};
  UINTN size = sizeof(name);
  bool isRead = strings != nullptr && !EFI_ERROR(strings->GetString(strings, tagOf(Language::english), page->list, id,
                                                                    name, &size, /* Font= */ nullptr));
  if (!isRead || fitting::judgeName(name, page->isOnDisks) != fitting::NameVerdict::fits) {
    page->note = {};
    page->note.text = Text::badName;
    return false;
  }
  copyBytes(page->creation.name, name, sizeof(page->creation.name));
  return true;
}

// Without memory the tick is not taken, and the redrawn form has none.
static void tick(Page *page, const Target &target, bool isTicked) {
  PoolArray<Target> &members = page->creation.members;
  for (UINT32 i = members.count; i-- > 0;) {
    if (members.items[i].id == target.id) {
      arrayRemove(members, i);
    }
  }
  Target *added = isTicked ? arrayAppend(members) : nullptr;
  if (added != nullptr) {
    *added = target;
  }
}

// Keeps the value; whether the forms depend on it.
static bool keep(Page *page, Ask ask, UINT64 value) {
  const Target *target = targetOf(*page, static_cast<EFI_QUESTION_ID>(ask));
  if (target != nullptr) {
    tick(page, *target, static_cast<UINT8>(value) != 0);
    return true;
  }
  if (isCache(ask)) {
    *cacheOf(page, ask) = static_cast<UINT8>(value);
    return false;
  }
  Creation &creation = page->creation;
  switch (ask) {
  case Ask::sure:
    page->sure = static_cast<UINT8>(value) != 0;
    return false;
  case Ask::spareFor:
    page->spareFor = static_cast<UINT32>(value);
    return false;
  case Ask::stripe:
    creation.stripe = static_cast<UINT8>(value);
    return false;
  case Ask::level:
    creation.level = bitOf(static_cast<UINT8>(value));
    creation.stripe = 0; // what one level offers another may not
    zeroBytes(creation.cache, sizeof(creation.cache));
    return true;
  case Ask::size:
    creation.megabytes = value;
    return true;
  case Ask::name:
    takeName(page, static_cast<EFI_STRING_ID>(value));
    return true;
  case Ask::howMany:
    creation.howMany = static_cast<UINT8>(value);
    return false;
  default:
    return false;
  }
}

static bool isAction(Ask ask) {
  static constexpr Ask actions[] = {Ask::makeGlobal, Ask::freeSpare, Ask::makeDedicated, Ask::importForeign,
                                    Ask::confirm,    Ask::create,    Ask::howMany};
  for (Ask action : actions) {
    if (action == ask) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS changed(Page *page, Ask ask, const UINT64 *value, UINTN *request, RAID_MGMT_PROTOCOL *mgmt) {
  page->note = {};
  bool redraws = value != nullptr && keep(page, ask, *value);
  if (isAction(ask)) {
    bool wasSure = page->sure;
    act(page, ask, mgmt);
    redraws = true;
    if (ask == Ask::confirm && wasSure && request != nullptr) {
      *request = EFI_BROWSER_ACTION_REQUEST_FORM_DISCARD_EXIT;
    }
  }
  return redraws ? refresh(page, mgmt) : EFI_SUCCESS;
}

// --- All of it ---

static EFI_STATUS open(Page *page, RAID_MGMT_PROTOCOL *mgmt) {
  page->isOpen = true;
  page->isEntering = false;
  return page->isFresh ? EFI_SUCCESS : refresh(page, mgmt);
}

static EFI_STATUS close(Page *page) {
  if (page->isEntering) {
    return EFI_SUCCESS;
  }
  page->isOpen = false;
  if (!page->isFresh) {
    return EFI_SUCCESS;
  }
  page->isFresh = false;
  if (++page->note.age == 2) { // the form of the action and the one behind it have shown it
    page->note = {};
  }
  return EFI_SUCCESS;
}

static EFI_STATUS dispatch(Page *page, UINTN action, Ask ask, UINT64 *value, UINTN *request) {
  if (action == EFI_BROWSER_ACTION_RETRIEVE || action == EFI_BROWSER_ACTION_DEFAULT_STANDARD) {
    return value != nullptr ? retrieve(page, ask, value) : EFI_UNSUPPORTED;
  }
  if (action == EFI_BROWSER_ACTION_FORM_CLOSE) {
    return close(page);
  }
  bool isKnown = action == EFI_BROWSER_ACTION_FORM_OPEN || action == EFI_BROWSER_ACTION_CHANGING ||
                 action == EFI_BROWSER_ACTION_CHANGED;
  RAID_MGMT_PROTOCOL *mgmt = isKnown ? managementOf(*page) : nullptr;
  if (isKnown && mgmt == nullptr) {
    abandon(page);
    return EFI_NOT_FOUND;
  }
  switch (action) {
  case EFI_BROWSER_ACTION_FORM_OPEN:
    return open(page, mgmt);
  case EFI_BROWSER_ACTION_CHANGING:
    return changing(page, ask, mgmt);
  case EFI_BROWSER_ACTION_CHANGED:
    return changed(page, ask, value, request, mgmt);
  default:
    return EFI_UNSUPPORTED;
  }
}

EFI_STATUS EFIAPI callback(EFI_HII_CONFIG_ACCESS_PROTOCOL *access, UINTN action, EFI_QUESTION_ID question, UINT8,
                           void *value, UINTN *request) {
  Page *page = reinterpret_cast<Page *>(access);
  if (page->isGone) {
    page->isOpen = action == EFI_BROWSER_ACTION_FORM_OPEN || (page->isOpen && action != EFI_BROWSER_ACTION_FORM_CLOSE);
    return EFI_NOT_FOUND;
  }
  Busy busy(page);
  return dispatch(page, action, static_cast<Ask>(question), static_cast<UINT64 *>(value), request);
}

} // namespace xyl::images::setup
