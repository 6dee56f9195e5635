// What the verbs put into their change documents. Each checks what is asked for against the controller's inventory; a
// failure comes with a message.
#pragma once

#include "client/controllers/controllers.h"
#include "client/verbs/change_writer.h"
#include "client/verbs/objects.h"

XYL_RESULT buildCreate(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildDelete(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildSpare(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildLock(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildRekey(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildErase(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildSet(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildIdentify(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);
XYL_RESULT buildImport(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer);

// Whether what --name gives can be the name of a new virtual disk there; a failure comes with a message.
XYL_RESULT checkNewName(const XYL_CONTEXT &context, const CONTROLLER &controller);

inline XYL_RESULT refused() {
  return failed(EFI_INVALID_PARAMETER);
}
