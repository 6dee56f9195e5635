// The human interface infrastructure: packages of texts and forms that drivers hand to firmware, and the protocols with
// which firmware shows them.
#ifndef RAIDXYL_UEFI_HII_H
#define RAIDXYL_UEFI_HII_H

#include "uefi/tables.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

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
#define EFI_HII_CONFIG_ACCESS_PROTOCOL_GUID                                                                            \
  {                                                                                                                    \
    0x330D4706, 0xF2A0, 0x4E4F, {                                                                                      \
      0xA3, 0x69, 0xB6, 0x6F, 0xA8, 0xD5, 0x43, 0x85                                                                   \
    }                                                                                                                  \
  }
#define EFI_HII_CONFIG_ROUTING_PROTOCOL_GUID                                                                           \
  {                                                                                                                    \
    0x587E72D7, 0xCC50, 0x4F79, {                                                                                      \
      0x82, 0x09, 0xCA, 0x29, 0x1F, 0xC1, 0xA1, 0x0F                                                                   \
    }                                                                                                                  \
  }
#define EFI_FORM_BROWSER2_PROTOCOL_GUID                                                                                \
  {                                                                                                                    \
    0xB9D4C360, 0xBCFB, 0x4F9B, {                                                                                      \
      0x92, 0x98, 0x53, 0xC1, 0x36, 0x98, 0x22, 0x58                                                                   \
    }                                                                                                                  \
  }
// A form set of this class is listed in the firmware's Device Manager.
#define EFI_HII_PLATFORM_SETUP_FORMSET_GUID                                                                            \
  {                                                                                                                    \
    0x93039971, 0x8545, 0x4B04, {                                                                                      \
      0xB4, 0x5E, 0x32, 0xEB, 0x83, 0x26, 0x04, 0x0E                                                                   \
    }                                                                                                                  \
  }

typedef void *EFI_HII_HANDLE;
typedef UINT16 EFI_STRING_ID;
typedef UINT16 EFI_QUESTION_ID;
typedef UINT16 EFI_FORM_ID;

// --- Packages ---

// A list of packages: this header, packages, a package of EFI_HII_PACKAGE_END.
typedef struct EFI_HII_PACKAGE_LIST_HEADER {
  EFI_GUID Guid;
  UINT32 Length; // bytes, with this header
} EFI_HII_PACKAGE_LIST_HEADER;

typedef struct EFI_HII_PACKAGE_HEADER {
  UINT32 LengthAndType; // bytes with this header, and the type in bits 24 up
} EFI_HII_PACKAGE_HEADER;

#define EFI_HII_PACKAGE_TYPE_SHIFT 24
#define EFI_HII_PACKAGE_SIZE_MAX 0xFFFFFFU
#define EFI_HII_PACKAGE_FORMS 0x02U
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

// Blocks: a byte that tells the kind; for a text its UCS-2 characters with a NUL, for a skip the count of numbers that
// have no text.
#define EFI_HII_SIBT_END 0x00U
#define EFI_HII_SIBT_STRING_UCS2 0x14U
#define EFI_HII_SIBT_SKIP2 0x21U

// --- What forms are made of: a code, a length with the scope bit, and what the code says ---

#define EFI_IFR_SCOPE 0x80U
#define EFI_IFR_FORM_OP 0x01U
#define EFI_IFR_SUBTITLE_OP 0x02U
#define EFI_IFR_TEXT_OP 0x03U
#define EFI_IFR_ONE_OF_OP 0x05U
#define EFI_IFR_CHECKBOX_OP 0x06U
#define EFI_IFR_NUMERIC_OP 0x07U
#define EFI_IFR_ONE_OF_OPTION_OP 0x09U
#define EFI_IFR_ACTION_OP 0x0CU
#define EFI_IFR_FORM_SET_OP 0x0EU
#define EFI_IFR_REF_OP 0x0FU
#define EFI_IFR_EQ_ID_VAL_OP 0x12U
#define EFI_IFR_GRAY_OUT_IF_OP 0x19U
#define EFI_IFR_STRING_OP 0x1CU
#define EFI_IFR_VARSTORE_OP 0x24U
#define EFI_IFR_END_OP 0x29U
#define EFI_IFR_DEFAULT_OP 0x5BU
#define EFI_IFR_DEFAULTSTORE_OP 0x5CU

#define EFI_IFR_FLAG_CALLBACK 0x04U
#define EFI_IFR_UINT_DECIMAL 0x10U // of a number, beside the code of its size
#define EFI_IFR_OPTION_DEFAULT 0x10U

// Codes of sizes and kinds of values.
#define EFI_IFR_TYPE_NUM_SIZE_8 0x00U
#define EFI_IFR_TYPE_NUM_SIZE_16 0x01U
#define EFI_IFR_TYPE_NUM_SIZE_32 0x02U
#define EFI_IFR_TYPE_NUM_SIZE_64 0x03U
#define EFI_IFR_TYPE_BOOLEAN 0x04U

