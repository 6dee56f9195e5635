#include "host/firmware/protocols.h"

#include <algorithm>
#include <cstring>

namespace xyl::host {

const EFI_GUID g_bindingProtocolGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;
const EFI_GUID g_loadedImageGuid = EFI_LOADED_IMAGE_PROTOCOL_GUID;
const EFI_GUID g_devicePathGuid = EFI_DEVICE_PATH_PROTOCOL_GUID;

bool guidEqual(const EFI_GUID &a, const EFI_GUID &b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

ProtocolEntry *Database::find(EFI_HANDLE handle, const EFI_GUID &guid) {
  std::list<ProtocolEntry> *list = protocols(handle);
  if (list == nullptr) {
    return nullptr;
  }
  auto found = std::find_if(list->begin(), list->end(), [&](auto &entry) { return guidEqual(entry.guid, guid); });
  return found == list->end() ? nullptr : &*found;
}

std::list<ProtocolEntry> *Database::protocols(EFI_HANDLE handle) {
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

void Database::remove(EFI_HANDLE handle, const ProtocolEntry *entry) {
  std::list<ProtocolEntry> &list = handles_[handle];
  list.remove_if([&](auto &each) { return &each == entry; });
  if (list.empty()) {
    handles_.erase(handle);
  }
}

std::vector<EFI_HANDLE> Database::driversOf(EFI_HANDLE controller) const {
  std::vector<EFI_HANDLE> agents;
  auto found = handles_.find(controller);
  if (found == handles_.end()) {
    return agents;
  }
  for (const ProtocolEntry &entry : found->second) {
    for (const ProtocolOpen &open : entry.opens) {
      bool drives = (open.attributes & EFI_OPEN_PROTOCOL_BY_DRIVER) != 0 && open.controller == controller;
      if (drives && std::find(agents.begin(), agents.end(), open.agent) == agents.end()) {
        agents.push_back(open.agent);
      }
    }
  }
  return agents;
}

std::vector<EFI_HANDLE> Database::childrenOf(EFI_HANDLE controller, EFI_HANDLE agent) const {
  std::vector<EFI_HANDLE> children;
  auto found = handles_.find(controller);
  for (const ProtocolEntry &entry : found == handles_.end() ? std::list<ProtocolEntry>{} : found->second) {
    for (const ProtocolOpen &open : entry.opens) {
      bool isChild = (open.attributes & EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER) != 0 && open.agent == agent;
      if (isChild && std::find(children.begin(), children.end(), open.controller) == children.end()) {
        children.push_back(open.controller);
      }
    }
  }
  return children;
}

EFI_STATUS Database::close(EFI_HANDLE handle, const EFI_GUID &guid, EFI_HANDLE agent, EFI_HANDLE controller) {
  if (!alive(handle) || !alive(agent) || (controller != nullptr && !alive(controller))) {
    return EFI_INVALID_PARAMETER;
  }
  ProtocolEntry *entry = find(handle, guid);
  if (entry == nullptr) {
    return EFI_NOT_FOUND;
  }
  auto matches = [&](auto &open) { return open.agent == agent && open.controller == controller; };
  return std::erase_if(entry->opens, matches) != 0 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

std::vector<std::string> Database::heldOpen(EFI_HANDLE agent) const {
  std::vector<std::string> lines;
  for (auto &[handle, list] : handles_) {
    for (const ProtocolEntry &entry : list) {
      for (const ProtocolOpen &open : entry.opens) {
        if ((open.attributes & openHeld) == 0 || (agent != nullptr && open.agent != agent)) {
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
    for (ProtocolEntry &entry : list) {
      std::erase_if(entry.opens, [&](auto &open) { return open.agent == agent; });
    }
  }
}

} // namespace xyl::host
