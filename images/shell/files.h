// Files of the shell that the client runs in.
#pragma once

#include "images/firmware/files.h"

namespace xyl::images {

struct ShellFiles {
  FirmwareFiles files; // first, so that its address is that of the whole
  EFI_SHELL_PROTOCOL *shell;
};

ShellFiles filesOfShell(EFI_SHELL_PROTOCOL *shell);

} // namespace xyl::images
