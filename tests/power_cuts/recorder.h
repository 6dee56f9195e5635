// Disks in memory that note what is written to them, can lose it again, fail and vanish.
#pragma once

#include <memory>
#include <set>

#include "host/firmware/block_device.h"
#include "tests/providers/ddf/disks.h"

using namespace xyl;

enum DiskCall { diskRead, diskWrite, diskFlush, diskCalls };

// One sector that was written, or a flush.
struct DiskEvent {
  DiskCall call;
  size_t disk;
  UINT64 lba;
  SectorBytes bytes;
};

// The calls of one kind, counted over all disks from 1, that fail: one, or with it whatever its disk is asked from then
// on. A write that fails has written half of its sectors.
struct DiskPlan {
  DiskCall call = diskRead;
  size_t nth = 0; // 0: none
  bool forGood = false;
};

struct Recorder {
  Disks disks;
  std::vector<DiskEvent> log; // without sectors that were written as they were
  std::set<size_t> waiting;   // disks that were written to and not flushed since
  DiskPlan plan;
  size_t calls[diskCalls] = {};
  bool paused = false;        // calls are not counted, and none fails
  size_t failed = ~size_t{0}; // the disk whose call failed, or none

  void begin(Disks now, const DiskPlan &what = {});      // forgets everything else
  void heal();                                           // no call fails any more
  std::unique_ptr<host::SectorStore> store(size_t disk); // of a disk of the recorder, which outlives it
};

enum Cut {
  cutDurable, // nothing that was not flushed has come through
  cutWhole,   // all of it has
  cutPart,
};

// Calls look with what the disks hold after a cut: wherever in the log it comes, each disk has what it held at its last
// flush, and of the sectors written since then any. Few sectors are tried in all choices; of many each beginning, each
// alone, all but each, and some choices by chance. Returns how many states there were.
size_t forEachCut(const Disks &before, const std::vector<DiskEvent> &log,
                  const std::function<void(Disks &disks, Cut cut)> &look);
