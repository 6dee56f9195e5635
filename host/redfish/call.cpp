// What requests for drives and for volumes have in common.
#include "host/redfish/body.h"
#include "host/redfish/request.h"

REDFISH_WANTS readChange(const REDFISH_CALL &call, REDFISH_TABLE table) {
  REDFISH_WANTS wants = readBody(call.model, call.body, {table, WRITE_CHANGE, call.resource});
  if (wants.byElement.empty()) {
    refuse("NoOperation");
  }
  *call.notes = wants.notes;
  return wants;
}

void putHotspare(CHANGE_WRITER *writer, UINT64 disk, const char *kind, const std::vector<UINT64> &volumes) {
  openMethod(writer, "Change", "Physical Disk");
  putElement(writer, "OID", disk);
  openObject(writer, "PD", "Physical Disk");
  putElement(writer, "Hotspare", kind);
  for (UINT64 volume : volumes) {
    putElement(writer, "VD", volume);
  }
  closeMethod(writer);
}

void needReady(const REDFISH_MODEL &model, const Json &disk, const std::string &property, const std::string &value) {
  if (disk.value("State", "") != "Ready") {
    refuse("PropertyValueResourceConflict", {property, value, driveUri(model, disk)}, property);
  }
}
