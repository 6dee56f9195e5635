// Every operation with documents of every kind, while each allocation and each command of the controller fails: one,
// all from one on, and where it is short any two of them. One set of rules judges all runs.
#include "providers/sim_controller/hand.h"
#include "tests/driver/live/request_text.h"
#include "tests/sweeps/rules.h"

using namespace xyl;

using Statuses = std::vector<EFI_STATUS>;

enum class Operation { get, verify, set };

struct Row {
  const char *name;
  const char *preset = "empty";
  void (*prepare)(sim::Controller *sim) = nullptr;
  Operation operation = Operation::set;
  const char *options = normal;
  std::string saved = {};                    // empty: none
  std::string request = {};                  // empty: none
  EFI_STATUS status = EFI_SUCCESS;           // when nothing fails
  Statuses without = {EFI_OUT_OF_RESOURCES}; // what else there may be without memory,
  Statuses refused = {EFI_DEVICE_ERROR};     // and when commands fail with EFI_DEVICE_ERROR; empty: none are sent
  bool pairs = true;                         // short enough for two failures
};

// --- Documents, as short as they can be ---

static std::string adapter(const std::string &identity, const std::string &inside) {
  return "<raidData><Adapter><ObjectType>Adapter</ObjectType><PCIID>" + identity + "</PCIID>" + inside +
         "</Adapter></raidData>";
}

static const char *const raidAdapter = "<a>4E54</a><a>0091</a><a>4E54</a><a>2016</a><a/><a/>";
static const char *const hostAdapter = "<a>4E54</a><a>0061</a><a>4E54</a><a>1007</a><a/><a/>";
static const std::string settings =
    "<CopyBackMode>Off</CopyBackMode><Rate><Name>Rebuild</Name><Editable>true</Editable><Value>9</Value></Rate>";

// Disks of the presets direct and sas: mirrored ones, and the hot spare of direct.
static const std::string solidDisks =
    "<PD><ObjectID>1001</ObjectID><FQDD>disk-00.adapter-0</FQDD><Protocol>SATA</Protocol>"
    "<Attributes><a>SSD</a></Attributes></PD>"
    "<PD><ObjectID>1002</ObjectID><FQDD>disk-01.adapter-0</FQDD><Protocol>SATA</Protocol><Slot>1</Slot>"
    "<Attributes><a>SSD</a></Attributes></PD>"
    "<PD><ObjectID>1006</ObjectID><Protocol>SAS</Protocol><Port>1</Port><Slot>5</Slot><Hotspare>Global</Hotspare></PD>";
static const std::string shelfDisks = "<PD><ObjectID>1003</ObjectID><FQDD>disk-02.enclosure-0.adapter-0</FQDD></PD>"
                                      "<PD><ObjectID>1004</ObjectID><FQDD>disk-03.enclosure-0.adapter-0</FQDD></PD>";
static const std::string mirror = "<VD><Name>Boot</Name><RAIDLevel>RAID 1</RAIDLevel><PD>1001</PD><PD>1002</PD></VD>";

static const std::string createName = createVirtualDisk("RAID 1", reference(0), {1003, 1004});
static const std::string createOne = createVirtualDisk("RAID 0", reference(0), {1003});
static const std::string dedicate = dedicateSpare(1004, {reference(0)});
static const std::string renameText = method("Change", "Virtual Disk", {1}, "<VD><Name>New</Name></VD>");
static const std::string deleteOne = method("Delete", "Virtual Disk", {1});

// Every kind of text and list that a configuration owns, and passphrases wherever one may stand: the third command is
// refused, the fourth never reached, and the other methods are dropped.
static const std::string recordName = "<Name>n</Name><FQDD>f</FQDD>";
static const std::string fullDisk = "<PD>" + recordName + "<VD>1</VD><VD>2</VD></PD>";
static const std::string fullEnclosure = "<Enclosure>" + recordName + fullDisk + fullDisk + "</Enclosure>";
static const std::string levels = "<SupportedRAIDLevels><RaidLevel>RAID 0</RaidLevel></SupportedRAIDLevels>";
static const std::string fullAdapter = "<Adapter>" + recordName + "<FirmwareVersion>1</FirmwareVersion>" + levels +
                                       "<RAIDLevelParams/>" + levels + fullEnclosure + fullDisk + "<VD>" + recordName +
                                       "<PD>1</PD><PD>2</PD></VD><VD/><Keyid>k</Keyid></Adapter>";
static const std::string pass = element("Passphrase", PASSPHRASE_BASE64);
static const std::string oldPass = element("OldPassphrase", PASSPHRASE_BASE64);
static const std::string newPass = element("NewPassphrase", PASSPHRASE_BASE64);
static const std::string key = element("Key", "<KeyID>k</KeyID>" + pass);

static std::string withKey(const char *name, const std::string &children, const Ids &ids = {}) {
  return method(name, "Adapter", ids, element("Key", children));
}

