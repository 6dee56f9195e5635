// Sweeps that fail one allocation or command after the other.

#include <memory>

#include "driver/controller/controller.h"
#include "driver/xml/xml.h"
#include "tests/support/world.h"

using namespace xyl;
using namespace xyl::host;

// What fails in a run. 0: nothing of that kind. A second one counts from the first.
struct Failure {
  uint64_t allocation = 0;
  uint64_t secondAllocation = 0;
  uint64_t command = 0;
  uint64_t secondCommand = 0;
  FailMode mode = FailMode::once;
  const sim::Fault *answer = nullptr; // the shape of the command's answer instead
  uint64_t element = 0;               // of the XML service, whose elements share their memory
};

// In what shapes an answer may come that is none, too little or a little more.
static const sim::Fault g_shapes[] = {{sim::faultNoData, sim::anyCode, sim::anyCode, 1, true, 0, 0},
                                      {sim::faultNullData, sim::anyCode, sim::anyCode, 1, true, 0, 5120},
                                      {sim::faultSize, sim::anyCode, sim::anyCode, 1, true, 0, 511},
                                      {sim::faultExtra, sim::anyCode, sim::anyCode, 1, true, 0, 511}};

static decltype(RAID_MGMT_PROTOCOL::Execute) g_execute;

// What stands behind a failure is no answer, but where the driver looks at the answer alone: when it looks for a disk,
// which it does with the revision of the protocol.
static EFI_STATUS EFIAPI executeUntidily(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  EFI_STATUS status = g_execute(mgmt, block, result);
  if (EFI_ERROR(status) && block->Revision != mgmt->Revision) {
    result->Data = reinterpret_cast<void *>(1);
    result->DataSize = ~0U;
  }
  return status;
}

static decltype(XML_PROTOCOL::CreateNode) g_createNode;
static struct {
  uint64_t nth, made, failed;
  FailMode mode;
} g_elements;

static EFI_STATUS EFIAPI createNodeOrFail(XML_PROTOCOL *service, const CHAR8 *name, XML_NODE **node) {
  ++g_elements.made;
  if (g_elements.made == g_elements.nth ||
      (g_elements.made > g_elements.nth && g_elements.mode == FailMode::fromThenOn)) {
    ++g_elements.failed;
    return EFI_OUT_OF_RESOURCES;
  }
  return g_createNode(service, name, node);
}

uint64_t failedElements() {
  return g_elements.failed;
}

static std::string describe(const Failure &failure) {
  return "allocations " + std::to_string(failure.allocation) + "+" + std::to_string(failure.secondAllocation) +
         ", element " + std::to_string(failure.element) + ", commands " + std::to_string(failure.command) + "+" +
         std::to_string(failure.secondCommand) +
         (failure.answer == nullptr ? "" : ", shape " + std::to_string(failure.answer - g_shapes)) +
         (failure.mode == FailMode::once ? "" : " and all later ones");
}

static std::unique_ptr<World> newWorld(const Sweep &sweep) {
  auto world = std::make_unique<World>(sweep.world);
  if (world->sim != nullptr && world->driver != nullptr) {
    g_execute = world->sim->protocol.Execute;
    world->sim->protocol.Execute = executeUntidily;
    world->sim->protocol.Revision = driver::blockRevisionKey; // of no other Get
  }
  if (sweep.prepare) {
    sweep.prepare(*world);
    world->markBalance();
  }
  return world;
}

// How much has failed; 0 also when the run went wrong.
static uint64_t run(const Sweep &sweep, std::unique_ptr<World> &world, const Failure &failure) {
  if (world == nullptr || !sweep.keepsWorld) {
    world.reset(); // before the next: there is one firmware at a time
    world = newWorld(sweep);
  }
  SCOPED_TRACE(describe(failure));
  uint64_t before = world->firmware.pool().failedAllocations;
  world->firmware.failAllocation(failure.allocation, failure.mode, failure.secondAllocation);
  for (uint64_t nth : {failure.command, failure.secondCommand == 0 ? 0 : failure.command + failure.secondCommand}) {
    if (nth != 0 && failure.answer != nullptr) {
      sim::Fault shape = *failure.answer;
      shape.nth = nth;
      sim::addFault(world->sim, shape);
    } else if (nth != 0) {
      sim::failCommand(world->sim, nth, failure.mode == FailMode::once, sweep.commandStatus);
    }
  }
  g_elements = {failure.element, 0, 0, failure.mode};
  if (failure.element != 0) {
    driver::getXMLProto();
    g_createNode = driver::g_xmlProtocol->CreateNode;
    driver::g_xmlProtocol->CreateNode = createNodeOrFail;
  }
  EFI_STATUS status = sweep.operation(*world);
  if (failure.element != 0) {
    driver::g_xmlProtocol->CreateNode = g_createNode;
  }
  world->firmware.failAllocation(0);
  uint64_t failed = world->firmware.pool().failedAllocations - before + failedElements();
  if (world->sim != nullptr) {
    failed += world->sim->faultHits;
    sim::clearFaults(world->sim);
  }
  if (failed == 0) {
    EXPECT_EQ(name(status), name(sweep.wanted));
  } else if (sweep.afterFailure) {
    sweep.afterFailure(*world, status);
  }
  world->expectBalanced();
  return testing::Test::HasFailure() ? 0 : failed;
}

static void sweepBoth(const Sweep &sweep, uint64_t Failure::*what) {
  for (FailMode mode : {FailMode::once, FailMode::fromThenOn}) {
    std::unique_ptr<World> world;
    Failure failure = {.mode = mode};
    for (failure.*what = 1; run(sweep, world, failure) != 0;) {
      ++(failure.*what);
    }
    EXPECT_TRUE(failure.*what > 1 || what == &Failure::element) << "nothing was ever failed";
  }
}

void sweepAllocations(const Sweep &sweep) {
  sweepBoth(sweep, &Failure::allocation);
}

void sweepElements(const Sweep &sweep) {
  sweepBoth(sweep, &Failure::element);
}

void sweepCommands(const Sweep &sweep) {
  sweepBoth(sweep, &Failure::command);
}

void sweepAnswers(const Sweep &sweep) {
  for (const sim::Fault &shape : g_shapes) {
    std::unique_ptr<World> world;
    for (uint64_t nth = 1; run(sweep, world, {0, 0, nth, 0, FailMode::once, &shape}) != 0; ++nth) {
    }
  }
}

void sweepPairs(const Sweep &sweep) {
  std::unique_ptr<World> world;
  auto failed = [&](uint64_t allocation, uint64_t secondAllocation, uint64_t command, uint64_t secondCommand) {
    return run(sweep, world, {allocation, secondAllocation, command, secondCommand, FailMode::once});
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
