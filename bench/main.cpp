#include <benchmark/benchmark.h>
#include <malloc.h>

#include "bench/benches.h"

int main(int argc, char **argv) {
  // Freed memory stays with the process, for every side alike: firmware has no kernel that maps and clears pages anew.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  addXmlBenches();
  addOperationBenches();
  addGrowthBenches();
  addChangeBenches();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
