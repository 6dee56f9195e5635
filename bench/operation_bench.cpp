// The operations of the driver, without the controller's own time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <pugixml.hpp>

#include "bench/benches.h"
#include "bench/peer_inventory.h"
#include "bench/peers.h"

static const char *const rebuild = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError><Raid>"
                                   "<PreserveVDConfig>False</PreserveVDConfig></Raid></RunMode>";
static const char *const normal = "<RunMode><Mode>Normal</Mode></RunMode>";

// Gives the first virtual disk a name.
static const char *const changes = "<raidData>"
                                   "<Method name=\"Change\"><ObjectType>Virtual Disk</ObjectType><OID>1</OID>"
                                   "<Object><VD><ObjectType>Virtual Disk</ObjectType><Name>A</Name></VD></Object>"
                                   "</Method></raidData>";

// Runs the operation over and over; a run returns its seconds, the controller's included.
static void measure(benchmark::State &state, MeasuredWorld &world, size_t objects, const std::function<double()> &run) {
  run();
  world.resetCounts();
  run();
  MeasuredCounts once = world.counts();
  state.counters["allocations"] = static_cast<double>(once.allocations);
  state.counters["peak_bytes"] = static_cast<double>(once.peakBytes);
  state.counters["objects"] = static_cast<double>(objects);
  double inController = 0;
  for (auto _ : state) {
    world.resetCounts();
    double seconds = run();
    double controller = world.counts().controllerSeconds;
    state.SetIterationTime(seconds - controller);
    inController += controller;
  }
  state.counters["controller_ns"] = inController * 1e9 / static_cast<double>(state.iterations());
}

template <class Routine> static double timed(Routine routine) {
  double start = cpuSeconds();
  routine();
  return cpuSeconds() - start;
}

static size_t objectsOf(const RAID_CONFIG &config) {
  return 1 + config.enclosureCount + config.physicalDiskCount + config.logicalDiskCount;
}

static size_t countObjects(const ControllerKind &kind) {
  MeasuredWorld world(kind);
  return objectsOf(world.records());
}

static void get(benchmark::State &state, const ControllerKind &kind) {
  size_t objects = countObjects(kind);
  MeasuredWorld world(kind);
  measure(state, world, objects, [&] { return timed([&] { world.get(); }); });
}

static void verify(benchmark::State &state, const ControllerKind &kind) {
  size_t objects = countObjects(kind);
  MeasuredWorld world(kind);
  std::string saved = world.document();
  measure(state, world, objects, [&] { return timed([&] { world.verify(saved); }); });
}

static void restore(benchmark::State &state, const ControllerKind &kind) {
  size_t objects = countObjects(kind);
  MeasuredWorld world(kind);
  std::string saved = world.document();
  measure(state, world, objects, [&] { return world.set(rebuild, saved, {}); });
}

static void change(benchmark::State &state, const ControllerKind &kind) {
  size_t objects = countObjects(kind);
  MeasuredWorld world(kind);
  std::string saved = world.document();
  measure(state, world, objects, [&] { return world.set(normal, saved, changes); });
}

// Whether both texts are the same document: pugixml prints both.
static void mustBeSame(const std::string &ours, const std::string &peer) {
  pugi::xml_document one;
  pugi::xml_document other;
  one.load_string(ours.c_str());
  other.load_string(peer.c_str());
  if (printed(one) != printed(other)) {
    std::fprintf(stderr, "benchmark: the peer builds another document\n%s\n%s", printed(one).c_str(),
                 printed(other).c_str());
    std::exit(1);
  }
}

static void peerGet(benchmark::State &state, const ControllerKind &kind) {
  MeasuredWorld world(kind);
  RAID_CONFIG config = world.records();
  mustBeSame(world.document(), peerInventory(config));
  measure(state, world, objectsOf(config),
          [&] { return timed([&] { benchmark::DoNotOptimize(peerInventory(config)); }); });
}

static void peerGetOfTexts(benchmark::State &state, const ControllerKind &kind) {
  size_t objects = countObjects(kind);
  MeasuredWorld world(kind);
  std::string document = world.document();
  ReadyTexts texts = readyTexts(document);
  mustBeSame(document, peerInventory(texts));
  measure(state, world, objects, [&] { return timed([&] { benchmark::DoNotOptimize(peerInventory(texts)); }); });
}

static void peerVerify(benchmark::State &state, const ControllerKind &kind) {
  size_t objects = countObjects(kind);
  MeasuredWorld world(kind);
  std::string saved = world.document();
  measure(state, world, objects, [&] { return timed([&] { benchmark::DoNotOptimize(peerWalk(saved)); }); });
}

using Bench = void (*)(benchmark::State &, const ControllerKind &);

static void add(const std::string &name, const ControllerKind &kind, Bench bench) {
  benchmark::RegisterBenchmark(name.c_str(), bench, kind)->UseManualTime();
}

void addOperationBenches() {
  // "large" has 240 disks and 64 virtual disks.
  static constexpr ControllerKind sizes[] = {
      {nullptr, 1, 1, 0},  {nullptr, 1, 8, 0}, {nullptr, 1, 8, 4},   {nullptr, 2, 12, 0},
      {nullptr, 2, 12, 8}, {"demo", 0, 0, 1},  {nullptr, 10, 24, 0}, {"large", 0, 0, 64},
  };
  for (const ControllerKind &kind : sizes) {
    std::string size = kind.preset != nullptr ? kind.preset
                                              : std::to_string(kind.enclosures * kind.slots) + " disks, " +
                                                    std::to_string(kind.virtualDisks) + " volumes";
    add("operations/get/" + size + "/ours", kind, get);
    add("operations/get/" + size + "/pugixml", kind, peerGet);
    add("operations/get/" + size + "/texts", kind, peerGetOfTexts);
    add("operations/verify/" + size + "/ours", kind, verify);
    add("operations/verify/" + size + "/pugixml", kind, peerVerify);
    add("operations/restore/" + size + "/ours", kind, restore);
    if (kind.virtualDisks != 0) {
      add("operations/change/" + size + "/ours", kind, change);
    }
  }
  for (UINT32 slots : growingSlots) {
    ControllerKind kind = {nullptr, growingEnclosures, slots, 0};
    std::string size = std::to_string(slots * growingEnclosures);
    add("growth/get/" + size + "/ours", kind, get);
    add("growth/get/" + size + "/pugixml", kind, peerGet);
    add("growth/get/" + size + "/texts", kind, peerGetOfTexts);
    add("growth/verify/" + size + "/ours", kind, verify);
    add("growth/verify/" + size + "/pugixml", kind, peerVerify);
    kind.virtualDisks = 1; // for the change to name
    add("growth/restore/" + size + "/ours", kind, restore);
    add("growth/change/" + size + "/ours", kind, change);
  }
}
