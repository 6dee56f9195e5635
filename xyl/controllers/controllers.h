// The controllers that the driver is bound to.
#pragma once

#include "raid_mgmt.h"
#include "raid_xyl.h"
#include "xyl/command_line/command_line.h"

struct CONTROLLERS {
  EFI_HANDLE *Handles; // pool
  UINTN Count;
};

// Finds every bound controller; none gives XYL_NOT_FOUND with a message. The caller frees Handles.
XYL_RESULT findControllers(const XYL_CONTEXT &context, CONTROLLERS *controllers);

// The controller's name as the driver's Component Name 2 tells it, or null. It stays with the firmware.
const CHAR16 *controllerName(EFI_HANDLE controller);

// The operations of the controller that -c chooses, or of the only one. Failures come with a message.
XYL_RESULT selectController(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL **operations);
// As well the controller's own protocol, by which the driver works.
XYL_RESULT selectController(const XYL_CONTEXT &context, RAID_XYL_PROTOCOL **operations,
                            RAID_MGMT_PROTOCOL **controller);

// The commands that read a controller: list, identify, get, log.
XYL_RESULT runList(const XYL_CONTEXT &context);
XYL_RESULT runIdentify(const XYL_CONTEXT &context);
XYL_RESULT runGet(const XYL_CONTEXT &context);
XYL_RESULT runLog(const XYL_CONTEXT &context);
