#include "tests/power_cuts/readings.h"
#include "tests/power_cuts/rig.h"
#include "tests/soak/client.h"
#include "tests/soak/lives.h"

static constexpr UINT32 STEPS = 12, PORTS_OF_DISKS = 5, FIRST_DISK = 1025000;
static constexpr size_t LOOKS = 12; // at states of a cut

static const std::vector<std::string> g_lines = {
    "get -o a.xml --force",
    "show --json",
    "diff a.xml",
    "create --level %L --disks %D,%D --name %N --size 256KB --yes",
    "create --level %L --disks %D,%D,%D,%D --name %N --size 128KB --yes",
    "create --level %L --disks %D,%D --name %N --size 128KB --spare %D --yes",
    "delete %V --yes",
    "spare %D --yes",
    "spare %D --for %V --yes",
    "spare %D --remove --yes",
    "restore a.xml --rebuild --partial --discard-foreign --yes --force",
};

namespace {

// What both readers find.
struct READINGS {
  READING ours, ofLinux;

  explicit READINGS(DISKS &disks) : ours(readAsWe(disks)), ofLinux(readAsLinux(disks)) {}
  bool isSound() const { return ours.fault.empty() && ofLinux.fault.empty(); }
  std::string text() const { return "we:\n" + ours.text() + ours.fault + "Linux:\n" + ofLinux.text() + ofLinux.fault; }
};

// The virtual disks are those of one reading or of the other. A list of failed disks may outlive the last virtual disk.
bool isEither(const READING &cut, const READING &before, const READING &after) {
  return virtualDisksOf(cut) == virtualDisksOf(before) || virtualDisksOf(cut) == virtualDisksOf(after);
}

// One life of the machine, from power on to power off. The disks outlive it.
class Life {
public:
  Life(DISKS &disks, RANDOM &random, std::map<std::string, std::string> &files)
      : disks_(disks), random_(random), files_(files), rig_(disks), client_(rig_) {
    client_.files = files;
  }
  ~Life() {
    files_ = client_.files;
    g_figures.peakPool = std::max<unsigned long long>(g_figures.peakPool, rig_.firmware.pool().peakBytes);
  }

  // Whether the power stays on.
  bool step() {
    UINT32 kind = random_.below(100);
    if (kind < 8) {
      replaceDisk();
    } else if (kind < 14) {
      pullForAWhile();
    } else {
      change(kind >= 80 ? randomPlan() : DISK_PLAN{});
    }
    disks_ = rig_.recorder.disks;
    bool isCut = !testing::Test::HasFailure() && !log_.empty() && random_.chance(30) && losePower();
    return !isCut && !random_.chance(10);
  }

private:
  UINT32 anyPort() { return random_.below(static_cast<UINT32>(rig_.recorder.disks.size())); }

  void replaceDisk() {
    UINT32 port = anyPort();
    tell("disks replaced", "replace disk " + std::to_string(port));
    rig_.pull(port);
    rig_.recorder.disks[port] = {TEST_DISK_SECTORS, {}};
    rig_.plug(port);
    log_.clear();
  }

  void pullForAWhile() {
    UINT32 port = anyPort();
    tell("disks pulled", "pull disk " + std::to_string(port) + " and read");
    rig_.pull(port);
    client_.run("show");
    rig_.plug(port);
    log_.clear();
  }

  DISK_PLAN randomPlan() {
    return {static_cast<DISK_CALL>(random_.below(DISK_CALLS)), 1 + random_.below(60), random_.chance(30)};
  }

  PORTS somePorts() {
    PORTS ports;
    for (UINT32 count = 1 + random_.below(4); count != 0; --count) {
      ports.push_back(anyPort()); // also one that stands there already
    }
    return ports;
  }

  ORDER randomOrder() {
    static const std::vector<UINT32> levels = {RAID_LEVEL_0, RAID_LEVEL_1, RAID_LEVEL_5, RAID_LEVEL_6, RAID_LEVEL_10};
    auto anyName = [&] { return std::string(1, static_cast<char>('a' + random_.below(4))); };
    std::string virtualDisk = anyName();
    UINT32 port = anyPort();
    switch (random_.below(10)) {
    case 0:
      return deleteOrder(virtualDisk);
    case 1:
      return failOrder(port);
    case 2:
      return spareOrder(port, random_.chance(50) ? RAID_HOTSPARE_GLOBAL : RAID_HOTSPARE_NONE);
    case 3:
      return renameOrder(virtualDisk, anyName());
    case 4:
      return {.command = random_.chance(80) ? RAID_COMMAND_IMPORT : RAID_COMMAND_DELETE,
              .objectType = RAID_OBJECT_ADAPTER};
    case 5:
      return readyOrder(port);
    default:
      return createOrder(virtualDisk, random_.oneOf(levels), somePorts());
    }
  }

