// Management software on the host: the driver bound to a simulated controller, on the stand-in for firmware. Breaks a
// disk, and prints the inventory document.
#include <cstdio>

#include "driver/binding/binding.h"
#include "host/firmware/firmware.h"
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/xml_service/xml_service.h"
#include "raid_xyl.h"

using namespace xyl;

static RAID_XYL_PROTOCOL *bindDriver(host::Firmware &firmware, sim::Controller *sim) {
  static const EFI_GUID guid = RAID_XYL_PROTOCOL_GUID;
  EFI_HANDLE controller = nullptr;
  void *xyl = nullptr;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  if (EFI_ERROR(sim::install(sim, &controller)) ||
      EFI_ERROR(services->ConnectController(controller, nullptr, nullptr, /* Recursive= */ 1)) ||
      EFI_ERROR(services->HandleProtocol(controller, &guid, &xyl))) {
    return nullptr;
  }
  return static_cast<RAID_XYL_PROTOCOL *>(xyl);
}

static bool printInventory(host::Firmware &firmware, RAID_XYL_PROTOCOL *xyl) {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER document = {};
  if (EFI_ERROR(xyl->Get_Live(xyl, &parameter, &document))) {
    return false;
  }
  std::fputs(static_cast<const char *>(document.Data), stdout);
  firmware.bootServices()->FreePool(document.Data);
  return true;
}

int main() {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable()); // for the simulated controller, which is part of no image here
  sim::Controller *sim = nullptr;
  EFI_HANDLE xmlService = nullptr;
  EFI_HANDLE driver = nullptr;
  if (EFI_ERROR(firmware.loadImage(xml_service::XmlServiceEntry, &xmlService)) ||
      EFI_ERROR(firmware.loadImage(driver::RaidXylEntry, &driver)) || EFI_ERROR(sim::create("demo", &sim))) {
    return 1;
  }
  sim::failDisk(sim, sim->disks.items[0].record.ObjectID);
  RAID_XYL_PROTOCOL *xyl = bindDriver(firmware, sim);
  bool printed = xyl != nullptr && printInventory(firmware, xyl);
  // In this order: the driver lets go of the controller, which then can go itself.
  firmware.unloadImage(driver);
  sim::destroy(sim);
  firmware.unloadImage(xmlService);
  return printed && firmware.complaints().empty() && firmware.pool().liveAllocations == 0 ? 0 : 1;
}
