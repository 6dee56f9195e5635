// Every operation with documents of every kind, while each allocation and each command of the controller fails: one,
// all from one on, and where it is short any two of them. One set of rules judges all runs.
#include "providers/sim_controller/hand.h"
#include "tests/driver/live/request_text.h"
#include "tests/sweeps/rules.h"

using STATUSES = std::vector<EFI_STATUS>;

enum class OPERATION { get, verify, set };

struct ROW {
  const char *name;
  const char *preset = "empty";
  void (*prepare)(sim::Controller *sim) = nullptr;
  OPERATION operation = OPERATION::set;
  const char *options = NORMAL;
  std::string saved = {};                    // empty: none
  std::string request = {};                  // empty: none
  EFI_STATUS status = EFI_SUCCESS;           // when nothing fails
  STATUSES without = {EFI_OUT_OF_RESOURCES}; // what else there may be without memory,
  STATUSES refused = {EFI_DEVICE_ERROR};     // and when commands fail with EFI_DEVICE_ERROR; empty: none are sent
  bool pairs = true;                         // short enough for two failures
};

// --- Documents, as short as they can be ---

static std::string adapter(const std::string &identity, const std::string &inside) {
  return "<raidData><Adapter><ObjectType>Adapter</ObjectType><PCIID>" + identity + "</PCIID>" + inside +
         "</Adapter></raidData>";
}

static const char *const RAID_ADAPTER = "<a>4E54</a><a>0091</a><a>4E54</a><a>2016</a><a/><a/>";
static const char *const HOST_ADAPTER = "<a>4E54</a><a>0061</a><a>4E54</a><a>1007</a><a/><a/>";
static const std::string SETTINGS =
    "<CopyBackMode>Off</CopyBackMode><Rate><Name>Rebuild</Name><Editable>true</Editable><Value>9</Value></Rate>";

// Disks of the presets direct and sas: mirrored ones, and the hot spare of direct.
static const std::string SOLID_DISKS =
    "<PD><ObjectID>1001</ObjectID><FQDD>disk-00.adapter-0</FQDD><Protocol>SATA</Protocol>"
    "<Attributes><a>SSD</a></Attributes></PD>"
    "<PD><ObjectID>1002</ObjectID><FQDD>disk-01.adapter-0</FQDD><Protocol>SATA</Protocol><Slot>1</Slot>"
    "<Attributes><a>SSD</a></Attributes></PD>"
    "<PD><ObjectID>1006</ObjectID><Protocol>SAS</Protocol><Port>1</Port><Slot>5</Slot><Hotspare>Global</Hotspare></PD>";
static const std::string SHELF_DISKS = "<PD><ObjectID>1003</ObjectID><FQDD>disk-02.enclosure-0.adapter-0</FQDD></PD>"
                                       "<PD><ObjectID>1004</ObjectID><FQDD>disk-03.enclosure-0.adapter-0</FQDD></PD>";
static const std::string MIRROR = "<VD><Name>Boot</Name><RAIDLevel>RAID 1</RAIDLevel><PD>1001</PD><PD>1002</PD></VD>";

static const std::string CREATE = createVirtualDisk("RAID 1", reference(0), {1003, 1004});
static const std::string CREATE_ONE = createVirtualDisk("RAID 0", reference(0), {1003});
static const std::string DEDICATE = dedicateSpare(1004, {reference(0)});
static const std::string RENAME = method("Change", "Virtual Disk", {1}, "<VD><Name>New</Name></VD>");
static const std::string DELETE_ONE = method("Delete", "Virtual Disk", {1});

// Every kind of text and list that a configuration owns, and passphrases wherever one may stand: the third command is
// refused, the fourth never reached, and the other methods are dropped.
static const std::string RECORD = "<Name>n</Name><FQDD>f</FQDD>";
static const std::string FULL_DISK = "<PD>" + RECORD + "<VD>1</VD><VD>2</VD></PD>";
static const std::string FULL_ENCLOSURE = "<Enclosure>" + RECORD + FULL_DISK + FULL_DISK + "</Enclosure>";
static const std::string LEVELS = "<SupportedRAIDLevels><RaidLevel>RAID 0</RaidLevel></SupportedRAIDLevels>";
static const std::string FULL_ADAPTER = "<Adapter>" + RECORD + "<FirmwareVersion>1</FirmwareVersion>" + LEVELS +
                                        "<RAIDLevelParams/>" + LEVELS + FULL_ENCLOSURE + FULL_DISK + "<VD>" + RECORD +
                                        "<PD>1</PD><PD>2</PD></VD><VD/><Keyid>k</Keyid></Adapter>";
