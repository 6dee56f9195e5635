// Making a plan.
#include "client/plan/plan.h"

#include "base/log.h"
#include "base/pool.h"
#include "base/text.h"
#include "client/plan/plan_facts.h"
#include "client/plan/prediction.h"
#include "driver/controller/controller.h"
#include "driver/restore/restore.h"

namespace xyl::client {

// The controller that the restore talks to.
struct Recorder {
  RAID_MGMT_PROTOCOL protocol; // first, so that its address is the recorder's
  RestorePlan *plan;
  EFI_STATUS status; // of keeping what was sent
};

static bool copyIds(const RAID_CMD_BLOCK *block, PlanCommand *command) {
  if (block->ObjectIdCount == 0) {
    return true;
  }
  command->ids = poolNew<UINT32>(block->ObjectIdCount);
  if (command->ids == nullptr) {
    return false;
  }
  copyBytes(command->ids, block->ObjectIds, block->ObjectIdCount * sizeof(UINT32));
  return true;
}

static EFI_STATUS keepCommand(RestorePlan *plan, const RAID_CMD_BLOCK *block) {
  PlanCommand command = {block->Command, block->ObjectType, block->ObjectIdCount, nullptr, block->ObjectData};
  if (!arrayReserve(plan->commands, 1) || !copyIds(block, &command)) {
    return EFI_OUT_OF_RESOURCES;
  }
  *arrayAppend(plan->commands) = command;
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI recordExecute(RAID_MGMT_PROTOCOL *protocol, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  Recorder *recorder = reinterpret_cast<Recorder *>(protocol);
  RestorePlan *plan = recorder->plan;
  if (block->Command != RAID_COMMAND_GET) {
    EFI_STATUS status = keepCommand(plan, block);
    recorder->status = EFI_ERROR(status) ? status : recorder->status;
    return status;
  }
  EFI_STATUS status = plan->controller->Execute(plan->controller, block, result);
  RAID_CMD_RESULT *kept = block->ObjectType == RAID_OBJECT_ADAPTER ? &plan->adapter : &plan->disks;
  if (!EFI_ERROR(status) && kept->Data == nullptr) {
    *kept = *result;
  }
  return status;
}

// What the plan keeps goes back with the plan.
static EFI_STATUS EFIAPI recordFreeRecords(RAID_MGMT_PROTOCOL *protocol, void *data, UINT32 count) {
  const RestorePlan *plan = reinterpret_cast<Recorder *>(protocol)->plan;
  if (data == plan->adapter.Data || data == plan->disks.Data) {
    return EFI_SUCCESS;
  }
  return plan->controller->FreeRecords(plan->controller, data, count);
}

static EFI_STATUS dryRun(RAID_CONFIG *saved, UINT32 runMode, RestorePlan *plan) {
  Recorder recorder = {};
  recorder.protocol.Execute = recordExecute;
  recorder.protocol.FreeRecords = recordFreeRecords;
  recorder.protocol.Revision = plan->controller->Revision;
  recorder.plan = plan;
  plan->status = driver::RaidRestore(&recorder.protocol, saved, runMode, &plan->log);
  if (EFI_ERROR(recorder.status)) {
    return recorder.status;
  }
  if (plan->log == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  if (plan->adapter.DataSize < RAID_RECORD_SIZE) {
    return EFI_ERROR(plan->status) ? plan->status : EFI_NOT_FOUND;
  }
  // The same question once more: the restore keeps the map to itself.
  EFI_STATUS status = driver::_ValidateRestore(static_cast<RAID_ADAPTER_RECORD *>(plan->adapter.Data),
                                               static_cast<RAID_PD_RECORD *>(plan->disks.Data),
                                               driver::recordCount(&plan->disks), saved, &plan->map);
  if (status != EFI_OUT_OF_RESOURCES) {
    status =
        makeFitIndex(&plan->fits, static_cast<RAID_PD_RECORD *>(plan->disks.Data), driver::recordCount(&plan->disks));
  }
  return status;
}

// Whether a reason could not be written for want of memory.
static bool lacksReasons(const RestorePlan &plan) {
  bool isShort = false;
  for (UINT32 i = 0; i < plan.saved->logicalDiskCount; ++i) {
    isShort = isShort || plan.virtualDiskPlans[i].whyNot.failed;
  }
  for (UINT32 i = 0; i < plan.saved->physicalDiskCount; ++i) {
    isShort = isShort || plan.diskPlans[i].whyNoSpare.failed;
  }
  return isShort;
}

// A restore that leaves the virtual disks alone finds those on the controller that its verdict does not miss.
static void findMissing(RestorePlan *plan) {
  for (UINT32 i = 0; i < plan->saved->logicalDiskCount; ++i) {
    plan->virtualDiskPlans[i].isThere = true;
  }
  for (UINT32 i = 0; i < plan->verdict.differences.all.count; ++i) {
    const Difference &difference = plan->verdict.differences.all.items[i];
    if (difference.object == differenceVirtualDisk && difference.kind == differenceRemoved) {
      UINT32 id = static_cast<UINT32>(parseDecimal(childText(difference.oldNode, "ObjectID")));
      UINT32 place = records::findId(plan->savedVirtualDiskIndex, id);
      if (place != records::noId) {
        plan->virtualDiskPlans[place].isThere = false;
      }
    }
  }
}

// What comes of the commands, in the end.
static EFI_STATUS judgeAll(RestorePlan *plan, const XML_NODE *savedRoot) {
  EFI_STATUS status = judgePlan(plan);
  if (EFI_ERROR(status) || EFI_ERROR(plan->status)) {
    return status;
  }
  status = predictAfter(plan);
  if (!EFI_ERROR(status) && lacksReasons(*plan)) {
    status = EFI_OUT_OF_RESOURCES;
  }
  if (!EFI_ERROR(status)) {
    status = makeVerdict(*plan, savedRoot, plan->after, /* planned= */ nullptr, &plan->verdict);
  }
  if (!EFI_ERROR(status) && plan->preservesVirtualDisks) {
    findMissing(plan);
  }
  return status;
}

EFI_STATUS planRestore(RAID_MGMT_PROTOCOL *controller, const SavedDocument &document, UINT32 runMode,
                       RestorePlan *plan) {
  RAID_CONFIG *saved = document.config;
  *plan = {};
  plan->controller = controller;
  plan->saved = saved;
  plan->preservesVirtualDisks = (runMode & driver::RUN_MODE_PRESERVE_VD) != 0;
  for (UINT32 i = 0; i < saved->logicalDiskCount; ++i) {
    plan->encryptedVirtualDisks += (saved->logicalDisks[i].Attributes & RAID_VD_ATTRIBUTE_FDE) != 0 ? 1 : 0;
  }
  EFI_STATUS status = driver::issueCommand(controller, RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, &plan->virtualDisks);
  if (EFI_ERROR(status)) {
    plan->virtualDisks = {};
    if (status != EFI_NOT_FOUND) {
      return status;
    }
  }
  // A log that tells of a restore that never happened would mislead.
  g_logPaused = true;
  status = dryRun(saved, runMode, plan);
  status = EFI_ERROR(status) ? status : judgeAll(plan, document.root);
  g_logPaused = false;
  return status;
}

static EFI_STATUS planOptions(RAID_MGMT_PROTOCOL *controller, const SavedDocument &saved, const RunOptions &options,
                              RestorePlan *plan) {
  CHAR8 *text = makeRunOptions(options);
  if (text == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  UINT32 runMode = 0;
  EFI_STATUS status = driver::parseRunTimeXML(text, &runMode);
  poolFree(text);
  return EFI_ERROR(status) ? status : planRestore(controller, saved, runMode, plan);
}

Result makePlan(const Context &context, RAID_MGMT_PROTOCOL *controller, const SavedDocument &saved,
                const RunOptions &options, RestorePlan *plan) {
  *plan = {};
  EFI_STATUS status = planOptions(controller, saved, options, plan);
  if (EFI_ERROR(status)) {
    complain(context.front, "the restore cannot be planned: %a; nothing was changed", statusWords(status));
    return failed(status);
  }
  return succeeded();
}

void freePlan(RestorePlan *plan) {
  for (UINT32 i = 0; i < plan->commands.count; ++i) {
    poolFree(plan->commands.items[i].ids);
  }
  for (UINT32 i = 0; plan->virtualDiskPlans != nullptr && i < plan->saved->logicalDiskCount; ++i) {
    freeText(&plan->virtualDiskPlans[i].whyNot);
  }
  for (UINT32 i = 0; plan->diskPlans != nullptr && i < plan->saved->physicalDiskCount; ++i) {
    freeText(&plan->diskPlans[i].whyNoSpare);
  }
  void *arrays[] = {plan->commands.items, plan->map,  plan->virtualDiskPlans,
                    plan->diskPlans,      plan->uses, plan->losesContents};
  for (void *array : arrays) {
    poolFree(array);
  }
  records::IdIndex *indices[] = {&plan->currentIndex, &plan->virtualDiskIndex, &plan->savedIndex,
                                 &plan->savedVirtualDiskIndex};
  for (records::IdIndex *index : indices) {
    records::freeIds(index);
  }
  freeFitIndex(&plan->fits);
  freeVerdict(&plan->verdict);
  freeTree(plan->after);
  freeTree(plan->log);
  RAID_CMD_RESULT *answers[] = {&plan->adapter, &plan->disks, &plan->virtualDisks};
  for (RAID_CMD_RESULT *answer : answers) {
    if (plan->controller != nullptr) {
      driver::giveBack(plan->controller, answer);
    }
  }
  *plan = {};
}

} // namespace xyl::client
