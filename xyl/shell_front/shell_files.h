// Files of the shell front.
#pragma once

#include "uefi/protocols.h"
#include "xyl/xyl.h"

// What the front keeps behind XYL_HOST's Context.
struct SHELL {
  EFI_SHELL_PROTOCOL *Protocol;
  EFI_STATUS Written; // of the console's output so far; the first failure stays
};

inline SHELL *shellOf(const XYL_HOST *host) {
  return static_cast<SHELL *>(host->Context);
}

// As XYL_HOST has them.
EFI_STATUS shellReadFile(const XYL_HOST *host, const CHAR8 *name, CHAR8 **data, UINTN *size);
EFI_STATUS shellOpenOutput(const XYL_HOST *host, const CHAR8 *name, UINTN room, bool replaces, void **output);
EFI_STATUS shellCloseOutput(const XYL_HOST *host, void *output, const CHAR8 *data, UINTN size);
bool shellIsSameFile(const XYL_HOST *host, const CHAR8 *a, const CHAR8 *b);
