// Driver health, and the texts of the human interface infrastructure that its messages are made of.
#ifndef RAIDXYL_UEFI_HEALTH_H
#define RAIDXYL_UEFI_HEALTH_H

#include "uefi/tables.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

#define EFI_DRIVER_HEALTH_PROTOCOL_GUID                                                                                \
  {                                                                                                                    \
    0x2A534210, 0x9280, 0x41D8, {                                                                                      \
      0xAE, 0x79, 0xCA, 0xDA, 0x01, 0xA2, 0xB1, 0x27                                                                   \
    }                                                                                                                  \
  }
#define EFI_HII_DATABASE_PROTOCOL_GUID                                                                                 \
  {                                                                                                                    \
    0xEF9FC172, 0xA1B2, 0x4693, {                                                                                      \
      0xB3, 0x27, 0x6D, 0x32, 0xFC, 0x41, 0x60, 0x42                                                                   \
    }                                                                                                                  \
  }
#define EFI_HII_STRING_PROTOCOL_GUID                                                                                   \
  {                                                                                                                    \
    0x0FD96974, 0x23AA, 0x4CDC, {                                                                                      \
      0xB9, 0xCB, 0x98, 0xD1, 0x77, 0x50, 0x32, 0x2A                                                                   \
    }                                                                                                                  \
  }
#define EFI_EVENT_GROUP_READY_TO_BOOT                                                                                  \
  {                                                                                                                    \
    0x7CE88FB3, 0x4BD7, 0x4679, {                                                                                      \
      0x87, 0xA8, 0xA8, 0xD8, 0xDE, 0xE5, 0x0D, 0x2B                                                                   \
    }                                                                                                                  \
  }

typedef void *EFI_HII_HANDLE;
typedef UINT16 EFI_STRING_ID;

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

// A list of packages: this header, packages, a package of EFI_HII_PACKAGE_END.
typedef struct EFI_HII_PACKAGE_LIST_HEADER {
  EFI_GUID Guid;
  UINT32 Length; // bytes, with this header
} EFI_HII_PACKAGE_LIST_HEADER;

typedef struct EFI_HII_PACKAGE_HEADER {
  UINT32 LengthAndType; // bytes with this header, and the type in bits 24 up
} EFI_HII_PACKAGE_HEADER;

#define EFI_HII_PACKAGE_STRINGS 0x04U
#define EFI_HII_PACKAGE_END 0xDFU

// Texts of one language; the blocks number them from 1 on, and 1 is the language's own name.
typedef struct EFI_HII_STRING_PACKAGE_HEADER {
  EFI_HII_PACKAGE_HEADER Header;
  UINT32 HeaderSize; // with the language
  UINT32 BlocksOffset;
  CHAR16 LanguageWindow[16];
  EFI_STRING_ID LanguageName;
  CHAR8 Language[1]; // as long as it is, with a NUL
} EFI_HII_STRING_PACKAGE_HEADER;
UEFI_STATIC_ASSERT(offsetof(EFI_HII_STRING_PACKAGE_HEADER, Language) == 46, "string package layout");

// Blocks: a byte that tells the kind, and for a text its UCS-2 characters with a NUL.
#define EFI_HII_SIBT_END 0x00U
#define EFI_HII_SIBT_STRING_UCS2 0x14U

typedef struct EFI_HII_DATABASE_PROTOCOL EFI_HII_DATABASE_PROTOCOL;
struct EFI_HII_DATABASE_PROTOCOL {
  EFI_STATUS(EFIAPI *NewPackageList)
  (EFI_HII_DATABASE_PROTOCOL *This, const EFI_HII_PACKAGE_LIST_HEADER *List, EFI_HANDLE Driver, EFI_HII_HANDLE *Handle);
  EFI_STATUS(EFIAPI *RemovePackageList)(EFI_HII_DATABASE_PROTOCOL *This, EFI_HII_HANDLE Handle);
  void *NotCalled[9];
};
UEFI_STATIC_ASSERT(sizeof(EFI_HII_DATABASE_PROTOCOL) == 88, "HII database size");

typedef struct EFI_HII_STRING_PROTOCOL EFI_HII_STRING_PROTOCOL;
struct EFI_HII_STRING_PROTOCOL {
  void *NotCalled1;
  EFI_STATUS(EFIAPI *GetString)
  (EFI_HII_STRING_PROTOCOL *This, const CHAR8 *Language, EFI_HII_HANDLE List, EFI_STRING_ID Id, CHAR16 *Text,
   UINTN *Size, void *Font);
  void *NotCalled2[3];
};
UEFI_STATIC_ASSERT(sizeof(EFI_HII_STRING_PROTOCOL) == 40, "HII string size");

#endif

#endif
