#include "fuzz/fake_controller.h"

#include <cstring>

#include "controller/controller.h"

static const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;
static const EFI_GUID g_alternateGuid = RAID_MGMT_ALT_PROTOCOL_GUID;

static FAKE_CONTROLLER *g_fake;

// --- Records ---

// Where the text pointers of a record stand.
static std::vector<size_t> textOffsets(UINT32 objectType) {
  std::vector<size_t> offsets = {offsetof(RAID_RECORD_HEADER, Name), offsetof(RAID_RECORD_HEADER, FQDD)};
  if (objectType == RAID_OBJECT_ADAPTER) {
    offsets.push_back(offsetof(RAID_ADAPTER_RECORD, FirmwareVersion));
    for (size_t i = 0; i < RAID_RATE_COUNT; ++i) {
      offsets.push_back(offsetof(RAID_ADAPTER_RECORD, Rates) + i * sizeof(RAID_RATE));
    }
  }
  return offsets;
}

// Where the pointer to the record's list stands, and the bytes that the list must have.
struct LIST_PLACE {
  size_t offset; // 0: the record has no list
  size_t bytes;
};

static LIST_PLACE listPlace(UINT32 objectType, const uint8_t *record) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER: {
    UINT32 levels = 0;
    std::memcpy(&levels, record + offsetof(RAID_ADAPTER_RECORD, SupportedRAIDLevels), sizeof levels);
    size_t count = static_cast<size_t>(__builtin_popcount(levels));
    return {offsetof(RAID_ADAPTER_RECORD, RAIDLevelParams), count * sizeof(RAID_LEVEL_PARAMS)};
  }
  case RAID_OBJECT_PHYSICAL_DISK:
    return {offsetof(RAID_PD_RECORD, VDs), record[offsetof(RAID_PD_RECORD, VDCount)] * sizeof(UINT32)};
  case RAID_OBJECT_VIRTUAL_DISK: {
    UINT32 count = 0;
    std::memcpy(&count, record + offsetof(RAID_VD_RECORD, PDCount), sizeof count);
    return {offsetof(RAID_VD_RECORD, PDs), count * sizeof(UINT32)};
  }
  default:
    return {0, 0};
  }
}

static void *pointerAt(const uint8_t *record, size_t offset) {
  void *pointer = nullptr;
  std::memcpy(&pointer, record + offset, sizeof pointer);
  return pointer;
}

// Reads the first few objects of the simulated controller, as the start of what the fake one answers.
static void takeRecords(UINT32 objectType) {
  RAID_MGMT_PROTOCOL *mgmt = &fuzzSim().sim->protocol;
  RAID_CMD_RESULT answer;
  issueCommand(mgmt, RAID_COMMAND_GET, objectType, &answer);
  for (UINT32 i = 0; i < recordCount(&answer) && i < 3; ++i) {
    const uint8_t *record = static_cast<const uint8_t *>(answer.Data) + i * RAID_RECORD_SIZE;
    FAKE_RECORD kept = {};
    std::memcpy(kept.bytes, record, RAID_RECORD_SIZE);
    for (size_t offset : textOffsets(objectType)) {
      auto *text = static_cast<const CHAR16 *>(pointerAt(record, offset));
      kept.texts.push_back(text == nullptr ? u"" : text);
    }
    LIST_PLACE place = listPlace(objectType, record);
    if (place.offset != 0 && pointerAt(record, place.offset) != nullptr) {
      auto *list = static_cast<const uint8_t *>(pointerAt(record, place.offset));
      kept.list.assign(list, list + place.bytes);
    }
    g_fake->records[objectType].push_back(kept);
  }
  giveBack(mgmt, &answer);
}

// --- Answers ---

static uint8_t *newPart(FAKE_ANSWER &answer, size_t size) {
  answer.parts.emplace_back(new uint8_t[size]());
  return answer.parts.back().get();
}

static void *textPart(FAKE_ANSWER &answer, const std::u16string &text) {
  size_t bytes = (text.size() + 1) * sizeof(CHAR16);
  return std::memcpy(newPart(answer, bytes), text.c_str(), bytes);
}

// As kept, null, empty, or of the input's units.
static void *makeText(FuzzInput &input, FAKE_ANSWER &answer, const std::u16string &kept) {
  uint8_t choice = input.byte();
  if (choice == 0) {
    return kept.empty() ? nullptr : textPart(answer, kept);
  }
  if (choice == 1) {
    return nullptr;
  }
  std::u16string text;
  for (unsigned left = choice == 255 ? 700U : choice - 2U; left != 0; --left) {
    uint8_t unit = input.byte();
    text += static_cast<char16_t>(unit < 0xF0 ? unit | (unit == 0 ? 'x' : 0) : unit << 8 | input.byte());
  }
  return textPart(answer, text);
}