  // Runs a command; whether it says that it succeeded. In pieces: whether a cut may leave some of it.
  bool run(bool *inPieces) {
    if (random_.chance(60)) {
      ORDER order = randomOrder();
      std::string ports;
      for (UINT32 port : order.ports) {
        ports += " " + std::to_string(port);
      }
      tell("commands to disks", "command " + std::to_string(order.command) + " " + std::to_string(order.objectType) +
                                    " \"" + order.virtualDisk + "\" was \"" + order.was + "\" level " +
                                    std::to_string(order.level) + " state " + std::to_string(order.state) + " spare " +
                                    std::to_string(order.hotspare) + " disks" + ports);
      *inPieces = order.objectType == RAID_OBJECT_ADAPTER;
      return !EFI_ERROR(rig_.run(order));
    }
    IDS disks, virtualDisks;
    for (UINT32 port = 0; port < rig_.recorder.disks.size(); ++port) {
      disks.push_back(FIRST_DISK + port);
    }
    std::string line = SoakClient::fill(random_.oneOf(g_lines), random_, disks, {1, 2, 3});
    tell("xyl " + line.substr(0, line.find(' ')), line);
    *inPieces = line.starts_with("restore") || line.find("--spare") != std::string::npos;
    XYL_OUTCOME outcome = client_.run(line);
    g_story.back() += ": " + std::to_string(outcome);
    return outcome == XYL_SUCCESS;
  }

  void change(const DISK_PLAN &plan) {
    READINGS before(rig_.recorder.disks);
    before_ = rig_.recorder.disks;
    rig_.recorder.begin(DISKS(before_), plan);
    rig_.clearLog();
    uint64_t allocations = rig_.firmware.pool().liveAllocations;
    bool isDone = run(&inPieces_);
    bool isHindered = rig_.recorder.failed < before_.size();
    rig_.recorder.heal();
    log_ = rig_.recorder.log;
    g_story.back() += isDone ? ", done" : ", refused";
    g_figures.counts["changes of disks"] += log_.empty() ? 0 : 1;
    g_story.back() += isHindered ? ", disk " + std::to_string(rig_.recorder.failed) + " failed" : "";
    EXPECT_EQ(rig_.firmware.pool().liveAllocations, allocations) << "memory was left";
    READINGS after(rig_.recorder.disks);
    EXPECT_TRUE(after.isSound()) << "before\n" << before.text() << "after\n" << after.text() << rig_.log();
    if (!isHindered && !isDone && !inPieces_) {
      EXPECT_EQ(after.text(), before.text()) << "refused and changed" << rig_.log();
    }
    if (!isHindered && isDone && !log_.empty()) {
      EXPECT_EQ(after.ours.text(), after.ofLinux.text()) << rig_.log();
    }
    inPieces_ = inPieces_ || isHindered;
  }

  // One of the states in which a cut of the last command leaves the disks.
  bool losePower() {
    tell("power cuts", "the power goes");
    READINGS before(before_), after(disks_);
    std::vector<DISKS> states;
    size_t count = 0;
    forEachCut(before_, log_, [&](DISKS &disks, CUT) {
      ++count;
      if (states.size() < LOOKS) {
        states.push_back(disks);
      } else if (UINT32 at = random_.below(static_cast<UINT32>(count)); at < LOOKS) {
        states[at] = disks;
      }
    });
    for (DISKS &state : states) {
      READINGS cut(state);
      bool isOne = isEither(cut.ours, before.ours, after.ours) && isEither(cut.ofLinux, before.ofLinux, after.ofLinux);
      EXPECT_TRUE(cut.isSound() && (isOne || inPieces_)) << "before\n"
                                                         << before.text() << "cut\n"
                                                         << cut.text() << "after\n"
                                                         << after.text();
    }
    g_figures.counts["states of cuts"] += states.size();
    disks_ = random_.oneOf(states);
    return true;
  }

  DISKS &disks_;
  RANDOM &random_;
  std::map<std::string, std::string> &files_;
  Rig rig_;
  SoakClient client_;
  DISKS before_;
  std::vector<DISK_EVENT> log_;
  bool inPieces_ = false;
};

} // namespace

void liveOnDisks(unsigned long long seed) {
  RANDOM random = {seed};
  DISKS disks(PORTS_OF_DISKS, {TEST_DISK_SECTORS, {}});
  std::map<std::string, std::string> files;
  for (UINT32 i = 0; i < STEPS && !testing::Test::HasFailure();) {
    Life life(disks, random, files);
    for (bool isOn = true; isOn && i < STEPS && !testing::Test::HasFailure(); ++i) {
      isOn = life.step();
    }
    g_figures.counts["restarts"] += 1;
  }
}
