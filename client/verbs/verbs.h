// Daily work in words: each command writes a change document and has it applied.
#pragma once

#include "client/command_line/command_line.h"
#include "client/verbs/change_writer.h"

namespace xyl::client {

Result runImport(const Context &context);
Result runCreate(const Context &context);
Result runDelete(const Context &context);
Result runSpare(const Context &context);
Result runKeyLock(const Context &context);
Result runKeyRekey(const Context &context);
Result runKeyErase(const Context &context);
Result runSet(const Context &context);
// identify: with disks a verb.
Result runIdentifyOf(const Context &context);

} // namespace xyl::client
