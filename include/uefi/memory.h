// Memory attributes: what pages may be used for.
#ifndef RAIDXYL_UEFI_MEMORY_H
#define RAIDXYL_UEFI_MEMORY_H

#include "uefi/tables.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

#define EFI_MEMORY_ATTRIBUTE_PROTOCOL_GUID                                                                             \
  {                                                                                                                    \
    0xF4560CF6, 0x40EC, 0x4B4A, {                                                                                      \
      0xA1, 0x92, 0xBF, 0x1D, 0x57, 0xD0, 0xB1, 0x89                                                                   \
    }                                                                                                                  \
  }

#define EFI_MEMORY_XP 0x0000000000004000ULL // no code
#define EFI_MEMORY_RO 0x0000000000020000ULL // not to be written

// Address and Length are whole pages.
typedef struct EFI_MEMORY_ATTRIBUTE_PROTOCOL EFI_MEMORY_ATTRIBUTE_PROTOCOL;
struct EFI_MEMORY_ATTRIBUTE_PROTOCOL {
  EFI_STATUS(EFIAPI *GetMemoryAttributes)
  (EFI_MEMORY_ATTRIBUTE_PROTOCOL *This, UINT64 Address, UINT64 Length, UINT64 *Attributes);
  EFI_STATUS(EFIAPI *SetMemoryAttributes)
  (EFI_MEMORY_ATTRIBUTE_PROTOCOL *This, UINT64 Address, UINT64 Length, UINT64 Attributes);
  EFI_STATUS(EFIAPI *ClearMemoryAttributes)
  (EFI_MEMORY_ATTRIBUTE_PROTOCOL *This, UINT64 Address, UINT64 Length, UINT64 Attributes);
};
UEFI_STATIC_ASSERT(sizeof(EFI_MEMORY_ATTRIBUTE_PROTOCOL) == 24, "memory attribute protocol size");

#endif

#endif