static const std::string fullRequest = element(
    "raidData",
    method("Lock", "Adapter", {}, key) + withKey("Rekey", oldPass + newPass) +
        withKey("Lock", pass + "<Mode>x</Mode>") + withKey("Lock", pass + oldPass) + withKey("Rekey", oldPass + pass) +
        withKey("Lock", element("Passphrase", PASSPHRASE_BASE64 PASSPHRASE_BASE64 PASSPHRASE_BASE64)) +
        withKey("lock", pass) + "<Other>" + key + "</Other>" +
        method("Lock", "Adapter", {}, key + "</Object><Object>" + fullDisk) + withKey("Lock", pass + pass, {1, 2}) +
        method("Change", "Adapter", {}, fullAdapter) + method("Change", "Enclosure", {}, fullEnclosure) + fullAdapter);

// --- Controllers ---

static void giveKey(sim::Controller *sim) {
  sim->key = {};
  sim->key.present = true;
  sim->key.keyId[0] = 'k';
  sim->key.mode = RAID_KEY_MODE_LKM;
}

static void leaveADisk(sim::Controller *sim) {
  sim->virtualDisks.count = 0;
  sim->disks.count = 1;
  sim->disks.items[0].Name[0] = 0; // none
}

static void makeForeign(sim::Controller *sim) {
  const UINT32 ids[] = {1003, 1004};
  EXPECT_EQ(name(sim::makeForeign(sim, /* RAID 0 */ 2, ids, 2)), name(EFI_SUCCESS));
}

// --- Rows ---

static const std::string raid = adapter(raidAdapter, settings);
static const std::string boot = adapter(raidAdapter, settings + solidDisks + mirror);
static const std::string shelf = adapter(hostAdapter, shelfDisks);
static const std::string unreadable = adapter(raidAdapter, "<VD><RAIDLevel>RAID 99</RAIDLevel></VD>");
static const std::string changeSettingsName = method("Change", "Adapter", {}, element("Adapter", settings));
static const std::string keys =
    method("Lock", "Adapter", {}, key) + withKey("Rekey", oldPass + newPass) + method("SecureErase", "Adapter");
static const std::string reads = method("Get", "Physical Disk") + method("GetKeyID", "Adapter");

// A disk that cannot be looked up is not found.
static const Statuses lookup = {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND};
static const Statuses lookupRefused = {EFI_DEVICE_ERROR, EFI_NOT_FOUND};
// A method that there is no memory for is left out, and what needs it then fails, or what it fails for succeeds.
static const Statuses leftOut = {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND, EFI_SUCCESS};
static const Statuses parsedValue = {EFI_OUT_OF_RESOURCES, EFI_ABORTED};
static const Statuses textValue = {EFI_OUT_OF_RESOURCES, EFI_DEVICE_ERROR};

// clang-format off
static const Row g_rows[] = {
    {.name = "inventory", .preset = "sas", .prepare = giveKey, .operation = Operation::get, .without = textValue, .pairs = false},
    {.name = "inventory, no enclosures", .preset = "direct", .prepare = leaveADisk, .operation = Operation::get, .without = textValue, .pairs = false},
    {.name = "verify", .operation = Operation::verify, .saved = raid, .without = parsedValue},
    {.name = "verify, no document", .operation = Operation::verify, .saved = "<raidData><Adapter>", .status = EFI_ABORTED, .without = {}, .refused = {}},
    {.name = "part replaced", .saved = raid},
    {.name = "restore, preserving", .options = restoreOptions, .saved = raid},
    {.name = "restore, preserving disks", .preset = "direct", .options = restoreOptions, .saved = boot, .pairs = false},
    {.name = "rebuild of a virtual disk without disks", .preset = "direct", .options = restoreRebuild, .saved = adapter(raidAdapter, "<VD/>"), .pairs = false},
    {.name = "restore of a key's controller", .prepare = giveKey, .options = restoreRebuild, .saved = raid},
    {.name = "rebuild", .preset = "direct", .options = restoreRebuild, .saved = boot, .pairs = false},
    {.name = "rebuild, stopping", .preset = "direct", .options = stopping, .saved = boot, .pairs = false},
    {.name = "rebuild over foreign disks", .preset = "sas", .prepare = makeForeign, .options = stopping, .saved = shelf},
    {.name = "another adapter", .options = restoreOptions, .saved = shelf, .status = EFI_UNSUPPORTED},
    {.name = "create", .preset = "sas", .request = element("raidData", createName)},
    {.name = "create and dedicate", .preset = "sas", .request = element("raidData", createOne + dedicate), .without = leftOut, .refused = lookupRefused},
    {.name = "translated", .preset = "sas", .saved = shelf, .request = element("raidData", createOne), .without = lookup, .refused = lookupRefused},
    {.name = "virtual disks", .preset = "sas", .request = element("raidData", renameText + deleteOne)},
    {.name = "reset", .preset = "direct", .request = element("raidData", method("Delete", "Adapter"))},
    {.name = "settings", .request = element("raidData", changeSettingsName)},
    {.name = "key", .request = element("raidData", keys), .without = lookup},
    {.name = "all that a document may hold", .saved = element("raidData", fullAdapter), .request = fullRequest, .status = EFI_ACCESS_DENIED, .without = leftOut, .pairs = false},
    {.name = "import", .preset = "sas", .prepare = makeForeign, .request = element("raidData", method("Import", "Adapter"))},
    {.name = "clear", .preset = "sas", .prepare = makeForeign, .request = element("raidData", method("Clear", "Adapter"))},
    {.name = "answers of a request", .preset = "sas", .request = element("raidData", reads), .status = EFI_NOT_FOUND, .without = leftOut},
    {.name = "unknown methods", .request = element("raidData", method("Melt", "Adapter")), .refused = {}},
    {.name = "options do not parse", .options = "<RunMode><Mode>", .saved = raid, .status = EFI_INVALID_PARAMETER, .refused = {}},
    {.name = "saved does not parse", .saved = "<raidData>", .status = EFI_INVALID_PARAMETER, .refused = {}},
    {.name = "saved cannot be read", .saved = unreadable, .status = EFI_NOT_FOUND, .refused = {}},
    {.name = "request does not parse", .saved = raid, .request = "<raidData><Method name=\"Get\"", .status = EFI_INVALID_PARAMETER, .refused = {}},
    {.name = "request has no methods", .request = "<raidData/>", .status = EFI_UNSUPPORTED, .refused = {}},
};
// clang-format on