// Changes the record's bytes: not at all, here and there, or all of them.
static void changeBytes(FuzzInput &input, uint8_t *record) {
  uint8_t choice = input.byte();
  if (choice == 255) {
    uint64_t state = input.number(4);
    for (size_t i = 0; i < RAID_RECORD_SIZE; ++i) {
      state = state * 6364136223846793005U + 1442695040888963407U;
      record[i] = static_cast<uint8_t>(state >> 56);
    }
  } else if (choice == 254) {
    std::memset(record, input.byte(), RAID_RECORD_SIZE);
  } else {
    for (; choice != 0; --choice) {
      size_t at = input.number(2) % RAID_RECORD_SIZE;
      record[at] = input.byte();
    }
  }
}

static void *makeList(FuzzInput &input, FAKE_ANSWER &answer, const std::vector<uint8_t> &kept, size_t bytes) {
  uint8_t choice = input.byte();
  if (choice == 1 || bytes == 0 || (choice == 0 && kept.empty())) {
    return nullptr;
  }
  uint8_t *list = newPart(answer, bytes);
  std::memcpy(list, kept.data(), kept.size() < bytes ? kept.size() : bytes);
  for (size_t i = 0; i < bytes && choice != 0 && !input.atEnd(); ++i) {
    list[i] = input.byte();
  }
  return list;
}

static void makeRecord(FuzzInput &input, FAKE_ANSWER &answer, UINT32 objectType, UINT32 index, uint8_t *record) {
  const std::vector<FAKE_RECORD> &all = g_fake->records[objectType];
  FAKE_RECORD kept = all.empty() ? FAKE_RECORD{} : all[index % all.size()];
  std::memcpy(record, kept.bytes, RAID_RECORD_SIZE);
  changeBytes(input, record);
  std::vector<size_t> offsets = textOffsets(objectType);
  kept.texts.resize(offsets.size());
  for (size_t i = 0; i < offsets.size(); ++i) {
    void *text = makeText(input, answer, kept.texts[i]);
    std::memcpy(record + offsets[i], &text, sizeof text);
  }
  LIST_PLACE place = listPlace(objectType, record);
  if (place.offset == 0) {
    return;
  }
  void *list = nullptr;
  if (place.bytes <= 4096) {
    list = makeList(input, answer, kept.list, place.bytes);
  }
  std::memcpy(record + place.offset, &list, sizeof list);
}

// Shapes of an answer, chosen by an input byte; any other one is as usual.
enum SHAPE : uint8_t { SHAPE_NO_DATA = 1, SHAPE_NULL_DATA, SHAPE_SHORT, SHAPE_EXTRA, SHAPE_EMPTY, SHAPE_COUNT };

static void putAnswer(RAID_CMD_RESULT *result, FAKE_ANSWER answer, uint8_t *data) {
  result->Data = data;
  result->DataSize = answer.dataSize;
  g_fake->out.emplace(data, std::move(answer));
}

static void answerRecords(FuzzInput &input, UINT32 objectType, RAID_CMD_RESULT *result) {
  uint8_t shape = input.byte();
  size_t kept = g_fake->records[objectType].size();
  UINT32 count = static_cast<UINT32>(shape == SHAPE_COUNT ? input.byte() % 40 : kept);
  UINT32 extra = 0;
  if (shape == SHAPE_NO_DATA) {
    return;
  }
  if (shape == SHAPE_NULL_DATA) {
    result->DataSize = static_cast<UINT32>(input.number(4));
    return;
  }
  if (shape == SHAPE_SHORT || shape == SHAPE_EMPTY) {
    count = 0;
  }
  if (shape == SHAPE_SHORT || shape == SHAPE_EXTRA) {
    extra = static_cast<UINT32>(1 + input.number(2) % (RAID_RECORD_SIZE - 1));
  }
  FAKE_ANSWER answer = {};
  answer.dataSize = count * RAID_RECORD_SIZE + extra;
  answer.singleFits = count == 0 || objectType == RAID_OBJECT_ADAPTER;
  uint8_t *data = newPart(answer, answer.dataSize == 0 ? 1 : answer.dataSize);
  for (UINT32 i = 0; i < count; ++i) {
    makeRecord(input, answer, objectType, i, data + i * RAID_RECORD_SIZE);
  }
  putAnswer(result, std::move(answer), data);
}

static void answerKeyId(FuzzInput &input, RAID_CMD_RESULT *result) {
  uint8_t shape = input.byte();
  if (shape == SHAPE_NO_DATA) {
    return;
  }
  if (shape == SHAPE_NULL_DATA) {
    result->DataSize = static_cast<UINT32>(input.number(4));
    return;
  }
  std::string text = "key";
  for (unsigned left = input.byte() * (shape == SHAPE_COUNT ? 5U : 1U); left != 0; --left) {
    uint8_t character = input.byte();
    text += static_cast<char>(character == 0 ? 'k' : character);
  }
  FAKE_ANSWER answer = {};
  uint8_t *data = newPart(answer, text.size() + 1);
  std::memcpy(data, text.c_str(), text.size() + 1);
  answer.dataSize = static_cast<UINT32>(shape == SHAPE_EXTRA ? input.number(4) : text.size() + 1);
  putAnswer(result, std::move(answer), data);
}

// --- The protocol ---

