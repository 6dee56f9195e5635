#include "bench/growing_controller.h"

#include <algorithm>

void addEnclosures(Answers &answers, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    RAID_ENCLOSURE_RECORD record = {};
    record.ObjectType = RAID_OBJECT_ENCLOSURE;
    record.ObjectID = record.DeviceID = i;
    answers.enclosures.push_back(record);
  }
}

// The disks of an enclosure lie apart from each other in the answer.
void addDisks(Answers &answers, UINT32 count, UINT32 enclosures) {
  for (UINT32 i = 0; i < count; ++i) {
    RAID_PD_RECORD record = {};
    record.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
    record.ObjectID = record.DeviceID = i;
    record.EnclosureDeviceID = enclosures == 0 ? RAID_ENCLOSURE_NONE : i % enclosures;
    answers.disks.push_back(record);
  }
}

void addVirtualDisks(Answers &answers, UINT32 count, UINT32 members) {
  answers.ids.resize(members);
  for (UINT32 i = 0; i < count; ++i) {
    RAID_VD_RECORD record = {};
    record.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    record.ObjectID = record.TargetID = i;
    record.RAIDLevel = record.RAIDLevelDesc.RAIDLevel = RAID_LEVEL_0;
    record.AccessPolicy = RAID_ACCESS_POLICY_READ_WRITE;
    record.PDCount = members;
    record.PDs = answers.ids.data();
    answers.virtualDisks.push_back(record);
  }
}

static Answers *g_answers;

template <class T> static void answerWith(RAID_CMD_RESULT *result, T *records, size_t count) {
  result->Data = count == 0 ? nullptr : records;
  result->DataSize = static_cast<UINT32>(count * RAID_RECORD_SIZE);
}

static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (block->Command != RAID_COMMAND_GET) {
    return block->Command == RAID_COMMAND_GET_KEY_ID ? EFI_NOT_FOUND : EFI_SUCCESS;
  }
  switch (block->ObjectType) {
  case RAID_OBJECT_ADAPTER:
    answerWith(result, &g_answers->adapter, 1);
    break;
  case RAID_OBJECT_ENCLOSURE:
    answerWith(result, g_answers->enclosures.data(), g_answers->enclosures.size());
    break;
  case RAID_OBJECT_PHYSICAL_DISK:
    answerWith(result, g_answers->disks.data(), g_answers->disks.size());
    break;
  case RAID_OBJECT_VIRTUAL_DISK:
    answerWith(result, g_answers->virtualDisks.data(), g_answers->virtualDisks.size());
    break;
  default:
    return EFI_UNSUPPORTED;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI freeRecords(RAID_MGMT_PROTOCOL *, void *, UINT32) {
  return EFI_SUCCESS;
}

static RAID_MGMT_PROTOCOL g_protocol = {execute, /* Unused= */ nullptr, freeRecords, 2};

GrowingController::GrowingController(void (*fill)(Answers &answers, UINT32 count), UINT32 count) {
  fill(answers, count);
  g_answers = &answers;
}

RAID_MGMT_PROTOCOL &GrowingController::protocol() {
  return g_protocol;
}

void measureGrowth(benchmark::State &state, const std::function<double()> &run) {
  run(); // which only fetches the memory
  double seconds[] = {run(), run(), run()};
  std::sort(std::begin(seconds), std::end(seconds));
  for (auto _ : state) {
    state.SetIterationTime(seconds[1]);
  }
}
