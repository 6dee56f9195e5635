#include "providers/disk_controller/model/names.h"

#include "base/format.h"

namespace xyl::disk_controller {

static const CHAR8 *busName(DiskBus bus) {
  static constexpr const CHAR8 *names[] = {"SATA", "NVMe", "SCSI", "Block"};
  return names[bus];
}

static void EFIAPI format(CHAR16 *text, const CHAR16 *pattern, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, pattern);
  formatText(text, nameCapacity, pattern, arguments);
  EFI_VA_END(arguments);
}

static bool isCommon(const ViewEnclosure &enclosure) {
  return enclosure.bus == busNvme || enclosure.bus == busOther;
}

static void functionText(const DiskPlace &place, CHAR16 *text) {
  format(text, u"%x-%x-%x", UINT32{place.pciBus}, UINT32{place.pciDevice}, UINT32{place.pciFunction});
}

// The second number is a logical unit or the port of a multiplier.
static void placeText(const DiskPlace &place, CHAR16 *text) {
  CHAR16 function[nameCapacity];
  functionText(place, function);
  UINT32 port = static_cast<UINT32>(place.port) & 0xFFFF;
  UINT64 second = place.port >> 16;
  format(text, second == 0 ? u"%s:%u" : u"%s:%u.%lu", function, port, second);
}

void diskFqdd(const View &view, UINT32 disk, CHAR16 *text) {
  const DiskPlace &place = view.list.items[disk].place;
  CHAR16 where[nameCapacity];
  placeText(place, where);
  format(text, u"Disk.%a.%s", busName(place.bus), where);
}

void diskName(const View &view, UINT32 disk, CHAR16 *text) {
  const DiskPlace &place = view.list.items[disk].place;
  CHAR16 where[nameCapacity];
  CHAR8 why[96];
  placeText(place, where);
  whyUnusable(view, disk, why, sizeof(why));
  format(text, why[0] == 0 ? u"%a disk %s" : u"%a disk %s (%a)", busName(place.bus), where, why);
}

void enclosureFqdd(const ViewEnclosure &enclosure, CHAR16 *text) {
  CHAR16 where[nameCapacity];
  functionText(enclosure.place, where);
  format(text, isCommon(enclosure) ? u"Enclosure.%a" : u"Enclosure.%a.%s", busName(enclosure.bus), where);
}

void enclosureName(const ViewEnclosure &enclosure, CHAR16 *text) {
  CHAR16 where[nameCapacity];
  functionText(enclosure.place, where);
  format(text, isCommon(enclosure) ? u"%a disks" : u"%a ports of %s", busName(enclosure.bus), where);
}

void virtualDiskFqdd(const ViewVirtualDisk &virtualDisk, CHAR16 *text) {
  format(text, u"Disk.Virtual.%u", virtualDisk.targetId);
}

} // namespace xyl::disk_controller
