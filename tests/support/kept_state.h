// The state of a simulated controller, kept aside to be put back or compared.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "providers/sim_controller/state.h"

using namespace xyl;

// Arrays of a controller only grow, so there is room for what was in them before.
template <class T> struct KeptArray {
  std::vector<T> items;

  explicit KeptArray(const PoolArray<T> &array) : items(array.items, array.items + array.count) {}
  void putBack(PoolArray<T> &array) const {
    array.count = static_cast<UINT32>(items.size());
    std::copy(items.begin(), items.end(), array.items);
  }
  bool isIn(const PoolArray<T> &array) const {
    return array.count == items.size() &&
           (items.empty() || std::memcmp(array.items, items.data(), sizeof(T) * items.size()) == 0);
  }
};

struct KeptState {
  sim::Adapter adapter;
  sim::Key key;
  UINT32 nextDiskId;
  KeptArray<sim::Enclosure> enclosures;
  KeptArray<sim::Disk> disks, pulledDisks;
  KeptArray<sim::VirtualDisk> virtualDisks, foreignDisks;

  explicit KeptState(const sim::Controller *sim)
      : adapter(sim->adapter), key(sim->key), nextDiskId(sim->nextDiskId), enclosures(sim->enclosures),
        disks(sim->disks), pulledDisks(sim->pulledDisks), virtualDisks(sim->virtualDisks),
        foreignDisks(sim->foreignDisks) {}

  void putBack(sim::Controller *sim) const {
    sim->adapter = adapter;
    sim->key = key;
    sim->nextDiskId = nextDiskId;
    enclosures.putBack(sim->enclosures);
    disks.putBack(sim->disks);
    pulledDisks.putBack(sim->pulledDisks);
    virtualDisks.putBack(sim->virtualDisks);
    foreignDisks.putBack(sim->foreignDisks);
  }

  bool isIn(const sim::Controller *sim) const {
    return std::memcmp(&sim->adapter, &adapter, sizeof adapter) == 0 && std::memcmp(&sim->key, &key, sizeof key) == 0 &&
           sim->nextDiskId == nextDiskId && enclosures.isIn(sim->enclosures) && disks.isIn(sim->disks) &&
           pulledDisks.isIn(sim->pulledDisks) && virtualDisks.isIn(sim->virtualDisks) &&
           foreignDisks.isIn(sim->foreignDisks);
  }
};
