#include <nlohmann/json.hpp>

#include "providers/sim_controller/hand.h"
#include "tests/model/judge.h"
#include "tests/soak/client.h"
#include "tests/soak/lives.h"

using namespace xyl;
using namespace xyl::client;

static constexpr UINT32 steps = 40;

struct Line {
  const char *text;
  bool reads; // and changes nothing
};

static const std::vector<Line> g_lines = {
    {"get -o a.xml --force", true},
    {"show", true},
    {"show --json", true},
    {"show a.xml --json", true},
    {"diff a.xml", true},
    {"diff a.xml --json", true},
    {"verify a.xml", true},
    {"plan a.xml", true},
    {"plan a.xml --rebuild --json", true},
    {"plan c.xml", true},
    {"list --json", true},
    {"identify", true},
    {"identify %D", true},
    {"create --level %L --disks %D,%D --show", true},
    {"apply c.xml --yes --log-file l.xml --force", false},
    {"apply c.xml --saved a.xml --yes", false},
    {"restore a.xml --yes --no-backup", false},
    {"restore a.xml --rebuild --partial --discard-foreign --yes --force", false},
    {"create --level %L --disks %D,%D --name %N --yes", false},
    {"create --level %L --disks %D,%D,%D --size 1GB --spare %D --yes", false},
    {"create --level %L --count 2 --size 100GB --yes", false},
    {"delete %V --yes", false},
    {"spare %D --yes", false},
    {"spare %D --for %V --yes", false},
    {"spare %D --remove --yes", false},
    {"key lock --key-id %N --passphrase-file p", false},
    {"key rekey --key-id %N --passphrase-file p --old-passphrase-file p --yes", false},
    {"key erase --yes", false},
    {"set patrolread=manual rebuild=40 --yes", false},
    {"import --yes", false},
};

namespace {

class Life {
public:
  explicit Life(UINT64 seed)
      : random_{seed}, world_({.preset = "empty"}), client_(world_), saved_(begin(world_, random_)) {
    client_.files = {{"a.xml", saved_.text}, {"p", PASSPHRASE "\n"}};
  }
  ~Life() { g_figures.peakPool = std::max<unsigned long long>(g_figures.peakPool, world_.firmware.pool().peakBytes); }

  void step() {
    UINT32 kind = random_.below(100);
    kind < 30   ? callModel()
    : kind < 42 ? event()
    : kind < 47 ? restart("restart")
    : kind < 52 ? losePower()
                : runClient();
  }

private:
  static Saved begin(World &world, Random &random) {
    makeController(world.sim, random, shortAdapter(world.sim->adapter));
    return save(world, random, /* distorted= */ false);
  }

  void callModel() {
    saved_ = random_.chance(20) ? save(world_, random_, random_.chance(60)) : saved_;
    Call call = randomCall(random_, State(world_.sim), saved_);
    tell("calls of Set_Live", optionsText(call) + (call.hasRequest ? requestText(call) : "") +
                                  (call.saved != nullptr ? " with a document" : ""));
    ASSERT_EQ(judge(world_, call), "");
    client_.files["c.xml"] = call.hasRequest ? requestText(call) : "<raidData/>";
  }

  void event() {
    sim::Controller *sim = world_.sim;
    if (random_.chance(25)) {                            // or there are few left in the end
      UINT8 slot = static_cast<UINT8>(random_.below(6)); // which may be taken
      tell("new disks", "a new disk for slot " + std::to_string(slot));
      sim::insertDisk(sim, sim::directEnclosure, slot, {600000000000ULL, /* SAS */ 0x20, 0});
      return;
    }
    tell("events", "an event");
    happen(sim, random_);
  }

  void restart(const char *what) {
    tell(what, what);
    KeptState before(world_.sim);
    EXPECT_EQ(name(world_.unloadDriver()), name(EFI_SUCCESS));
    world_.expectBalanced();
    EXPECT_EQ(name(world_.loadDriver()), name(EFI_SUCCESS));
    EXPECT_EQ(name(world_.connect()), name(EFI_SUCCESS));
    EXPECT_TRUE(before.isIn(world_.sim)) << "a restart changes the controller";
  }

  // From some command on nothing arrives any more; then everything starts anew.
  void losePower() {
    sim::failCommand(world_.sim, 1 + random_.below(40), /* once= */ false, EFI_DEVICE_ERROR);
    runLine(pickHindered(), /* isHindered= */ true);
    sim::clearFaults(world_.sim);
    restart("power cuts");
  }

