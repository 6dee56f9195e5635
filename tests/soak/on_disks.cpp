#include "tests/power_cuts/readings.h"
#include "tests/power_cuts/rig.h"
#include "tests/soak/client.h"
#include "tests/soak/lives.h"

using namespace xyl;

static constexpr UINT32 steps = 12, portsOfDisks = 5, firstDisk = 1025000;
static constexpr size_t looks = 12; // at states of a cut

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
struct Readings {
  Reading ours, ofLinux;

  explicit Readings(Disks &disks) : ours(readAsWe(disks)), ofLinux(readAsLinux(disks)) {}
  bool isSound() const { return ours.fault.empty() && ofLinux.fault.empty(); }
  std::string text() const { return "we:\n" + ours.text() + ours.fault + "Linux:\n" + ofLinux.text() + ofLinux.fault; }
};

// The virtual disks are those of one reading or of the other. A list of failed disks may outlive the last virtual disk.
bool isEither(const Reading &cut, const Reading &before, const Reading &after) {
  return virtualDisksOf(cut) == virtualDisksOf(before) || virtualDisksOf(cut) == virtualDisksOf(after);
}

// One life of the machine, from power on to power off. The disks outlive it.
class Life {
public:
  Life(Disks &disks, Random &random, std::map<std::string, std::string> &files)
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
      change(kind >= 80 ? randomPlan() : DiskPlan{});
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
    rig_.recorder.disks[port] = {testDiskSectors, {}};
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

  DiskPlan randomPlan() {
    return {static_cast<DiskCall>(random_.below(diskCalls)), 1 + random_.below(60), random_.chance(30)};
  }

  Ports somePorts() {
    Ports ports;
    for (UINT32 count = 1 + random_.below(4); count != 0; --count) {
      ports.push_back(anyPort()); // also one that stands there already
    }
    return ports;
  }

  Order randomOrder() {
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
      Order order = randomOrder();
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
    Ids disks, virtualDisks;
    for (UINT32 port = 0; port < rig_.recorder.disks.size(); ++port) {
      disks.push_back(firstDisk + port);
    }
    std::string line = SoakClient::fill(random_.oneOf(g_lines), random_, disks, {1, 2, 3});
    tell("xyl " + line.substr(0, line.find(' ')), line);
    *inPieces = line.starts_with("restore") || line.find("--spare") != std::string::npos;
    client::Outcome outcome = client_.run(line);
    g_story.back() += ": " + std::to_string(outcome);
    return outcome == client::outcomeSuccess;
  }

  void change(const DiskPlan &plan) {
    Readings before(rig_.recorder.disks);
    before_ = rig_.recorder.disks;
    rig_.recorder.begin(Disks(before_), plan);
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
    Readings after(rig_.recorder.disks);
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
    Readings before(before_), after(disks_);
    std::vector<Disks> states;
    size_t count = 0;
    forEachCut(before_, log_, [&](Disks &disks, Cut) {
      ++count;
      if (states.size() < looks) {
        states.push_back(disks);
      } else if (UINT32 at = random_.below(static_cast<UINT32>(count)); at < looks) {
        states[at] = disks;
      }
    });
    for (Disks &state : states) {
      Readings cut(state);
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

  Disks &disks_;
  Random &random_;
  std::map<std::string, std::string> &files_;
  Rig rig_;
  SoakClient client_;
  Disks before_;
  std::vector<DiskEvent> log_;
  bool inPieces_ = false;
};

} // namespace

void liveOnDisks(unsigned long long seed) {
  Random random = {seed};
  Disks disks(portsOfDisks, {testDiskSectors, {}});
  std::map<std::string, std::string> files;
  for (UINT32 i = 0; i < steps && !testing::Test::HasFailure();) {
    Life life(disks, random, files);
    for (bool isOn = true; isOn && i < steps && !testing::Test::HasFailure(); ++i) {
      isOn = life.step();
    }
    g_figures.counts["restarts"] += 1;
  }
}
