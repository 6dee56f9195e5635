// Ten thousand random stories of requests, restores, faults and disks that come and go. After every call the
// simulated controller, the status and the log must be what the model says.
#include <cstdlib>

#include "tests/model/judge.h"

static constexpr UINT32 PARTS = 20, STORIES = 500; // in each: short enough for a machine that has other things to do
static constexpr UINT32 STEPS = 4;
static constexpr UINT32 AUDIT_EVERY = 50; // a look at all freed memory takes longer than a story

static void tell(World &world, const sim::Adapter &pristine, UINT64 seed) {
  RANDOM random = {seed};
  makeController(world.sim, random, pristine);
  SAVED saved = save(world, random, false);
  for (UINT32 step = 0; step < STEPS; ++step) {
    if (random.chance(30)) {
      happen(world.sim, random);
      continue;
    }
    if (random.chance(15)) {
      saved = save(world, random, random.chance(60));
    }
    CALL call = randomCall(random, STATE(world.sim), saved);
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
  World world(WORLD_OPTIONS{.preset = "empty", .debugLog = false});
  sim::Adapter pristine = shortAdapter(world.sim->adapter);
  const char *only = std::getenv("MODEL_SEED");
  UINT64 first = only == nullptr ? 1 + UINT64{GetParam()} * STORIES : std::strtoull(only, nullptr, 10);
  for (UINT64 seed = first; seed < first + (only == nullptr ? STORIES : 1) && !HasFailure(); ++seed) {
    tell(world, pristine, seed);
    if (seed % AUDIT_EVERY == 0) {
      ASSERT_EQ(world.firmware.complaints(), std::vector<std::string>{}) << "MODEL_SEED=" << seed;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Parts, Model, testing::Range(0U, PARTS));
