#include "host/firmware/connect.h"

#include <algorithm>

namespace xyl::host {

static EFI_DRIVER_BINDING_PROTOCOL *bindingOn(Database &database, EFI_HANDLE handle) {
  ProtocolEntry *entry = database.find(handle, g_bindingProtocolGuid);
  return entry == nullptr ? nullptr : static_cast<EFI_DRIVER_BINDING_PROTOCOL *>(entry->interface);
}

// Every driver once: first those of the images that the caller named, then all by descending version.
static std::vector<EFI_DRIVER_BINDING_PROTOCOL *> candidates(Database &database, const EFI_HANDLE *firstImages) {
  std::vector<EFI_DRIVER_BINDING_PROTOCOL *> drivers;
  for (EFI_HANDLE handle : database.handles(&g_bindingProtocolGuid)) {
    drivers.push_back(bindingOn(database, handle));
  }
  auto newer = [](auto *a, auto *b) { return a->Version > b->Version; };
  std::stable_sort(drivers.begin(), drivers.end(), newer);
  auto place = drivers.begin();
  for (; firstImages != nullptr && *firstImages != nullptr; ++firstImages) {
    auto named = [&](auto *driver) { return driver->ImageHandle == *firstImages; };
    place = std::stable_partition(place, drivers.end(), named);
  }
  return drivers;
}

EFI_STATUS connectDrivers(Database &database, EFI_HANDLE controller, const EFI_HANDLE *firstImages) {
  if (!database.alive(controller)) {
    return EFI_INVALID_PARAMETER;
  }
  bool started = false;
  std::vector<EFI_DRIVER_BINDING_PROTOCOL *> drivers = candidates(database, firstImages);
  // After each driver that supports the controller the others are asked again: what it installed may suit them.
  for (size_t i = 0; i < drivers.size();) {
    EFI_DRIVER_BINDING_PROTOCOL *driver = drivers[i];
    if (EFI_ERROR(driver->Supported(driver, controller, /* Remaining= */ nullptr))) {
      ++i;
      continue;
    }
    started = !EFI_ERROR(driver->Start(driver, controller, /* Remaining= */ nullptr)) || started;
    drivers.erase(drivers.begin() + static_cast<std::ptrdiff_t>(i));
    i = 0;
  }
  return started ? EFI_SUCCESS : EFI_NOT_FOUND;
}

EFI_STATUS disconnectDrivers(Database &database, EFI_HANDLE controller, EFI_HANDLE driver) {
  if (!database.alive(controller) || (driver != nullptr && bindingOn(database, driver) == nullptr)) {
    return EFI_INVALID_PARAMETER;
  }
  std::vector<EFI_HANDLE> agents = database.driversOf(controller);
  if (driver != nullptr) {
    bool drives = std::find(agents.begin(), agents.end(), driver) != agents.end();
    agents.assign(drives ? 1 : 0, driver);
  }
  if (agents.empty()) {
    return EFI_SUCCESS;
  }
  bool stopped = false;
  for (EFI_HANDLE agent : agents) {
    EFI_DRIVER_BINDING_PROTOCOL *binding = bindingOn(database, agent);
    if (binding == nullptr) {
      return EFI_INVALID_PARAMETER;
    }
    std::vector<EFI_HANDLE> children = database.childrenOf(controller, agent);
    EFI_STATUS status =
        children.empty() ? EFI_SUCCESS : binding->Stop(binding, controller, children.size(), children.data());
    if (!EFI_ERROR(status)) {
      status = binding->Stop(binding, controller, /* NumberOfChildren= */ 0, /* Children= */ nullptr);
    }
    stopped = !EFI_ERROR(status) || stopped;
  }
  // What Stop answers goes no further: a driver that keeps its hold counts as none that could be disconnected.
  return stopped ? EFI_SUCCESS : EFI_NOT_FOUND;
}

} // namespace xyl::host
