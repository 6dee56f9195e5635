#include "providers/disk_controller/io/disk_place.h"

#include "base/device_path.h"
#include "base/pool.h"

namespace xyl::disk_controller {

// Types of device path nodes, type in the high byte.
constexpr UINT32 nodePci = 0x0101;
constexpr UINT32 nodeScsi = 0x0302;
constexpr UINT32 nodeSata = 0x0312;
constexpr UINT32 nodeNvme = 0x0317;
constexpr UINT8 messagingNode = 3;

static const EFI_GUID g_pciIoGuid = EFI_PCI_IO_PROTOCOL_GUID;

static UINT16 word(const UINT8 *bytes) {
  return static_cast<UINT16>(bytes[0] | bytes[1] << 8);
}

// A number for a node of a kind that is not taken apart, so that two such disks have two places.
static UINT64 numberOf(const UINT8 *node, UINTN length) {
  UINT32 hash = 2166136261U;
  for (UINTN i = 0; i < length; ++i) {
    hash = (hash ^ node[i]) * 16777619U;
  }
  return hash;
}

// Applies a node of that many bytes.
static void applyNode(const UINT8 *node, UINTN length, DiskPlace *place) {
  switch (node[0] << 8 | node[1]) {
  case nodePci:
    if (length >= 6) {
      place->pciFunction = node[4];
      place->pciDevice = node[5];
    }
    break;
  case nodeSata:
    if (length >= 8) {
      UINT16 multiplier = word(node + 6);
      place->bus = busSata;
      place->port = word(node + 4) | (multiplier == 0xFFFF ? 0ULL : (multiplier + 1ULL) << 16);
    }
    break;
  case nodeNvme:
    if (length >= 8) {
      place->bus = busNvme;
      place->port = word(node + 4) | static_cast<UINT64>(word(node + 6)) << 16;
    }
    break;
  case nodeScsi:
    if (length >= 8) {
      place->bus = busScsi;
      place->port = word(node + 4) | static_cast<UINT64>(word(node + 6)) << 16;
    }
    break;
  default:
    if (node[0] == messagingNode) {
      place->port = numberOf(node, length);
    }
    break;
  }
}

DiskPlace placeOf(EFI_DEVICE_PATH_PROTOCOL *path, EFI_HANDLE *controller) {
  DiskPlace place = {};
  place.bus = busOther;
  *controller = nullptr;
  if (path == nullptr) {
    return place;
  }
  const UINT8 *node = reinterpret_cast<const UINT8 *>(path);
  while (UINTN size = nodeSize(node)) {
    applyNode(node, size, &place);
    node += size;
  }
  EFI_DEVICE_PATH_PROTOCOL *rest = path;
  void *found = nullptr;
  if (EFI_ERROR(g_bootServices->LocateDevicePath(&g_pciIoGuid, &rest, controller)) ||
      EFI_ERROR(g_bootServices->HandleProtocol(*controller, &g_pciIoGuid, &found))) {
    *controller = nullptr;
    return place;
  }
  EFI_PCI_IO_PROTOCOL *pci = static_cast<EFI_PCI_IO_PROTOCOL *>(found);
  UINTN segment = 0;
  UINTN bus = 0;
  UINTN device = 0;
  UINTN function = 0;
  if (!EFI_ERROR(pci->GetLocation(pci, &segment, &bus, &device, &function))) {
    place.pciBus = static_cast<UINT16>(segment << 8 | (bus & 0xFF));
    place.pciDevice = static_cast<UINT8>(device);
    place.pciFunction = static_cast<UINT8>(function);
  }
  return place;
}

static int compare(UINT64 a, UINT64 b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

int comparePlaces(const DiskPlace &a, const DiskPlace &b) {
  const UINT64 left[] = {a.pciBus, a.pciDevice, a.pciFunction, a.bus, a.port};
  const UINT64 right[] = {b.pciBus, b.pciDevice, b.pciFunction, b.bus, b.port};
  for (unsigned i = 0; i < sizeof(left) / sizeof(left[0]); ++i) {
    int order = compare(left[i], right[i]);
    if (order != 0) {
      return order;
    }
  }
  return 0;
}

} // namespace xyl::disk_controller
