// Sweeps that fail one allocation or command after the other.

#include <memory>

#include "tests/support/world.h"

// What fails in a run. 0: nothing of that kind. A second one counts from the first.
struct FAILURE {
  uint64_t allocation;
  uint64_t secondAllocation;
  uint64_t command;
  uint64_t secondCommand;
  FAIL_MODE mode;
};

static std::string describe(const FAILURE &failure) {
  return "allocations " + std::to_string(failure.allocation) + "+" + std::to_string(failure.secondAllocation) +
         ", commands " + std::to_string(failure.command) + "+" + std::to_string(failure.secondCommand) +
         (failure.mode == FAIL_MODE::once ? "" : " and all later ones");
}

static std::unique_ptr<World> newWorld(const SWEEP &sweep) {
  auto world = std::make_unique<World>(sweep.world);
  if (sweep.prepare) {
    sweep.prepare(*world);
    world->markBalance();
  }
  return world;
}

// How much has failed; 0 also when the run went wrong.
static uint64_t run(const SWEEP &sweep, std::unique_ptr<World> &world, const FAILURE &failure) {
  if (world == nullptr || !sweep.keepsWorld) {
    world.reset(); // before the next: there is one firmware at a time
    world = newWorld(sweep);
  }
  SCOPED_TRACE(describe(failure));
  uint64_t before = world->firmware.pool().failedAllocations;
  world->firmware.failAllocation(failure.allocation, failure.mode, failure.secondAllocation);
  for (uint64_t nth : {failure.command, failure.secondCommand == 0 ? 0 : failure.command + failure.secondCommand}) {
    if (nth != 0) {
      simFailCommand(world->sim, nth, failure.mode == FAIL_MODE::once, sweep.commandStatus);
    }
  }
  EFI_STATUS status = sweep.operation(*world);
  world->firmware.failAllocation(0);
  uint64_t failed = world->firmware.pool().failedAllocations - before;
  if (world->sim != nullptr) {
    failed += world->sim->faultHits;
    simClearFaults(world->sim);
  }
  if (failed == 0) {
    EXPECT_EQ(name(status), name(sweep.wanted));
  } else if (sweep.afterFailure) {
    sweep.afterFailure(*world, status);
  }
  world->expectBalanced();
  return testing::Test::HasFailure() ? 0 : failed;
}

static void sweepBoth(const SWEEP &sweep, bool commands) {
  for (FAIL_MODE mode : {FAIL_MODE::once, FAIL_MODE::fromThenOn}) {
    std::unique_ptr<World> world;
    uint64_t nth = 1;
    while (run(sweep, world, {commands ? 0 : nth, 0, commands ? nth : 0, 0, mode}) != 0) {
      ++nth;
    }
    EXPECT_GT(nth, 1u) << "nothing was ever failed";
  }
}

void sweepAllocations(const SWEEP &sweep) {
  sweepBoth(sweep, /* commands= */ false);
}

void sweepCommands(const SWEEP &sweep) {
  sweepBoth(sweep, /* commands= */ true);
}

void sweepPairs(const SWEEP &sweep) {
  std::unique_ptr<World> world;
  auto failed = [&](uint64_t allocation, uint64_t secondAllocation, uint64_t command, uint64_t secondCommand) {
    return run(sweep, world, {allocation, secondAllocation, command, secondCommand, FAIL_MODE::once});
  };
  for (uint64_t n = 1; failed(n, 0, 0, 0) != 0; ++n) {
    for (uint64_t m = 1; failed(n, m, 0, 0) == 2; ++m) {
    }
  }
  for (uint64_t n = 1; failed(0, 0, n, 0) != 0; ++n) {
    for (uint64_t m = 1; failed(0, 0, n, m) == 2; ++m) {
    }
    for (uint64_t m = 1; failed(m, 0, n, 0) == 2; ++m) {
    }
  }
}
