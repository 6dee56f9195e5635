#include "images/setup/setup.h"

#include "base/device_path.h"
#include "base/text.h"
#include "images/setup/page.h"
#include "raid_disks.h"

namespace xyl::images::setup {

static constexpr EFI_GUID g_disksGuid = RAID_DISKS_PROTOCOL_GUID;
static constexpr EFI_GUID g_accessGuid = EFI_HII_CONFIG_ACCESS_PROTOCOL_GUID;
static constexpr EFI_GUID g_browserGuid = EFI_FORM_BROWSER2_PROTOCOL_GUID;
static constexpr EFI_GUID g_pathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;
static constexpr EFI_GUID g_bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
static constexpr EFI_GUID g_nameGuid = EFI_COMPONENT_NAME2_PROTOCOL_GUID;
static constexpr EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;

static Page *g_pages;
static Page *g_gone; // pages that firmware may still look at

// --- The page's own device path: the controller's with a node behind it, or that node with a number ---

namespace {

struct __attribute__((packed)) VendorNode {
  UINT8 type;
  UINT8 subtype;
  UINT16 size;
  EFI_GUID guid;
  UINT32 number;
};

struct PathEnd {
  UINT8 bytes[4];
};

} // namespace

constexpr UINT8 hardwareNode = 1;
constexpr UINT8 vendorNode = 4;
static constexpr EFI_GUID g_nodeGuid = {0x147f8e39, 0x91c6, 0x4f0c, {0xa0, 0xf6, 0x68, 0x77, 0x15, 0x77, 0x50, 0x8c}};

static EFI_STATUS makePath(Page *page) {
  const UINT8 *of = interfaceOn<UINT8>(page->controller, g_pathGuid);
  UINTN size = of != nullptr ? pathSize(of) : 0;
  UINTN nodeBytes = size != 0 ? offsetof(VendorNode, number) : sizeof(VendorNode);
  page->path = poolNew<UINT8>(size + nodeBytes + sizeof(PathEnd));
  if (page->path == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  VendorNode node = {hardwareNode, vendorNode, static_cast<UINT16>(nodeBytes), g_nodeGuid, page->number};
  PathEnd end = {{pathEnd, 0xFF, sizeof(PathEnd), 0}};
  if (size != 0) {
    copyBytes(page->path, of, size);
  }
  copyBytes(page->path + size, &node, nodeBytes);
  copyBytes(page->path + size + nodeBytes, &end, sizeof(end));
  return EFI_SUCCESS;
}

// --- What a page holds ---

// Takes back what a page has, whole or half-made, in the order in which it came, backwards. What firmware refuses to
// give back ends it.
static EFI_STATUS takeDown(Page *page) {
  auto *database = locate<EFI_HII_DATABASE_PROTOCOL>(g_databaseGuid);
  if (page->list != nullptr && database != nullptr) {
    database->RemovePackageList(database, page->list);
    page->list = nullptr;
  }
  if (page->handle != nullptr) {
    EFI_STATUS status = g_bootServices->UninstallMultipleProtocolInterfaces(
        page->handle, &g_pathGuid, static_cast<void *>(page->path), &g_accessGuid, static_cast<void *>(&page->access),
        /* end */ static_cast<EFI_GUID *>(nullptr));
    if (EFI_ERROR(status)) {
      return status;
    }
    page->handle = nullptr;
  }
  return EFI_SUCCESS;
}

static void freePage(Page *page) {
  release(page->path);
  release(page->targets.items);
  release(page->creation.members.items);
  release(page);
}

// Those that nobody looks at any more.
static void freeGone() {
  for (Page **link = &g_gone; *link != nullptr;) {
    Page *page = *link;
    if (page->busy != 0 || page->isOpen || EFI_ERROR(takeDown(page))) {
      link = &page->next;
      continue;
    }
    *link = page->next;
    freePage(page);
  }
}

static void unlink(Page *page) {
  for (Page **link = &g_pages; *link != nullptr; link = &(*link)->next) {
    if (*link == page) {
      *link = page->next;
      return;
    }
  }
}

static void dispose(Page *page) {
  unlink(page);
  page->isGone = true;
  page->next = g_gone;
  g_gone = page;
  freeGone();
}

static EFI_STATUS EFIAPI refuse(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *, RAID_CMD_RESULT *) {
  return EFI_DEVICE_ERROR;
}

// Firmware walks the forms of an open page for as long as it is open, in memory that it gives back with the package
// list. So the page stays, says that nothing answers, and goes when it is closed and another page comes, or the image
// goes.
static EFI_STATUS takeAway(Page *page) {
  if (!page->isOpen) {
    return takeDown(page);
  }
  static RAID_MGMT_PROTOCOL nobody = {refuse, nullptr, nullptr, 0};
  refresh(page, &nobody);
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI show(RAID_SETUP_PROTOCOL *setup) {
  Page *page = reinterpret_cast<Page *>(reinterpret_cast<UINT8 *>(setup) - offsetof(Page, onController));
  auto *browser = locate<EFI_FORM_BROWSER2_PROTOCOL>(g_browserGuid);
  if (browser == nullptr) {
    return EFI_UNSUPPORTED;
  }
  return browser->SendForm(browser, &page->list, 1, &g_formSetId, /* Form= */ 0, /* Screen= */ nullptr,
                           /* Request= */ nullptr);
}

// The lowest number that no page has.
static UINT32 freeNumber() {
  UINT32 number = 0;
  for (Page *page = g_pages; page != nullptr;) {
    if (page->number == number) {
      ++number;
      page = g_pages;
    } else {
      page = page->next;
    }
  }
  return number;
}

static EFI_STATUS publish(Page *page, const Snapshot &all) {
  auto *database = locate<EFI_HII_DATABASE_PROTOCOL>(g_databaseGuid);
  Bytes list;
  drawPage(page, all, &list);
  if (database == nullptr || list.failed()) {
    return EFI_OUT_OF_RESOURCES;
  }
  return database->NewPackageList(database, reinterpret_cast<const EFI_HII_PACKAGE_LIST_HEADER *>(list.data()),
                                  page->handle, &page->list);
}

static EFI_STATUS bringUp(Page *page, RAID_MGMT_PROTOCOL *mgmt) {
  EFI_STATUS status = makePath(page);
  if (!EFI_ERROR(status)) {
    status = g_bootServices->InstallMultipleProtocolInterfaces(
        &page->handle, &g_pathGuid, static_cast<void *>(page->path), &g_accessGuid, static_cast<void *>(&page->access),
        /* end */ static_cast<EFI_GUID *>(nullptr));
    page->handle = EFI_ERROR(status) ? nullptr : page->handle;
  }
  if (EFI_ERROR(status)) {
    return status;
  }
  Snapshot all(mgmt, Extent::adapter);
  return publish(page, all);
}

// --- Driver binding ---

static EFI_STATUS test(EFI_HANDLE controller, const EFI_GUID &guid) {
  return g_bootServices->OpenProtocol(controller, &guid, /* Interface= */ nullptr, /* Agent= */ nullptr,
                                      /* Controller= */ nullptr, EFI_OPEN_PROTOCOL_TEST_PROTOCOL);
}

static EFI_STATUS EFIAPI supported(EFI_DRIVER_BINDING_PROTOCOL *, EFI_HANDLE controller, EFI_DEVICE_PATH_PROTOCOL *) {
  if (!EFI_ERROR(test(controller, g_setupGuid))) {
    return EFI_ALREADY_STARTED;
  }
  return locate<EFI_HII_DATABASE_PROTOCOL>(g_databaseGuid) != nullptr ? test(controller, g_managementGuid)
                                                                      : EFI_UNSUPPORTED;
}

// The controller's own driver and RaidXyl hold its management protocol. This one holds what it puts beside it, so that
// firmware tells it, too, when the controller is to go.
static EFI_STATUS hold(EFI_DRIVER_BINDING_PROTOCOL *binding, Page *page) {
  EFI_HANDLE controller = page->controller;
  EFI_STATUS status = g_bootServices->InstallMultipleProtocolInterfaces(
      &controller, &g_setupGuid, static_cast<void *>(&page->onController), /* end */ static_cast<EFI_GUID *>(nullptr));
  if (EFI_ERROR(status)) {
    return status;
  }
  void *interface = nullptr;
  status = g_bootServices->OpenProtocol(controller, &g_setupGuid, &interface, binding->DriverBindingHandle, controller,
                                        EFI_OPEN_PROTOCOL_BY_DRIVER);
  if (EFI_ERROR(status)) {
    g_bootServices->UninstallMultipleProtocolInterfaces(controller, &g_setupGuid,
                                                        static_cast<void *>(&page->onController),
                                                        /* end */ static_cast<EFI_GUID *>(nullptr));
  }
  return status;
}

static EFI_STATUS EFIAPI start(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller,
                               EFI_DEVICE_PATH_PROTOCOL *) {
  freeGone();
  auto *mgmt = interfaceOn<RAID_MGMT_PROTOCOL>(controller, g_managementGuid);
  Page *page = mgmt != nullptr ? poolNew<Page>() : nullptr;
  if (page == nullptr) {
    return mgmt != nullptr ? EFI_OUT_OF_RESOURCES : EFI_UNSUPPORTED;
  }
  page->access = {extractConfig, routeConfig, callback};
  page->onController.Show = show;
  page->controller = controller;
  page->agent = binding->DriverBindingHandle;
  page->number = freeNumber();
  page->isOnDisks = !EFI_ERROR(test(controller, g_disksGuid));
  EFI_STATUS status = bringUp(page, mgmt);
  if (!EFI_ERROR(status)) {
    status = hold(binding, page);
  }
  if (EFI_ERROR(status)) {
    if (!EFI_ERROR(takeDown(page))) {
      freePage(page);
    }
    return status;
  }
  page->next = g_pages;
  g_pages = page;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI stop(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller, UINTN, EFI_HANDLE *) {
  auto *setup = interfaceOn<RAID_SETUP_PROTOCOL>(controller, g_setupGuid);
  if (setup == nullptr) {
    return EFI_NOT_FOUND;
  }
  Page *page = reinterpret_cast<Page *>(reinterpret_cast<UINT8 *>(setup) - offsetof(Page, onController));
  bool isThere = managementOf(*page) != nullptr;
  if (page->busy != 0 && isThere) {
    return EFI_ACCESS_DENIED; // a command may be under way
  }
  EFI_STATUS status = takeAway(page);
  if (EFI_ERROR(status)) {
    return status;
  }
  g_bootServices->CloseProtocol(controller, &g_setupGuid, binding->DriverBindingHandle, controller);
  status = g_bootServices->UninstallMultipleProtocolInterfaces(controller, &g_setupGuid, static_cast<void *>(setup),
                                                               /* end */ static_cast<EFI_GUID *>(nullptr));
  if (!EFI_ERROR(status)) {
    dispose(page);
  }
  return status;
}

static EFI_DRIVER_BINDING_PROTOCOL g_binding = {supported, start, stop, /* Version= */ 0x10, nullptr, nullptr};

// --- Names ---

static constexpr CHAR8 nameLanguages[] = "en-US";
static CHAR16 g_driverName[] = u"RAID setup";

static EFI_STATUS EFIAPI getDriverName(EFI_COMPONENT_NAME2_PROTOCOL *, const CHAR8 *language, CHAR16 **name) {
  if (language == nullptr || name == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *name = g_driverName;
  return textEqual(language, nameLanguages) ? EFI_SUCCESS : EFI_UNSUPPORTED;
}

static EFI_STATUS EFIAPI getControllerName(EFI_COMPONENT_NAME2_PROTOCOL *, EFI_HANDLE, EFI_HANDLE, const CHAR8 *,
                                           CHAR16 **) {
  return EFI_UNSUPPORTED; // the controller's driver and RaidXyl know it
}

static EFI_COMPONENT_NAME2_PROTOCOL g_names = {getDriverName, getControllerName, nameLanguages};

// --- The image ---

static EFI_STATUS EFIAPI unload(EFI_HANDLE image) {
  while (g_pages != nullptr) {
    EFI_STATUS status = g_bootServices->DisconnectController(g_pages->controller, g_binding.DriverBindingHandle,
                                                             /* Child= */ nullptr);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  freeGone();
  if (g_gone != nullptr) {
    return EFI_ACCESS_DENIED;
  }
  return g_bootServices->UninstallMultipleProtocolInterfaces(image, &g_bindingGuid, static_cast<void *>(&g_binding),
                                                             &g_nameGuid, static_cast<void *>(&g_names),
                                                             /* end */ static_cast<EFI_GUID *>(nullptr));
}

extern "C" EFI_STATUS EFIAPI RaidSetupEntry(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable) {
  using namespace setup;
  setSystemTable(systemTable);
  void *loaded = nullptr;
  EFI_STATUS status = g_bootServices->HandleProtocol(image, &g_loadedImageGuid, &loaded);
  if (EFI_ERROR(status)) {
    return status;
  }
  g_binding.ImageHandle = image;
  g_binding.DriverBindingHandle = image;
  status = g_bootServices->InstallMultipleProtocolInterfaces(&image, &g_bindingGuid, static_cast<void *>(&g_binding),
                                                             &g_nameGuid, static_cast<void *>(&g_names),
                                                             /* end */ static_cast<EFI_GUID *>(nullptr));
  if (!EFI_ERROR(status)) {
    static_cast<EFI_LOADED_IMAGE_PROTOCOL *>(loaded)->Unload = unload;
  }
  return status;
}

} // namespace xyl::images::setup
