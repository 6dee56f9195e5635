// A driver for the firmware's own tests: it holds one protocol BY_DRIVER on what it starts.
#pragma once

#include "platform/firmware/firmware.h"

inline const EFI_GUID g_fakeGuid = {1, 2, 3, {4}};
inline const EFI_GUID g_otherGuid = {2, 2, 3, {4}};
inline const EFI_GUID g_bindingGuid = EFI_DRIVER_BINDING_PROTOCOL_GUID;

struct FAKE_DRIVER {
  EFI_DRIVER_BINDING_PROTOCOL binding; // first, so that This leads here
  EFI_BOOT_SERVICES *services;
  std::string *calls; // gets name once per Start, "-" and name per Stop
  char name;
  bool startFails;
  bool keepsHold; // Stop fails
};

inline EFI_STATUS EFIAPI fakeSupported(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller,
                                       EFI_DEVICE_PATH_PROTOCOL *) {
  auto *driver = reinterpret_cast<FAKE_DRIVER *>(binding);
  return driver->services->OpenProtocol(controller, &g_fakeGuid, nullptr, binding->DriverBindingHandle, controller,
                                        EFI_OPEN_PROTOCOL_TEST_PROTOCOL);
}

inline EFI_STATUS EFIAPI fakeStart(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller,
                                   EFI_DEVICE_PATH_PROTOCOL *) {
  auto *driver = reinterpret_cast<FAKE_DRIVER *>(binding);
  *driver->calls += driver->name;
  if (driver->startFails) {
    return EFI_DEVICE_ERROR;
  }
  void *interface = nullptr;
  return driver->services->OpenProtocol(controller, &g_fakeGuid, &interface, binding->DriverBindingHandle, controller,
                                        EFI_OPEN_PROTOCOL_BY_DRIVER);
}

inline EFI_STATUS EFIAPI fakeStop(EFI_DRIVER_BINDING_PROTOCOL *binding, EFI_HANDLE controller, UINTN, EFI_HANDLE *) {
  auto *driver = reinterpret_cast<FAKE_DRIVER *>(binding);
  *driver->calls += {'-', driver->name};
  return driver->keepsHold
             ? EFI_DEVICE_ERROR
             : driver->services->CloseProtocol(controller, &g_fakeGuid, binding->DriverBindingHandle, controller);
}

// Publishes driver on a handle of its own, which is also its image.
inline EFI_HANDLE addDriver(Firmware &firmware, FAKE_DRIVER &driver, std::string &calls, char name, UINT32 version) {
  driver = {{fakeSupported, fakeStart, fakeStop, version, nullptr, nullptr},
            firmware.bootServices(),
            &calls,
            name,
            /* startFails= */ false,
            /* keepsHold= */ false};
  EFI_HANDLE handle = nullptr;
  firmware.bootServices()->InstallProtocolInterface(&handle, &g_bindingGuid, EFI_NATIVE_INTERFACE, &driver.binding);
  driver.binding.ImageHandle = handle;
  driver.binding.DriverBindingHandle = handle;
  return handle;
}

inline EFI_HANDLE addHandle(Firmware &firmware, const EFI_GUID &guid, void *interface) {
  EFI_HANDLE handle = nullptr;
  firmware.bootServices()->InstallProtocolInterface(&handle, &guid, EFI_NATIVE_INTERFACE, interface);
  return handle;
}
