// A layout: what should be on a controller, for servers that are not alike. docs/layouts.md has the language.
#pragma once

#include "base/array.h"
#include "client/documents/documents.h"
#include "fitting/fitting.h"
#include "raid_records.h"

namespace xyl::client::ensure {

// What becomes of virtual disks that the layout does not name.
enum class Others : UINT8 { leave, remove };

// What becomes of a virtual disk that differs in what cannot be changed without its data.
enum class Differs : UINT8 { refuse, keep, recreate };

// Where disks are.
enum class Where : UINT8 { anywhere, direct, enclosure };

// So many disks of a kind. What is 0 says nothing.
struct DiskWish {
  UINT32 count;    // of members 0: as few as the level takes
  UINT32 medium;   // RAID_LEVEL_ATTRIBUTE_HDD or RAID_LEVEL_ATTRIBUTE_SSD
  UINT32 protocol; // one RAID_PROTOCOL_
  UINT64 smallest; // in the disks' unit, as sizes are
  Where where;
  UINT32 enclosure; // its ObjectID, or else its Position
};

// The size of a virtual disk that takes all that its disks have.
constexpr UINT64 sizeAll = ~0ULL;

// A virtual disk that should be there. What is 0 says nothing: what is there is right then, and what is created gets
// the controller's default.
struct VirtualDiskWish {
  CHAR8 name[fitting::nameMax + 1]; // not empty; no two are the same
  UINT32 level;                     // one RAID_LEVEL_
  DiskWish disks;
  UINT64 size;   // or sizeAll
  UINT32 stripe; // one RAID_STRIPE_SIZE_
  UINT32 cache;  // RAID_CACHE_, of the groups that are named
  DiskWish spares;
  Differs differs;
};

struct RateWish {
  CHAR8 name[64]; // as the controller has it
  UINT8 percent;
};

// As many as one change document can create and then name.
constexpr UINT32 virtualDisksMax = 64;

// Gives back what it holds when it goes.
struct Layout {
  Layout() { zeroBytes(&adapter, sizeof(adapter)); }
  Layout(const Layout &) = delete;
  Layout &operator=(const Layout &) = delete;
  ~Layout() { poolFree(virtualDisks.items); }

  Others others = Others::leave;
  PoolArray<VirtualDiskWish> virtualDisks = {}; // in the order of the document, in which they choose their disks
  DiskWish globalSpares = {};
  UINT64 modes = 0; // rows of g_adapterFields that are named, a bit each, with their values in adapter
  RAID_ADAPTER_RECORD adapter;
  RateWish rates[RAID_RATE_COUNT] = {};
  UINT32 rateCount = 0;
};

// Reads a layout document that a message would call name into an empty layout. A mistake comes with a message that says
// where it is, and gives outcomeFailed with Reason::document.
Result readLayout(const Context &context, const CHAR8 *name, const CHAR8 *text, Layout *layout);

} // namespace xyl::client::ensure
