// What one Firmware holds. Boot services have no This, so they reach it through g_firmware.
#pragma once

#include <memory>

#include "host/firmware/console.h"
#include "host/firmware/pool.h"
#include "host/firmware/protocols.h"

namespace xyl::host {

// The boot services of the table that do something; in the order of the table.
#define FIRMWARE_SERVICES(X)                                                                                           \
  X(RaiseTPL)                                                                                                          \
  X(AllocatePages)                                                                                                     \
  X(FreePages)                                                                                                         \
  X(GetMemoryMap)                                                                                                      \
  X(AllocatePool)                                                                                                      \
  X(FreePool)                                                                                                          \
  X(CreateEvent)                                                                                                       \
  X(SetTimer)                                                                                                          \
  X(WaitForEvent)                                                                                                      \
  X(CloseEvent)                                                                                                        \
  X(InstallProtocolInterface)                                                                                          \
  X(UninstallProtocolInterface)                                                                                        \
  X(HandleProtocol)                                                                                                    \
  X(LocateDevicePath)                                                                                                  \
  X(LoadImage)                                                                                                         \
  X(StartImage)                                                                                                        \
  X(Exit)                                                                                                              \
  X(UnloadImage)                                                                                                       \
  X(GetNextMonotonicCount)                                                                                             \
  X(Stall)                                                                                                             \
  X(SetWatchdogTimer)                                                                                                  \
  X(ConnectController)                                                                                                 \
  X(DisconnectController)                                                                                              \
  X(OpenProtocol)                                                                                                      \
  X(CloseProtocol)                                                                                                     \
  X(OpenProtocolInformation)                                                                                           \
  X(ProtocolsPerHandle)                                                                                                \
  X(LocateHandleBuffer)                                                                                                \
  X(LocateProtocol)                                                                                                    \
  X(InstallMultipleProtocolInterfaces)                                                                                 \
  X(UninstallMultipleProtocolInterfaces)                                                                               \
  X(CreateEventEx)

enum Service {
#define X(name) SERVICE_##name,
  FIRMWARE_SERVICES(X)
#undef X
      serviceCount
};

struct ServiceBook {
  uint64_t calls;
  uint64_t failIn; // 1: the next call fails; 0: none does
  EFI_STATUS status;
};

struct Image {
  EFI_LOADED_IMAGE_PROTOCOL loaded;
  std::vector<CHAR16> options;
};

struct GroupEvent {
  EFI_EVENT_NOTIFY notify;
  const void *context;
  EFI_GUID group;
};

struct FirmwareState {
  Complaints complaints;
  Pool pool{complaints};
  Database database;
  Console console{};
  std::map<EFI_HANDLE, std::unique_ptr<Image>> images;
  ServiceBook services[serviceCount]{};
  uint64_t monotonicCount = 0;
  EFI_TPL priority = 4; // an application's
  std::map<EFI_EVENT, GroupEvent> events;
  EFI_BOOT_SERVICES bootServices{};
  EFI_RUNTIME_SERVICES runtimeServices{};
  EFI_SYSTEM_TABLE systemTable{};
};

extern FirmwareState *g_firmware;

// Fills in the tables of g_firmware.
void fillTables();
// serviceCount for a name that the table does not have.
Service serviceNamed(const std::string &name);

EFI_STATUS startImage(ImageEntry entry, EFI_HANDLE *image, const std::u16string &loadOptions);
EFI_STATUS unloadImageOn(EFI_HANDLE image);

} // namespace xyl::host
