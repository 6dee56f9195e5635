// What a restore would do to a controller: the restore itself, run against a controller that answers reads and takes
// down everything else.
#pragma once

#include "raid_records.h"
#include "xyl/documents/documents.h"
#include "xyl/output/output.h"
#include "xyl/plan/disk_fits.h"

// Parses a configuration document that a message would call name; one without an adapter is refused. The caller gives
// *config back with releaseConfig.
XYL_RESULT readConfiguration(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *text, RAID_CONFIG **config);

// A command that would change the controller.
struct PLAN_COMMAND {
  UINT32 Command;    // RAID_COMMAND
  UINT32 ObjectType; // RAID_OBJECT_TYPE
  UINT32 IdCount;
  UINT32 *Ids;      // pool; null without ids
  const void *Data; // a record of the saved configuration, or null
};

struct RESTORE_PLAN {
  RAID_MGMT_PROTOCOL *Controller;
  const RAID_CONFIG *Saved;
  bool PreservesVolumes;
  UINT32 EncryptedVolumes; // of the saved ones; they are created without encryption
  EFI_STATUS Status;       // what the restore would return
  XML_NODE *Log;           // the log of its steps
  PLAN_COMMAND *Commands;  // pool; in the order in which they would be sent
  UINT32 CommandCount;
  UINT32 *Map;             // per saved disk the partner's ObjectID + 1, or 0; null without disks
  RAID_CMD_RESULT Adapter; // the controller's answers to Get; no data when it has none
  RAID_CMD_RESULT Disks;
  RAID_CMD_RESULT Volumes;
  FIT_INDEX Fits; // of the controller's disks
};

// Plans the restore of saved, which it changes as a restore does, with the run mode that the driver would make of the
// options. A restore that would fail is a plan with that Status; a failure of planning itself is returned. The caller
// gives the plan to freePlan either way, before it releases saved.
EFI_STATUS planRestore(RAID_MGMT_PROTOCOL *controller, RAID_CONFIG *saved, UINT32 runMode, RESTORE_PLAN *plan);
void freePlan(RESTORE_PLAN *plan);

// The same from the options that the driver would get; a failure comes with a message.
XYL_RESULT makePlan(const XYL_CONTEXT &context, RAID_MGMT_PROTOCOL *controller, RAID_CONFIG *saved,
                    const RUN_OPTIONS &options, RESTORE_PLAN *plan);

// Whether all saved settings, virtual disks and hot spares would come back.
bool isPlanComplete(const RESTORE_PLAN &plan);

// A restore that would fail gives a message and that failure.
XYL_RESULT checkPlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan);

// Shows what a rebuild destroys and creates; fails as checkPlan does.
XYL_RESULT showRebuild(const XYL_CONTEXT &context, const RESTORE_PLAN &plan);

// The command.
XYL_RESULT runPlan(const XYL_CONTEXT &context);
