// Driver health.
#ifndef RAIDXYL_UEFI_HEALTH_H
#define RAIDXYL_UEFI_HEALTH_H

#include "uefi/hii.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

#define EFI_DRIVER_HEALTH_PROTOCOL_GUID                                                                                \
  {                                                                                                                    \
    0x2A534210, 0x9280, 0x41D8, {                                                                                      \
      0xAE, 0x79, 0xCA, 0xDA, 0x01, 0xA2, 0xB1, 0x27                                                                   \
    }                                                                                                                  \
  }
#define EFI_EVENT_GROUP_READY_TO_BOOT                                                                                  \
  {                                                                                                                    \
    0x7CE88FB3, 0x4BD7, 0x4679, {                                                                                      \
      0x87, 0xA8, 0xA8, 0xD8, 0xDE, 0xE5, 0x0D, 0x2B                                                                   \
    }                                                                                                                  \
  }

typedef enum EFI_DRIVER_HEALTH_STATUS {
  EfiDriverHealthStatusHealthy,
  EfiDriverHealthStatusRepairRequired,        // the boot manager calls Repair
  EfiDriverHealthStatusConfigurationRequired, // the boot manager stops at the driver's form
  EfiDriverHealthStatusFailed,                // the boot manager goes on
  EfiDriverHealthStatusReconnectRequired,
  EfiDriverHealthStatusRebootRequired
} EFI_DRIVER_HEALTH_STATUS;

typedef struct EFI_DRIVER_HEALTH_HII_MESSAGE {
  EFI_HII_HANDLE HiiHandle; // null ends a list
  EFI_STRING_ID StringId;
  UINT64 MessageCode;
} EFI_DRIVER_HEALTH_HII_MESSAGE;
UEFI_STATIC_ASSERT(sizeof(EFI_DRIVER_HEALTH_HII_MESSAGE) == 24, "health message size");

typedef struct EFI_DRIVER_HEALTH_PROTOCOL EFI_DRIVER_HEALTH_PROTOCOL;
struct EFI_DRIVER_HEALTH_PROTOCOL {
  EFI_STATUS(EFIAPI *GetHealthStatus)
  (EFI_DRIVER_HEALTH_PROTOCOL *This, EFI_HANDLE Controller, EFI_HANDLE Child, EFI_DRIVER_HEALTH_STATUS *Status,
   EFI_DRIVER_HEALTH_HII_MESSAGE **Messages, EFI_HII_HANDLE *Form); // Messages: pool memory that the caller frees
  EFI_STATUS(EFIAPI *Repair)(EFI_DRIVER_HEALTH_PROTOCOL *This, EFI_HANDLE Controller, EFI_HANDLE Child, void *Notify);
};
UEFI_STATIC_ASSERT(sizeof(EFI_DRIVER_HEALTH_PROTOCOL) == 16, "driver health size");

#endif

#endif
