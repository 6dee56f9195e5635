#include "tests/power_cuts/recorder.h"

#include <cstring>
#include <random>

using namespace xyl;

namespace {

class RecordingStore : public host::SectorStore {
public:
  RecordingStore(Recorder &recorder, size_t disk) : recorder_(recorder), disk_(disk) {}
  uint64_t sectors() const override { return recorder_.disks[disk_].sectors; }
  bool writable() const override { return true; }

  bool read(uint64_t sector, uint64_t count, void *buffer) override {
    ddf::Source source = recorder_.disks[disk_].source();
    return !fails(diskRead) && !EFI_ERROR(source.read(source.context, sector, count, buffer));
  }

  bool write(uint64_t sector, uint64_t count, const void *buffer) override {
    bool failing = fails(diskWrite);
    for (uint64_t i = 0; i < (failing ? count / 2 : count); ++i) {
      DiskEvent event = {diskWrite, disk_, sector + i, {}};
      std::memcpy(event.bytes.data(), static_cast<const UINT8 *>(buffer) + i * ddf::sectorSize, ddf::sectorSize);
      if (recorder_.disks[disk_].read(event.lba) != event.bytes) {
        recorder_.disks[disk_].write(event.lba, event.bytes.data(), 1);
        recorder_.log.push_back(event);
      }
    }
    recorder_.waiting.insert(disk_);
    return !failing;
  }

  bool flush() override {
    if (fails(diskFlush)) {
      return false;
    }
    recorder_.log.push_back({diskFlush, disk_, 0, {}});
    recorder_.waiting.erase(disk_);
    return true;
  }

private:
  bool fails(DiskCall call) {
    const DiskPlan &plan = recorder_.plan;
    if (recorder_.paused) {
      return false;
    }
    if (++recorder_.calls[call] == plan.nth && call == plan.call) {
      recorder_.failed = disk_;
      return true;
    }
    return plan.forGood && recorder_.failed == disk_;
  }

  Recorder &recorder_;
  size_t disk_;
};

using Choice = std::vector<bool>;

std::set<Choice> choicesOf(size_t count, std::mt19937 &random) {
  constexpr size_t few = 5, byChance = 24;
  std::set<Choice> choices = {Choice(count, false)};
  auto add = [&](auto isIn) {
    Choice choice(count);
    for (size_t i = 0; i < count; ++i) {
      choice[i] = isIn(i);
    }
    choices.insert(choice);
  };
  for (size_t bits = 0; count <= few && bits < size_t{1} << count; ++bits) {
    add([=](size_t i) { return (bits >> i & 1) != 0; });
  }
  for (size_t last = 0; count > few && last < count; ++last) {
    add([=](size_t i) { return i <= last; });
    add([=](size_t i) { return i == last; });
    add([=](size_t i) { return i != last; });
  }
  for (size_t n = 0; count > few && n < byChance; ++n) {
    add([&](size_t) { return random() % 2 == 0; });
  }
  return choices;
}

} // namespace

void Recorder::begin(Disks now, const DiskPlan &what) {
  disks = std::move(now);
  log.clear();
  waiting.clear();
  plan = what;
  std::fill(std::begin(calls), std::end(calls), 0);
  failed = ~size_t{0};
}

void Recorder::heal() {
  plan = {};
  failed = ~size_t{0};
}

std::unique_ptr<host::SectorStore> Recorder::store(size_t disk) {
  return std::make_unique<RecordingStore>(*this, disk);
}

static void write(Disks &disks, const DiskEvent &event) {
  disks[event.disk].write(event.lba, event.bytes.data(), 1);
}

size_t forEachCut(const Disks &before, const std::vector<DiskEvent> &log,
                  const std::function<void(Disks &disks, Cut cut)> &look) {
  Disks durable = before;
  std::vector<DiskEvent> pending;
  std::mt19937 random(1);
  size_t states = 0;
  bool isNew = true;
  // What was pending before more came is among the choices of all.
  auto lookAtAll = [&] {
    for (const Choice &choice : isNew ? choicesOf(pending.size(), random) : std::set<Choice>{}) {
      Disks state = durable;
      for (size_t i = 0; i < pending.size(); ++i) {
        choice[i] ? write(state, pending[i]) : void();
      }
      size_t written = static_cast<size_t>(std::count(choice.begin(), choice.end(), true));
      look(state, written == 0 ? cutDurable : written == choice.size() ? cutWhole : cutPart);
      ++states;
    }
    isNew = false;
  };
  for (const DiskEvent &event : log) {
    if (event.call == diskWrite) {
      pending.push_back(event);
      isNew = true;
      continue;
    }
    lookAtAll();
    std::erase_if(pending, [&](const DiskEvent &written) {
      bool isSafe = written.disk == event.disk;
      isSafe ? write(durable, written) : void();
      return isSafe;
    });
  }
  isNew = true;
  lookAtAll();
  return states;
}
