// Which controller it is.
#include "base/text.h"
#include "client/guard/guard.h"
#include "driver/controller/controller.h"

namespace xyl::client {

static void formatPlace(CHAR8 *place, const RAID_PCI_IDENTITY &identity) {
  formatHex(place, identity.PCIBus, 2);
  place[2] = ':';
  formatHex(place + 3, identity.PCIDevice, 2);
  place[5] = '.';
  formatHex(place + 6, identity.PCIFunction, 1);
}

EFI_STATUS readIdentity(RAID_MGMT_PROTOCOL *controller, ControllerIdentity *identity) {
  *identity = {};
  RAID_CMD_RESULT answer;
  EFI_STATUS status = driver::issueCommand(controller, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, &answer);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (driver::recordCount(&answer) != 0) {
    const RAID_ADAPTER_RECORD *adapter = static_cast<const RAID_ADAPTER_RECORD *>(answer.Data);
    textNarrow(identity->name, adapter->Name, sizeof(identity->name) - 1);
    for (CHAR8 &letter : identity->name) {
      letter = letter != 0 && static_cast<UINT8>(letter) < ' ' ? '?' : letter; // it stands in questions as it is
    }
    formatPlace(identity->place, adapter->PCIID);
    formatHex(identity->wwn, adapter->WWN, 16);
  } else {
    status = EFI_NOT_FOUND;
  }
  driver::giveBack(controller, &answer);
  return status;
}

void putIdentity(Text *text, const ControllerIdentity &identity) {
  const CHAR8 *parts[] = {orNone(identity.name), ", PCI ", identity.place, ", WWN ", identity.wwn};
  for (const CHAR8 *part : parts) {
    putText(text, part);
  }
}

void sayIdentity(const Front *front, const ControllerIdentity &identity) {
  say(front, "%a, PCI %a, WWN %a", orNone(identity.name), identity.place, identity.wwn);
}

void writeIdentity(Json *json, const ControllerIdentity &identity) {
  jsonObject(json, "controller");
  jsonText(json, "name", identity.name);
  jsonText(json, "pci", identity.place);
  jsonText(json, "wwn", identity.wwn);
  jsonEnd(json);
}

} // namespace xyl::client