// --- Protocols ---

typedef struct EFI_HII_DATABASE_PROTOCOL EFI_HII_DATABASE_PROTOCOL;
struct EFI_HII_DATABASE_PROTOCOL {
  EFI_STATUS(EFIAPI *NewPackageList)
  (EFI_HII_DATABASE_PROTOCOL *This, const EFI_HII_PACKAGE_LIST_HEADER *List, EFI_HANDLE Driver, EFI_HII_HANDLE *Handle);
  EFI_STATUS(EFIAPI *RemovePackageList)(EFI_HII_DATABASE_PROTOCOL *This, EFI_HII_HANDLE Handle);
  // Replaces the packages of the kinds that the list has.
  EFI_STATUS(EFIAPI *UpdatePackageList)
  (EFI_HII_DATABASE_PROTOCOL *This, EFI_HII_HANDLE Handle, const EFI_HII_PACKAGE_LIST_HEADER *List);
  void *NotCalled[8];
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

// Why firmware calls Callback.
typedef enum EFI_BROWSER_ACTION {
  EFI_BROWSER_ACTION_CHANGING = 0,
  EFI_BROWSER_ACTION_CHANGED = 1,
  EFI_BROWSER_ACTION_RETRIEVE = 2,
  EFI_BROWSER_ACTION_FORM_OPEN = 3,
  EFI_BROWSER_ACTION_FORM_CLOSE = 4,
  EFI_BROWSER_ACTION_SUBMITTED = 5,
  EFI_BROWSER_ACTION_DEFAULT_STANDARD = 0x1000
} EFI_BROWSER_ACTION;

// What firmware does after a question was changed.
#define EFI_BROWSER_ACTION_REQUEST_FORM_DISCARD_EXIT 5 // leaves the form for the one it was entered from

typedef struct EFI_HII_CONFIG_ACCESS_PROTOCOL EFI_HII_CONFIG_ACCESS_PROTOCOL;
struct EFI_HII_CONFIG_ACCESS_PROTOCOL {
  EFI_STATUS(EFIAPI *ExtractConfig)
  (EFI_HII_CONFIG_ACCESS_PROTOCOL *This, const CHAR16 *Request, const CHAR16 **Progress, CHAR16 **Results);
  EFI_STATUS(EFIAPI *RouteConfig)
  (EFI_HII_CONFIG_ACCESS_PROTOCOL *This, const CHAR16 *Configuration, const CHAR16 **Progress);
  // Value is of the question's kind; Request is set in EFI_BROWSER_ACTION_CHANGED only.
  EFI_STATUS(EFIAPI *Callback)
  (EFI_HII_CONFIG_ACCESS_PROTOCOL *This, UINTN Action, EFI_QUESTION_ID Question, UINT8 Type, void *Value,
   UINTN *Request);
};
UEFI_STATIC_ASSERT(sizeof(EFI_HII_CONFIG_ACCESS_PROTOCOL) == 24, "HII config access size");

typedef struct EFI_HII_CONFIG_ROUTING_PROTOCOL EFI_HII_CONFIG_ROUTING_PROTOCOL;
struct EFI_HII_CONFIG_ROUTING_PROTOCOL {
  void *NotCalled1[3];
  EFI_STATUS(EFIAPI *BlockToConfig)
  (EFI_HII_CONFIG_ROUTING_PROTOCOL *This, const CHAR16 *Request, const UINT8 *Block, UINTN Size, CHAR16 **Configuration,
   const CHAR16 **Progress);
  EFI_STATUS(EFIAPI *ConfigToBlock)
  (EFI_HII_CONFIG_ROUTING_PROTOCOL *This, const CHAR16 *Configuration, UINT8 *Block, UINTN *Size,
   const CHAR16 **Progress); // *Size: bytes of the block, and then the last byte that was set
  void *NotCalled2;
};
UEFI_STATIC_ASSERT(sizeof(EFI_HII_CONFIG_ROUTING_PROTOCOL) == 48, "HII config routing size");

typedef struct EFI_FORM_BROWSER2_PROTOCOL EFI_FORM_BROWSER2_PROTOCOL;
struct EFI_FORM_BROWSER2_PROTOCOL {
  EFI_STATUS(EFIAPI *SendForm)
  (EFI_FORM_BROWSER2_PROTOCOL *This, EFI_HII_HANDLE *Lists, UINTN Count, const EFI_GUID *FormSet, EFI_FORM_ID Form,
   const void *Screen, UINTN *Request);
  void *NotCalled;
};
UEFI_STATIC_ASSERT(sizeof(EFI_FORM_BROWSER2_PROTOCOL) == 16, "form browser size");

#endif

#endif
