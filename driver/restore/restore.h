// Restoring a saved configuration: run-time options, disk mapping, the restore itself, and the log of what was done.
#pragma once

#include "driver/controller/controller.h"
#include "driver/xml/xml.h"
#include "raid_records.h"
#include "raid_xyl.h"

namespace xyl::driver {

// Bits of the run mode word.
inline constexpr UINT32 RUN_MODE_NORMAL = 0x02U;
inline constexpr UINT32 RUN_MODE_RESTORE = 0x04U;
inline constexpr UINT32 RUN_MODE_PRESERVE_VD = 0x08U;
inline constexpr UINT32 RUN_MODE_STOP_ON_ERROR = 0x10U;

// Applies the run-time options document to *runModeFlag; other bits than the four keep the caller's value. Text stays
// the caller's. What elements before a faulty one changed stays changed.
//   EFI_INVALID_PARAMETER  a null argument, or a document that is not as the format says
//   EFI_NOT_FOUND          no XML service
//   other                  the XML service's status for a text that does not parse
EFI_STATUS parseRunTimeXML(const CHAR8 *text, UINT32 *runModeFlag);

// Disk mapping and validation; none of it needs a controller.

// Compares the PCI ids of the two adapters and maps the saved disks to the current ones. *pdMap, preset to null by the
// caller, becomes a pool array with one entry per saved disk that the caller frees: the ObjectID of the disk that
// stands in for it plus 1, or 0 without one. No map is made without current or saved disks.
//   EFI_UNSUPPORTED       the saved configuration belongs to another kind of adapter
//   EFI_OUT_OF_RESOURCES  no memory for the map
EFI_STATUS _ValidateRestore(const RAID_ADAPTER_RECORD *currentAdapter, const RAID_PD_RECORD *currentDisks,
                            UINT32 currentCount, const RAID_CONFIG *restoreCfg, UINT32 **pdMap);

// Fills pdMap, which has restoreCfg->physicalDiskCount zero entries. Returns EFI_SUCCESS: without memory it only takes
// longer.
EFI_STATUS _MapPDsRestoreToCurrent(const RAID_PD_RECORD *currentDisks, UINT32 currentCount,
                                   const RAID_CONFIG *restoreCfg, UINT32 *pdMap);

// Whether a current disk may stand in for a saved one, or the first reason why not. The mapping takes the fitting disk
// in the saved disk's place, else the first one anywhere that no entry holds.
enum DiskFit {
  diskFits,
  diskTooSmall,
  diskOtherMedium, // one is a solid state disk, the other is not
  diskOtherProtocol,
  diskNotEncrypting // though the saved one is; all else fits
};
DiskFit diskFit(const RAID_PD_RECORD &saved, const RAID_PD_RECORD &current);

// Whether a current disk is in the saved disk's place.
bool samePlace(const RAID_PD_RECORD &saved, const RAID_PD_RECORD &current);

// Whether the saved adapter settings (modes and rates) are to be applied to the current adapter. Saved rates that the
// current adapter does not have do not matter.
bool adapterSettingsDiffer(const RAID_ADAPTER_RECORD *current, const RAID_ADAPTER_RECORD *saved);

// What it compares: these bytes of the adapter records, and the current adapter's rates that have a name.
inline constexpr UINT32 comparedModeCount = 6;
extern const UINT16 g_comparedModes[comparedModeCount];
// Whether no saved rate of the same name has the rate's value.
bool rateDiffers(const RAID_RATE &rate, const RAID_ADAPTER_RECORD *saved);

// A log while it is written; whoever began it owns the tree.
struct RestoreLog {
  XML_NODE *root; // null: there is no log
  XML_NODE *last; // Root's last child; null without children
};

// The restore.

// Puts restoreCfg, whose adapter is not null, onto the controller. *logRoot (preset to null, or a tree that is
// released) receives the "RaidRestore" log, complete or not, on success and on failure; the caller releases it.
// restoreCfg stays the caller's; the FDE bit of its virtual disks is cleared as they are created. Returns the status of
// the step that failed; steps before it stay applied.
EFI_STATUS RaidRestore(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *restoreCfg, UINT32 runModeFlag, XML_NODE **logRoot);

// Applies the saved adapter record. With a log the step is logged; null for part replacement. Returns the
// controller's failure or EFI_SUCCESS.
EFI_STATUS _ChangeAdapter(RAID_MGMT_PROTOCOL *mgmt, RAID_CONFIG *restoreCfg, RestoreLog *log);

// The log.

inline constexpr UINT32 LOG_KIND_CONFIG = 1;
inline constexpr UINT32 LOG_KIND_RESTORE = 2;

// The disks whose FQDDs the log shows, not owned. Whoever runs an operation sets them, and (null, 0) at its end, which
// gives back what finding them needs.
extern const RAID_PD_RECORD *g_curPdArray;
extern UINT32 g_curPdCount;
void setCurrentDisks(const RAID_PD_RECORD *disks, UINT32 count);
// The first of them with that id, or null.
const RAID_PD_RECORD *findCurrentDisk(UINT32 objectId);

// Appends one "Operation" to the log, named name or, with null, after the block's command. Without a block its
// "Detail" is empty. block->Revision tells what ObjectData is: blockRevisionKey a key, any other the record of
// the block's ObjectType; a run that changes the revision of a command before it sends it gives a copy of the block
// with the revision that parsing gave it. A null log or Root: nothing is done. Best effort, changes no status.
void _RestoreLogAddProgressNode(const CHAR8 *name, EFI_STATUS status, const RAID_CMD_BLOCK *block, RestoreLog *log);

// Writes text to the log channel in lines of 100 characters; null is ignored.
void PrintRestoreLog(const CHAR8 *text);

// Serialises logRoot and hands the text from its root element on to output: LOG_KIND_RESTORE to output itself,
// LOG_KIND_CONFIG to element 0 of the array at output->Data. The receiver owns it. Nothing is touched when output or
// logRoot is null or without memory. logRoot stays the caller's.
void updateResultLog(RAID_XYL_BUFFER *output, XML_NODE *logRoot, UINT8 kind);

} // namespace xyl::driver
