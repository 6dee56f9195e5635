// Making a plan.
#include "client/plan/plan.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"
#include "client/plan/prediction.h"
#include "driver/controller/controller.h"
#include "driver/restore/restore.h"

// The controller that the restore talks to.
struct RECORDER {
  RAID_MGMT_PROTOCOL Protocol; // first, so that its address is the recorder's
  RESTORE_PLAN *Plan;
  EFI_STATUS Status; // of keeping what was sent
};

static bool copyIds(const RAID_CMD_BLOCK *block, PLAN_COMMAND *command) {
  if (block->ObjectIdCount == 0) {
    return true;
  }
  command->Ids = poolNew<UINT32>(block->ObjectIdCount);
  if (command->Ids == nullptr) {
    return false;
  }
  copyBytes(command->Ids, block->ObjectIds, block->ObjectIdCount * sizeof(UINT32));
  return true;
}

static EFI_STATUS keepCommand(RESTORE_PLAN *plan, const RAID_CMD_BLOCK *block) {
  PLAN_COMMAND command = {block->Command, block->ObjectType, block->ObjectIdCount, nullptr, block->ObjectData};
  if (!arrayReserve(plan->Commands, 1) || !copyIds(block, &command)) {
    return EFI_OUT_OF_RESOURCES;
  }
  *arrayAppend(plan->Commands) = command;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI recordExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  RECORDER *recorder = reinterpret_cast<RECORDER *>(protocol);
  RESTORE_PLAN *plan = recorder->Plan;
  if (block->Command != RAID_COMMAND_GET) {
    EFI_STATUS status = keepCommand(plan, block);
    recorder->Status = EFI_ERROR(status) ? status : recorder->Status;
    return status;
  }
  EFI_STATUS status = plan->Controller->Execute(plan->Controller, block, result);
  RAID_CMD_RESULT *kept = block->ObjectType == RAID_OBJECT_ADAPTER ? &plan->Adapter : &plan->Disks;
  if (!EFI_ERROR(status) && kept->Data == nullptr) {
    *kept = *result;
  }
  return status;
}

// What the plan keeps goes back with the plan.
static EFI_STATUS EFIAPI recordFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  const RESTORE_PLAN *plan = reinterpret_cast<RECORDER *>(protocol)->Plan;
  if (data == plan->Adapter.Data || data == plan->Disks.Data) {
    return EFI_SUCCESS;
  }
  return plan->Controller->FreeRecords(plan->Controller, data, count);
}

static EFI_STATUS dryRun(RAID_CONFIG *saved, UINT32 runMode, RESTORE_PLAN *plan) {
  RECORDER recorder = {};
  recorder.Protocol.Execute = recordExecute;
  recorder.Protocol.FreeRecords = recordFreeRecords;
  recorder.Protocol.Revision = plan->Controller->Revision;
  recorder.Plan = plan;
  plan->Status = RaidRestore(&recorder.Protocol, saved, runMode, &plan->Log);
  if (EFI_ERROR(recorder.Status)) {
    return recorder.Status;
  }
  if (plan->Log == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (plan->Adapter.DataSize < RAID_RECORD_SIZE) {
    return EFI_ERROR(plan->Status) ? plan->Status : EFI_NOT_FOUND;
  }
  // The same question once more: the restore keeps the map to itself.
  EFI_STATUS status =
      _ValidateRestore(static_cast<RAID_ADAPTER_RECORD *>(plan->Adapter.Data),
                       static_cast<RAID_PD_RECORD *>(plan->Disks.Data), recordCount(&plan->Disks), saved, &plan->Map);
  if (status != EFI_OUT_OF_RESOURCES) {
    status = makeFitIndex(&plan->Fits, static_cast<RAID_PD_RECORD *>(plan->Disks.Data), recordCount(&plan->Disks));
  }
  return status;
}

// Whether a reason could not be written for want of memory.
static bool lacksReasons(const RESTORE_PLAN &plan) {
  bool isShort = false;
  for (UINT32 i = 0; i < plan.Saved->logicalDiskCount; ++i) {
    isShort = isShort || plan.VirtualDiskPlans[i].WhyNot.Failed;
  }
  for (UINT32 i = 0; i < plan.Saved->physicalDiskCount; ++i) {
    isShort = isShort || plan.DiskPlans[i].WhyNoSpare.Failed;
  }
  return isShort;
}

// A restore that leaves the virtual disks alone finds those on the controller that its verdict does not miss.
static void findMissing(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; i < plan->Saved->logicalDiskCount; ++i) {
    plan->VirtualDiskPlans[i].IsThere = true;
  }
  for (UINT32 i = 0; i < plan->Verdict.Differences.All.count; ++i) {
    const DIFFERENCE &difference = plan->Verdict.Differences.All.items[i];
    if (difference.Object == DIFFERENCE_VIRTUAL_DISK && difference.Kind == DIFFERENCE_REMOVED) {
      UINT32 id = static_cast<UINT32>(parseDecimal(childText(difference.OldNode, "ObjectID")));
      UINT32 place = findId(plan->SavedVirtualDiskIndex, id);
      if (place != ID_NONE) {
        plan->VirtualDiskPlans[place].IsThere = false;
      }
    }
  }
}

