// Commands to a simulated controller, without a driver in between.
#pragma once

#include <cstring>

#include "tests/support/kept_state.h"
#include "tests/support/world.h"

using Ids = std::vector<UINT32>;

inline WorldOptions bare(const char *preset) {
  return {.preset = preset, .xmlService = false, .debugLog = false, .driver = false, .connect = false};
}

inline EFI_STATUS execute(World &world, UINT32 command, UINT32 objectType, Ids ids, void *data,
                          RAID_CMD_RESULT *result) {
  RAID_CMD_BLOCK block = {2, command, objectType, static_cast<UINT32>(ids.size()), nullptr, data, 0};
  block.ObjectIds = ids.empty() ? nullptr : ids.data();
  return world.sim->protocol.Execute(&world.sim->protocol, &block, result);
}

inline EFI_STATUS giveBack(World &world, const RAID_CMD_RESULT &result) {
  return world.sim->protocol.FreeRecords(&world.sim->protocol, result.Data, result.DataSize >> RAID_RECORD_SHIFT);
}

// For commands whose answer does not matter.
inline EFI_STATUS run(World &world, UINT32 command, UINT32 objectType, const Ids &ids = {}, void *data = nullptr) {
  RAID_CMD_RESULT result = {};
  EFI_STATUS status = execute(world, command, objectType, ids, data, &result);
  EXPECT_TRUE(!EFI_ERROR(status) || result.Data == nullptr);
  if (result.Data != nullptr) {
    EXPECT_EQ(giveBack(world, result), EFI_SUCCESS);
  }
  return status;
}

inline EFI_STATUS create(World &world, UINT32 level, const Ids &disks, UINT64 size = 0, UINT32 attributes = 0) {
  RAID_VD_RECORD wanted = {};
  wanted.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  wanted.RAIDLevel = level;
  wanted.Size = size;
  wanted.Attributes = attributes;
  return run(world, RAID_COMMAND_CREATE, RAID_OBJECT_VIRTUAL_DISK, disks, &wanted);
}
