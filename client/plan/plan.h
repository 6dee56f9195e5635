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

namespace xyl::client {

// A command that would change the controller.
struct PlanCommand {
  UINT32 command;    // RAID_COMMAND
  UINT32 objectType; // RAID_OBJECT_TYPE
  UINT32 idCount;
  UINT32 *ids;      // pool; null without ids
  const void *data; // a record of the saved configuration, or null
};

// What becomes of a saved virtual disk.
struct VirtualDiskPlan {
  UINT32 command;        // the number of the command that creates it plus 1; 0: none
  EFI_STATUS logged;     // of its step in the log
  Text whyNot;           // why it does not come about in a rebuild; empty when it does
  UINT32 foreignMembers; // members that are here, with data of another controller
  bool isThere;          // on the controller now
  bool mayBeImported; // it is not there, and so many of its members are here that its level can do without the others
};

// What becomes of a saved disk.
struct DiskPlan {
  UINT32 twin;         // the place of the same disk among the current ones plus 1; 0: it is not here
  UINT32 spareCommand; // the number of the command that makes its partner a hot spare plus 1; 0: none
  Text whyNoSpare;     // why the saved hot spare does not come about in a rebuild; empty when it does
};

struct RestorePlan {
  RAID_MGMT_PROTOCOL *controller;
  const RAID_CONFIG *saved;
  bool preservesVirtualDisks;
  UINT32 encryptedVirtualDisks;    // of the saved ones; they are created without encryption
  EFI_STATUS status;               // what the restore would return
  XML_NODE *log;                   // the log of its steps
  PoolArray<PlanCommand> commands; // in the order in which they would be sent
  UINT32 *map;                     // per saved disk the partner's ObjectID + 1, or 0; null without disks
  RAID_CMD_RESULT adapter;         // the controller's answers to Get; no data when it has none
  RAID_CMD_RESULT disks;
  RAID_CMD_RESULT virtualDisks;
  FitIndex fits;                     // of the controller's disks
  VirtualDiskPlan *virtualDiskPlans; // pool; one for each saved virtual disk
  DiskPlan *diskPlans;               // pool; one for each saved disk
  UINT32 *uses;                      // pool; for how many saved disks each current one stands in
  bool *losesContents;           // pool; of each current disk: it belongs to a virtual disk now or later, or is foreign
  records::IdIndex currentIndex; // of the controller's disks
  records::IdIndex virtualDiskIndex; // of its virtual disks
  records::IdIndex savedIndex;       // of the saved disks
  records::IdIndex savedVirtualDiskIndex;
  XML_NODE *after; // the document of the controller as the restore will leave it; null for one that would fail
  Verdict verdict; // on that document
};

// A saved document, parsed both ways.
struct SavedDocument {
  RAID_CONFIG *config;
  const XML_NODE *root;
};

// Plans the restore of saved, whose records it changes as a restore does, with the run mode that the driver would make
// of the options. A restore that would fail is a plan with that Status; a failure of planning itself is returned. The
// caller gives the plan to freePlan either way, before it releases saved.
EFI_STATUS planRestore(RAID_MGMT_PROTOCOL *controller, const SavedDocument &saved, UINT32 runMode, RestorePlan *plan);
void freePlan(RestorePlan *plan);

// The same from the options that the driver would get; a failure comes with a message.
Result makePlan(const Context &context, RAID_MGMT_PROTOCOL *controller, const SavedDocument &saved,
                const RunOptions &options, RestorePlan *plan);

// Whether all saved settings, virtual disks and hot spares would be there, and the security key.
bool isPlanComplete(const RestorePlan &plan);
// Whether an element of the adapter is a setting that a restore brings back.
bool isSetting(const CHAR8 *element);
// How many of the saved virtual disks lie on foreign disks that are here, and how many of these an import may bring
// back.
UINT32 foreignVirtualDisks(const RestorePlan &plan);
UINT32 importableVirtualDisks(const RestorePlan &plan);

// A restore that would fail gives a message and that failure.
Result checkPlan(const Context &context, const RestorePlan &plan);

// Shows what a rebuild destroys and creates, and what could be imported instead; fails as checkPlan does.
Result showRebuild(const Context &context, const Controller &controller, const RestorePlan &plan);

// Shows all of a plan, or writes it as JSON; outcomeDifferent when it is not complete. Fails as checkPlan does.
Result tellPlan(const Context &context, const Controller &controller, const RestorePlan &plan);

} // namespace xyl::client
