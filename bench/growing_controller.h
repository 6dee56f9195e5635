// A controller of any size for the benchmarks of growth, and how they are run.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "bench/measured_world.h"
#include "raid_records.h"

constexpr UINT32 GROWTH_COUNTS[] = {6250, 12500, 25000, 50000, 100000};

// A controller with that many of a kind, and otherwise as little as can be.
struct ANSWERS {
  RAID_ADAPTER_RECORD adapter = {};
  std::vector<RAID_ENCLOSURE_RECORD> enclosures;
  std::vector<RAID_PD_RECORD> disks;
  std::vector<RAID_VD_RECORD> virtualDisks;
  std::vector<UINT32> ids;
};

// Append so many objects.
void addEnclosures(ANSWERS &answers, UINT32 count);
void addDisks(ANSWERS &answers, UINT32 count, UINT32 enclosures); // 0: they are in none
void addVirtualDisks(ANSWERS &answers, UINT32 count, UINT32 members);

// Answers every Get, has no key, and lets every other command succeed. One at a time.
class GrowingController {
public:
  GrowingController(void (*fill)(ANSWERS &answers, UINT32 count), UINT32 count);
  RAID_MGMT_PROTOCOL &protocol();

  ANSWERS answers;
};

// Measures run, which returns its seconds: the median of three.
void measureGrowth(benchmark::State &state, const std::function<double()> &run);

// Registers bench for all counts as OPERATION, ROW'S NAME.
template <class ROW>
void addGrowth(const std::string &operation, void (*bench)(benchmark::State &, const ROW &, UINT32), const ROW &row) {
  for (UINT32 count : GROWTH_COUNTS) {
    std::string name = "elements/" + operation + ", " + row.name + "/" + std::to_string(count) + "/ours";
    benchmark::RegisterBenchmark(name.c_str(), bench, row, count)->UseManualTime()->Iterations(1)->Repetitions(1);
  }
}
