// What the sources of this room share: the steps of a restore and the pieces of its log.
#pragma once

#include "driver/restore/restore.h"

namespace xyl::driver {

// Commands that carry neither ids nor data. Each returns the controller's status.
EFI_STATUS _ResetConfig(RAID_MGMT_PROTOCOL *mgmt);
EFI_STATUS _ClearForeign(RAID_MGMT_PROTOCOL *mgmt);
EFI_STATUS _DeleteKey(RAID_MGMT_PROTOCOL *mgmt);

// Reads the objects of a type and logs the step. On success *data and *dataSize are not zero and the data goes back
// with FreeRecords; otherwise both stay as they were. Returns the controller's failure, EFI_NOT_FOUND without data.
EFI_STATUS _GetObject(RAID_MGMT_PROTOCOL *mgmt, UINT32 objectType, void **data, UINT32 *dataSize, RestoreLog *log);

// Gives the current records back to the controller and the map to the pool; null ones are skipped.
void _FreeCurrentCfg(RAID_MGMT_PROTOCOL *mgmt, RAID_ADAPTER_RECORD *adapter, RAID_PD_RECORD *disks, UINT32 diskCount,
                     UINT32 *pdMap);

// Creates the saved virtual disks on the mapped disks, unless they are preserved. One that cannot be created is logged
// and passed over.
//   EFI_OUT_OF_RESOURCES   no memory for the ids of a virtual disk's members
//   EFI_INVALID_PARAMETER  a virtual disk has a member that is none of the saved disks
EFI_STATUS _CreateOrChangeVDs(RAID_MGMT_PROTOCOL *mgmt, const RAID_ADAPTER_RECORD *currentAdapter,
                              RAID_CONFIG *restoreCfg, UINT32 runModeFlag, const UINT32 *pdMap, RestoreLog *log);

// Makes the mapped disks of saved hot spares hot spares again. Returns the controller's failure with
// RUN_MODE_STOP_ON_ERROR, else EFI_SUCCESS.
EFI_STATUS _ChangePDs(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *restoreCfg, const UINT32 *pdMap, UINT32 runModeFlag,
                      RestoreLog *log);

// Starts a log: its root becomes a "RaidRestore" element with its "Options", as far as memory goes; a tree that it had
// is released.
void _RestoreLogInit(UINT32 runModeFlag, RestoreLog *log);

// Builds what an operation's "Detail" holds for the block (see _RestoreLogAddProgressNode); *detail is the first
// element, linked with its siblings, and the caller's. Null when nothing can be built.
void _RestoreLogCreateDetailNode(const RAID_CMD_BLOCK *block, XML_NODE **detail);

// Elements that the caller owns, with the children that could be created; null when the element itself could not.
XML_NODE *_CreatePDNode(UINT32 objectId, const RAID_PD_RECORD *record);
XML_NODE *_CreateKeyNode(const CHAR8 *elementName, const CHAR8 *modeText, const CHAR8 *keyIdText);

// An element that gets its children one after the other, and the routine that "Failed to create XML Node" is logged
// under.
struct LogBuilder {
  const CHAR8 *function;
  XML_NODE *parent;
  XML_NODE *last; // Parent's last child; null without children
};

// Links child after the others and returns it; a null child is logged.
XML_NODE *addLogElement(LogBuilder &builder, XML_NODE *child);

// Numbers are formatted, and wide texts narrowed, into buffers of this size.
inline constexpr UINTN logTextSize = 64;

} // namespace xyl::driver
