// System table, boot services and console. Members that this project never calls are sized gaps.
#ifndef RAIDXYL_UEFI_TABLES_H
#define RAIDXYL_UEFI_TABLES_H

#include "uefi/types.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

typedef struct EFI_TABLE_HEADER {
  UINT64 Signature;
  UINT32 Revision;
  UINT32 HeaderSize;
  UINT32 CRC32;
  UINT32 Reserved;
} EFI_TABLE_HEADER;
UEFI_STATIC_ASSERT(sizeof(EFI_TABLE_HEADER) == 24, "table header size");

#define EFI_SYSTEM_TABLE_SIGNATURE 0x5453595320494249ULL
#define EFI_BOOT_SERVICES_SIGNATURE 0x56524553544F4F42ULL

// MemoryType of AllocatePool and AllocatePages.
#define EfiLoaderCode 1
#define EfiBootServicesData 4

#define EFI_ALLOCATE_ANY_PAGES 0
#define EFI_PAGE_SIZE 4096

// OpenProtocol attributes.
#define EFI_OPEN_PROTOCOL_BY_HANDLE_PROTOCOL 0x01U
#define EFI_OPEN_PROTOCOL_GET_PROTOCOL 0x02U
#define EFI_OPEN_PROTOCOL_TEST_PROTOCOL 0x04U
#define EFI_OPEN_PROTOCOL_BY_CHILD_CONTROLLER 0x08U
#define EFI_OPEN_PROTOCOL_BY_DRIVER 0x10U
#define EFI_OPEN_PROTOCOL_EXCLUSIVE 0x20U

// Search kinds of LocateHandleBuffer.
typedef enum EFI_LOCATE_SEARCH_TYPE { AllHandles, ByRegisterNotify, ByProtocol } EFI_LOCATE_SEARCH_TYPE;

#define EFI_NATIVE_INTERFACE 0

#define TPL_HIGH_LEVEL 31

typedef struct EFI_SIMPLE_TEXT_INPUT_PROTOCOL EFI_SIMPLE_TEXT_INPUT_PROTOCOL;
typedef struct EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL;
typedef struct EFI_DEVICE_PATH_PROTOCOL EFI_DEVICE_PATH_PROTOCOL;

typedef struct EFI_INPUT_KEY {
  UINT16 ScanCode;
  CHAR16 UnicodeChar;
} EFI_INPUT_KEY;

struct EFI_SIMPLE_TEXT_INPUT_PROTOCOL {
  EFI_STATUS(EFIAPI *Reset)(EFI_SIMPLE_TEXT_INPUT_PROTOCOL *This, BOOLEAN ExtendedVerification);
  EFI_STATUS(EFIAPI *ReadKeyStroke)(EFI_SIMPLE_TEXT_INPUT_PROTOCOL *This, EFI_INPUT_KEY *Key);
  EFI_EVENT WaitForKey;
};

struct EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL {
  void *Reset;
  EFI_STATUS(EFIAPI *OutputString)(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *This, const CHAR16 *String);
  void *NotCalled[8];
};
UEFI_STATIC_ASSERT(sizeof(EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL) == 80, "text output size");

typedef struct EFI_OPEN_PROTOCOL_INFORMATION_ENTRY {
  EFI_HANDLE AgentHandle;
  EFI_HANDLE ControllerHandle;
  UINT32 Attributes;
  UINT32 OpenCount;
} EFI_OPEN_PROTOCOL_INFORMATION_ENTRY;

#define EFI_EVENT_TIMER 0x80000000U
#define EFI_EVENT_NOTIFY_SIGNAL 0x200U
#define EFI_TPL_CALLBACK 8U
#define EFI_TIMER_PERIODIC 1

typedef void(EFIAPI *EFI_EVENT_NOTIFY)(EFI_EVENT Event, void *Context);

