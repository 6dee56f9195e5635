#include <benchmark/benchmark.h>
#include <malloc.h>

#include "bench/benches.h"
#include "bench/image.h"

// raidxyl_bench [FOLDER/] [OPTIONS OF THE LIBRARY]: FOLDER has the images to measure.
int main(int argc, char **argv) {
  // Freed memory stays with the process, for every side alike: firmware has no kernel that maps and clears pages anew.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  benchmark::Initialize(&argc, argv);
  if (argc > 1 && argv[1][0] != '-') {
    g_imageFolder = argv[1];
    --argc;
    ++argv;
  }
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  addXmlBenches();
  addOperationBenches();
  addGrowthBenches();
  addChangeBenches();
  addTogetherBenches();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
