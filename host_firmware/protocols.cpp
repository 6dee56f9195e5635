// The protocol database: installing, opening and closing, with the statuses of real firmware.

#include "host_firmware/protocols.h"

#include <algorithm>
#include <cstring>

const EFI_GUID g_bindingProtocolGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

static constexpr UINT32 BY_DRIVER = EFI_OPEN_PROTOCOL_BY_DRIVER;
static constexpr UINT32 EXCLUSIVE = EFI_OPEN_PROTOCOL_EXCLUSIVE;
static constexpr UINT32 HELD = BY_DRIVER | EXCLUSIVE | EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER;

bool guidEqual(const EFI_GUID &a, const EFI_GUID &b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

PROTOCOL_ENTRY *Database::find(EFI_HANDLE handle, const EFI_GUID &guid) {
  std::list<PROTOCOL_ENTRY> *list = protocols(handle);
  if (list == nullptr) {
    return nullptr;
  }
  auto found = std::find_if(list->begin(), list->end(), [&](auto &entry) { return guidEqual(entry.guid, guid); });
  return found == list->end() ? nullptr : &*found;
}

std::list<PROTOCOL_ENTRY> *Database::protocols(EFI_HANDLE handle) {
  auto found = handles_.find(handle);
  return found == handles_.end() ? nullptr : &found->second;
}

std::vector<EFI_HANDLE> Database::handles(const EFI_GUID *guid) const {
  std::vector<EFI_HANDLE> result;
  for (auto &[handle, list] : handles_) {
    auto carries = [&](auto &entry) { return guidEqual(entry.guid, *guid); };
    if (guid == nullptr || std::any_of(list.begin(), list.end(), carries)) {
      result.push_back(handle);
    }
  }
  return result;
}

EFI_STATUS Database::install(EFI_HANDLE *handle, const EFI_GUID &guid, void *interface) {
  if (*handle != nullptr && (!alive(*handle) || find(*handle, guid) != nullptr)) {
    return EFI_INVALID_PARAMETER;
  }
  if (*handle == nullptr) {
    lastHandle_ += 0x10;
    *handle = reinterpret_cast<EFI_HANDLE>(lastHandle_);
  }
  handles_[*handle].push_back({guid, interface, {}});
  return EFI_SUCCESS;
}

EFI_STATUS Database::uninstall(EFI_HANDLE handle, const EFI_GUID &guid, const void *interface) {
  if (!alive(handle)) {
    return EFI_INVALID_PARAMETER;
  }
  PROTOCOL_ENTRY *entry = find(handle, guid);
  if (entry == nullptr || entry->interface != interface) {
    return EFI_NOT_FOUND;
  }
  bool released = releaseDrivers(handle, guid);
  entry = find(handle, guid);
  if (entry == nullptr) {
    return EFI_NOT_FOUND;
  }
  auto held = [](auto &open) { return (open.attributes & HELD) != 0; };
  if (!released || std::any_of(entry->opens.begin(), entry->opens.end(), held)) {
    // As firmware does, those that did let go get the controller back.
    connect(handle, /* firstImages= */ nullptr);
    return EFI_ACCESS_DENIED;
  }
  std::list<PROTOCOL_ENTRY> &list = handles_[handle];
  list.remove_if([&](auto &each) { return &each == entry; });
  if (list.empty()) {
    handles_.erase(handle);
  }
  return EFI_SUCCESS;
}

bool Database::releaseDrivers(EFI_HANDLE handle, const EFI_GUID &guid) {
  for (;;) {
    PROTOCOL_ENTRY *entry = find(handle, guid);
    if (entry == nullptr) {
      return true;
    }
    auto byDriver = [](auto &open) { return (open.attributes & BY_DRIVER) != 0; };
    auto open = std::find_if(entry->opens.begin(), entry->opens.end(), byDriver);
    if (open == entry->opens.end()) {
      return true;
    }
    size_t before = entry->opens.size();
    if (EFI_ERROR(disconnect(open->controller, open->agent))) {
      return false;
    }
    entry = find(handle, guid);
    if (entry != nullptr && entry->opens.size() >= before) {
      return false;
    }
  }
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
  case BY_DRIVER:
  case BY_DRIVER | EXCLUSIVE:
    return database.alive(agent) && database.alive(controller);
  case EXCLUSIVE:
    return database.alive(agent);
  default:
    return false;
  }
}

