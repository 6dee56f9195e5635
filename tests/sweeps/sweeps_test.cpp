// Every operation with documents of every kind, while each allocation and each command of the controller fails: one,
// all from one on, and where it is short any two of them. One set of rules judges all runs.
#include "tests/sweeps/rules.h"

using STATUSES = std::vector<EFI_STATUS>;

enum class OPERATION { get, verify, set };

struct ROW {
  const char *name;
  const char *preset;
  void (*prepare)(SIM_CONTROLLER *sim); // or null
  OPERATION operation;
  const char *options;
  std::string saved;   // empty: none
  std::string request; // empty: none
  EFI_STATUS status;   // when nothing fails
  STATUSES without;    // what else there may be without memory,
  STATUSES refused;    // and when commands fail with EFI_DEVICE_ERROR
  bool pairs;          // short enough for two failures
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

static std::string method(const char *name, const char *objectType, const std::string &inside) {
  return "<Method name=\"" + std::string(name) + "\"><ObjectType>" + objectType + "</ObjectType>" + inside +
         "</Method>";
}

static std::string request(const std::string &methods) {
  return "<raidData>" + methods + "</raidData>";
}

static const std::string CREATE =
    method("Create", "Virtual Disk",
           "<OID>1003</OID><OID>1004</OID>"
           "<Object><VD><RAIDLevel>RAID 1</RAIDLevel><TargetID>1048576</TargetID></VD></Object>");
static const std::string DEDICATE =
    method("Change", "Physical Disk",
           "<OID>1004</OID><Object><PD><Hotspare>Dedicated</Hotspare><VD>1048576</VD></PD></Object>");
static const std::string CREATE_ONE =
    method("Create", "Virtual Disk",
           "<OID>1003</OID><Object><VD><RAIDLevel>RAID 0</RAIDLevel><TargetID>1048576</TargetID></VD></Object>");
static const std::string RENAME =
    method("Change", "Virtual Disk", "<OID>1</OID><Object><VD><Name>New</Name></VD></Object>");
static const std::string DELETE_ONE = method("Delete", "Virtual Disk", "<OID>1</OID>");
static const std::string KEY = "<Object><Key><KeyID>k</KeyID><Passphrase>b25l</Passphrase></Key></Object>";
static const std::string NEW_KEY = "<Object><Key><NewPassphrase>dHdv</NewPassphrase>"
                                   "<OldPassphrase>b25l</OldPassphrase></Key></Object>";
static const char *const STOPPING = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError>"
                                    "<Raid><PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";

// --- Controllers ---

static void giveKey(SIM_CONTROLLER *sim) {
  sim->key = {};
  sim->key.present = true;
  sim->key.keyId[0] = 'k';
  sim->key.mode = RAID_KEY_MODE_LKM;
}

static void makeForeign(SIM_CONTROLLER *sim) {
  const UINT32 ids[] = {1003, 1004};
  EXPECT_EQ(name(simMakeForeign(sim, /* RAID 0 */ 2, ids, 2)), name(EFI_SUCCESS));
}

// --- Rows ---

static std::vector<ROW> rows() {
  const STATUSES memory = {EFI_OUT_OF_RESOURCES};
  const STATUSES device = {EFI_DEVICE_ERROR};
  // A disk that cannot be looked up is not found.
  const STATUSES lookup = {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND};
  const STATUSES lookupRefused = {EFI_DEVICE_ERROR, EFI_NOT_FOUND};
  // A method that there is no memory for is left out, and what needs it then fails, or what it fails for succeeds.
  const STATUSES leftOut = {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND, EFI_SUCCESS};
  const STATUSES parsed = {EFI_OUT_OF_RESOURCES, EFI_ABORTED};
  const STATUSES text = {EFI_OUT_OF_RESOURCES, EFI_DEVICE_ERROR};
  const std::string raid = adapter(RAID_ADAPTER, SETTINGS);
  const std::string boot = adapter(RAID_ADAPTER, SETTINGS + SOLID_DISKS + MIRROR);
  const std::string shelf = adapter(HOST_ADAPTER, SHELF_DISKS);
  constexpr OPERATION SET = OPERATION::set;
  return {
      {"inventory", "sas", giveKey, OPERATION::get, nullptr, "", "", EFI_SUCCESS, text, device, false},
      {"verify", "empty", nullptr, OPERATION::verify, nullptr, raid, "", EFI_SUCCESS, parsed, device, true},
      {"verify, no document",
       "empty",
       nullptr,
       OPERATION::verify,
       nullptr,
       "<raidData><Adapter>",
       "",
       EFI_ABORTED,
       {},
       {},
       true},
      {"part replaced", "empty", nullptr, SET, NORMAL, raid, "", EFI_SUCCESS, memory, device, true},
      {"restore, preserving", "empty", nullptr, SET, RESTORE, raid, "", EFI_SUCCESS, memory, device, true},
      {"restore, preserving disks", "direct", nullptr, SET, RESTORE, boot, "", EFI_SUCCESS, memory, device, false},
      {"restore of a key's controller", "empty", giveKey, SET, RESTORE_REBUILD, raid, "", EFI_SUCCESS, memory, device,
       true},
      {"rebuild", "direct", nullptr, SET, RESTORE_REBUILD, boot, "", EFI_SUCCESS, memory, device, false},
      {"rebuild, stopping", "direct", nullptr, SET, STOPPING, boot, "", EFI_SUCCESS, memory, device, false},
      {"rebuild over foreign disks", "sas", makeForeign, SET, STOPPING, shelf, "", EFI_SUCCESS, memory, device, true},
      {"another adapter", "empty", nullptr, SET, RESTORE, shelf, "", EFI_UNSUPPORTED, memory, device, true},
      {"create", "sas", nullptr, SET, NORMAL, "", request(CREATE), EFI_SUCCESS, memory, device, true},
      {"create and dedicate", "sas", nullptr, SET, NORMAL, "", request(CREATE_ONE + DEDICATE), EFI_SUCCESS, leftOut,
       lookupRefused, true},
      {"translated", "sas", nullptr, SET, NORMAL, shelf, request(CREATE_ONE), EFI_SUCCESS, lookup, lookupRefused, true},
      {"virtual disks", "sas", nullptr, SET, NORMAL, "", request(RENAME + DELETE_ONE), EFI_SUCCESS, memory, device,
       true},
      {"reset", "direct", nullptr, SET, NORMAL, "", request(method("Delete", "Adapter", "")), EFI_SUCCESS, memory,
       device, true},
      {"settings", "empty", nullptr, SET, NORMAL, "",
       request(method("Change", "Adapter", "<Object><Adapter>" + SETTINGS + "</Adapter></Object>")), EFI_SUCCESS,
       memory, device, true},
      {"key",
       "empty",
       nullptr,
       SET,
       NORMAL,
       "",
       request(method("Lock", "Adapter", KEY) + method("Rekey", "Adapter", NEW_KEY) +
               method("SecureErase", "Adapter", "")),
       EFI_SUCCESS,
       {EFI_OUT_OF_RESOURCES, EFI_NOT_FOUND},
       device,
       true},
      {"import", "sas", makeForeign, SET, NORMAL, "", request(method("Import", "Adapter", "")), EFI_SUCCESS, memory,
       device, true},
      {"clear", "sas", makeForeign, SET, NORMAL, "", request(method("Clear", "Adapter", "")), EFI_SUCCESS, memory,
       device, true},
      {"answers of a request", "sas", nullptr, SET, NORMAL, "",
       request(method("Get", "Physical Disk", "") + method("GetKeyID", "Adapter", "")), EFI_NOT_FOUND, leftOut, device,
       true},
      {"unknown methods",
       "empty",
       nullptr,
       SET,
       NORMAL,
       "",
       request(method("Melt", "Adapter", "")),
       EFI_SUCCESS,
       memory,
       {},
       true},
      {"options do not parse",
       "empty",
       nullptr,
       SET,
       "<RunMode><Mode>",
       raid,
       "",
       EFI_INVALID_PARAMETER,
       memory,
       {},
       true},
      {"saved does not parse",
       "empty",
       nullptr,
       SET,
       NORMAL,
       "<raidData>",
       "",
       EFI_INVALID_PARAMETER,
       memory,
       {},
       true},
      {"saved cannot be read",
       "empty",
       nullptr,
       SET,
       NORMAL,
       adapter(RAID_ADAPTER, "<VD><RAIDLevel>RAID 99</RAIDLevel></VD>"),
       "",
       EFI_NOT_FOUND,
       memory,
       {},
       true},
      {"request does not parse",
       "empty",
       nullptr,
       SET,
       NORMAL,
       raid,
       "<raidData><Method name=\"Get\"",
       EFI_INVALID_PARAMETER,
       memory,
       {},
       true},
      {"request has no methods", "empty", nullptr, SET, NORMAL, "", "<raidData/>", EFI_UNSUPPORTED, memory, {}, true},
  };
}

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

static bool isAllowed(const ROW &row, EFI_STATUS status, bool lacksMemory, bool refused) {
  auto in = [&](const STATUSES &statuses) {
    return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
  };
  return status == row.status || (lacksMemory && in(row.without)) || (refused && in(row.refused));
}

// One run from the same state. The rules do not ask what failed, only what kind of thing.
static EFI_STATUS runJudged(World &world, const ROW &row, const KEPT_STATE &start) {
  start.putBack(world.sim);
  uint64_t failedBefore = world.firmware.pool().failedAllocations;
  UINT64 first = simCommandCount(world.sim);
  ANSWER answer = perform(world, row);
  bool lacksMemory = world.firmware.pool().failedAllocations != failedBefore;
  EXPECT_TRUE(isAllowed(row, answer.status, lacksMemory, world.sim->faultHits != 0)) << name(answer.status);
  std::vector<UINT32> made = changesMade(world.sim, first);
  std::vector<UINT32> claimed = changesClaimed(answer.text);
  if (answer.hasText) {
    EXPECT_TRUE(isWholeDocument(answer.text, rootOf(row))) << answer.text;
    EXPECT_TRUE(lacksMemory ? isPartOf(claimed, made) : claimed == made) << answer.text;
  }
  if (!anythingDone(world.sim, first)) {
    EXPECT_TRUE(start.isState(world.sim)) << "changed, although no command succeeded";
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
  if (!row.refused.empty()) {
    sweepCommands(sweep);
  }
  if (row.pairs) {
    sweepPairs(sweep);
  }
}

INSTANTIATE_TEST_SUITE_P(All, Sweeps, testing::ValuesIn(rows()), [](const testing::TestParamInfo<ROW> &row) {
  std::string name;
  for (const char *letter = row.param.name; *letter != 0; ++letter) {
    name += std::isalpha(*letter) ? *letter : '_';
  }
  return name;
});
