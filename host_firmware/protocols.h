// Handles, the protocols on them, and who has them open.
#pragma once

#include <list>
#include <map>

#include "host_firmware/host_firmware.h"

struct PROTOCOL_OPEN {
  EFI_HANDLE agent;
  EFI_HANDLE controller;
  UINT32 attributes;
  UINT32 count;
};

struct PROTOCOL_ENTRY {
  EFI_GUID guid;
  void *interface;
  std::vector<PROTOCOL_OPEN> opens;
};

extern const EFI_GUID g_bindingProtocolGuid;
extern const EFI_GUID g_loadedImageGuid;
extern const EFI_GUID g_devicePathGuid;

bool guidEqual(const EFI_GUID &a, const EFI_GUID &b);

// Callbacks of drivers run inside uninstall, connect and disconnect and may change everything, so pointers to entries
// do not live across these.
class Database {
public:
  bool alive(EFI_HANDLE handle) const { return handles_.count(handle) != 0; }
  // Null when handle is dead or does not carry the protocol.
  PROTOCOL_ENTRY *find(EFI_HANDLE handle, const EFI_GUID &guid);
  // Null for a dead handle.
  std::list<PROTOCOL_ENTRY> *protocols(EFI_HANDLE handle);
  // Handles in the order of their creation; with a guid only those that carry it.
  std::vector<EFI_HANDLE> handles(const EFI_GUID *guid = nullptr) const;

  EFI_STATUS install(EFI_HANDLE *handle, const EFI_GUID &guid, void *interface);
  // Drivers that have the interface open BY_DRIVER are stopped first; EFI_ACCESS_DENIED when one does not let go.
  EFI_STATUS uninstall(EFI_HANDLE handle, const EFI_GUID &guid, const void *interface);
  EFI_STATUS open(EFI_HANDLE handle, const EFI_GUID &guid, void **interface, EFI_HANDLE agent, EFI_HANDLE controller,
                  UINT32 attributes);
  EFI_STATUS close(EFI_HANDLE handle, const EFI_GUID &guid, EFI_HANDLE agent, EFI_HANDLE controller);

  // firstImages is null or a list of image handles, ended by null, whose drivers are asked before all others.
  EFI_STATUS connect(EFI_HANDLE controller, const EFI_HANDLE *firstImages);
  // With a null driver every driver of the controller is stopped.
  EFI_STATUS disconnect(EFI_HANDLE controller, EFI_HANDLE driver);

  // One line for each exclusive kind of open; with an agent only its own.
  std::vector<std::string> heldOpen(EFI_HANDLE agent = nullptr) const;
  void closeAllOf(EFI_HANDLE agent);
  // Removes a handle with all that is on it, whoever uses it.
  void drop(EFI_HANDLE handle) { handles_.erase(handle); }

private:
  EFI_STATUS arbitrate(EFI_HANDLE handle, const EFI_GUID &guid, const PROTOCOL_OPEN &wanted);
  bool releaseDrivers(EFI_HANDLE handle, const EFI_GUID &guid);
  std::vector<EFI_HANDLE> driversOf(EFI_HANDLE controller) const;
  std::vector<EFI_DRIVER_BINDING_PROTOCOL *> candidates(const EFI_HANDLE *firstImages);

  std::map<EFI_HANDLE, std::list<PROTOCOL_ENTRY>> handles_;
  uintptr_t lastHandle_ = 0x4000; // handles are no addresses and never come back
};
