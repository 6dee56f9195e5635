// The methods that change documents of the commands are made of.
#pragma once

#include "client/verbs/change_writer.h"
#include "client/verbs/objects.h"

// By which a document names the virtual disks that it creates itself: this one and those that follow.
inline constexpr UINT32 NEW_VIRTUAL_DISK = 0x00100000;

// What is 0 is left to the controller.
struct NEW_VIRTUAL_DISK_REQUEST {
  const CHAR8 *Name; // null: none
  UINT32 Reference;
  UINT32 Level;          // RAID_LEVEL_
  UINT64 Size;           // 0: all there is
  UINT32 Stripe;         // RAID_STRIPE_SIZE_
  UINT32 Cache;          // RAID_CACHE_
  const UINT32 *Members; // places among the configuration's disks
  UINT32 MemberCount;
};
void putCreate(CHANGE_WRITER *writer, const RAID_CONFIG &config, const NEW_VIRTUAL_DISK_REQUEST &request);

// The policy with the groups that it does not name as another one has them, since it is one word to the controller.
UINT32 completedCache(UINT32 cache, UINT32 others);
// The element of a whole policy.
void putCache(CHANGE_WRITER *writer, UINT32 cache);

// The Change method that makes the disks spares of those virtual disks (ids or references; none: of all), or frees
// them.
struct SPARE_CHANGE {
  UINT64 Kind; // RAID_HOTSPARE_
  const CHOICE *Disks;
  const UINT32 *VirtualDisks;
  UINT32 VirtualDiskCount;
};
void putSpareChange(CHANGE_WRITER *writer, const RAID_CONFIG &config, const SPARE_CHANGE &change);

// --- The adapter ---

// Modes and rates of the adapter as they should be.
struct SETTINGS {
  RAID_ADAPTER_RECORD Adapter;
  UINT64 Rows;  // of g_adapterFields that are named, a bit each
  UINT32 Rates; // likewise
};
void putSettings(CHANGE_WRITER *writer, const SETTINGS &settings);

// Whether the row is a mode that can be set. Security modes come and go with the key.
bool isModeRow(const FIELD_ROW &row);
bool hasMode(const RAID_ADAPTER_RECORD &adapter, const FIELD_ROW &row);
void nameOfRate(CHAR8 (&name)[64], const RAID_RATE &rate);
bool isEditable(const RAID_RATE &rate);
