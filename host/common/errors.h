// Failures of the host program, thrown to where it ends.
#pragma once

#include <stdexcept>
#include <string>

#include "uefi/types.h"

namespace xyl::host {

// What is wrong, in one line that a user can act on.
struct ClientError : std::runtime_error {
  ClientError(EFI_STATUS errorStatus, const std::string &message) : std::runtime_error(message), status(errorStatus) {}
  EFI_STATUS status;
};

// A mistake in what the user asked for.
struct UsageError : ClientError {
  explicit UsageError(const std::string &message) : ClientError(EFI_INVALID_PARAMETER, message) {}
};

} // namespace xyl::host
