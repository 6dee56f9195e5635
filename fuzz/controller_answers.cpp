// Every operation against a controller whose answers come from the input, within the contract of RAID_MGMT_PROTOCOL:
// any status, count, size and record, but texts end in a NUL, lists are as long as their counts, and all of it is
// readable until given back. The first byte tells the operation, the second where its saved document comes from.

#include <sanitizer/asan_interface.h>

#include <cstring>

#include "driver/binding/instances.h"
#include "driver/controller/controller.h"
#include "fuzz/support.h"
#include "providers/sim_controller/faults.h"
#include "providers/sim_controller/records.h"

static const std::string RESTORE_STOPPING = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError></RunMode>";

// Commands of all kinds on what the controller usually has.
static const std::string CHANGES =
    "<raidData>"
    "<Method name='Create'><ObjectType>Virtual Disk</ObjectType><OID>1001</OID><OID>1002</OID><Object><VD>"
    "<TargetID>1048576</TargetID><RAIDLevel>RAID 1</RAIDLevel></VD></Object></Method>"
    "<Method name='Change'><ObjectType>Physical Disk</ObjectType><OID>1003</OID><Object><PD>"
    "<Hotspare>Dedicated</Hotspare><VD>1048576</VD></PD></Object></Method>"
    "<Method name='Rekey'><ObjectType>Adapter</ObjectType><Object><Key><OldPassphrase>c2VjcmV0</OldPassphrase>"
    "<NewPassphrase>bmV3</NewPassphrase></Key></Object></Method>"
    "<Method name='Get'><ObjectType>Enclosure</ObjectType></Method>"
    "<Method name='Delete'><ObjectType>Virtual Disk</ObjectType><OID>1</OID></Method>"
    "</raidData>";

static FuzzInput *g_input; // null: answers as a well-behaved controller
static bool g_starting;    // the driver starts, and does not look at statuses

// --- Answers ---

static constexpr UINT32 EVERY = SIM_ANY;

// What changed bytes must not reach: pointers, counts of what is behind them, and what tells a copy of a disk.
static const struct {
  UINT32 objectType;
  size_t offset, size;
} g_kept[] = {
    {EVERY, offsetof(RAID_RECORD_HEADER, Name), sizeof(void *)},
    {EVERY, offsetof(RAID_RECORD_HEADER, FQDD), sizeof(void *)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, FirmwareVersion), sizeof(void *)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, Rates), sizeof(RAID_ADAPTER_RECORD::Rates)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, SupportedRAIDLevels), sizeof(UINT32)},
    {RAID_OBJECT_ADAPTER, offsetof(RAID_ADAPTER_RECORD, RAIDLevelParams), sizeof(void *)},
    {RAID_OBJECT_PHYSICAL_DISK, offsetof(RAID_PD_RECORD, ObjectType), sizeof(UINT32)},
    {RAID_OBJECT_PHYSICAL_DISK, offsetof(RAID_PD_RECORD, VDs), sizeof(void *)},
    {RAID_OBJECT_PHYSICAL_DISK, offsetof(RAID_PD_RECORD, VDCount), sizeof(UINT8)},
    {RAID_OBJECT_VIRTUAL_DISK, offsetof(RAID_VD_RECORD, PDs), sizeof(void *)},
    {RAID_OBJECT_VIRTUAL_DISK, offsetof(RAID_VD_RECORD, PDCount), sizeof(UINT32)},
};

// Makes the text behind the pointer null, or another one of any length.
static void changeText(FuzzInput &input, UINT8 *pointer) {
  CHAR16 *text = nullptr;
  std::memcpy(&text, pointer, sizeof text);
  poolFree(text);
  UINT32 length = static_cast<UINT32>(input.number(2) % 800);
  text = length == 0 ? nullptr : poolNew<CHAR16>(length);
  for (UINT32 i = 0; i + 1 < length; ++i) {
    uint8_t unit = input.byte();
    text[i] = static_cast<CHAR16>(unit < 0xF0 ? unit | (unit == 0 ? 'x' : 0) : unit << 8 | input.byte());
  }
  std::memcpy(pointer, &text, sizeof text);
}

