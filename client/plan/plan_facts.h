// What the text and the JSON of a plan are made from.
#pragma once

#include "client/plan/plan.h"
#include "driver/controller/controller.h"

namespace xyl::client {

// The controller's records; the adapter is there in every plan that was made without failure.
inline const RAID_ADAPTER_RECORD *currentAdapter(const RestorePlan &plan) {
  return static_cast<const RAID_ADAPTER_RECORD *>(plan.adapter.Data);
}
inline const RAID_PD_RECORD *currentDisks(const RestorePlan &plan) {
  return static_cast<const RAID_PD_RECORD *>(plan.disks.Data);
}
inline const RAID_VD_RECORD *currentVirtualDisks(const RestorePlan &plan) {
  return static_cast<const RAID_VD_RECORD *>(plan.virtualDisks.Data);
}

// The planned command of that kind whose data is the record (null: any), or null.
const PlanCommand *findCommand(const RestorePlan &plan, UINT32 command, UINT32 objectType, const void *data);

// Fills in what becomes of the saved virtual disks and hot spares.
EFI_STATUS judgePlan(RestorePlan *plan);

// The controller's disk of that id, or null.
const RAID_PD_RECORD *findCurrent(const RestorePlan &plan, UINT32 id);
bool isForeign(const RAID_PD_RECORD &disk);
bool isLost(const RAID_PD_RECORD &disk);  // of no use to the controller
bool isKnown(const RAID_PD_RECORD &disk); // by a WWN or a serial number
// Whether the saved security key, or the saved security mode, is gone afterwards.
bool losesKey(const RestorePlan &plan);
bool losesSecurityMode(const RestorePlan &plan);

// Why the saved disk of that index has the partner that it has, or none.
void putDiskReason(Text *text, const RestorePlan &plan, UINT32 index);

// An adapter setting that a restore brings back and that is not as it was saved.
struct RestoredSetting {
  const CHAR8 *element; // as the documents name it
  CHAR8 rate[64];       // the rate's name; empty for a mode
  CHAR8 current[32];
  CHAR8 saved[32]; // "-" for none
  bool isFixed;    // on this adapter
};

struct RestoredSettings {
  RestoredSetting items[16]; // seven rows of modes and eight rates at most
  UINTN count;
};

void findSettings(const RestorePlan &plan, RestoredSettings *settings);

// Writes a plan without failure as JSON.
Result writePlan(const Context &context, const Controller &controller, const RestorePlan &plan);

} // namespace xyl::client
