// What a restore would do to a controller: the restore itself, run against a controller that answers reads and takes
// down everything else.
#pragma once

#include "base/array.h"
#include "client/controllers/controllers.h"
#include "client/plan/change_plan.h"
#include "client/plan/disk_fits.h"
#include "client/plan/verdict.h"
#include "raid_records.h"
#include "records/ids.h"

// A command that would change the controller.
struct PLAN_COMMAND {
  UINT32 Command;    // RAID_COMMAND
  UINT32 ObjectType; // RAID_OBJECT_TYPE
  UINT32 IdCount;
  UINT32 *Ids;      // pool; null without ids
  const void *Data; // a record of the saved configuration, or null
};

// What becomes of a saved virtual disk.
struct VIRTUAL_DISK_PLAN {
  UINT32 Command;        // the number of the command that creates it plus 1; 0: none
  EFI_STATUS Logged;     // of its step in the log
  TEXT WhyNot;           // why it does not come about in a rebuild; empty when it does
  UINT32 ForeignMembers; // members that are here, with data of another controller
  bool IsThere;          // on the controller now
  bool MayBeImported; // it is not there, and so many of its members are here that its level can do without the others
};

// What becomes of a saved disk.
struct DISK_PLAN {
  UINT32 Twin;         // the place of the same disk among the current ones plus 1; 0: it is not here
  UINT32 SpareCommand; // the number of the command that makes its partner a hot spare plus 1; 0: none
  TEXT WhyNoSpare;     // why the saved hot spare does not come about in a rebuild; empty when it does
};

struct RESTORE_PLAN {
  RAID_MGMT_PROTOCOL *Controller;
  const RAID_CONFIG *Saved;
  bool PreservesVirtualDisks;
  UINT32 EncryptedVirtualDisks;      // of the saved ones; they are created without encryption
  EFI_STATUS Status;                 // what the restore would return
  XML_NODE *Log;                     // the log of its steps
  POOL_ARRAY<PLAN_COMMAND> Commands; // in the order in which they would be sent
  UINT32 *Map;                       // per saved disk the partner's ObjectID + 1, or 0; null without disks
  RAID_CMD_RESULT Adapter;           // the controller's answers to Get; no data when it has none
  RAID_CMD_RESULT Disks;
  RAID_CMD_RESULT VirtualDisks;
  FIT_INDEX Fits;                      // of the controller's disks
  VIRTUAL_DISK_PLAN *VirtualDiskPlans; // pool; one for each saved virtual disk
  DISK_PLAN *DiskPlans;                // pool; one for each saved disk
  UINT32 *Uses;                        // pool; for how many saved disks each current one stands in
  bool *LosesContents;       // pool; of each current disk: it belongs to a virtual disk now or later, or is foreign
  ID_INDEX CurrentIndex;     // of the controller's disks
  ID_INDEX VirtualDiskIndex; // of its virtual disks
  ID_INDEX SavedIndex;       // of the saved disks
  ID_INDEX SavedVirtualDiskIndex;
  XML_NODE *After; // the document of the controller as the restore will leave it; null for one that would fail
  VERDICT Verdict; // on that document
};

// A saved document, parsed both ways.
struct SAVED_DOCUMENT {
  RAID_CONFIG *Config;
  const XML_NODE *Root;
};

// Plans the restore of saved, whose records it changes as a restore does, with the run mode that the driver would make
// of the options. A restore that would fail is a plan with that Status; a failure of planning itself is returned. The
// caller gives the plan to freePlan either way, before it releases saved.
EFI_STATUS planRestore(RAID_MGMT_PROTOCOL *controller, const SAVED_DOCUMENT &saved, UINT32 runMode, RESTORE_PLAN *plan);
void freePlan(RESTORE_PLAN *plan);

// The same from the options that the driver would get; a failure comes with a message.
XYL_RESULT makePlan(const XYL_CONTEXT &context, RAID_MGMT_PROTOCOL *controller, const SAVED_DOCUMENT &saved,
                    const RUN_OPTIONS &options, RESTORE_PLAN *plan);

// Whether all saved settings, virtual disks and hot spares would be there, and the security key.
bool isPlanComplete(const RESTORE_PLAN &plan);
// Whether an element of the adapter is a setting that a restore brings back.
bool isSetting(const CHAR8 *element);
// How many of the saved virtual disks lie on foreign disks that are here, and how many of these an import may bring
// back.
UINT32 foreignVirtualDisks(const RESTORE_PLAN &plan);
UINT32 importableVirtualDisks(const RESTORE_PLAN &plan);

// A restore that would fail gives a message and that failure.
XYL_RESULT checkPlan(const XYL_CONTEXT &context, const RESTORE_PLAN &plan);

// Shows what a rebuild destroys and creates, and what could be imported instead; fails as checkPlan does.
XYL_RESULT showRebuild(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan);

// Shows all of a plan, or writes it as JSON; XYL_DIFFERENT when it is not complete. Fails as checkPlan does.
XYL_RESULT tellPlan(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan);
