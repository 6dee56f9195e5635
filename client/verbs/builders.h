// What the verbs put into their change documents. Each checks what is asked for against the controller's inventory; a
// failure comes with a message.
#pragma once

#include "client/controllers/controllers.h"
#include "client/verbs/change_writer.h"
#include "client/verbs/objects.h"

namespace xyl::client {

Result buildCreate(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildDelete(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildSpare(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildLock(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildRekey(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildErase(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildSet(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildIdentify(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);
Result buildImport(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer);

// Whether what --name gives can be the name of a new virtual disk there; a failure comes with a message.
Result checkNewName(const Context &context, const Controller &controller);

inline Result refused() {
  return failed(EFI_INVALID_PARAMETER);
}

} // namespace xyl::client
