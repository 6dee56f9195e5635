// What a layout means for one controller: what is kept, changed, created, deleted and left, and what cannot be.
#pragma once

#include "client/ensure/layout.h"
#include "client/output/output.h"
#include "client/verbs/methods.h"

namespace xyl::client::ensure {

// What becomes of a virtual disk.
enum class Fate : UINT8 {
  keep,     // as it is
  change,   // its cache policy
  create,   // it is not there
  recreate, // deleted, with its data, and created anew
  remove,   // deleted, with its data: the layout does not name it, and does not leave others
  leave,    // the layout does not name it
  refuse,   // it cannot be as the layout says
  count
};

// As words and JSON have it: "keep", "change", "create", "recreate", "delete", "leave", "refuse".
const CHAR8 *fateName(Fate fate);

// A virtual disk that the layout names, or that is on the controller.
struct VirtualDiskVerdict {
  const VirtualDiskWish *wish; // the layout's; null: it does not name it
  UINT32 place;                // among the controller's virtual disks; noId: it is not there
  Fate fate;
  Text why;                  // what differs, changes or is in the way; often nothing
  UINT32 cache;              // the whole policy that it gets, if it is created or changed; 0: the controller's default
  UINT64 size;               // of a new one, as asked for; 0: all
  PoolArray<UINT32> members; // of a new one; places among the controller's disks, none for fewer than it needs
};

// A disk that becomes a hot spare, or none any more.
struct SpareVerdict {
  UINT32 disk;        // its place among the controller's
  UINT32 virtualDisk; // the verdict of the one that it stands by for; noId: all
  bool frees;         // it was one for all, and is free then
};

struct SettingVerdict {
  const CHAR8 *element; // as documents name it
  CHAR8 rate[64];       // the rate's name; empty for a mode
  CHAR8 current[32];
  CHAR8 wanted[32];
};

// Gives back what it holds when it goes, which is before the layout and the configuration do.
struct Judgement {
  Judgement() = default;
  Judgement(const Judgement &) = delete;
  Judgement &operator=(const Judgement &) = delete;
  ~Judgement();

  PoolArray<VirtualDiskVerdict> virtualDisks = {}; // those of the layout in its order, then the others
  PoolArray<SpareVerdict> spares = {};             // those that are freed first
  PoolArray<SettingVerdict> settings = {};         // those that change
  Settings adapter = {};                           // the same, as the change is sent
  PoolArray<Text> refusals = {};                   // a line for each thing that cannot be; then nothing may be changed

  bool isRefused() const { return refusals.count != 0; }
  bool destroys() const; // data
  bool changes() const;  // anything
};

// Judges the layout against what the controller holds (an inventory, as readConfiguration gives it). isOnDisks: it is a
// controller over disks of the machine, which takes shorter names. Failure is EFI_OUT_OF_RESOURCES alone; the
// judgement,
// {} before, means nothing then.
EFI_STATUS judge(const RAID_CONFIG &config, bool isOnDisks, const Layout &layout, Judgement *judgement);

// Writes the change document of a judgement that refuses nothing and changes something: cache policies, hot spares that
// are freed, deletions, creations, hot spares, the adapter's settings, in this order. The caller ends the
// document. Returns the number of its methods.
UINT32 writeChanges(const RAID_CONFIG &config, const Judgement &judgement, ChangeWriter *writer);

} // namespace xyl::client::ensure
