// Ten thousand random stories of requests, restores, faults and disks that come and go. After every call the
// simulated controller, the status and the log must be what the model says.
#include <cstdlib>

#include "tests/model/judge.h"

using namespace xyl;

static constexpr UINT32 parts = 20, stories = 500; // in each: short enough for a machine that has other things to do
static constexpr UINT32 steps = 4;
static constexpr UINT32 auditEvery = 50; // a look at all freed memory takes longer than a story

static void tell(World &world, const sim::Adapter &pristine, UINT64 seed) {
  Random random = {seed};
  makeController(world.sim, random, pristine);
  Saved saved = save(world, random, false);
  for (UINT32 step = 0; step < steps; ++step) {
    if (random.chance(30)) {
      happen(world.sim, random);
      continue;
    }
    if (random.chance(15)) {
      saved = save(world, random, random.chance(60));
    }
    Call call = randomCall(random, State(world.sim), saved);
    std::string wrong = judge(world, call);
    ASSERT_EQ(wrong, "") << "MODEL_SEED=" << seed << " step " << step << "\nfault " << call.fault.nth
                         << (call.fault.once ? " once " : " and later ") << (call.fault.ofLists ? "of lists " : "")
                         << name(call.fault.status) << "\n"
                         << optionsText(call) << "\n"
                         << (call.saved != nullptr ? call.saved->text : "")
                         << (call.hasRequest ? requestText(call) : "");
  }
}

class Model : public testing::TestWithParam<UINT32> {};

// MODEL_SEED in the environment runs one story only.
TEST_P(Model, ControllerStatusAndLogAreWhatTheContractsSay) {
  World world(WorldOptions{.preset = "empty", .debugLog = false});
  sim::Adapter pristine = shortAdapter(world.sim->adapter);
  const char *only = std::getenv("MODEL_SEED");
  UINT64 first = only == nullptr ? 1 + UINT64{GetParam()} * stories : std::strtoull(only, nullptr, 10);
  for (UINT64 seed = first; seed < first + (only == nullptr ? stories : 1) && !HasFailure(); ++seed) {
    tell(world, pristine, seed);
    if (seed % auditEvery == 0) {
      ASSERT_EQ(world.firmware.complaints(), std::vector<std::string>{}) << "MODEL_SEED=" << seed;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Parts, Model, testing::Range(0U, parts));
