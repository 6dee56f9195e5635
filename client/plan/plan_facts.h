// What the text and the JSON of a plan are made from.
#pragma once

#include "client/plan/plan.h"
#include "driver/controller/controller.h"

// The controller's records; the adapter is there in every plan that was made without failure.
inline const RAID_ADAPTER_RECORD *currentAdapter(const RESTORE_PLAN &plan) {
  return static_cast<const RAID_ADAPTER_RECORD *>(plan.Adapter.Data);
}
inline const RAID_PD_RECORD *currentDisks(const RESTORE_PLAN &plan) {
  return static_cast<const RAID_PD_RECORD *>(plan.Disks.Data);
}
inline const RAID_VD_RECORD *currentVirtualDisks(const RESTORE_PLAN &plan) {
  return static_cast<const RAID_VD_RECORD *>(plan.VirtualDisks.Data);
}

// The planned command of that kind whose data is the record (null: any), or null.
const PLAN_COMMAND *findCommand(const RESTORE_PLAN &plan, UINT32 command, UINT32 objectType, const void *data);

// Fills in what becomes of the saved virtual disks and hot spares.
EFI_STATUS judgePlan(RESTORE_PLAN *plan);

// The controller's disk of that id, or null.
const RAID_PD_RECORD *findCurrent(const RESTORE_PLAN &plan, UINT32 id);
bool isForeign(const RAID_PD_RECORD &disk);
bool isLost(const RAID_PD_RECORD &disk);  // of no use to the controller
bool isKnown(const RAID_PD_RECORD &disk); // by a WWN or a serial number
// Whether the saved security key, or the saved security mode, is gone afterwards.
bool losesKey(const RESTORE_PLAN &plan);
bool losesSecurityMode(const RESTORE_PLAN &plan);

// Why the saved disk of that index has the partner that it has, or none.
void putDiskReason(TEXT *text, const RESTORE_PLAN &plan, UINT32 index);

// An adapter setting that a restore brings back and that is not as it was saved.
struct RESTORED_SETTING {
  const CHAR8 *Element; // as the documents name it
  CHAR8 Rate[64];       // the rate's name; empty for a mode
  CHAR8 Current[32];
  CHAR8 Saved[32]; // "-" for none
  bool IsFixed;    // on this adapter
};

struct RESTORED_SETTINGS {
  RESTORED_SETTING Items[16]; // seven rows of modes and eight rates at most
  UINTN Count;
};

void findSettings(const RESTORE_PLAN &plan, RESTORED_SETTINGS *settings);

// Writes a plan without failure as JSON.
XYL_RESULT writePlan(const XYL_CONTEXT &context, const CONTROLLER &controller, const RESTORE_PLAN &plan);
