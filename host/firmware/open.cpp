#include "host/firmware/open.h"

#include <algorithm>

#include "host/firmware/connect.h"

namespace xyl::host {

static constexpr UINT32 asDriver = EFI_OPEN_PROTOCOL_BY_DRIVER;
static constexpr UINT32 exclusively = EFI_OPEN_PROTOCOL_EXCLUSIVE;

// Whether no driver holds the interface any more.
static bool releaseDrivers(Database &database, EFI_HANDLE handle, const EFI_GUID &guid) {
  for (;;) {
    ProtocolEntry *entry = database.find(handle, guid);
    if (entry == nullptr) {
      return true;
    }
    auto byDriver = [](auto &open) { return (open.attributes & asDriver) != 0; };
    auto open = std::find_if(entry->opens.begin(), entry->opens.end(), byDriver);
    if (open == entry->opens.end()) {
      return true;
    }
    size_t before = entry->opens.size();
    if (EFI_ERROR(disconnectDrivers(database, open->controller, open->agent))) {
      return false;
    }
    entry = database.find(handle, guid);
    if (entry != nullptr && entry->opens.size() >= before) {
      return false;
    }
  }
}

EFI_STATUS uninstallProtocol(Database &database, EFI_HANDLE handle, const EFI_GUID &guid, const void *interface) {
  if (!database.alive(handle)) {
    return EFI_INVALID_PARAMETER;
  }
  ProtocolEntry *entry = database.find(handle, guid);
  if (entry == nullptr || entry->interface != interface) {
    return EFI_NOT_FOUND;
  }
  bool released = releaseDrivers(database, handle, guid);
  entry = database.find(handle, guid);
  if (entry == nullptr) {
    return EFI_NOT_FOUND;
  }
  auto held = [](auto &open) { return (open.attributes & openHeld) != 0; };
  if (!released || std::any_of(entry->opens.begin(), entry->opens.end(), held)) {
    // As firmware does, those that did let go get the controller back.
    connectDrivers(database, handle, /* firstImages= */ nullptr);
    return EFI_ACCESS_DENIED;
  }
  database.remove(handle, entry);
  return EFI_SUCCESS;
}

static bool openArgumentsValid(const Database &database, EFI_HANDLE handle, void **interface, EFI_HANDLE agent,
                               EFI_HANDLE controller, UINT32 attributes) {
  if (!database.alive(handle) || (interface == nullptr && attributes != EFI_OPEN_PROTOCOL_TEST_PROTOCOL)) {
    return false;
  }
  switch (attributes) {
  case EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL:
  case EFI_OPEN_PROTOCOL_GET_PROTOCOL:
  case EFI_OPEN_PROTOCOL_TEST_PROTOCOL:
    return true;
  case EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER:
    return database.alive(agent) && database.alive(controller) && controller != handle;
  case asDriver:
  case asDriver | exclusively:
    return database.alive(agent) && database.alive(controller);
  case exclusively:
    return database.alive(agent);
  default:
    return false;
  }
}

// Whether wanted may stand beside what is open already.
static EFI_STATUS arbitrate(Database &database, EFI_HANDLE handle, const EFI_GUID &guid, const ProtocolOpen &wanted) {
  if ((wanted.attributes & (asDriver | exclusively)) == 0) {
    return EFI_SUCCESS;
  }
  bool byDriver = false;
  bool exclusive = false;
  for (const ProtocolOpen &open : database.find(handle, guid)->opens) {
    bool same =
        open.agent == wanted.agent && open.controller == wanted.controller && open.attributes == wanted.attributes;
    if (same && (open.attributes & asDriver) != 0) {
      return EFI_ALREADY_STARTED;
    }
    byDriver = byDriver || (open.attributes & asDriver) != 0;
    exclusive = exclusive || (open.attributes & exclusively) != 0;
  }
  if (exclusive || (byDriver && wanted.attributes == asDriver)) {
    return EFI_ACCESS_DENIED;
  }
  return !byDriver || releaseDrivers(database, handle, guid) ? EFI_SUCCESS : EFI_ACCESS_DENIED;
}

EFI_STATUS openProtocol(Database &database, EFI_HANDLE handle, const EFI_GUID &guid, void **interface, EFI_HANDLE agent,
                        EFI_HANDLE controller, UINT32 attributes) {
  if (!openArgumentsValid(database, handle, interface, agent, controller, attributes)) {
    return EFI_INVALID_PARAMETER;
  }
  ProtocolEntry *entry = database.find(handle, guid);
  if (entry == nullptr) {
    if (interface != nullptr && attributes != EFI_OPEN_PROTOCOL_TEST_PROTOCOL) {
      *interface = nullptr;
    }
    return EFI_UNSUPPORTED;
  }
  ProtocolOpen wanted = {agent, controller, attributes, 1};
  EFI_STATUS status = arbitrate(database, handle, guid, wanted);
  entry = database.find(handle, guid);
  if (EFI_ERROR(status) || entry == nullptr) {
    return EFI_ERROR(status) ? status : EFI_UNSUPPORTED;
  }
  if (attributes != EFI_OPEN_PROTOCOL_TEST_PROTOCOL) {
    *interface = entry->interface;
  }
  if (agent == nullptr) {
    return EFI_SUCCESS;
  }
  for (ProtocolOpen &open : entry->opens) {
    if (open.agent == agent && open.controller == controller && open.attributes == attributes) {
      ++open.count;
      return EFI_SUCCESS;
    }
  }
  entry->opens.push_back(wanted);
  return EFI_SUCCESS;
}

} // namespace xyl::host
