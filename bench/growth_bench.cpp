// How time grows with the elements of every kind: in what a controller answers, and in a document.
#include <benchmark/benchmark.h>

#include <functional>

#include "bench/benches.h"

static constexpr UINT32 COUNTS[] = {6250, 12500, 25000, 50000, 100000};

// A controller with that many of a kind, and otherwise as little as can be.
struct ANSWERS {
  RAID_ADAPTER_RECORD adapter = {};
  std::vector<RAID_ENCLOSURE_RECORD> enclosures;
  std::vector<RAID_PD_RECORD> disks;
  std::vector<RAID_VD_RECORD> volumes;
  std::vector<UINT32> ids;
};

struct CONTROLLER_ROW {
  const char *name;
  void (*fill)(ANSWERS &answers, UINT32 count);
};

static void addEnclosures(ANSWERS &answers, UINT32 count) {
  for (UINT32 i = 0; i < count; ++i) {
    RAID_ENCLOSURE_RECORD record = {};
    record.ObjectType = RAID_OBJECT_ENCLOSURE;
    record.ObjectID = record.DeviceID = i;
    answers.enclosures.push_back(record);
  }
}

// The disks of an enclosure lie apart from each other in the answer.
static void addDisks(ANSWERS &answers, UINT32 count, UINT32 enclosures) {
  for (UINT32 i = 0; i < count; ++i) {
    RAID_PD_RECORD record = {};
    record.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
    record.ObjectID = record.DeviceID = i;
    record.EnclosureDeviceID = enclosures == 0 ? RAID_ENCLOSURE_NONE : i % enclosures;
    answers.disks.push_back(record);
  }
}

static void addVolumes(ANSWERS &answers, UINT32 count, UINT32 members) {
  answers.ids.resize(members);
  for (UINT32 i = 0; i < count; ++i) {
    RAID_VD_RECORD record = {};
    record.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    record.ObjectID = record.TargetID = i;
    record.RAIDLevel = record.RAIDLevelDesc.RAIDLevel = RAID_LEVEL_0;
    record.AccessPolicy = RAID_ACCESS_POLICY_READ_WRITE;
    record.PDCount = members;
    record.PDs = answers.ids.data();
    answers.volumes.push_back(record);
  }
}

static const CONTROLLER_ROW g_controllers[] = {
    {"enclosures", addEnclosures},
    {"disks of no enclosure", [](ANSWERS &answers, UINT32 count) { addDisks(answers, count, 0); }},
    {"disks, 20 an enclosure",
     [](ANSWERS &answers, UINT32 count) {
       addEnclosures(answers, count / 20);
       addDisks(answers, count, count / 20);
     }},
    {"disks, one an enclosure",
     [](ANSWERS &answers, UINT32 count) {
       addEnclosures(answers, count);
       addDisks(answers, count, count);
     }},
    {"virtual disks", [](ANSWERS &answers, UINT32 count) { addVolumes(answers, count, 0); }},
    {"disks of a virtual disk", [](ANSWERS &answers, UINT32 count) { addVolumes(answers, 1, count); }},
};

// A document for Verify: what stands around the elements, and one of them.
struct DOCUMENT_ROW {
  const char *name;
  const char *before;
  const char *element;
  const char *behind;
};

#define RECORD_METHOD(object) "<Method name='Change'><OID>1</OID><Object>" object "</Object></Method>"

static const DOCUMENT_ROW g_documents[] = {
    {"methods", "", "<Method name='Get'/>", "<Adapter/>"},
    {"methods with a record", "", RECORD_METHOD("<PD><Name>d</Name><VD>1</VD></PD>"), "<Adapter/>"},
    {"methods with a key", "", RECORD_METHOD("<Key><KeyID>k</KeyID><Passphrase>YQ==</Passphrase></Key>"), "<Adapter/>"},
    {"ids of a method", "<Method name='Get'>", "<OID>1</OID>", "</Method><Adapter/>"},
    {"objects of a method", "<Method name='Get'>", "<Object><PD/></Object>", "</Method><Adapter/>"},
    {"key ids", "<Adapter>", "<Keyid>k</Keyid>", "</Adapter>"},
    {"rates", "<Adapter>", "<Rate><Name>r</Name></Rate>", "</Adapter>"},
    {"names", "<Adapter>", "<Name>n</Name>", "</Adapter>"},
    {"items of a mask", "<Adapter><Attributes>", "<Attrib>Bootable</Attrib>", "</Attributes></Adapter>"},
    {"level descriptors", "<Adapter><RAIDLevelParams>", "<RAIDLevelDesc/>", "</RAIDLevelParams></Adapter>"},
    {"unknown elements", "<Adapter>", "<Unknown>u</Unknown>", "</Adapter>"},
    {"elements in each other", "<Adapter>", "<Unknown>", ""}, // closed below
};

static std::string documentOf(const DOCUMENT_ROW &row, UINT32 count) {
  std::string text = std::string("<raidData>") + row.before;
  for (UINT32 i = 0; i < count; ++i) {
    text += row.element;
  }
  if (*row.behind == 0) {
    for (UINT32 i = 0; i < count; ++i) {
      text += "</Unknown>";
    }
    text += "</Adapter>";
  }
  return text + row.behind + "</raidData>";
}

// --- The controller ---

static ANSWERS *g_answers;

template <class T> static void answerWith(RAID_CMD_RESULT *result, T *records, size_t count) {
  result->Data = count == 0 ? nullptr : records;
  result->DataSize = static_cast<UINT32>(count * RAID_RECORD_SIZE);
}

static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (block->Command != RAID_COMMAND_GET) {
    return EFI_NOT_FOUND;
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
    answerWith(result, g_answers->volumes.data(), g_answers->volumes.size());
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

// --- Runs ---

// The first run only fetches the memory.
static void measure(benchmark::State &state, const std::function<void()> &run) {
  run();
  for (auto _ : state) {
    double start = cpuSeconds();
    run();
    state.SetIterationTime(cpuSeconds() - start);
  }
}

static void get(benchmark::State &state, const CONTROLLER_ROW &row, UINT32 count) {
  ANSWERS answers;
  row.fill(answers, count);
  g_answers = &answers;
  MeasuredWorld world(g_protocol);
  measure(state, [&] { world.get(); });
}

static void verifyInventory(benchmark::State &state, const CONTROLLER_ROW &row, UINT32 count) {
  ANSWERS answers;
  row.fill(answers, count);
  g_answers = &answers;
  MeasuredWorld world(g_protocol);
  std::string saved = world.document();
  measure(state, [&] { world.verify(saved); });
}

static void verifyDocument(benchmark::State &state, const DOCUMENT_ROW &row, UINT32 count) {
  ANSWERS answers;
  g_answers = &answers;
  MeasuredWorld world(g_protocol);
  std::string saved = documentOf(row, count);
  measure(state, [&] { world.verify(saved); });
}

template <class ROW>
static void add(const std::string &operation, void (*bench)(benchmark::State &, const ROW &, UINT32), const ROW &row) {
  for (UINT32 count : COUNTS) {
    std::string name = "elements/" + operation + ", " + row.name + "/" + std::to_string(count) + "/ours";
    benchmark::RegisterBenchmark(name.c_str(), bench, row, count)->UseManualTime()->Iterations(1)->Repetitions(3);
  }
}

void addGrowthBenches() {
  for (const CONTROLLER_ROW &row : g_controllers) {
    add("get", get, row);
    add("verify", verifyInventory, row);
  }
  for (const DOCUMENT_ROW &row : g_documents) {
    add("verify", verifyDocument, row);
  }
}
