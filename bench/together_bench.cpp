// Two controllers at once, and many operations in a row: the pool holds afterwards what it held before.
#include <benchmark/benchmark.h>

#include "bench/benches.h"

static const char *const rebuild = "<RunMode><Mode>Restore</Mode><Raid><PreserveVDConfig>False</PreserveVDConfig>"
                                   "</Raid></RunMode>";

// Two controllers and their documents.
struct Pair {
  MeasuredWorld world{ControllerKind{"demo", 0, 0, 0}};
  std::string saved[2];
  Pair() {
    world.add({nullptr, 2, 12, 8});
    for (size_t i = 0; i < 2; ++i) {
      world.select(i);
      world.set(rebuild, world.document(), {});
      saved[i] = world.document();
    }
  }
};

// An operation by number on a controller, which it must find as it was, but for the order of a virtual disk's disks.
static void operate(Pair &pair, size_t controller, int operation) {
  pair.world.select(controller);
  if (operation % 3 == 0) {
    mustSucceed(pair.world.document().size() == pair.saved[controller].size() ? EFI_SUCCESS : EFI_ABORTED,
                "another document");
  } else if (operation % 3 == 1) {
    pair.world.verify(pair.saved[controller]);
  } else {
    pair.world.set(rebuild, pair.saved[controller], {});
  }
}

// Fifty operations, which take turns.
static void inARow(Pair &pair) {
  for (int i = 0; i < 50; ++i) {
    operate(pair, static_cast<size_t>(i) % 2, i / 2);
  }
}

// An operation of the first controller, within whose first command one of the second begins and ends; every pair of
// operations once.
static void atOnce(Pair &pair) {
  for (int outer = 0; outer < 3; ++outer) {
    for (int inner = 0; inner < 3; ++inner) {
      pair.world.during([&] {
        operate(pair, 1, inner);
        pair.world.select(0);
      });
      operate(pair, 0, outer);
    }
  }
}

static void together(benchmark::State &state, void (*run)(Pair &pair)) {
  Pair pair;
  uint64_t grown = 0;
  for (auto _ : state) {
    uint64_t before = pair.world.liveBytes();
    run(pair);
    grown += pair.world.liveBytes() - before;
  }
  state.counters["grown_bytes"] = static_cast<double>(grown);
}

void addTogetherBenches() {
  benchmark::RegisterBenchmark("together/fifty in a row/demo and 24 disks/ours", together, inARow);
  benchmark::RegisterBenchmark("together/one within another/demo and 24 disks/ours", together, atOnce);
}