static void changeRecord(FuzzInput &input, UINT32 objectType, UINT8 *record) {
  UINT8 before[RAID_RECORD_SIZE];
  std::memcpy(before, record, sizeof before);
  uint8_t changes = input.byte();
  if (changes == 255) {
    std::memset(record, input.byte(), RAID_RECORD_SIZE);
  }
  for (; changes % 64 != 0; --changes) {
    size_t at = input.number(2) % RAID_RECORD_SIZE;
    record[at] = input.byte();
  }
  std::vector<size_t> texts = {offsetof(RAID_RECORD_HEADER, Name), offsetof(RAID_RECORD_HEADER, FQDD)};
  if (objectType == RAID_OBJECT_ADAPTER) {
    size_t rate = offsetof(RAID_ADAPTER_RECORD, Rates) + input.byte() % RAID_RATE_COUNT * sizeof(RAID_RATE);
    texts.insert(texts.end(), {offsetof(RAID_ADAPTER_RECORD, FirmwareVersion), rate});
  }
  for (auto &row : g_kept) {
    if (row.objectType == EVERY || row.objectType == objectType) {
      std::memcpy(record + row.offset, before + row.offset, row.size);
    }
  }
  for (size_t text : texts) {
    if (input.byte() % 4 == 3) {
      changeText(input, record + text);
    }
  }
}

// Other lengths of lists, and other rates.
static void changeState(FuzzInput &input, SIM_CONTROLLER *sim) {
  SIM_ADAPTER &adapter = sim->adapter;
  adapter.record.SupportedRAIDLevels ^= static_cast<UINT32>(input.number(4));
  // Without descriptors there may be levels all the same.
  adapter.levelCount =
      input.byte() % 2 == 0 ? static_cast<UINT32>(__builtin_popcount(adapter.record.SupportedRAIDLevels)) : 0;
  adapter.record.Rates[0].EditableValue ^= static_cast<UINT8>(input.byte() << RAID_RATE_VALUE_SHIFT);
  for (UINT32 i = 0; i < sim->disks.count; ++i) {
    sim->disks.items[i].record.VDCount ^= static_cast<UINT8>(input.byte() % SIM_DISK_VDS);
  }
  for (UINT32 i = 0; i < sim->virtualDisks.count; ++i) {
    sim->virtualDisks.items[i].record.PDCount ^= input.byte();
  }
}

// None, or cut, stretched by less than a record, or empty.
static void changeSize(FuzzInput &input, RAID_ANSWER *answer) {
  static const SIM_FAULT_KIND kinds[] = {SIM_FAULT_NO_DATA, SIM_FAULT_NULL_DATA, SIM_FAULT_SIZE, SIM_FAULT_EXTRA};
  uint8_t choice = input.byte();
  if (choice == 5) {
    answer->dataSize = 0;
  } else if (choice >= 1 && choice <= 4) {
    SIM_FAULT fault = {kinds[choice - 1], EVERY, EVERY, 1, true, EFI_SUCCESS, static_cast<UINT32>(input.number(4))};
    UINT32 most = fault.kind == SIM_FAULT_SIZE ? answer->dataSize : RAID_RECORD_SIZE - 1;
    fault.bytes = fault.kind == SIM_FAULT_NULL_DATA ? fault.bytes : 1 + fault.bytes % most;
    simShape(answer, &fault);
  }
}

static RAID_ANSWER makeRecords(FuzzInput &input, SIM_CONTROLLER *sim, UINT32 objectType) {
  RAID_ANSWER answer = {};
  changeState(input, sim);
  // The first object several times, or all once.
  std::vector<UINT32> ids(input.byte() % 40, objectType == RAID_OBJECT_ADAPTER ? sim->adapter.record.ObjectID : 1001);
  simAnswerRecords(sim, objectType, ids.data(), static_cast<UINT32>(ids.size()), &answer);
  for (UINT32 i = 0; i < answer.recordCount; ++i) {
    changeRecord(input, objectType, answer.records + i * RAID_RECORD_SIZE);
  }
  if (answer.data != nullptr) {
    changeSize(input, &answer);
  }
  return answer;
}

static RAID_ANSWER makeKeyId(FuzzInput &input) {
  RAID_ANSWER answer = {};
  answer.isText = true;
  answer.dataSize = static_cast<UINT32>(input.number(2));
  if (answer.dataSize % 8 != 7) {
    std::string text = "key" + std::string(answer.dataSize % 900, static_cast<char>(1 + input.byte() % 255));
    answer.dataSize = static_cast<UINT32>(text.size() + 1);
    answer.data = fuzzWorld().firmware.poolText(text);
  }
  return answer;
}

// Mostly success; also warnings, named and nameless failures.
static EFI_STATUS makeStatus(FuzzInput &input) {
  static const EFI_STATUS statuses[] = {EFI_DEVICE_ERROR,           EFI_NOT_FOUND, EFI_OUT_OF_RESOURCES, 1, 4,
                                        EFI_ERROR_BIT | 0x7FFFFFFF, 0x12345678};
  uint8_t choice = input.byte();
  return choice % 16 < 9 ? EFI_SUCCESS : statuses[choice % 16 - 9];
}

// --- The controller ---

static bool isReadable(const void *memory, size_t size) {
  return memory == nullptr || __asan_region_is_poisoned(const_cast<void *>(memory), size) == nullptr;
}

