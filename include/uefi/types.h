// UEFI base types, status codes and calling convention, for C11 and C++20 on the host and in firmware. Beside the
// headers of a firmware kit, include the kit's first and define RAIDXYL_NO_UEFI_TYPES: then nothing under uefi/ is
// declared here, and the protocols and records are made of the kit's types.
#ifndef RAIDXYL_UEFI_TYPES_H
#define RAIDXYL_UEFI_TYPES_H

#include <stddef.h>

#ifdef __cplusplus
#define UEFI_STATIC_ASSERT static_assert
#else
#define UEFI_STATIC_ASSERT _Static_assert
#endif

#ifdef RAIDXYL_NO_UEFI_TYPES
#ifndef EFIAPI
#error "include the firmware kit's headers first"
#endif
UEFI_STATIC_ASSERT(sizeof(UINT64) == 8 && sizeof(UINT32) == 4 && sizeof(UINT16) == 2 && sizeof(UINT8) == 1,
                   "the kit's integers");
UEFI_STATIC_ASSERT(sizeof(CHAR16) == 2 && sizeof(CHAR8) == 1 && sizeof(BOOLEAN) == 1, "the kit's characters");
UEFI_STATIC_ASSERT(sizeof(EFI_STATUS) == 8 && sizeof(void *) == 8, "a kit of 64 bits");
#else

#include <stdint.h>

// The firmware's calling convention. Linux hosts use another one, so every callback that firmware, a protocol or a
// caller outside invokes carries EFIAPI.
#if defined(__x86_64__)
#define EFIAPI __attribute__((ms_abi))
typedef __builtin_ms_va_list EFI_VA_LIST;
#define EFI_VA_START(list, last) __builtin_ms_va_start(list, last)
#define EFI_VA_END(list) __builtin_ms_va_end(list)
#define EFI_VA_COPY(to, from) __builtin_ms_va_copy(to, from)
#else
#define EFIAPI
typedef __builtin_va_list EFI_VA_LIST;
#define EFI_VA_START(list, last) __builtin_va_start(list, last)
#define EFI_VA_END(list) __builtin_va_end(list)
#define EFI_VA_COPY(to, from) __builtin_va_copy(to, from)
#endif
#define EFI_VA_ARG(list, type) __builtin_va_arg(list, type)

typedef uint8_t UINT8;
typedef uint16_t UINT16;
typedef uint32_t UINT32;
typedef uint64_t UINT64;
typedef int16_t INT16;
typedef int32_t INT32;
typedef int64_t INT64;
typedef uint64_t UINTN;
typedef uint8_t BOOLEAN;
typedef char CHAR8;
#ifdef __cplusplus
typedef char16_t CHAR16;
#else
typedef uint_least16_t CHAR16;
#endif

typedef UINT64 EFI_STATUS;
typedef void *EFI_HANDLE;
typedef void *EFI_EVENT;
typedef UINTN EFI_TPL;
typedef UINT64 EFI_PHYSICAL_ADDRESS;

typedef struct EFI_GUID {
  UINT32 Data1;
  UINT16 Data2;
  UINT16 Data3;
  UINT8 Data4[8];
} EFI_GUID;
UEFI_STATIC_ASSERT(sizeof(EFI_GUID) == 16, "a GUID has 16 bytes");

typedef struct EFI_TIME {
  UINT16 Year;
  UINT8 Month;
  UINT8 Day;
  UINT8 Hour;
  UINT8 Minute;
  UINT8 Second;
  UINT8 Pad1;
  UINT32 Nanosecond;
  INT16 TimeZone;
  UINT8 Daylight;
  UINT8 Pad2;
} EFI_TIME;
UEFI_STATIC_ASSERT(sizeof(EFI_TIME) == 16, "EFI_TIME has 16 bytes");

#define EFI_ERROR_BIT 0x8000000000000000ULL
#define EFI_ERROR_CODE(code) ((EFI_STATUS)(EFI_ERROR_BIT | (code)))
#define EFI_ERROR(status) (((status)&EFI_ERROR_BIT) != 0)

#define EFI_SUCCESS ((EFI_STATUS)0)
#define EFI_LOAD_ERROR EFI_ERROR_CODE(1)
#define EFI_INVALID_PARAMETER EFI_ERROR_CODE(2)
#define EFI_UNSUPPORTED EFI_ERROR_CODE(3)
#define EFI_BAD_BUFFER_SIZE EFI_ERROR_CODE(4)
#define EFI_BUFFER_TOO_SMALL EFI_ERROR_CODE(5)
#define EFI_NOT_READY EFI_ERROR_CODE(6)
#define EFI_DEVICE_ERROR EFI_ERROR_CODE(7)
#define EFI_WRITE_PROTECTED EFI_ERROR_CODE(8)
#define EFI_OUT_OF_RESOURCES EFI_ERROR_CODE(9)
#define EFI_VOLUME_CORRUPTED EFI_ERROR_CODE(10)
#define EFI_VOLUME_FULL EFI_ERROR_CODE(11)
#define EFI_NO_MEDIA EFI_ERROR_CODE(12)
#define EFI_MEDIA_CHANGED EFI_ERROR_CODE(13)
#define EFI_NOT_FOUND EFI_ERROR_CODE(14)
#define EFI_ACCESS_DENIED EFI_ERROR_CODE(15)
#define EFI_NO_RESPONSE EFI_ERROR_CODE(16)
#define EFI_NO_MAPPING EFI_ERROR_CODE(17)
#define EFI_TIMEOUT EFI_ERROR_CODE(18)
#define EFI_NOT_STARTED EFI_ERROR_CODE(19)
#define EFI_ALREADY_STARTED EFI_ERROR_CODE(20)
#define EFI_ABORTED EFI_ERROR_CODE(21)
#define EFI_PROTOCOL_ERROR EFI_ERROR_CODE(24)
#define EFI_SECURITY_VIOLATION EFI_ERROR_CODE(26)
#define EFI_END_OF_FILE EFI_ERROR_CODE(31)
#define EFI_HTTP_ERROR EFI_ERROR_CODE(35)

#endif

#endif
