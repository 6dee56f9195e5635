// DEBUG_LOG_PROTOCOL: the platform's optional log. The driver calls GetLevel and LogPrint only.
#ifndef RAIDXYL_DEBUG_LOG_H
#define RAIDXYL_DEBUG_LOG_H

#include "uefi/types.h"

#define DEBUG_LOG_PROTOCOL_GUID                                                                                        \
  {                                                                                                                    \
    0x13f6f5d9, 0x02f8, 0x4976, {                                                                                      \
      0xa0, 0x70, 0x7b, 0x23, 0xb1, 0xa3, 0xa2, 0x26                                                                   \
    }                                                                                                                  \
  }

#define LOG_TRACE 0x00800000U
#define LOG_WARN 0x08000000U
#define LOG_ERROR 0x80000000U

typedef struct DEBUG_LOG_PROTOCOL {
  EFI_STATUS(EFIAPI *Unused0)(void);
  INT32(EFIAPI *GetLevel)(void);
  EFI_STATUS(EFIAPI *Unused2)(void);
  EFI_STATUS(EFIAPI *Unused3)(void);
  EFI_STATUS(EFIAPI *Unused4)(void);
  // Format has UEFI print conversions (%r %a %s %S %d %u %x); the provider formats and filters.
  EFI_STATUS(EFIAPI *LogPrint)(UINT32 Mask, const CHAR8 *Function, const CHAR16 *Format, ...);
} DEBUG_LOG_PROTOCOL;
UEFI_STATIC_ASSERT(offsetof(DEBUG_LOG_PROTOCOL, GetLevel) == 0x08, "log protocol layout");
UEFI_STATIC_ASSERT(offsetof(DEBUG_LOG_PROTOCOL, LogPrint) == 0x28, "log protocol layout");

#endif