// What the driver sends is whole.
static void judgeCommand(const RAID_CMD_BLOCK *block, const RAID_CMD_RESULT *result) {
  size_t keys = block->Command == RAID_COMMAND_REKEY ? 2 : block->Command == RAID_COMMAND_LOCK ? 1 : 0;
  mustHold(block->Revision <= RAID_BLOCK_REVISION_KEY && block->Reserved == 0, "command block");
  mustHold((block->ObjectIds != nullptr) == (block->ObjectIdCount != 0), "ids of a command");
  mustHold(result->Data == nullptr && result->DataSize == 0, "result not cleared");
  mustHold(isReadable(block->ObjectIds, block->ObjectIdCount * sizeof(UINT32)), "ids are short");
  mustHold(isReadable(block->ObjectData, keys == 0 ? RAID_RECORD_SIZE : keys * sizeof(RAID_KEY_RECORD)), "short data");
}

// Commands change nothing here; any of them may be answered with records.
static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  judgeCommand(block, result);
  SIM_CONTROLLER *sim = simFromProtocol(mgmt);
  sim->books.justReturned.count = 0; // memory may come again
  FuzzInput none(nullptr, 0);
  FuzzInput &input = g_input == nullptr ? none : *g_input;
  EFI_STATUS status = makeStatus(input);
  // Who does not look at the status must find what there is to give back, or nothing.
  bool findsDisk = block->Command == RAID_COMMAND_GET && block->Revision == mgmt->Revision;
  if (EFI_ERROR(status) && !g_starting && !findsDisk) {
    result->Data = reinterpret_cast<void *>(1);
    result->DataSize = 0xFFFFFFFF;
    return status;
  }
  RAID_ANSWER answer = {};
  if (block->Command == RAID_COMMAND_GET_KEY_ID) {
    answer = makeKeyId(input);
  } else if (block->Command == RAID_COMMAND_GET || input.byte() % 4 == 3) {
    answer = makeRecords(input, sim, block->ObjectType);
  }
  result->Data = answer.data;
  result->DataSize = answer.dataSize;
  if (answer.data != nullptr) {
    *arrayAppend(sim->books.out) = answer;
    sim->books.handedOut += 1;
  }
  return status;
}

// --- Operations ---

// The driver leaves its controller and takes it again; afterwards it serves it in any case.
static void reconnect(World &world) {
  static const EFI_GUID mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
  mustHold(world.disconnect() == EFI_SUCCESS, "disconnect");
  g_starting = true;
  world.connect();
  g_input = nullptr;
  if (world.xyl == nullptr) {
    // A declined model stays held.
    world.services->CloseProtocol(world.controller, &mgmtGuid, world.driver, world.controller);
    world.connect();
  }
  g_starting = false;
  mustHold(world.xyl != nullptr, "not served again");
}

// The record with the name stays out.
static void askName(World &world) {
  CHAR16 *name = nullptr;
  EFI_STATUS status = g_componentName2.GetControllerName(&g_componentName2, world.controller, nullptr, "en", &name);
  mustHold(status == EFI_SUCCESS || status == EFI_UNSUPPORTED, "status of the name query");
  mustHold(world.sim->books.out.count <= (EFI_ERROR(status) ? 0U : 1U), "answers of the name query");
  if (world.sim->books.out.count != 0) {
    world.sim->protocol.FreeRecords(&world.sim->protocol, world.sim->books.out.items[0].data, 1);
  }
}

static std::string savedDocument(World &world, FuzzInput &input) {
  std::string usual = world.get().text;
  g_input = input.byte() % 2 != 0 ? &input : nullptr;
  std::string document = g_input == nullptr ? usual : world.get().text;
  return document.empty() ? usual : document;
}

static void operate(World &world, FuzzInput &input) {
  uint8_t operation = input.byte() % 7;
  std::string saved = operation < 2 ? "" : savedDocument(world, input);
  g_input = &input;
  switch (operation) {
  case 0:
    return reconnect(world);
  case 1:
    return askName(world);
  case 2:
    fuzzVerify(saved);
    return;
  case 3:
    fuzzSet(RESTORE_STOPPING, saved, "");
    return;
  case 4:
    fuzzSet(RESTORE_REBUILD, saved, "");
    return;
  case 5:
    fuzzSet(NORMAL, saved, "");
    return;
  default:
    fuzzSet(NORMAL, saved, CHANGES);
  }
}

FUZZ_TARGET(controller_answers) {
  World &world = fuzzWorld();
  RAID_MGMT_PROTOCOL usual = world.sim->protocol;
  world.sim->protocol.Execute = execute;
  world.sim->protocol.Revision = 3; // only of the commands that find a disk
  operate(world, input);
  world.sim->protocol = usual;
  g_input = nullptr;
  resetFuzzWorld();
}