typedef struct EFI_BOOT_SERVICES {
  EFI_TABLE_HEADER Hdr;
  EFI_TPL(EFIAPI *RaiseTPL)(EFI_TPL NewTpl);
  void(EFIAPI *RestoreTPL)(EFI_TPL OldTpl);
  // AllocateType EFI_ALLOCATE_ANY_PAGES; pages of 4096 bytes.
  EFI_STATUS(EFIAPI *AllocatePages)(int AllocateType, int MemoryType, UINTN Pages, UINT64 *Memory);
  EFI_STATUS(EFIAPI *FreePages)(UINT64 Memory, UINTN Pages);
  EFI_STATUS(EFIAPI *GetMemoryMap)(UINTN *Size, void *Map, UINTN *Key, UINTN *DescriptorSize, UINT32 *Version);
  EFI_STATUS(EFIAPI *AllocatePool)(int MemoryType, UINTN Size, void **Buffer);
  EFI_STATUS(EFIAPI *FreePool)(void *Buffer);
  EFI_STATUS(EFIAPI *CreateEvent)
  (UINT32 Type, EFI_TPL NotifyTpl, EFI_EVENT_NOTIFY NotifyFunction, void *NotifyContext, EFI_EVENT *Event);
  EFI_STATUS(EFIAPI *SetTimer)(EFI_EVENT Event, int Type, UINT64 TriggerTime); // in 100 ns
  EFI_STATUS(EFIAPI *WaitForEvent)(UINTN Count, EFI_EVENT *Events, UINTN *Index);
  void *NotCalled3;
  EFI_STATUS(EFIAPI *CloseEvent)(EFI_EVENT Event);
  void *NotCalled9;
  EFI_STATUS(EFIAPI *InstallProtocolInterface)
  (EFI_HANDLE *Handle, const EFI_GUID *Protocol, int InterfaceType, void *Interface);
  void *NotCalled4;
  EFI_STATUS(EFIAPI *UninstallProtocolInterface)(EFI_HANDLE Handle, const EFI_GUID *Protocol, void *Interface);
  EFI_STATUS(EFIAPI *HandleProtocol)(EFI_HANDLE Handle, const EFI_GUID *Protocol, void **Interface);
  void *NotCalled5;
  EFI_STATUS(EFIAPI *RegisterProtocolNotify)(const EFI_GUID *Protocol, EFI_EVENT Event, void **Registration);
  void *NotCalled11;
  EFI_STATUS(EFIAPI *LocateDevicePath)
  (const EFI_GUID *Protocol, EFI_DEVICE_PATH_PROTOCOL **DevicePath, EFI_HANDLE *Device);
  void *NotCalled10;
  EFI_STATUS(EFIAPI *LoadImage)
  (BOOLEAN BootPolicy, EFI_HANDLE Parent, EFI_DEVICE_PATH_PROTOCOL *Path, void *Source, UINTN SourceSize,
   EFI_HANDLE *Image);
  EFI_STATUS(EFIAPI *StartImage)(EFI_HANDLE Image, UINTN *ExitDataSize, CHAR16 **ExitData);
  EFI_STATUS(EFIAPI *Exit)(EFI_HANDLE Image, EFI_STATUS Status, UINTN ExitDataSize, CHAR16 *ExitData);
  EFI_STATUS(EFIAPI *UnloadImage)(EFI_HANDLE Image);
  void *NotCalled6;
  EFI_STATUS(EFIAPI *GetNextMonotonicCount)(UINT64 *Count); // never the same again, not after a restart either
  EFI_STATUS(EFIAPI *Stall)(UINTN Microseconds);
  EFI_STATUS(EFIAPI *SetWatchdogTimer)(UINTN Timeout, UINT64 Code, UINTN DataSize, CHAR16 *Data);
  EFI_STATUS(EFIAPI *ConnectController)
  (EFI_HANDLE Controller, EFI_HANDLE *DriverImages, EFI_DEVICE_PATH_PROTOCOL *Remaining, BOOLEAN Recursive);
  EFI_STATUS(EFIAPI *DisconnectController)(EFI_HANDLE Controller, EFI_HANDLE DriverImage, EFI_HANDLE Child);
  EFI_STATUS(EFIAPI *OpenProtocol)
  (EFI_HANDLE Handle, const EFI_GUID *Protocol, void **Interface, EFI_HANDLE Agent, EFI_HANDLE Controller,
   UINT32 Attributes);
  EFI_STATUS(EFIAPI *CloseProtocol)
  (EFI_HANDLE Handle, const EFI_GUID *Protocol, EFI_HANDLE Agent, EFI_HANDLE Controller);
  EFI_STATUS(EFIAPI *OpenProtocolInformation)
  (EFI_HANDLE Handle, const EFI_GUID *Protocol, EFI_OPEN_PROTOCOL_INFORMATION_ENTRY **Entries, UINTN *Count);
  EFI_STATUS(EFIAPI *ProtocolsPerHandle)(EFI_HANDLE Handle, EFI_GUID ***Protocols, UINTN *Count);
  EFI_STATUS(EFIAPI *LocateHandleBuffer)
  (int SearchType, const EFI_GUID *Protocol, void *SearchKey, UINTN *Count, EFI_HANDLE **Handles);
  EFI_STATUS(EFIAPI *LocateProtocol)(const EFI_GUID *Protocol, void *Registration, void **Interface);
  // Pairs of (const EFI_GUID *, void *) ended by a pointer-wide null.
  EFI_STATUS(EFIAPI *InstallMultipleProtocolInterfaces)(EFI_HANDLE *Handle, ...);
  EFI_STATUS(EFIAPI *UninstallMultipleProtocolInterfaces)(EFI_HANDLE Handle, ...);
  void *NotCalled7;
  void(EFIAPI *CopyMem)(void *Destination, const void *Source, UINTN Length);
  void(EFIAPI *SetMem)(void *Buffer, UINTN Size, UINT8 Value);
  EFI_STATUS(EFIAPI *CreateEventEx)
  (UINT32 Type, EFI_TPL NotifyTpl, EFI_EVENT_NOTIFY NotifyFunction, const void *NotifyContext, const EFI_GUID *Group,
   EFI_EVENT *Event);
} EFI_BOOT_SERVICES;
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, AllocatePages) == 40, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, GetMemoryMap) == 56, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, AllocatePool) == 64, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, CreateEvent) == 80, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, WaitForEvent) == 96, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, CloseEvent) == 112, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, InstallProtocolInterface) == 128, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, UninstallProtocolInterface) == 144, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, HandleProtocol) == 152, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, RegisterProtocolNotify) == 168, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, LocateDevicePath) == 184, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, LoadImage) == 200, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, UnloadImage) == 224, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, Stall) == 248, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, ConnectController) == 264, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, OpenProtocol) == 280, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, LocateHandleBuffer) == 312, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, LocateProtocol) == 320, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, CopyMem) == 352, "boot services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_BOOT_SERVICES, CreateEventEx) == 368, "boot services layout");
UEFI_STATIC_ASSERT(sizeof(EFI_BOOT_SERVICES) == 376, "boot services size");

