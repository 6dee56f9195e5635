// A machine with disks, the controller over them, and the driver bound to it.
#pragma once

#include <functional>
#include <set>

#include "providers/disk_controller/disk_controller.h"
#include "raid_mgmt.h"
#include "tests/providers/ddf/disks.h"
#include "tests/support/world.h"

using namespace xyl;

// What the disks of a machine were asked to do.
struct DiskBook {
  size_t writes = 0;
  std::set<const SparseDisk *> unflushed; // written since their last flush
  const SparseDisk *stuck = nullptr;      // its flushes fail
};

class Machine : public World {
public:
  // The disks stay the caller's. They stand in ports 0, 1, 2 ... and tell serial numbers S0, S1, S2 ...
  explicit Machine(Disks &disks);
  // The same over what storeOf makes of each disk.
  Machine(size_t count, std::function<std::unique_ptr<host::SectorStore>(size_t disk)> storeOf);
  ~Machine();

  // Puts a disk that was taken out of devices back into its port.
  void plug(size_t disk);
  // A command whose answer, if there is one, is given back at once.
  EFI_STATUS run(UINT32 command, UINT32 objectType, std::vector<UINT32> ids = {}, const void *data = nullptr);

  // Calls act with each allocation failing in turn until there is memory for all of it, and afterFailure each time that
  // there was not.
  void sweepMemory(const std::function<EFI_STATUS()> &act, const std::function<void(EFI_STATUS)> &afterFailure);

  RAID_MGMT_PROTOCOL *mgmt = nullptr;
  bool mayWrite = false; // that it did not is expected at the end
  DiskBook book;
  std::vector<std::unique_ptr<host::BlockDevice>> devices;

private:
  std::function<std::unique_ptr<host::SectorStore>(size_t disk)> storeOf_;
  EFI_HANDLE image_ = nullptr;
};
