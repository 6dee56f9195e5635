// Which controller it is.
#include "base/text.h"
#include "client/guard/guard.h"
#include "driver/controller/controller.h"

static void formatPlace(CHAR8 *place, const RAID_PCI_IDENTITY &identity) {
  formatHex(place, identity.PCIBus, 2);
  place[2] = ':';
  formatHex(place + 3, identity.PCIDevice, 2);
  place[5] = '.';
  formatHex(place + 6, identity.PCIFunction, 1);
}

EFI_STATUS readIdentity(RAID_MGMT_PROTOCOL *controller, CONTROLLER_IDENTITY *identity) {
  *identity = {};
  RAID_CMD_RESULT answer;
  EFI_STATUS status = issueCommand(controller, RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, &answer);
  if (EFI_ERROR(status)) {
    return status;
  }
  if (recordCount(&answer) != 0) {
    const RAID_ADAPTER_RECORD *adapter = static_cast<const RAID_ADAPTER_RECORD *>(answer.Data);
    textNarrow(identity->Name, adapter->Name, sizeof(identity->Name) - 1);
    for (CHAR8 &letter : identity->Name) {
      letter = letter != 0 && static_cast<UINT8>(letter) < ' ' ? '?' : letter; // it stands in questions as it is
    }
    formatPlace(identity->Place, adapter->PCIID);
    formatHex(identity->Wwn, adapter->WWN, 16);
  } else {
    status = EFI_NOT_FOUND;
  }
  giveBack(controller, &answer);
  return status;
}

void putIdentity(TEXT *text, const CONTROLLER_IDENTITY &identity) {
  const CHAR8 *parts[] = {orNone(identity.Name), ", PCI ", identity.Place, ", WWN ", identity.Wwn};
  for (const CHAR8 *part : parts) {
    putText(text, part);
  }
}

void sayIdentity(const XYL_FRONT *front, const CONTROLLER_IDENTITY &identity) {
  say(front, "%a, PCI %a, WWN %a", orNone(identity.Name), identity.Place, identity.Wwn);
}

void writeIdentity(JSON *json, const CONTROLLER_IDENTITY &identity) {
  jsonObject(json, "controller");
  jsonText(json, "name", identity.Name);
  jsonText(json, "pci", identity.Place);
  jsonText(json, "wwn", identity.Wwn);
  jsonEnd(json);
}