// --- Runs ---

static OperationAnswer perform(World &world, const Row &row) {
  switch (row.operation) {
  case Operation::get:
    return world.get();
  case Operation::verify:
    return world.verify(row.saved);
  default:
    return world.set({row.options, row.saved.empty() ? nullptr : row.saved.c_str(),
                      row.request.empty() ? nullptr : row.request.c_str()});
  }
}

static const char *rootOf(const Row &row) {
  return row.operation == Operation::get ? "xylComponent" : (row.request.empty() ? "RaidRestore" : "RaidConfig");
}

static bool isAllowed(const Row &row, EFI_STATUS status, bool lacksMemory, bool refused, bool shaped) {
  auto in = [&](const Statuses &statuses) {
    return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
  };
  return status == row.status || (shaped && status == EFI_NOT_FOUND) || (lacksMemory && in(row.without)) ||
         (refused && in(row.refused));
}

// One run from the same state. The rules do not ask what failed, only what kind of thing.
static EFI_STATUS runJudged(World &world, const Row &row, const KeptState &start) {
  start.putBack(world.sim);
  uint64_t failedBefore = world.firmware.pool().failedAllocations;
  UINT64 first = sim::commandCount(world.sim);
  OperationAnswer answer = perform(world, row);
  bool lacksMemory = world.firmware.pool().failedAllocations != failedBefore || failedElements() != 0;
  bool shaped = world.sim->faultHits != 0 && world.sim->faults[0].kind != sim::faultStatus;
  bool refused = world.sim->faultHits != 0 && !shaped;
  EXPECT_TRUE(isAllowed(row, answer.status, lacksMemory, refused, shaped)) << name(answer.status);
  std::vector<UINT32> made = changesMade(world.sim, first);
  std::vector<UINT32> claimed = changesClaimed(answer.text);
  if (answer.hasText) {
    EXPECT_TRUE(isWholeDocument(answer.text, rootOf(row))) << answer.text;
    EXPECT_TRUE(lacksMemory ? isPartOf(claimed, made) : claimed == made) << answer.text;
  }
  if (!anythingDone(world.sim, first)) {
    EXPECT_TRUE(start.isIn(world.sim)) << "changed, although no command succeeded";
  }
  return answer.status;
}

static void PrintTo(const Row &row, std::ostream *out) {
  *out << row.name;
}

class Sweeps : public testing::TestWithParam<Row> {};

TEST_P(Sweeps, EveryRunIsJudgedAlike) {
  const Row &row = GetParam();
  std::unique_ptr<KeptState> start;
  Sweep sweep;
  sweep.world = {.preset = row.preset, .debugLog = false};
  sweep.keepsWorld = true;
  sweep.wanted = row.status;
  sweep.prepare = [&](World &world) {
    if (row.prepare != nullptr) {
      row.prepare(world.sim);
    }
    start = std::make_unique<KeptState>(world.sim);
  };
  sweep.operation = [&](World &world) { return runJudged(world, row, *start); };
  sweepAllocations(sweep);
  sweepElements(sweep);
  if (!row.refused.empty()) {
    sweepCommands(sweep);
    sweepAnswers(sweep);
  }
  if (row.pairs) {
    sweepPairs(sweep);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Sweeps, testing::ValuesIn(g_rows), [](const testing::TestParamInfo<Row> &row) {
  std::string name;
  for (const char *letter = row.param.name; *letter != 0; ++letter) {
    name += std::isalpha(*letter) ? *letter : '_';
  }
  return name;
});
