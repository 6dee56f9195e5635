// A machine with disks, the controller over them, and the driver bound to it.
#pragma once

#include <set>

#include "providers/disk_controller/disk_controller.h"
#include "raid_mgmt.h"
#include "tests/ddf/disks.h"
#include "tests/support/world.h"

// What the disks of a machine were asked to do.
struct DISK_BOOK {
  size_t reads = 0;
  size_t writes = 0;
  size_t flushes = 0;
  std::set<const SPARSE_DISK *> unflushed; // written since their last flush
  size_t failWrite = 0;                    // the write that fails, counted from 1; 0: none does
  const SPARSE_DISK *stuck = nullptr;      // its flushes fail
};

class Machine : public World {
public:
  // The disks stay the caller's. They stand in ports 0, 1, 2 ... and tell serial numbers S0, S1, S2 ...
  explicit Machine(DISKS &disks);
  ~Machine();

  // A command without an answer.
  EFI_STATUS run(UINT32 command, UINT32 objectType, std::vector<UINT32> ids = {}, const void *data = nullptr);

  RAID_MGMT_PROTOCOL *mgmt = nullptr;
  bool mayWrite = false; // that it did not is expected at the end
  DISK_BOOK book;
  std::vector<std::unique_ptr<BlockDevice>> devices;

private:
  EFI_HANDLE image_ = nullptr;
};

// 512 bytes as ATA's IDENTIFY DEVICE gives them.
std::vector<uint8_t> ataIdentity(const std::string &serial, const std::string &model, uint64_t wwn, bool solidState);
