#include "providers/disk_controller/model/names.h"

#include "base/format.h"

static const CHAR8 *busName(DISK_BUS bus) {
  static constexpr const CHAR8 *names[] = {"SATA", "NVMe", "SCSI", "Block"};
  return names[bus];
}

static void EFIAPI format(CHAR16 *text, const CHAR16 *pattern, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, pattern);
  formatText(text, NAME_CAPACITY, pattern, arguments);
  EFI_VA_END(arguments);
}

static bool isCommon(const VIEW_ENCLOSURE &enclosure) {
  return enclosure.Bus == DISK_BUS_NVME || enclosure.Bus == DISK_BUS_OTHER;
}

static void functionText(const DISK_PLACE &place, CHAR16 *text) {
  format(text, u"%x-%x-%x", UINT32{place.PciBus}, UINT32{place.PciDevice}, UINT32{place.PciFunction});
}

// The second number is a logical unit or the port of a multiplier.
static void placeText(const DISK_PLACE &place, CHAR16 *text) {
  CHAR16 function[NAME_CAPACITY];
  functionText(place, function);
  UINT32 port = static_cast<UINT32>(place.Port) & 0xFFFF;
  UINT64 second = place.Port >> 16;
  format(text, second == 0 ? u"%s:%u" : u"%s:%u.%lu", function, port, second);
}

void diskFqdd(const VIEW &view, UINT32 disk, CHAR16 *text) {
  const DISK_PLACE &place = view.List.Items[disk].Place;
  CHAR16 where[NAME_CAPACITY];
  placeText(place, where);
  format(text, u"Disk.%a.%s", busName(place.Bus), where);
}

void diskName(const VIEW &view, UINT32 disk, CHAR16 *text) {
  const DISK_PLACE &place = view.List.Items[disk].Place;
  CHAR16 where[NAME_CAPACITY];
  CHAR8 why[96];
  placeText(place, where);
  whyUnusable(view, disk, why, sizeof(why));
  format(text, why[0] == 0 ? u"%a disk %s" : u"%a disk %s (%a)", busName(place.Bus), where, why);
}

void enclosureFqdd(const VIEW_ENCLOSURE &enclosure, CHAR16 *text) {
  CHAR16 where[NAME_CAPACITY];
  functionText(enclosure.Place, where);
  format(text, isCommon(enclosure) ? u"Enclosure.%a" : u"Enclosure.%a.%s", busName(enclosure.Bus), where);
}

void enclosureName(const VIEW_ENCLOSURE &enclosure, CHAR16 *text) {
  CHAR16 where[NAME_CAPACITY];
  functionText(enclosure.Place, where);
  format(text, isCommon(enclosure) ? u"%a disks" : u"%a ports of %s", busName(enclosure.Bus), where);
}

void virtualDiskFqdd(const VIEW_VIRTUAL_DISK &virtualDisk, CHAR16 *text) {
  format(text, u"Disk.Virtual.%u", virtualDisk.TargetId);
}
