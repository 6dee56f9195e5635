#include "client/plan/disk_fits.h"

#include "base/pool.h"
#include "base/sort.h"

static constexpr UINTN ALL_ORDERS = 2 * DISK_ORDER_COUNT + 1;

// What an order is sorted by before the size.
struct DISK_ORDER {
  bool ByPlace;
  UINTN Traits; // how many of medium, protocol and encryption
};

static FIT_TRAITS traitsOf(const RAID_PD_RECORD &disk) {
  UINT64 place = UINT64{disk.EnclosureObjectID} << 16 | static_cast<UINT64>(disk.Slot) << 8 | disk.Port;
  return {{place, UINT64{disk.Attributes} & RAID_PD_ATTRIBUTE_SSD, disk.Protocol,
           UINT64{disk.Attributes} & RAID_PD_ATTRIBUTE_FDE},
          disk.Size};
}

// Below, at or above zero.
static int compareGroups(const DISK_ORDER &order, const FIT_TRAITS &a, const FIT_TRAITS &b) {
  for (UINTN i = order.ByPlace ? 0 : 1; i <= order.Traits; ++i) {
    if (a.Keys[i] != b.Keys[i]) {
      return a.Keys[i] < b.Keys[i] ? -1 : 1;
    }
  }
  return 0;
}

static UINT32 *orderOf(const FIT_INDEX &fits, const DISK_ORDER &order) {
  UINTN number = (order.ByPlace ? DISK_ORDER_COUNT : 0) + order.Traits;
  return fits.Orders + number * fits.Count;
}

static constexpr DISK_ORDER BY_PLACE = {/* ByPlace= */ true, /* Traits= */ 0};

static UINT32 *numberOrder(const FIT_INDEX &fits) {
  return fits.Orders + (ALL_ORDERS - 1) * fits.Count;
}

EFI_STATUS makeFitIndex(FIT_INDEX *fits, const RAID_PD_RECORD *disks, UINT32 count) {
  *fits = {};
  if (count == 0) {
    return EFI_SUCCESS;
  }
  UINT8 *block = poolNew<UINT8>(count * (sizeof(FIT_TRAITS) + ALL_ORDERS * sizeof(UINT32)));
  if (block == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  FIT_TRAITS *traits = reinterpret_cast<FIT_TRAITS *>(block);
  *fits = {disks, count, traits, reinterpret_cast<UINT32 *>(traits + count)};
  for (UINT32 i = 0; i < count; ++i) {
    traits[i] = traitsOf(disks[i]);
  }
  for (UINTN i = 0; i < UINTN{ALL_ORDERS} * count; ++i) {
    fits->Orders[i] = static_cast<UINT32>(i % count);
  }
  for (UINTN i = 0; i < 2 * DISK_ORDER_COUNT; ++i) {
    DISK_ORDER order = {i >= DISK_ORDER_COUNT, i % DISK_ORDER_COUNT};
    sortArray(orderOf(*fits, order), count, [&](UINT32 a, UINT32 b) {
      int groups = compareGroups(order, traits[a], traits[b]);
      return groups != 0 ? groups < 0 : traits[a].Size < traits[b].Size;
    });
  }
  sortArray(numberOrder(*fits), count, [&](UINT32 a, UINT32 b) {
    int places = compareGroups(BY_PLACE, traits[a], traits[b]);
    return places != 0 ? places < 0 : a < b;
  });
  return EFI_SUCCESS;
}

void freeFitIndex(FIT_INDEX *fits) {
  poolFree(fits->Traits);
  *fits = {};
}

UINT32 firstInPlace(const FIT_INDEX &fits, const RAID_PD_RECORD &saved) {
  const UINT32 *order = numberOrder(fits);
  FIT_TRAITS wanted = traitsOf(saved);
  UINTN first = countBefore(order, fits.Count,
                            [&](UINT32 disk) { return compareGroups(BY_PLACE, fits.Traits[disk], wanted) < 0; });
  return first < fits.Count && samePlace(saved, fits.Disks[order[first]]) ? order[first] : fits.Count;
}

// How many disks of the saved one's group are at least that large.
static UINT32 countFrom(const FIT_INDEX &fits, const DISK_ORDER &order, const RAID_PD_RECORD &saved, UINT64 size) {
  const UINT32 *numbers = orderOf(fits, order);
  FIT_TRAITS wanted = traitsOf(saved);
  UINTN below = countBefore(numbers, fits.Count, [&](UINT32 disk) {
    int groups = compareGroups(order, fits.Traits[disk], wanted);
    return groups != 0 ? groups < 0 : fits.Traits[disk].Size < size;
  });
  UINTN upTo = countBefore(numbers, fits.Count,
                           [&](UINT32 disk) { return compareGroups(order, fits.Traits[disk], wanted) <= 0; });
  return static_cast<UINT32>(upTo - below);
}

// Adds the disks anywhere, or those in the saved disk's place, sign times.
static void addCounts(const FIT_INDEX &fits, const RAID_PD_RECORD &saved, bool byPlace, UINT32 sign,
                      UINT32 (&counts)[DISK_FIT_COUNT]) {
  UINT32 left = countFrom(fits, {byPlace, 0}, saved, 0);
  static constexpr DISK_FIT failures[DISK_ORDER_COUNT] = {DISK_TOO_SMALL, DISK_OTHER_MEDIUM, DISK_OTHER_PROTOCOL,
                                                          DISK_NOT_ENCRYPTING};
  // Only an encrypting disk asks for another one.
  UINTN traits = (saved.Attributes & RAID_PD_ATTRIBUTE_FDE) != 0 ? DISK_ORDER_COUNT : DISK_ORDER_COUNT - 1;
  for (UINTN i = 0; i < traits; ++i) {
    UINT32 good = countFrom(fits, {byPlace, i}, saved, saved.Size);
    counts[failures[i]] += sign * (left - good);
    left = good;
  }
  counts[DISK_FITS] += sign * left;
}

void countElsewhere(const FIT_INDEX &fits, const RAID_PD_RECORD &saved, UINT32 (&counts)[DISK_FIT_COUNT]) {
  zeroBytes(counts, sizeof(counts));
  addCounts(fits, saved, /* byPlace= */ false, 1, counts);
  addCounts(fits, saved, /* byPlace= */ true, ~0U, counts);
}
