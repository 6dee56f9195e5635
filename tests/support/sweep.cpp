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
    EXPECT_EQ(name(status), name(sweep.wanted));
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

// What fails in a run of a pair. 0: nothing of that kind. The second one counts from the first.
struct PAIR {
  uint64_t allocation;
  uint64_t secondAllocation;
  uint64_t command;
  uint64_t secondCommand;
};

// How many of the two have failed; 0 also when the run went wrong.
static uint64_t runPair(const SWEEP &sweep, std::unique_ptr<World> &world, const PAIR &pair) {
  if (world == nullptr || !sweep.keepsWorld) {
    world.reset();
    world = newWorld(sweep);
  }
  std::string where = "allocations " + std::to_string(pair.allocation) + "+" + std::to_string(pair.secondAllocation) +
                      ", commands " + std::to_string(pair.command) + "+" + std::to_string(pair.secondCommand);
  SCOPED_TRACE(where);
  uint64_t before = world->firmware.pool().failedAllocations;
  world->firmware.failAllocation(pair.allocation, FAIL_MODE::once, pair.secondAllocation);
  for (uint64_t nth : {pair.command, pair.secondCommand == 0 ? 0 : pair.command + pair.secondCommand}) {
    if (nth != 0) {
      simFailCommand(world->sim, nth, /* once= */ true, sweep.commandStatus);
    }
  }
  EFI_STATUS status = sweep.operation(*world);
  world->firmware.failAllocation(0);
  uint64_t failed = world->firmware.pool().failedAllocations - before + world->sim->faultHits;
  simClearFaults(world->sim);
  if (failed != 0 && sweep.afterFailure) {
    sweep.afterFailure(*world, status);
  }
  world->expectBalanced();
  return testing::Test::HasFailure() ? 0 : failed;
}

void sweepPairs(const SWEEP &sweep) {
  std::unique_ptr<World> world;
  auto both = [&](const PAIR &pair) { return runPair(sweep, world, pair) == 2; };
  auto any = [&](const PAIR &pair) { return runPair(sweep, world, pair) != 0; };
  for (uint64_t n = 1; any({n, 0, 0, 0}); ++n) {
    for (uint64_t m = 1; both({n, m, 0, 0}); ++m) {
    }
  }
  for (uint64_t n = 1; any({0, 0, n, 0}); ++n) {
    for (uint64_t m = 1; both({0, 0, n, m}); ++m) {
    }
    for (uint64_t m = 1; both({m, 0, n, 0}); ++m) {
    }
  }
}