static void readAll(const void *memory, size_t size) {
  static volatile uint8_t sum;
  for (size_t i = 0; i < size; ++i) {
    sum = static_cast<uint8_t>(sum ^ static_cast<const uint8_t *>(memory)[i]);
  }
}

// What the driver sends is whole.
static void judgeCommand(const RAID_CMD_BLOCK *block, const RAID_CMD_RESULT *result) {
  mustHold(block->Revision <= RAID_BLOCK_REVISION_KEY && block->Reserved == 0, "command block");
  mustHold((block->ObjectIds != nullptr) == (block->ObjectIdCount != 0), "ids of a command");
  mustHold(result->Data == nullptr && result->DataSize == 0, "result not cleared");
  readAll(block->ObjectIds, block->ObjectIdCount * sizeof(UINT32));
  if (block->ObjectData == nullptr) {
    return;
  }
  bool isKey = block->Command == RAID_COMMAND_LOCK || block->Command == RAID_COMMAND_REKEY;
  readAll(block->ObjectData,
          isKey ? sizeof(RAID_KEY_RECORD) * (block->Command == RAID_COMMAND_REKEY ? 2 : 1) : RAID_RECORD_SIZE);
}

// Mostly success; also warnings, named and nameless failures.
static EFI_STATUS makeStatus(FuzzInput &input) {
  static const EFI_STATUS statuses[] = {EFI_DEVICE_ERROR,           EFI_NOT_FOUND, EFI_OUT_OF_RESOURCES, 1, 4,
                                        EFI_ERROR_BIT | 0x7FFFFFFF, 0x12345678};
  uint8_t choice = input.byte();
  return choice % 16 < 9 ? EFI_SUCCESS : statuses[choice % 16 - 9];
}

static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  judgeCommand(block, result);
  FuzzInput none(nullptr, 0);
  FuzzInput &input = g_fake->input == nullptr ? none : *g_fake->input;
  EFI_STATUS status = makeStatus(input);
  // Who does not look at the status must find what there is to give back, or nothing.
  bool findsDisk = block->Command == RAID_COMMAND_GET && block->Revision == g_fake->protocol.Revision;
  bool statusCounts = !g_fake->starting && !findsDisk;
  if (EFI_ERROR(status) && statusCounts) {
    result->Data = reinterpret_cast<void *>(1);
    result->DataSize = 0xFFFFFFFF;
  } else if (block->Command == RAID_COMMAND_GET_KEY_ID) {
    answerKeyId(input, result);
  } else if (block->Command == RAID_COMMAND_GET || input.byte() % 4 == 3) {
    answerRecords(input, block->ObjectType, result);
  }
  return status;
}

static void freeDriverCopy(void *data) {
  EFI_BOOT_SERVICES *services = fuzzFirmware().bootServices();
  mustHold(fuzzFirmware().allocated(data), "given back what is no answer");
  auto *record = static_cast<RAID_PD_RECORD *>(data);
  mustHold(record->VDs == nullptr, "a disk copy holds a list");
  for (CHAR16 *text : {record->Name, record->FQDD}) {
    if (text != nullptr) {
      mustHold(services->FreePool(text) == EFI_SUCCESS, "a text of a disk copy");
    }
  }
  services->FreePool(data);
}

static EFI_STATUS EFIAPI freeRecords(RAID_MGMT_PROTOCOL *, void *data, UINT32 count) {
  auto found = g_fake->out.find(data);
  if (found == g_fake->out.end()) {
    mustHold(count == 1, "a disk copy with another count");
    freeDriverCopy(data);
    return EFI_SUCCESS;
  }
  UINT32 wanted = found->second.dataSize >> RAID_RECORD_SHIFT;
  mustHold(count == wanted || (count == 1 && found->second.singleFits), "given back with another count");
  g_fake->out.erase(found);
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI unused(RAID_MGMT_PROTOCOL *) {
  return EFI_UNSUPPORTED;
}

static void startFake() {
  g_fake = new FAKE_CONTROLLER{};
  g_fake->protocol = {execute, unused, freeRecords, /* Revision= */ 3};
  for (UINT32 type :
       {RAID_OBJECT_ADAPTER, RAID_OBJECT_ENCLOSURE, RAID_OBJECT_PHYSICAL_DISK, RAID_OBJECT_VIRTUAL_DISK}) {
    takeRecords(type);
  }
  EFI_BOOT_SERVICES *services = fuzzFirmware().bootServices();
  services->InstallMultipleProtocolInterfaces(&g_fake->handle, &g_mgmtGuid, &g_fake->protocol, &g_alternateGuid,
                                              &g_fake->protocol, static_cast<void *>(nullptr));
  services->ConnectController(g_fake->handle, nullptr, nullptr, /* Recursive= */ 1);
  g_fake->xyl = fuzzTable(g_fake->handle);
  mustHold(g_fake->xyl != nullptr, "fake controller not served");
}

FAKE_CONTROLLER &fakeController() {
  if (g_fake == nullptr) {
    startFake();
  }
  return *g_fake;
}

void judgeFakeController() {
  mustHold(g_fake->out.empty(), "answers did not come back");
}
