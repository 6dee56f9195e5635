// Files of the host program.
#pragma once

#include <string>

#include "uefi/types.h"

// Reads a whole file, at most XYL_FILE_LIMIT bytes.
EFI_STATUS readHostFile(const std::string &name, std::string *content);

// Writes a whole file: a regular file is replaced in one step, so a reader never finds half of it and a failure leaves
// the old one.
EFI_STATUS writeHostFile(const std::string &name, const std::string &content);
