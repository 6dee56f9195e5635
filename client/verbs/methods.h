// The methods that change documents of the commands are made of.
#pragma once

#include "client/verbs/change_writer.h"
#include "client/verbs/objects.h"

namespace xyl::client {

// By which a document names the virtual disks that it creates itself: this one and those that follow.
inline constexpr UINT32 newVirtualDisk = 0x00100000;

// What is 0 is left to the controller.
struct NewVirtualDiskRequest {
  const CHAR8 *name; // null: none
  UINT32 reference;
  UINT32 level;          // RAID_LEVEL_
  UINT64 size;           // 0: all there is
  UINT32 stripe;         // RAID_STRIPE_SIZE_
  UINT32 cache;          // RAID_CACHE_
  const UINT32 *members; // places among the configuration's disks
  UINT32 memberCount;
};
void putCreate(ChangeWriter *writer, const RAID_CONFIG &config, const NewVirtualDiskRequest &request);

// The policy with the groups that it does not name as another one has them, since it is one word to the controller.
UINT32 completedCache(UINT32 cache, UINT32 others);
// The element of a whole policy.
void putCache(ChangeWriter *writer, UINT32 cache);

// The Change method that makes the disks spares of those virtual disks (ids or references; none: of all), or frees
// them.
struct SpareChange {
  UINT64 kind; // RAID_HOTSPARE_
  const Choice *disks;
  const UINT32 *virtualDisks;
  UINT32 virtualDiskCount;
};
void putSpareChange(ChangeWriter *writer, const RAID_CONFIG &config, const SpareChange &change);

// --- The adapter ---

// Modes and rates of the adapter as they should be.
struct Settings {
  RAID_ADAPTER_RECORD adapter;
  UINT64 rows;  // of g_adapterFields that are named, a bit each
  UINT32 rates; // likewise
};
void putSettings(ChangeWriter *writer, const Settings &settings);

// Whether the row is a mode that can be set. Security modes come and go with the key.
bool isModeRow(const driver::FieldRow &row);
bool hasMode(const RAID_ADAPTER_RECORD &adapter, const driver::FieldRow &row);
void nameOfRate(CHAR8 (&name)[64], const RAID_RATE &rate);
bool isEditable(const RAID_RATE &rate);

} // namespace xyl::client
