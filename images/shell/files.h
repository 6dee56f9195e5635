// Files of the shell that the client runs in.
#pragma once

#include "images/firmware/files.h"

struct SHELL_FILES {
  FIRMWARE_FILES Files; // first, so that its address is that of the whole
  EFI_SHELL_PROTOCOL *Shell;
};

SHELL_FILES filesOfShell(EFI_SHELL_PROTOCOL *shell);
