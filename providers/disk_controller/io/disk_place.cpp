#include "providers/disk_controller/io/disk_place.h"

#include "base/device_path.h"
#include "base/pool.h"

// Types of device path nodes, type in the high byte.
#define NODE_PCI 0x0101
#define NODE_SCSI 0x0302
#define NODE_SATA 0x0312
#define NODE_NVME 0x0317
#define MESSAGING_NODE 3

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
static void applyNode(const UINT8 *node, UINTN length, DISK_PLACE *place) {
  switch (node[0] << 8 | node[1]) {
  case NODE_PCI:
    if (length >= 6) {
      place->PciFunction = node[4];
      place->PciDevice = node[5];
    }
    break;
  case NODE_SATA:
    if (length >= 8) {
      UINT16 multiplier = word(node + 6);
      place->Bus = DISK_BUS_SATA;
      place->Port = word(node + 4) | (multiplier == 0xFFFF ? 0ULL : (multiplier + 1ULL) << 16);
    }
    break;
  case NODE_NVME:
    if (length >= 8) {
      place->Bus = DISK_BUS_NVME;
      place->Port = word(node + 4) | static_cast<UINT64>(word(node + 6)) << 16;
    }
    break;
  case NODE_SCSI:
    if (length >= 8) {
      place->Bus = DISK_BUS_SCSI;
      place->Port = word(node + 4) | static_cast<UINT64>(word(node + 6)) << 16;
    }
    break;
  default:
    if (node[0] == MESSAGING_NODE) {
      place->Port = numberOf(node, length);
    }
    break;
  }
}

DISK_PLACE placeOf(EFI_DEVICE_PATH_PROTOCOL *path, EFI_HANDLE *controller) {
  DISK_PLACE place = {};
  place.Bus = DISK_BUS_OTHER;
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
    place.PciBus = static_cast<UINT16>(segment << 8 | (bus & 0xFF));
    place.PciDevice = static_cast<UINT8>(device);
    place.PciFunction = static_cast<UINT8>(function);
  }
  return place;
}

static int compare(UINT64 a, UINT64 b) {
  return a < b ? -1 : a > b ? 1 : 0;
}

int comparePlaces(const DISK_PLACE &a, const DISK_PLACE &b) {
  const UINT64 left[] = {a.PciBus, a.PciDevice, a.PciFunction, a.Bus, a.Port};
  const UINT64 right[] = {b.PciBus, b.PciDevice, b.PciFunction, b.Bus, b.Port};
  for (unsigned i = 0; i < sizeof(left) / sizeof(left[0]); ++i) {
    int order = compare(left[i], right[i]);
    if (order != 0) {
      return order;
    }
  }
  return 0;
}
