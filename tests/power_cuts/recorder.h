// Disks in memory that note what is written to them, can lose it again, fail and vanish.
#pragma once

#include <memory>
#include <set>

#include "host/firmware/block_device.h"
#include "tests/providers/ddf/disks.h"

enum DISK_CALL { DISK_READ, DISK_WRITE, DISK_FLUSH, DISK_CALLS };

// One sector that was written, or a flush.
struct DISK_EVENT {
  DISK_CALL call;
  size_t disk;
  UINT64 lba;
  SECTOR_BYTES bytes;
};

// The calls of one kind, counted over all disks from 1, that fail: one, or with it whatever its disk is asked from then
// on. A write that fails has written half of its sectors.
struct DISK_PLAN {
  DISK_CALL call = DISK_READ;
  size_t nth = 0; // 0: none
  bool forGood = false;
};

struct Recorder {
  DISKS disks;
  std::vector<DISK_EVENT> log; // without sectors that were written as they were
  std::set<size_t> waiting;    // disks that were written to and not flushed since
  DISK_PLAN plan;
  size_t calls[DISK_CALLS] = {};
  bool paused = false;        // calls are not counted, and none fails
  size_t failed = ~size_t{0}; // the disk whose call failed, or none

  void begin(DISKS now, const DISK_PLAN &what = {}); // forgets everything else
  void heal();                                       // no call fails any more
  std::unique_ptr<SectorStore> store(size_t disk);   // of a disk of the recorder, which outlives it
};

enum CUT {
  CUT_DURABLE, // nothing that was not flushed has come through
  CUT_WHOLE,   // all of it has
  CUT_PART,
};

// Calls look with what the disks hold after a cut: wherever in the log it comes, each disk has what it held at its last
// flush, and of the sectors written since then any. Few sectors are tried in all choices; of many each beginning, each
// alone, all but each, and some choices by chance. Returns how many states there were.
size_t forEachCut(const DISKS &before, const std::vector<DISK_EVENT> &log,
                  const std::function<void(DISKS &disks, CUT cut)> &look);
