// DEBUG_LOG_RING_PROTOCOL: lets a client read what our own log provider kept. It stands beside DEBUG_LOG_PROTOCOL on
// the provider's handle; other log providers do not have it.
#ifndef RAIDXYL_DEBUG_LOG_RING_H
#define RAIDXYL_DEBUG_LOG_RING_H

#include "uefi/types.h"

#define DEBUG_LOG_RING_PROTOCOL_GUID                                                                                   \
  {                                                                                                                    \
    0x6f0f6e0c, 0x51f5, 0x4a3e, {                                                                                      \
      0x9d, 0x0b, 0x8e, 0x5c, 0x2a, 0x77, 0x41, 0xd3                                                                   \
    }                                                                                                                  \
  }

typedef struct DEBUG_LOG_RING_PROTOCOL DEBUG_LOG_RING_PROTOCOL;
struct DEBUG_LOG_RING_PROTOCOL {
  // Returns the kept lines, oldest first, as one NUL-terminated 8-bit text ("LEVEL function: text" and a line feed
  // each; LEVEL is TRACE, WARN or ERROR). The caller frees *Text from the pool. EFI_OUT_OF_RESOURCES without memory.
  EFI_STATUS(EFIAPI *GetText)(DEBUG_LOG_RING_PROTOCOL *This, CHAR8 **Text);
  // Forgets the kept lines.
  EFI_STATUS(EFIAPI *Clear)(DEBUG_LOG_RING_PROTOCOL *This);
  // Lines whose mask is below Level (LOG_TRACE, LOG_WARN, LOG_ERROR) are dropped; LOG_TRACE keeps all.
  EFI_STATUS(EFIAPI *SetLevel)(DEBUG_LOG_RING_PROTOCOL *This, UINT32 Level);
  // Whether kept lines are also written to the console as they come.
  EFI_STATUS(EFIAPI *SetConsole)(DEBUG_LOG_RING_PROTOCOL *This, BOOLEAN Enabled);
};

#endif