  void runClient() {
    UINT32 fault = random_.below(10);
    Line line = fault < 2 ? pickHindered() : random_.oneOf(g_lines);
    // Without memory a document may be left whose owner nobody can tell; the sweeps look at what is sent.
    bool sends = !line.reads || std::string(line.text) == "identify %D";
    if (fault == 0 && !sends) {
      world_.firmware.failAllocation(1 + random_.below(3000));
    } else if (fault < 2) {
      sim::failCommand(world_.sim, 1 + random_.below(40), random_.chance(70), EFI_DEVICE_ERROR);
    }
    runLine(line, fault < 2);
    world_.firmware.failAllocation(0);
    sim::clearFaults(world_.sim);
  }

  // A list that cannot read a controller asks the driver for its name, which is then handed out for good.
  Line pickHindered() {
    Line line = random_.oneOf(g_lines);
    return std::string(line.text).starts_with("list") ? g_lines[0] : line;
  }

  void runLine(const Line &line, bool isHindered) {
    State before(world_.sim);
    std::string text =
        SoakClient::fill(line.text, random_, idsOf(before.disks.items), idsOf(before.virtualDisks.items));
    std::string verb = text.substr(0, text.find(' '));
    tell("xyl " + verb, text + (isHindered ? " (hindered)" : ""));
    uint64_t allocations = world_.firmware.pool().liveAllocations;
    Outcome outcome = client_.run(text);
    g_story.back() += ": " + std::to_string(outcome);
    g_figures.counts["changes by xyl that succeeded"] += !line.reads && outcome == outcomeSuccess ? 1 : 0;
    EXPECT_EQ(world_.firmware.pool().liveAllocations, allocations) << "memory was left";
    EXPECT_TRUE(records::accountingBalanced(&world_.sim->accounting));
    EXPECT_EQ((client_.out + client_.errors).find(PASSPHRASE), std::string::npos);
    EXPECT_LT(outcome, outcomeCount);
    EXPECT_TRUE(!line.reads || before.isIn(world_.sim)) << "a command that only reads changed the controller";
    if (outcome == outcomeUsage || outcome == outcomeNotFound) {
      EXPECT_TRUE(before.isIn(world_.sim)) << client_.errors;
    }
    if (!isHindered) {
      checkDone(verb, text, outcome, before);
    }
  }

  // What a command that was left in peace says is true.
  void checkDone(const std::string &verb, const std::string &text, Outcome outcome, const State &before) {
    const sim::Controller *sim = world_.sim;
    bool isDone = outcome == outcomeSuccess;
    bool isSingle = verb == "create" ? text.find("--spare") == std::string::npos
                                     : verb == "delete" || verb == "spare" || verb == "key" || verb == "import";
    EXPECT_TRUE(isDone || !isSingle || before.isIn(sim)) << "refused and changed: " << client_.errors;
    if (isDone && verb == "create") {
      bool isShown = text.find("--show") != std::string::npos;
      EXPECT_EQ(sim->virtualDisks.count, before.virtualDisks.items.size() + (isShown ? 0 : 1)) << client_.errors;
    } else if (isDone && verb == "delete") {
      EXPECT_EQ(sim->virtualDisks.count + 1, before.virtualDisks.items.size()) << client_.errors;
    } else if (isDone && verb == "import") {
      EXPECT_EQ(sim->foreignDisks.count, 0U) << client_.errors;
    } else if (isDone && verb == "get") {
      EXPECT_EQ(client_.run("diff a.xml"), outcomeSuccess) << client_.errors;
      EXPECT_EQ(client_.run("verify a.xml"), outcomeSuccess) << client_.errors;
    } else if (isDone && verb == "restore" && text.find("--rebuild") != std::string::npos) {
      EXPECT_NE(client_.run("diff a.xml"), outcomeFailed) << client_.errors;
    }
    if (text.find("--json") != std::string::npos && outcome <= outcomeDifferent) {
      EXPECT_TRUE(nlohmann::json::accept(client_.out)) << client_.out;
    }
  }

  Random random_;
  World world_;
  SoakClient client_;
  Saved saved_;
};

} // namespace

void liveSimulated(unsigned long long seed) {
  Life life(seed);
  for (UINT32 i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
    life.step();
  }
}
