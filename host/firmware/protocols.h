// Handles, the protocols on them, and who has them open.
#pragma once

#include <list>
#include <map>

#include "host/firmware/firmware.h"

namespace xyl::host {

struct ProtocolOpen {
  EFI_HANDLE agent;
  EFI_HANDLE controller;
  UINT32 attributes;
  UINT32 count;
};

struct ProtocolEntry {
  EFI_GUID guid;
  void *interface;
  std::vector<ProtocolOpen> opens;
};

// Opens of these kinds keep an interface from being uninstalled.
inline constexpr UINT32 openHeld =
    EFI_OPEN_PROTOCOL_BY_DRIVER | EFI_OPEN_PROTOCOL_EXCLUSIVE | EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER;

extern const EFI_GUID g_bindingProtocolGuid;
extern const EFI_GUID g_loadedImageGuid;
extern const EFI_GUID g_devicePathGuid;

bool guidEqual(const EFI_GUID &a, const EFI_GUID &b);

// Who has what, and nothing that asks a driver. Callbacks of drivers may change everything, so pointers to entries do
// not live across a call of connect.h or open.h.
class Database {
public:
  bool alive(EFI_HANDLE handle) const { return handles_.count(handle) != 0; }
  // Null when handle is dead or does not carry the protocol.
  ProtocolEntry *find(EFI_HANDLE handle, const EFI_GUID &guid);
  // Null for a dead handle.
  std::list<ProtocolEntry> *protocols(EFI_HANDLE handle);
  // Handles in the order of their creation; with a guid only those that carry it.
  std::vector<EFI_HANDLE> handles(const EFI_GUID *guid = nullptr) const;
  // Agents that hold a protocol of the controller BY_DRIVER, each once.
  std::vector<EFI_HANDLE> driversOf(EFI_HANDLE controller) const;

  // Controllers that an agent has the controller's protocols open for as its children, each once.
  std::vector<EFI_HANDLE> childrenOf(EFI_HANDLE controller, EFI_HANDLE agent) const;

  EFI_STATUS install(EFI_HANDLE *handle, const EFI_GUID &guid, void *interface);
  // Takes an entry out, whoever has it open; its handle goes with its last one.
  void remove(EFI_HANDLE handle, const ProtocolEntry *entry);
  EFI_STATUS close(EFI_HANDLE handle, const EFI_GUID &guid, EFI_HANDLE agent, EFI_HANDLE controller);

  // One line for each exclusive kind of open; with an agent only its own.
  std::vector<std::string> heldOpen(EFI_HANDLE agent = nullptr) const;
  void closeAllOf(EFI_HANDLE agent);
  // Removes a handle with all that is on it, whoever uses it.
  void drop(EFI_HANDLE handle) { handles_.erase(handle); }

private:
  std::map<EFI_HANDLE, std::list<ProtocolEntry>> handles_;
  uintptr_t lastHandle_ = 0x4000; // handles are no addresses and never come back
};

} // namespace xyl::host
