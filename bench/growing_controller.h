// A controller of any size for the benchmarks of growth, and how they are run.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "bench/measured_world.h"
#include "raid_records.h"

constexpr UINT32 growthCounts[] = {6250, 12500, 25000, 50000, 100000};

// A controller with that many of a kind, and otherwise as little as can be.
struct Answers {
  RAID_ADAPTER_RECORD adapter = {};
  std::vector<RAID_ENCLOSURE_RECORD> enclosures;
  std::vector<RAID_PD_RECORD> disks;
  std::vector<RAID_VD_RECORD> virtualDisks;
  std::vector<UINT32> ids;
};

// Append so many objects.
void addEnclosures(Answers &answers, UINT32 count);
void addDisks(Answers &answers, UINT32 count, UINT32 enclosures); // 0: they are in none
void addVirtualDisks(Answers &answers, UINT32 count, UINT32 members);

// Answers every Get, has no key, and lets every other command succeed. One at a time.
class GrowingController {
public:
  GrowingController(void (*fill)(Answers &answers, UINT32 count), UINT32 count);
  RAID_MGMT_PROTOCOL &protocol();

  Answers answers;
};

// Measures run, which returns its seconds: the median of three.
void measureGrowth(benchmark::State &state, const std::function<double()> &run);

// Registers bench for all counts as OPERATION, ROW'S NAME.
template <class Row>
void addGrowth(const std::string &operation, void (*bench)(benchmark::State &, const Row &, UINT32), const Row &row) {
  for (UINT32 count : growthCounts) {
    std::string name = "elements/" + operation + ", " + row.name + "/" + std::to_string(count) + "/ours";
    benchmark::RegisterBenchmark(name.c_str(), bench, row, count)->UseManualTime()->Iterations(1)->Repetitions(1);
  }
}
