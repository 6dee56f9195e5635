#include "client/plan/disk_fits.h"

#include "base/pool.h"
#include "base/sort.h"

namespace xyl::client {

static constexpr UINTN allOrders = 2 * diskOrderCount + 1;

// What an order is sorted by before the size.
struct DiskOrder {
  bool byPlace;
  UINTN traits; // how many of medium, protocol and encryption
};

static FitTraits traitsOf(const RAID_PD_RECORD &disk) {
  UINT64 place = UINT64{disk.EnclosureObjectID} << 16 | static_cast<UINT64>(disk.Slot) << 8 | disk.Port;
  return {{place, UINT64{disk.Attributes} & RAID_PD_ATTRIBUTE_SSD, disk.Protocol,
           UINT64{disk.Attributes} & RAID_PD_ATTRIBUTE_FDE},
          disk.Size};
}

// Below, at or above zero.
static int compareGroups(const DiskOrder &order, const FitTraits &a, const FitTraits &b) {
  for (UINTN i = order.byPlace ? 0 : 1; i <= order.traits; ++i) {
    if (a.keys[i] != b.keys[i]) {
      return a.keys[i] < b.keys[i] ? -1 : 1;
    }
  }
  return 0;
}

static UINT32 *orderOf(const FitIndex &fits, const DiskOrder &order) {
  UINTN number = (order.byPlace ? diskOrderCount : 0) + order.traits;
  return fits.orders + number * fits.count;
}

static constexpr DiskOrder placeOrder = {/* ByPlace= */ true, /* Traits= */ 0};

static UINT32 *numberOrder(const FitIndex &fits) {
  return fits.orders + (allOrders - 1) * fits.count;
}

EFI_STATUS makeFitIndex(FitIndex *fits, const RAID_PD_RECORD *disks, UINT32 count) {
  *fits = {};
  if (count == 0) {
    return EFI_SUCCESS;
  }
  UINT8 *block = poolNew<UINT8>(count * (sizeof(FitTraits) + allOrders * sizeof(UINT32)));
  if (block == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  FitTraits *traits = reinterpret_cast<FitTraits *>(block);
  *fits = {disks, count, traits, reinterpret_cast<UINT32 *>(traits + count)};
  for (UINT32 i = 0; i < count; ++i) {
    traits[i] = traitsOf(disks[i]);
  }
  for (UINTN i = 0; i < UINTN{allOrders} * count; ++i) {
    fits->orders[i] = static_cast<UINT32>(i % count);
  }
  for (UINTN i = 0; i < 2 * diskOrderCount; ++i) {
    DiskOrder order = {i >= diskOrderCount, i % diskOrderCount};
    sortArray(orderOf(*fits, order), count, [&](UINT32 a, UINT32 b) {
      int groups = compareGroups(order, traits[a], traits[b]);
      return groups != 0 ? groups < 0 : traits[a].size < traits[b].size;
    });
  }
  sortArray(numberOrder(*fits), count, [&](UINT32 a, UINT32 b) {
    int places = compareGroups(placeOrder, traits[a], traits[b]);
    return places != 0 ? places < 0 : a < b;
  });
  return EFI_SUCCESS;
}

void freeFitIndex(FitIndex *fits) {
  poolFree(fits->traits);
  *fits = {};
}

UINT32 firstInPlace(const FitIndex &fits, const RAID_PD_RECORD &saved) {
  const UINT32 *order = numberOrder(fits);
  FitTraits wanted = traitsOf(saved);
  UINTN first = countBefore(order, fits.count,
                            [&](UINT32 disk) { return compareGroups(placeOrder, fits.traits[disk], wanted) < 0; });
  return first < fits.count && driver::samePlace(saved, fits.disks[order[first]]) ? order[first] : fits.count;
}

// How many disks of the saved one's group are at least that large.
static UINT32 countFrom(const FitIndex &fits, const DiskOrder &order, const RAID_PD_RECORD &saved, UINT64 size) {
  const UINT32 *numbers = orderOf(fits, order);
  FitTraits wanted = traitsOf(saved);
  UINTN below = countBefore(numbers, fits.count, [&](UINT32 disk) {
    int groups = compareGroups(order, fits.traits[disk], wanted);
    return groups != 0 ? groups < 0 : fits.traits[disk].size < size;
  });
  UINTN upTo = countBefore(numbers, fits.count,
                           [&](UINT32 disk) { return compareGroups(order, fits.traits[disk], wanted) <= 0; });
  return static_cast<UINT32>(upTo - below);
}

// Adds the disks anywhere, or those in the saved disk's place, sign times.
static void addCounts(const FitIndex &fits, const RAID_PD_RECORD &saved, bool byPlace, UINT32 sign,
                      UINT32 (&counts)[diskFitCount]) {
  UINT32 left = countFrom(fits, {byPlace, 0}, saved, 0);
  static constexpr driver::DiskFit failures[diskOrderCount] = {driver::diskTooSmall, driver::diskOtherMedium,
                                                               driver::diskOtherProtocol, driver::diskNotEncrypting};
  // Only an encrypting disk asks for another one.
  UINTN traits = (saved.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0 ? diskOrderCount : diskOrderCount - 1;
  for (UINTN i = 0; i < traits; ++i) {
    UINT32 good = countFrom(fits, {byPlace, i}, saved, saved.Size);
    counts[failures[i]] += sign * (left - good);
    left = good;
  }
  counts[driver::diskFits] += sign * left;
}

void countElsewhere(const FitIndex &fits, const RAID_PD_RECORD &saved, UINT32 (&counts)[diskFitCount]) {
  zeroBytes(counts, sizeof(counts));
  addCounts(fits, saved, /* byPlace= */ false, 1, counts);
  addCounts(fits, saved, /* byPlace= */ true, ~0U, counts);
}

} // namespace xyl::client
