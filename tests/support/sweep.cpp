// Sweeps that fail one allocation or command after the other.

#include <memory>

#include "tests/support/world.h"

// How one kind of failure is switched on and asked about.
struct FAILURE_KIND {
  const char *what;
  void (*arm)(World &world, uint64_t nth, FAIL_MODE mode, EFI_STATUS status);
  bool (*disarm)(World &world); // whether something has failed
};

static const FAILURE_KIND g_allocations = {
    "allocation",
    [](World &world, uint64_t nth, FAIL_MODE mode, EFI_STATUS) { world.firmware.failAllocation(nth, mode); },
    [](World &world) {
      world.firmware.failAllocation(0);
      return world.firmware.allocationFailed();
    },
};

static const FAILURE_KIND g_commands = {
    "command",
    [](World &world, uint64_t nth, FAIL_MODE mode, EFI_STATUS status) {
      simFailCommand(world.sim, nth, mode == FAIL_MODE::once, status);
    },
    [](World &world) {
      bool failed = world.sim->faultHits != 0;
      simClearFaults(world.sim);
      return failed;
    },
};

static std::unique_ptr<World> newWorld(const SWEEP &sweep) {
  auto world = std::make_unique<World>(sweep.world);
  if (sweep.prepare) {
    sweep.prepare(*world);
    world->markBalance();
  }
  return world;
}

// False when the run had nothing left to fail or went wrong.
static bool runOnce(World &world, const SWEEP &sweep, const FAILURE_KIND &kind, uint64_t nth, FAIL_MODE mode) {
  std::string where =
      std::string(kind.what) + " " + std::to_string(nth) + (mode == FAIL_MODE::once ? "" : " and all later ones");
  SCOPED_TRACE(where);
  kind.arm(world, nth, mode, sweep.commandStatus);
  EFI_STATUS status = sweep.operation(world);
  bool failed = kind.disarm(world);
  if (!failed) {
    EXPECT_EQ(name(status), name(EFI_SUCCESS));
    EXPECT_GT(nth, 1u) << "nothing was ever failed";
  } else if (sweep.afterFailure) {
    sweep.afterFailure(world, status);
  }
  world.expectBalanced();
  return failed && !testing::Test::HasFailure();
}

static void sweepBoth(const SWEEP &sweep, const FAILURE_KIND &kind) {
  for (FAIL_MODE mode : {FAIL_MODE::once, FAIL_MODE::fromThenOn}) {
    std::unique_ptr<World> world = newWorld(sweep);
    for (uint64_t nth = 1; runOnce(*world, sweep, kind, nth, mode); ++nth) {
      if (!sweep.keepsWorld) {
        world.reset(); // before the next: there is one firmware at a time
        world = newWorld(sweep);
      }
    }
  }
}

void sweepAllocations(const SWEEP &sweep) {
  sweepBoth(sweep, g_allocations);
}

void sweepCommands(const SWEEP &sweep) {
  sweepBoth(sweep, g_commands);
}
