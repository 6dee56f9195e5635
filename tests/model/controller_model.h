// A controller in a few plain words: which disks there are, what is made of them, and what each command does to that.
// Written from the controller's and the driver's contracts alone, so that it can disagree with the code.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "raid_mgmt.h"

using IDS = std::vector<UINT32>;

constexpr UINT32 DIRECT = 0; // the enclosure of a disk that is in none

struct PLACE {
  UINT32 enclosure;
  UINT32 slot;
  UINT32 port;

  bool operator==(const PLACE &) const = default;
};

enum class DISK_STATE { ready, online, failed, foreign };

struct DISK {
  UINT32 id;
  PLACE place;
  bool hasFqdd; // else the controller keeps the name of the place to itself
  UINT64 size;
  UINT32 protocol;
  bool ssd;
  bool encrypts;
  DISK_STATE state = DISK_STATE::ready;
  UINT32 hotspare = 0; // 0 none, 1 dedicated, 2 global
  IDS volumes = {};    // that it is a member of, or that it is dedicated to

  bool operator==(const DISK &) const = default;
};

struct VOLUME {
  UINT32 id = 0;
  UINT32 target = 0;
  UINT32 level = 0;
  UINT64 size = 0; // 0: whatever the controller makes of it
  std::string name;
  UINT32 cachePolicy = 0;
  bool encrypted = false;
  bool cacheCade = false;
  IDS members; // one that was pulled stays

  bool operator==(const VOLUME &) const = default;
};

struct RATE {
  std::string name; // empty: an unused slot
  UINT32 value = 0;
  bool editable = false;

  bool operator==(const RATE &) const = default;
};

// Mode bytes as in a record: bit 7 marks one that is there.
struct SETTINGS {
  std::array<UINT8, 6> modes = {}; // uncertified, load balance, learn, consistency, patrol read, copy back
  std::vector<RATE> rates;

  bool operator==(const SETTINGS &) const = default;
};

struct KEY {
  std::string id;
  std::string passphrase;
  UINT32 mode = 0; // 1 LKM, 2 RKM

  bool operator==(const KEY &) const = default;
};

// What goes with a command.
struct SPARE {
  UINT32 hotspare = 0;
  IDS volumes;

  bool operator==(const SPARE &) const = default;
};
struct KEYS {
  KEY key;         // of a Rekey, the new one
  std::string old; // passphrase, of a Rekey
};
using PAYLOAD = std::variant<std::monostate, SPARE, VOLUME, SETTINGS, KEYS>;

struct COMMAND {
  UINT32 command = 0;
  UINT32 objectType = 0;
  IDS ids = {};
  PAYLOAD payload = {};
  UINT32 revision = 2;
};

struct CONTROLLER {
  UINT32 deviceId = 0;
  bool hidesDisks = true;
  bool cacheCadeCapable = true;
  UINT32 enclosures = 0; // their ids are 301, 302 ...
  UINT32 nextDiskId = 1001;
  SETTINGS settings; // rates slot by slot
  std::optional<KEY> key;
  std::vector<DISK> disks; // in the order of the controller's answers
  std::vector<VOLUME> volumes;
  std::vector<VOLUME> foreign; // ids and targets do not count

  DISK *disk(UINT32 id);
  const DISK *disk(UINT32 id) const { return const_cast<CONTROLLER *>(this)->disk(id); }
  VOLUME *volume(UINT32 id);
  const VOLUME *volume(UINT32 id) const { return const_cast<CONTROLLER *>(this)->volume(id); }
};

bool contains(const IDS &ids, UINT32 id);

// The name of a place, as an FQDD says it.
std::string fqddOf(const PLACE &place);

// Whether the controller accepts a command. Limits and free space are its own business: then it may.
enum class VERDICT { must, mustNot, may };
VERDICT judge(const CONTROLLER &controller, const COMMAND &command);

// What an accepted command leaves behind.
void apply(CONTROLLER &controller, const COMMAND &command);

// What a person at the server does; the objects exist.
void pull(CONTROLLER &controller, UINT32 id);
void replace(CONTROLLER &controller, UINT32 id, UINT64 size); // by a drive of the same kind
void swap(CONTROLLER &controller, UINT32 a, UINT32 b);
void fail(CONTROLLER &controller, UINT32 id);
void makeForeign(CONTROLLER &controller, const IDS &ready); // one virtual disk RAID 0 on them
void replaceAdapter(CONTROLLER &controller);
