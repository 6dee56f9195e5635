// DEBUG_LOG_PROTOCOL: the platform's optional log. The driver calls GetLevel and LogPrint only, looks for the protocol
// once, in its entry point, and keeps the interface for good.
#ifndef RAIDXYL_DEBUG_LOG_H
#define RAIDXYL_DEBUG_LOG_H

#include "uefi/types.h"

#define DEBUG_LOG_PROTOCOL_GUID                                                                                        \
  {                                                                                                                    \
    0x13f6f5d9, 0x02f8, 0x4976, {                                                                                      \
      0xa0, 0x70, 0x7b, 0x23, 0xb1, 0xa3, 0xa2, 0x26                                                                   \
    }                                                                                                                  \
  }

// Masks of lines, compared as unsigned numbers: the larger, the more severe. As a level, each wants the lines of its
// own mask and above, LOG_TRACE all lines.
#define LOG_TRACE 0x00800000U // entry, exit, progress, dumped values
#define LOG_WARN 0x08000000U  // changes that were found, failures that the caller hears of by status
#define LOG_ERROR 0x80000000U // failures

typedef struct DEBUG_LOG_PROTOCOL {
  EFI_STATUS(EFIAPI *Unused0)(void);
  // The level as a signed number: INT32_MAX where it is LOG_ERROR or higher, since that would be negative. Callers ask
  // only whether a dump at LOG_TRACE is worth the work: it is when the answer is not greater than (INT32)LOG_TRACE. A
  // negative answer (a provider that returns LOG_ERROR as it is) therefore asks for the dumps, too.
  INT32(EFIAPI *GetLevel)(void);
  EFI_STATUS(EFIAPI *Unused2)(void);
  EFI_STATUS(EFIAPI *Unused3)(void);
  EFI_STATUS(EFIAPI *Unused4)(void);
  // Logs one line; the provider filters, formats, and ends the line. Function and Format are the caller's again
  // afterwards, as are all texts behind pointers. The result is not used.
  //
  // Arguments are as UEFI's print library takes them: an integer has 32 bits (%d %u %x %X; the compiler widens smaller
  // ones), with the modifier l (%ld %lu %lx %lX) 64 bits on every compiler; %r an EFI_STATUS, %a an 8-bit text, %s and
  // %S a UCS-2 text; texts may be null. The driver uses these, without flags, widths or precisions, so a provider that
  // knows them will do. DebugLog.efi knows all of UEFI's and a few more: flags - 0 + blank and comma, width and
  // precision (also *), L and z as l, h and hh for 16 and 8 bits, %i as %d, %p, %c, %g (EFI_GUID *), %t (EFI_TIME *),
  // %%; an unknown conversion prints its letter and takes one argument.
  EFI_STATUS(EFIAPI *LogPrint)(UINT32 Mask, const CHAR8 *Function, const CHAR16 *Format, ...);
} DEBUG_LOG_PROTOCOL;
UEFI_STATIC_ASSERT(offsetof(DEBUG_LOG_PROTOCOL, GetLevel) == 0x08, "log protocol layout");
UEFI_STATIC_ASSERT(offsetof(DEBUG_LOG_PROTOCOL, LogPrint) == 0x28, "log protocol layout");

#endif
