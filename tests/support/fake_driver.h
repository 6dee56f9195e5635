// A driver that holds a protocol BY_DRIVER on all that has it, as firmware's own drivers do.
#pragma once

#include <set>
#include <string>

#include "host/firmware/firmware.h"

struct FakeDriver {
  EFI_DRIVER_BINDING_PROTOCOL binding; // first, so that This leads here
  EFI_BOOT_SERVICES *services;
  EFI_GUID guid;
  std::set<EFI_HANDLE> driven = {};
  std::string name = {}, *calls = nullptr;     // gets name once per Start, "-" and name per Stop
  bool startFails = false, isStubborn = false; // its Stop fails

  // It is published on a handle of its own, which is also its image.
  FakeDriver(EFI_BOOT_SERVICES *bootServices, const EFI_GUID &held, UINT32 version)
      : binding{supported, start, stop, version, nullptr, nullptr}, services(bootServices), guid(held) {
    services->InstallProtocolInterface(&binding.DriverBindingHandle, &g_guid, EFI_NATIVE_INTERFACE, &binding);
    binding.ImageHandle = binding.DriverBindingHandle;
  }
  ~FakeDriver() {
    isStubborn = false;
    for (EFI_HANDLE handle : std::set<EFI_HANDLE>(driven)) {
      services->DisconnectController(handle, binding.ImageHandle, nullptr);
    }
    services->UninstallProtocolInterface(binding.DriverBindingHandle, &g_guid, &binding);
  }
  FakeDriver(const FakeDriver &) = delete;
  FakeDriver &operator=(const FakeDriver &) = delete;

private:
  static constexpr EFI_GUID g_guid = EFI_DRIVER_BINDING_PROTOCOL_GUID;

  static FakeDriver &of(EFI_DRIVER_BINDING_PROTOCOL *self) { return *reinterpret_cast<FakeDriver *>(self); }
  void told(const std::string &call) { calls == nullptr ? void() : void(*calls += call); }
  EFI_STATUS open(EFI_HANDLE handle, UINT32 attributes) {
    void *found = nullptr;
    return services->OpenProtocol(handle, &guid, &found, binding.DriverBindingHandle, handle, attributes);
  }

  static EFI_STATUS EFIAPI supported(EFI_DRIVER_BINDING_PROTOCOL *self, EFI_HANDLE handle, EFI_DEVICE_PATH_PROTOCOL *) {
    return of(self).open(handle, EFI_OPEN_PROTOCOL_TEST_PROTOCOL);
  }
  static EFI_STATUS EFIAPI start(EFI_DRIVER_BINDING_PROTOCOL *self, EFI_HANDLE handle, EFI_DEVICE_PATH_PROTOCOL *) {
    FakeDriver &driver = of(self);
    driver.told(driver.name);
    EFI_STATUS status = driver.startFails ? EFI_DEVICE_ERROR : driver.open(handle, EFI_OPEN_PROTOCOL_BY_DRIVER);
    EFI_ERROR(status) ? void() : void(driver.driven.insert(handle));
    return status;
  }
  static EFI_STATUS EFIAPI stop(EFI_DRIVER_BINDING_PROTOCOL *self, EFI_HANDLE handle, UINTN, EFI_HANDLE *) {
    FakeDriver &driver = of(self);
    driver.told("-" + driver.name);
    if (driver.isStubborn) {
      return EFI_DEVICE_ERROR;
    }
    driver.driven.erase(handle);
    return driver.services->CloseProtocol(handle, &driver.guid, self->DriverBindingHandle, handle);
  }
};