EFI_STATUS Database::open(EFI_HANDLE handle, const EFI_GUID &guid, void **interface, EFI_HANDLE agent,
                          EFI_HANDLE controller, UINT32 attributes) {
  if (!openArgumentsValid(*this, handle, interface, agent, controller, attributes)) {
    return EFI_INVALID_PARAMETER;
  }
  PROTOCOL_ENTRY *entry = find(handle, guid);
  if (entry == nullptr) {
    if (interface != nullptr && attributes != EFI_OPEN_PROTOCOL_TEST_PROTOCOL) {
      *interface = nullptr;
    }
    return EFI_UNSUPPORTED;
  }
  PROTOCOL_OPEN wanted = {agent, controller, attributes, 1};
  EFI_STATUS status = arbitrate(handle, guid, wanted);
  entry = find(handle, guid);
  if (EFI_ERROR(status) || entry == nullptr) {
    return EFI_ERROR(status) ? status : EFI_UNSUPPORTED;
  }
  if (attributes != EFI_OPEN_PROTOCOL_TEST_PROTOCOL) {
    *interface = entry->interface;
  }
  if (agent == nullptr) {
    return EFI_SUCCESS;
  }
  for (PROTOCOL_OPEN &open : entry->opens) {
    if (open.agent == agent && open.controller == controller && open.attributes == attributes) {
      ++open.count;
      return EFI_SUCCESS;
    }
  }
  entry->opens.push_back(wanted);
  return EFI_SUCCESS;
}

// Whether wanted may stand beside what is open already.
EFI_STATUS Database::arbitrate(EFI_HANDLE handle, const EFI_GUID &guid, const PROTOCOL_OPEN &wanted) {
  if ((wanted.attributes & (BY_DRIVER | EXCLUSIVE)) == 0) {
    return EFI_SUCCESS;
  }
  bool byDriver = false;
  bool exclusive = false;
  for (const PROTOCOL_OPEN &open : find(handle, guid)->opens) {
    bool same =
        open.agent == wanted.agent && open.controller == wanted.controller && open.attributes == wanted.attributes;
    if (same && (open.attributes & BY_DRIVER) != 0) {
      return EFI_ALREADY_STARTED;
    }
    byDriver = byDriver || (open.attributes & BY_DRIVER) != 0;
    exclusive = exclusive || (open.attributes & EXCLUSIVE) != 0;
  }
  if (exclusive || (byDriver && wanted.attributes == BY_DRIVER)) {
    return EFI_ACCESS_DENIED;
  }
  return !byDriver || releaseDrivers(handle, guid) ? EFI_SUCCESS : EFI_ACCESS_DENIED;
}

EFI_STATUS Database::close(EFI_HANDLE handle, const EFI_GUID &guid, EFI_HANDLE agent, EFI_HANDLE controller) {
  if (!alive(handle) || !alive(agent) || (controller != nullptr && !alive(controller))) {
    return EFI_INVALID_PARAMETER;
  }
  PROTOCOL_ENTRY *entry = find(handle, guid);
  if (entry == nullptr) {
    return EFI_NOT_FOUND;
  }
  auto matches = [&](auto &open) { return open.agent == agent && open.controller == controller; };
  return std::erase_if(entry->opens, matches) != 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

std::vector<std::string> Database::heldOpen(EFI_HANDLE agent) const {
  std::vector<std::string> lines;
  for (auto &[handle, list] : handles_) {
    for (const PROTOCOL_ENTRY &entry : list) {
      for (const PROTOCOL_OPEN &open : entry.opens) {
        if ((open.attributes & HELD) == 0 || (agent != nullptr && open.agent != agent)) {
          continue;
        }
        char line[120];
        std::snprintf(line, sizeof line, "protocol %08x on handle %p held open by %p (attributes %x)", entry.guid.Data1,
                      handle, open.agent, open.attributes);
        lines.push_back(line);
      }
    }
  }
  return lines;
}

void Database::closeAllOf(EFI_HANDLE agent) {
  for (auto &[handle, list] : handles_) {
    for (PROTOCOL_ENTRY &entry : list) {
      std::erase_if(entry.opens, [&](auto &open) { return open.agent == agent; });
    }
  }
}