static const std::string PASS = element("Passphrase", PASSPHRASE_BASE64);
static const std::string OLD_PASS = element("OldPassphrase", PASSPHRASE_BASE64);
static const std::string NEW_PASS = element("NewPassphrase", PASSPHRASE_BASE64);
static const std::string KEY = element("Key", "<KeyID>k</KeyID>" + PASS);

static std::string withKey(const char *name, const std::string &children, const IDS &ids = {}) {
  return method(name, "Adapter", ids, element("Key", children));
}

static const std::string FULL_REQUEST = element(
    "raidData", method("Lock", "Adapter", {}, KEY) + withKey("Rekey", OLD_PASS + NEW_PASS) +
                    withKey("Lock", PASS + "<Mode>x</Mode>") + withKey("Lock", PASS + OLD_PASS) +
                    withKey("Rekey", OLD_PASS + PASS) +
                    withKey("Lock", element("Passphrase", PASSPHRASE_BASE64 PASSPHRASE_BASE64 PASSPHRASE_BASE64)) +
                    withKey("lock", PASS) + "<Other>" + KEY + "</Other>" +
                    method("Lock", "Adapter", {}, KEY + "</Object><Object>" + FULL_DISK) +
                    withKey("Lock", PASS + PASS, {1, 2}) + method("Change", "Adapter", {}, FULL_ADAPTER) +
                    method("Change", "Enclosure", {}, FULL_ENCLOSURE) + FULL_ADAPTER);

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

static const std::string RAID = adapter(RAID_ADAPTER, SETTINGS);
static const std::string BOOT = adapter(RAID_ADAPTER, SETTINGS + SOLID_DISKS + MIRROR);
static const std::string SHELF = adapter(HOST_ADAPTER, SHELF_DISKS);
static const std::string UNREADABLE = adapter(RAID_ADAPTER, "<VD><RAIDLevel>RAID 99</RAIDLevel></VD>");
static const std::string CHANGE_SETTINGS = method("Change", "Adapter", {}, element("Adapter", SETTINGS));
static const std::string KEYS =
    method("Lock", "Adapter", {}, KEY) + withKey("Rekey", OLD_PASS + NEW_PASS) + method("SecureErase", "Adapter");
static const std::string READS = method("Get", "Physical Disk") + method("GetKeyID", "Adapter");

// A disk that cannot be looked up is not found.
static const STATUSES LOOKUP = {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND};
static const STATUSES LOOKUP_REFUSED = {EFI_DEVICE_ERROR, EFI_NOT_FOUND};
// A method that there is no memory for is left out, and what needs it then fails, or what it fails for succeeds.
static const STATUSES LEFT_OUT = {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND, EFI_SUCCESS};
static const STATUSES PARSED = {EFI_OUT_OF_RESOURCES, EFI_ABORTED};
static const STATUSES TEXT = {EFI_OUT_OF_RESOURCES, EFI_DEVICE_ERROR};

