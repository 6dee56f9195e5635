#include "fuzz/support.h"

#include "driver/xml/xml.h"
#include "host/firmware/state.h"
#include "providers/sim_controller/commands/virtual_disks.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "tests/support/kept_state.h"

using namespace xyl;

// --- The world ---

static World *g_world;
static const KeptState *g_start;

// Eight disks: two virtual disks, a hot spare, and two that are free.
static void makeUsual(sim::Controller **sim) {
  EXPECT_EQ(sim::createSized(/* enclosures= */ 1, /* slots= */ 8, /* virtualDisks= */ 2, sim), EFI_SUCCESS);
  (*sim)->disks.items[6].record.Hotspare = 0;
  (*sim)->disks.items[7].record.Hotspare = 0;
}

// Four disks: two that carry two virtual disks, a hot spare, and one that is free.
static void makeSmall(sim::Controller **sim) {
  EXPECT_EQ(sim::createSized(/* enclosures= */ 1, /* slots= */ 4, /* virtualDisks= */ 0, sim), EFI_SUCCESS);
  const PoolArray<sim::Disk> &disks = (*sim)->disks;
  for (UINT32 i : {0, 1, 3}) {
    disks.items[i].record.Hotspare = 0;
  }
  const UINT32 members[] = {disks.items[0].record.ObjectID, disks.items[1].record.ObjectID};
  RAID_VD_RECORD wanted = {};
  wanted.RAIDLevel = RAID_LEVEL_1;
  for (UINT64 size : {UINT64{100000000000}, UINT64{0}}) {
    wanted.Size = size;
    EXPECT_EQ(sim::createVirtualDisk(*sim, &wanted, members, 2, nullptr), EFI_SUCCESS);
  }
}

// Two levels instead of all, so that documents and runs stay short; a key.
static void shapeSim(sim::Controller *sim) {
  constexpr UINT32 levels = /* RAID 1 */ 0x04 | /* RAID 5 */ 0x40;
  sim::Adapter &adapter = sim->adapter;
  std::remove_if(adapter.RAIDLevelParams, adapter.RAIDLevelParams + adapter.levelCount,
                 [](const RAID_LEVEL_PARAMS &level) { return (level.RAIDLevel & levels) == 0; });
  adapter.levelCount = 2;
  adapter.record.SupportedRAIDLevels = levels;
  sim->key = {true, "fuzz", {}, RAID_KEY_MODE_LKM};
  std::copy_n(PASSPHRASE, sizeof PASSPHRASE - 1, sim->key.passphrase);
}

static World *startWorld(FuzzController controller) {
  testing::GTEST_FLAG(break_on_failure) = true;
  auto *world = new World(WorldOptions{.preset = nullptr});
  setSystemTable(world->firmware.systemTable());
  controller == FuzzController::small ? makeSmall(&world->sim) : makeUsual(&world->sim);
  shapeSim(world->sim);
  EXPECT_EQ(sim::install(world->sim, &world->controller), EFI_SUCCESS);
  EXPECT_EQ(world->connect(), EFI_SUCCESS);
  driver::getXMLProto();
  g_start = new KeptState(world->sim);
  return world;
}

World &fuzzWorld() {
  return *g_world;
}

void resetFuzzWorld() {
  g_start->putBack(fuzzWorld().sim);
}

static FuzzBody g_body;
static const FuzzLimits *g_limits;

static void runInWorld(FuzzInput input) {
  World &world = fuzzWorld();
  resetFuzzWorld();
  forgetSecrets();
  auto held = [&] { return world.firmware.pool().liveBytes - sim::poolBytes(world.sim); };
  uint64_t allocations = world.firmware.pool().liveAllocations, bytes = held(), commands = world.sim->commandCount;
  g_body(input);
  world.firmware.failAllocation(0);
  sim::clearFaults(world.sim);
  world.console();
  // Damage to poisoned memory has already ended the process, so the audit behind complaints() is left out.
  const host::Complaints &complaints = host::g_firmware->complaints;
  mustHold(complaints.empty(), complaints.empty() ? "" : complaints.front());
  mustHold(!secretsFreed(), "a passphrase was given back");
  mustHold(world.firmware.pool().liveAllocations == allocations && held() == bytes, "memory left or lost");
  mustHold(world.sim->commandCount - commands <= g_limits->commands.of(input.left()), "too many commands");
  const records::Accounting &accounting = world.sim->accounting;
  mustHold(accounting.mistakeCount == 0, accounting.mistakeCount == 0 ? "" : accounting.mistakes[0].reason);
  mustHold(records::accountingBalanced(&world.sim->accounting), "answers of the controller did not come back");
  const CHAR8 *fault = sim::stateFault(world.sim);
  mustHold(fault == nullptr, std::string("controller state: ") + (fault == nullptr ? "" : fault));
}

void runJudged(FuzzBody body, FuzzInput input, const FuzzLimits &limits, FuzzController controller) {
  g_world = g_world == nullptr ? startWorld(controller) : g_world;
  g_body = body;
  g_limits = &limits;
  runMeasured(runInWorld, input, limits);
}

// --- Operations ---

EFI_STATUS fuzzVerify(const std::string &saved) {
  constexpr UINT32 neverBoth = VERIFY_FW_LOWER | VERIFY_FW_HIGHER;
  constexpr UINT32 allOfThem = VERIFY_PART_REPLACEMENT | VERIFY_CONFIG_CHANGE | neverBoth;
  OperationAnswer answer = fuzzWorld().verify(saved);
  mustHold((answer.result & ~allOfThem) == 0 && (answer.result & neverBoth) != neverBoth, "Verify: result bits");
  mustHold(!EFI_ERROR(answer.status) || answer.result == 0, "Verify: a result of a failure");
  return answer.status;
}

static const char *orNull(const std::string &document) {
  return document.empty() ? nullptr : document.c_str();
}

EFI_STATUS fuzzSet(const std::string &options, const std::string &saved, const std::string &request) {
  OperationAnswer answer = fuzzWorld().set({orNull(options), orNull(saved), orNull(request)});
  fuzzWorld().firmware.failAllocation(0); // no failure that is left strikes what follows
  mustHold(answer.optionsFreed == !options.empty(), "Set_Live: the options are not released");
  if (answer.hasText) {
    XML_NODE *root = nullptr;
    driver::g_xmlProtocol->Parse(driver::g_xmlProtocol, answer.text.c_str(), &root);
    mustHold(root != nullptr, "Set_Live: a log that does not parse: " + answer.text);
    driver::FreeXMLNode(root);
    mustHold(answer.text.starts_with(request.empty() ? "<RaidRestore" : "<RaidConfig"), "Set_Live: another log");
  }
  return answer.status;
}
