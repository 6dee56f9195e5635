// Failures of the host program, thrown to where it ends.
#pragma once

#include <stdexcept>
#include <string>

#include "uefi/types.h"

// What is wrong, in one line that a user can act on.
struct CLIENT_ERROR : std::runtime_error {
  CLIENT_ERROR(EFI_STATUS errorStatus, const std::string &message) : std::runtime_error(message), status(errorStatus) {}
  EFI_STATUS status;
};

// A mistake in what the user asked for.
struct USAGE_ERROR : CLIENT_ERROR {
  explicit USAGE_ERROR(const std::string &message) : CLIENT_ERROR(EFI_INVALID_PARAMETER, message) {}
};