// What comes of the commands, in the end.
static EFI_STATUS judgeAll(RESTORE_PLAN *plan, const XML_NODE *savedRoot) {
  EFI_STATUS status = judgePlan(plan);
  if (EFI_ERROR(status) || EFI_ERROR(plan->Status)) {
    return status;
  }
  status = predictAfter(plan);
  if (!EFI_ERROR(status) && lacksReasons(*plan)) {
    status = EFI_OUT_OF_RESOURCES;
  }
  if (!EFI_ERROR(status)) {
    status = makeVerdict(*plan, savedRoot, plan->After, /* planned= */ nullptr, &plan->Verdict);
  }
  if (!EFI_ERROR(status) && plan->PreservesVirtualDisks) {
    findMissing(plan);
  }
  return status;
}

EFI_STATUS planRestore(RAID_MGMT_PROTOCOL *controller, const SAVED_DOCUMENT &document, UINT32 runMode,
                       RESTORE_PLAN *plan) {
  RAID_CONFIG *saved = document.Config;
  *plan = {};
  plan->Controller = controller;
  plan->Saved = saved;
  plan->PreservesVirtualDisks = (runMode & RUN_MODE_PRESERVE_VD) != 0;
  for (UINT32 i = 0; i < saved->logicalDiskCount; ++i) {
    plan->EncryptedVirtualDisks += (saved->logicalDisks[i].Attributes & RAID_VD_ATTRIBUTE_FDE) != 0 ? 1 : 0;
  }
  EFI_STATUS status = issueCommand(controller, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, &plan->VirtualDisks);
  if (EFI_ERROR(status)) {
    plan->VirtualDisks = {};
    if (status != EFI_NOT_FOUND) {
      return status;
    }
  }
  // A log that tells of a restore that never happened would mislead.
  g_logPaused = true;
  status = dryRun(saved, runMode, plan);
  status = EFI_ERROR(status) ? status : judgeAll(plan, document.Root);
  g_logPaused = false;
  return status;
}

static EFI_STATUS planOptions(RAID_MGMT_PROTOCOL *controller, const SAVED_DOCUMENT &saved, const RUN_OPTIONS &options,
                              RESTORE_PLAN *plan) {
  CHAR8 *text = makeRunOptions(options);
  if (text == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 runMode = 0;
  EFI_STATUS status = parseRunTimeXML(text, &runMode);
  poolFree(text);
  return EFI_ERROR(status) ? status : planRestore(controller, saved, runMode, plan);
}

XYL_RESULT makePlan(const XYL_CONTEXT &context, RAID_MGMT_PROTOCOL *controller, const SAVED_DOCUMENT &saved,
                    const RUN_OPTIONS &options, RESTORE_PLAN *plan) {
  *plan = {};
  EFI_STATUS status = planOptions(controller, saved, options, plan);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the restore cannot be planned: %a; nothing was changed", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

void freePlan(RESTORE_PLAN *plan) {
  for (UINT32 i = 0; i < plan->Commands.count; ++i) {
    poolFree(plan->Commands.items[i].Ids);
  }
  for (UINT32 i = 0; plan->VirtualDiskPlans != nullptr && i < plan->Saved->logicalDiskCount; ++i) {
    freeText(&plan->VirtualDiskPlans[i].WhyNot);
  }
  for (UINT32 i = 0; plan->DiskPlans != nullptr && i < plan->Saved->physicalDiskCount; ++i) {
    freeText(&plan->DiskPlans[i].WhyNoSpare);
  }
  void *arrays[] = {plan->Commands.items, plan->Map,  plan->VirtualDiskPlans,
                    plan->DiskPlans,      plan->Uses, plan->LosesContents};
  for (void *array : arrays) {
    poolFree(array);
  }
  ID_INDEX *indices[] = {&plan->CurrentIndex, &plan->VirtualDiskIndex, &plan->SavedIndex, &plan->SavedVirtualDiskIndex};
  for (ID_INDEX *index : indices) {
    freeIds(index);
  }
  freeFitIndex(&plan->Fits);
  freeVerdict(&plan->Verdict);
  freeTree(plan->After);
  freeTree(plan->Log);
  RAID_CMD_RESULT *answers[] = {&plan->Adapter, &plan->Disks, &plan->VirtualDisks};
  for (RAID_CMD_RESULT *answer : answers) {
    if (plan->Controller != nullptr) {
      giveBack(plan->Controller, answer);
    }
  }
  *plan = {};
}
