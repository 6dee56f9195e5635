// Standard protocols that the driver publishes or opens, and those that the shell application uses.
#ifndef RAIDXYL_UEFI_PROTOCOLS_H
#define RAIDXYL_UEFI_PROTOCOLS_H

#include "uefi/tables.h"

#ifndef RAIDXYL_NO_UEFI_TYPES

#define EFI_DRIVER_BINDING_PROTOCOL_GUID                                                                               \
  {                                                                                                                    \
    0x18A031AB, 0xB443, 0x4D1A, {                                                                                      \
      0xA5, 0xC0, 0x0C, 0x09, 0x26, 0x1E, 0x9F, 0x71                                                                   \
    }                                                                                                                  \
  }
#define EFI_COMPONENT_NAME2_PROTOCOL_GUID                                                                              \
  {                                                                                                                    \
    0x6A7A5CFF, 0xE8D9, 0x4F70, {                                                                                      \
      0xBA, 0xDA, 0x75, 0xAB, 0x30, 0x25, 0xCE, 0x14                                                                   \
    }                                                                                                                  \
  }
#define EFI_LOADED_IMAGE_PROTOCOL_GUID                                                                                 \
  {                                                                                                                    \
    0x5B1B31A1, 0x9562, 0x11D2, {                                                                                      \
      0x8E, 0x3F, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }
#define EFI_DEVICE_PATH_PROTOCOL_GUID                                                                                  \
  {                                                                                                                    \
    0x09576E91, 0x6D3F, 0x11D2, {                                                                                      \
      0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }
#define EFI_SIMPLE_TEXT_OUTPUT_PROTOCOL_GUID                                                                           \
  {                                                                                                                    \
    0x387477C2, 0x69C7, 0x11D2, {                                                                                      \
      0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }
#define EFI_GRAPHICS_OUTPUT_PROTOCOL_GUID                                                                              \
  {                                                                                                                    \
    0x9042A9DE, 0x23DC, 0x4A38, {                                                                                      \
      0x96, 0xFB, 0x7A, 0xDE, 0xD0, 0x80, 0x51, 0x6A                                                                   \
    }                                                                                                                  \
  }
#define EFI_SHELL_PARAMETERS_PROTOCOL_GUID                                                                             \
  {                                                                                                                    \
    0x752F3136, 0x4E16, 0x4FDC, {                                                                                      \
      0xA2, 0x2A, 0xE5, 0xF4, 0x68, 0x12, 0xF4, 0xCA                                                                   \
    }                                                                                                                  \
  }
#define EFI_SHELL_PROTOCOL_GUID                                                                                        \
  {                                                                                                                    \
    0x6302D008, 0x7F9B, 0x4F30, {                                                                                      \
      0x87, 0xAC, 0x60, 0xC9, 0xFE, 0xF5, 0xDA, 0x4E                                                                   \
    }                                                                                                                  \
  }
#define EFI_SIMPLE_FILE_SYSTEM_PROTOCOL_GUID                                                                           \
  {                                                                                                                    \
    0x964E5B22, 0x6459, 0x11D2, {                                                                                      \
      0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }

typedef struct EFI_DRIVER_BINDING_PROTOCOL EFI_DRIVER_BINDING_PROTOCOL;
struct EFI_DRIVER_BINDING_PROTOCOL {
  EFI_STATUS(EFIAPI *Supported)
  (EFI_DRIVER_BINDING_PROTOCOL *This, EFI_HANDLE Controller, EFI_DEVICE_PATH_PROTOCOL *Remaining);
  EFI_STATUS(EFIAPI *Start)
  (EFI_DRIVER_BINDING_PROTOCOL *This, EFI_HANDLE Controller, EFI_DEVICE_PATH_PROTOCOL *Remaining);
  EFI_STATUS(EFIAPI *Stop)
  (EFI_DRIVER_BINDING_PROTOCOL *This, EFI_HANDLE Controller, UINTN NumberOfChildren, EFI_HANDLE *Children);
  UINT32 Version;
  EFI_HANDLE ImageHandle;
  EFI_HANDLE DriverBindingHandle;
};
UEFI_STATIC_ASSERT(sizeof(EFI_DRIVER_BINDING_PROTOCOL) == 48, "driver binding size");

typedef struct EFI_COMPONENT_NAME2_PROTOCOL EFI_COMPONENT_NAME2_PROTOCOL;
struct EFI_COMPONENT_NAME2_PROTOCOL {
  EFI_STATUS(EFIAPI *GetDriverName)
  (EFI_COMPONENT_NAME2_PROTOCOL *This, const CHAR8 *Language, CHAR16 **DriverName);
  EFI_STATUS(EFIAPI *GetControllerName)
  (EFI_COMPONENT_NAME2_PROTOCOL *This, EFI_HANDLE Controller, EFI_HANDLE Child, const CHAR8 *Language,
   CHAR16 **ControllerName);
  const CHAR8 *SupportedLanguages;
};
UEFI_STATIC_ASSERT(sizeof(EFI_COMPONENT_NAME2_PROTOCOL) == 24, "component name size");

struct EFI_DEVICE_PATH_PROTOCOL {
  UINT8 Type;
  UINT8 SubType;
  UINT8 Length[2]; // little-endian, of the whole node
};

typedef struct EFI_LOADED_IMAGE_PROTOCOL {
  UINT32 Revision;
  EFI_HANDLE ParentHandle;
  EFI_SYSTEM_TABLE *SystemTable;
  EFI_HANDLE DeviceHandle;
  EFI_DEVICE_PATH_PROTOCOL *FilePath;
  void *Reserved;
  UINT32 LoadOptionsSize; // bytes
  void *LoadOptions;
  void *ImageBase;
  UINT64 ImageSize;
  int ImageCodeType;
  int ImageDataType;
  EFI_STATUS(EFIAPI *Unload)(EFI_HANDLE Image);
} EFI_LOADED_IMAGE_PROTOCOL;
UEFI_STATIC_ASSERT(offsetof(EFI_LOADED_IMAGE_PROTOCOL, LoadOptions) == 56, "loaded image layout");
UEFI_STATIC_ASSERT(offsetof(EFI_LOADED_IMAGE_PROTOCOL, Unload) == 88, "loaded image layout");
UEFI_STATIC_ASSERT(sizeof(EFI_LOADED_IMAGE_PROTOCOL) == 96, "loaded image size");

typedef struct EFI_SHELL_PARAMETERS_PROTOCOL {
  CHAR16 **Argv;
  UINTN Argc;
  void *StdIn;
  void *StdOut;
  void *StdErr;
} EFI_SHELL_PARAMETERS_PROTOCOL;
UEFI_STATIC_ASSERT(sizeof(EFI_SHELL_PARAMETERS_PROTOCOL) == 40, "shell parameters size");

#define EFI_FILE_MODE_READ 1ULL
#define EFI_FILE_MODE_READ_WRITE 3ULL
#define EFI_FILE_MODE_CREATE 0x8000000000000003ULL

typedef struct EFI_FILE_PROTOCOL EFI_FILE_PROTOCOL;
struct EFI_FILE_PROTOCOL {
  UINT64 Revision;
  EFI_STATUS(EFIAPI *Open)
  (EFI_FILE_PROTOCOL *This, EFI_FILE_PROTOCOL **File, const CHAR16 *Name, UINT64 Mode, UINT64 Attributes);
  EFI_STATUS(EFIAPI *Close)(EFI_FILE_PROTOCOL *This);
  EFI_STATUS(EFIAPI *Delete)(EFI_FILE_PROTOCOL *This);
  EFI_STATUS(EFIAPI *Read)(EFI_FILE_PROTOCOL *This, UINTN *Size, void *Buffer);
  EFI_STATUS(EFIAPI *Write)(EFI_FILE_PROTOCOL *This, UINTN *Size, const void *Buffer);
  void *NotCalled;
  EFI_STATUS(EFIAPI *SetPosition)(EFI_FILE_PROTOCOL *This, UINT64 Position);
  EFI_STATUS(EFIAPI *GetInfo)(EFI_FILE_PROTOCOL *This, const EFI_GUID *Type, UINTN *Size, void *Buffer);
  EFI_STATUS(EFIAPI *SetInfo)(EFI_FILE_PROTOCOL *This, const EFI_GUID *Type, UINTN Size, const void *Buffer);
  EFI_STATUS(EFIAPI *Flush)(EFI_FILE_PROTOCOL *This);
  void *NotCalled2[4];
};
UEFI_STATIC_ASSERT(offsetof(EFI_FILE_PROTOCOL, Flush) == 80, "file protocol layout");
UEFI_STATIC_ASSERT(sizeof(EFI_FILE_PROTOCOL) == 120, "file protocol size");

typedef struct EFI_SIMPLE_FILE_SYSTEM_PROTOCOL EFI_SIMPLE_FILE_SYSTEM_PROTOCOL;
struct EFI_SIMPLE_FILE_SYSTEM_PROTOCOL {
  UINT64 Revision;
  EFI_STATUS(EFIAPI *OpenVolume)(EFI_SIMPLE_FILE_SYSTEM_PROTOCOL *This, EFI_FILE_PROTOCOL **Root);
};

#define EFI_FILE_DIRECTORY 0x10ULL

#define EFI_FILE_INFO_GUID                                                                                             \
  {                                                                                                                    \
    0x09576E92, 0x6D3F, 0x11D2, {                                                                                      \
      0x8E, 0x39, 0x00, 0xA0, 0xC9, 0x69, 0x72, 0x3B                                                                   \
    }                                                                                                                  \
  }

// Setting it changes the size, cuts or lengthens the file, and another name renames it within its directory.
typedef struct EFI_FILE_INFO {
  UINT64 Size; // bytes of this structure, the name with its NUL included
  UINT64 FileSize;
  UINT64 PhysicalSize;
  UINT8 Times[48]; // created, accessed, modified
  UINT64 Attribute;
  CHAR16 FileName[1]; // as long as the name is
} EFI_FILE_INFO;
UEFI_STATIC_ASSERT(offsetof(EFI_FILE_INFO, FileName) == 80, "file information layout");

// A shell file handle; that of a file is also an EFI_FILE_PROTOCOL.
typedef void *EFI_SHELL_FILE_HANDLE;

typedef struct EFI_SHELL_PROTOCOL {
  EFI_STATUS(EFIAPI *Execute)(EFI_HANDLE *Parent, CHAR16 *CommandLine, CHAR16 **Environment, EFI_STATUS *Status);
  const CHAR16 *(EFIAPI *GetEnv)(const CHAR16 *Name);
  EFI_STATUS(EFIAPI *SetEnv)(const CHAR16 *Name, const CHAR16 *Value, BOOLEAN Volatile);
  void *NotCalled1[8];
  const CHAR16 *(EFIAPI *GetCurDir)(const CHAR16 *FileSystem); // null: the current directory, with its file system
  void *NotCalled2[6];
  void(EFIAPI *EnablePageBreak)(void); // what is printed stops after each page, for a key
  void(EFIAPI *DisablePageBreak)(void);
  void *NotCalled3[2];
  EFI_FILE_INFO *(EFIAPI *GetFileInfo)(EFI_SHELL_FILE_HANDLE File); // pool memory that the caller frees
  EFI_STATUS(EFIAPI *SetFileInfo)(EFI_SHELL_FILE_HANDLE File, const EFI_FILE_INFO *Info);
  EFI_STATUS(EFIAPI *OpenFileByName)(const CHAR16 *Name, EFI_SHELL_FILE_HANDLE *File, UINT64 Mode);
  EFI_STATUS(EFIAPI *CloseFile)(EFI_SHELL_FILE_HANDLE File);
  void *NotCalled4;
  EFI_STATUS(EFIAPI *ReadFile)(EFI_SHELL_FILE_HANDLE File, UINTN *Size, void *Buffer);
  EFI_STATUS(EFIAPI *WriteFile)(EFI_SHELL_FILE_HANDLE File, UINTN *Size, void *Buffer);
  EFI_STATUS(EFIAPI *DeleteFile)(EFI_SHELL_FILE_HANDLE File);
  EFI_STATUS(EFIAPI *DeleteFileByName)(const CHAR16 *Name);
  void *NotCalled5;
  EFI_STATUS(EFIAPI *SetFilePosition)(EFI_SHELL_FILE_HANDLE File, UINT64 Position);
  EFI_STATUS(EFIAPI *FlushFile)(EFI_SHELL_FILE_HANDLE File);
  void *NotCalled6[2];
  EFI_STATUS(EFIAPI *GetFileSize)(EFI_SHELL_FILE_HANDLE File, UINT64 *Size);
  void *NotCalled7[3];
  UINT32 MajorVersion;
  UINT32 MinorVersion;
  void *NotCalled8[4];
} EFI_SHELL_PROTOCOL;
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, GetCurDir) == 88, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, EnablePageBreak) == 144, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, OpenFileByName) == 192, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, ReadFile) == 216, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, DeleteFileByName) == 240, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, SetFilePosition) == 256, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, FlushFile) == 264, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, GetFileSize) == 288, "shell layout");
UEFI_STATIC_ASSERT(offsetof(EFI_SHELL_PROTOCOL, MajorVersion) == 320, "shell layout");
UEFI_STATIC_ASSERT(sizeof(EFI_SHELL_PROTOCOL) == 360, "shell size");

#endif

#endif