#define EFI_VARIABLE_NON_VOLATILE 1U
#define EFI_VARIABLE_BOOTSERVICE_ACCESS 2U
#define EFI_VARIABLE_RUNTIME_ACCESS 4U

typedef struct EFI_RUNTIME_SERVICES {
  EFI_TABLE_HEADER Hdr;
  EFI_STATUS(EFIAPI *GetTime)(EFI_TIME *Time, void *Capabilities);
  void *NotCalled1[5];
  EFI_STATUS(EFIAPI *GetVariable)
  (const CHAR16 *Name, const EFI_GUID *Vendor, UINT32 *Attributes, UINTN *Size, void *Data);
  void *NotCalled3;
  EFI_STATUS(EFIAPI *SetVariable)
  (const CHAR16 *Name, const EFI_GUID *Vendor, UINT32 Attributes, UINTN Size, const void *Data); // Size 0: deletes it
  void *NotCalled4;
  void(EFIAPI *ResetSystem)(int ResetType, EFI_STATUS Status, UINTN DataSize, void *Data);
  void *NotCalled2[3];
} EFI_RUNTIME_SERVICES;
UEFI_STATIC_ASSERT(offsetof(EFI_RUNTIME_SERVICES, GetVariable) == 72, "runtime services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_RUNTIME_SERVICES, SetVariable) == 88, "runtime services layout");
UEFI_STATIC_ASSERT(offsetof(EFI_RUNTIME_SERVICES, ResetSystem) == 104, "runtime services layout");
UEFI_STATIC_ASSERT(sizeof(EFI_RUNTIME_SERVICES) == 136, "runtime services size");

typedef struct EFI_CONFIGURATION_TABLE {
  EFI_GUID VendorGuid;
  void *VendorTable;
} EFI_CONFIGURATION_TABLE;

typedef struct EFI_SYSTEM_TABLE {
  EFI_TABLE_HEADER Hdr;
  CHAR16 *FirmwareVendor;
  UINT32 FirmwareRevision;
  EFI_HANDLE ConsoleInHandle;
  EFI_SIMPLE_TEXT_INPUT_PROTOCOL *ConIn;
  EFI_HANDLE ConsoleOutHandle;
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *ConOut;
  EFI_HANDLE StandardErrorHandle;
  EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL *StdErr;
  EFI_RUNTIME_SERVICES *RuntimeServices;
  EFI_BOOT_SERVICES *BootServices;
  UINTN NumberOfTableEntries;
  EFI_CONFIGURATION_TABLE *ConfigurationTable;
} EFI_SYSTEM_TABLE;
UEFI_STATIC_ASSERT(offsetof(EFI_SYSTEM_TABLE, ConOut) == 64, "system table layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SYSTEM_TABLE, BootServices) == 96, "system table layout");
UEFI_STATIC_ASSERT(sizeof(EFI_SYSTEM_TABLE) == 120, "system table size");

#endif

#endif