// clang-format off
static const ROW g_rows[] = {
    {.name = "inventory", .preset = "sas", .prepare = giveKey, .operation = OPERATION::get, .without = TEXT, .pairs = false},
    {.name = "inventory, no enclosures", .preset = "direct", .prepare = leaveADisk, .operation = OPERATION::get, .without = TEXT, .pairs = false},
    {.name = "verify", .operation = OPERATION::verify, .saved = RAID, .without = PARSED},
    {.name = "verify, no document", .operation = OPERATION::verify, .saved = "<raidData><Adapter>", .status = EFI_ABORTED, .without = {}, .refused = {}},
    {.name = "part replaced", .saved = RAID},
    {.name = "restore, preserving", .options = RESTORE, .saved = RAID},
    {.name = "restore, preserving disks", .preset = "direct", .options = RESTORE, .saved = BOOT, .pairs = false},
    {.name = "rebuild of a virtual disk without disks", .preset = "direct", .options = RESTORE_REBUILD, .saved = adapter(RAID_ADAPTER, "<VD/>"), .pairs = false},
    {.name = "restore of a key's controller", .prepare = giveKey, .options = RESTORE_REBUILD, .saved = RAID},
    {.name = "rebuild", .preset = "direct", .options = RESTORE_REBUILD, .saved = BOOT, .pairs = false},
    {.name = "rebuild, stopping", .preset = "direct", .options = STOPPING, .saved = BOOT, .pairs = false},
    {.name = "rebuild over foreign disks", .preset = "sas", .prepare = makeForeign, .options = STOPPING, .saved = SHELF},
    {.name = "another adapter", .options = RESTORE, .saved = SHELF, .status = EFI_UNSUPPORTED},
    {.name = "create", .preset = "sas", .request = element("raidData", CREATE)},
    {.name = "create and dedicate", .preset = "sas", .request = element("raidData", CREATE_ONE + DEDICATE), .without = LEFT_OUT, .refused = LOOKUP_REFUSED},
    {.name = "translated", .preset = "sas", .saved = SHELF, .request = element("raidData", CREATE_ONE), .without = LOOKUP, .refused = LOOKUP_REFUSED},
    {.name = "virtual disks", .preset = "sas", .request = element("raidData", RENAME + DELETE_ONE)},
    {.name = "reset", .preset = "direct", .request = element("raidData", method("Delete", "Adapter"))},
    {.name = "settings", .request = element("raidData", CHANGE_SETTINGS)},
    {.name = "key", .request = element("raidData", KEYS), .without = LOOKUP},
    {.name = "all that a document may hold", .saved = element("raidData", FULL_ADAPTER), .request = FULL_REQUEST, .status = EFI_ACCESS_DENIED, .without = LEFT_OUT, .pairs = false},
    {.name = "import", .preset = "sas", .prepare = makeForeign, .request = element("raidData", method("Import", "Adapter"))},
    {.name = "clear", .preset = "sas", .prepare = makeForeign, .request = element("raidData", method("Clear", "Adapter"))},
    {.name = "answers of a request", .preset = "sas", .request = element("raidData", READS), .status = EFI_NOT_FOUND, .without = LEFT_OUT},
    {.name = "unknown methods", .request = element("raidData", method("Melt", "Adapter")), .refused = {}},
    {.name = "options do not parse", .options = "<RunMode><Mode>", .saved = RAID, .status = EFI_INVALID_PARAMETER, .refused = {}},
    {.name = "saved does not parse", .saved = "<raidData>", .status = EFI_INVALID_PARAMETER, .refused = {}},
    {.name = "saved cannot be read", .saved = UNREADABLE, .status = EFI_NOT_FOUND, .refused = {}},
    {.name = "request does not parse", .saved = RAID, .request = "<raidData><Method name=\"Get\"", .status = EFI_INVALID_PARAMETER, .refused = {}},
    {.name = "request has no methods", .request = "<raidData/>", .status = EFI_UNSUPPORTED, .refused = {}},
};
// clang-format on

// --- Runs ---

static ANSWER perform(World &world, const ROW &row) {
  switch (row.operation) {
  case OPERATION::get:
    return world.get();
  case OPERATION::verify:
    return world.verify(row.saved);
  default:
    return world.set({row.options, row.saved.empty() ? nullptr : row.saved.c_str(),
                      row.request.empty() ? nullptr : row.request.c_str()});
  }
}

static const char *rootOf(const ROW &row) {
  return row.operation == OPERATION::get ? "xylComponent" : (row.request.empty() ? "RaidRestore" : "RaidConfig");
}

static bool isAllowed(const ROW &row, EFI_STATUS status, bool lacksMemory, bool refused, bool shaped) {
  auto in = [&](const STATUSES &statuses) {
    return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
  };
  return status == row.status || (shaped && status == EFI_NOT_FOUND) || (lacksMemory && in(row.without)) ||
         (refused && in(row.refused));
}

// One run from the same state. The rules do not ask what failed, only what kind of thing.
static EFI_STATUS runJudged(World &world, const ROW &row, const KEPT_STATE &start) {
  start.putBack(world.sim);
  uint64_t failedBefore = world.firmware.pool().failedAllocations;
  UINT64 first = sim::commandCount(world.sim);
  ANSWER answer = perform(world, row);
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

static void PrintTo(const ROW &row, std::ostream *out) {
  *out << row.name;
}

class Sweeps : public testing::TestWithParam<ROW> {};

TEST_P(Sweeps, EveryRunIsJudgedAlike) {
  const ROW &row = GetParam();
  std::unique_ptr<KEPT_STATE> start;
  SWEEP sweep;
  sweep.world = {.preset = row.preset, .debugLog = false};
  sweep.keepsWorld = true;
  sweep.wanted = row.status;
  sweep.prepare = [&](World &world) {
    if (row.prepare != nullptr) {
      row.prepare(world.sim);
    }
    start = std::make_unique<KEPT_STATE>(world.sim);
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

INSTANTIATE_TEST_SUITE_P(All, Sweeps, testing::ValuesIn(g_rows), [](const testing::TestParamInfo<ROW> &row) {
  std::string name;
  for (const char *letter = row.param.name; *letter != 0; ++letter) {
    name += std::isalpha(*letter) ? *letter : '_';
  }
  return name;
});
