// What requests for drives and for volumes have in common.
#include "host/redfish/body.h"
#include "host/redfish/request.h"

namespace xyl::host::redfish {

Wants readChange(const Call &call, Table table) {
  Wants wants = readBody(call.model, call.body, {table, writeChange, call.resource});
  if (wants.byElement.empty()) {
    refuse("NoOperation");
  }
  *call.notes = wants.notes;
  return wants;
}

void putHotspare(client::ChangeWriter *writer, UINT64 disk, const char *kind, const std::vector<UINT64> &volumes) {
  client::openMethod(writer, "Change", "Physical Disk");
  client::putElement(writer, "OID", disk);
  client::openObject(writer, "PD", "Physical Disk");
  client::putElement(writer, "Hotspare", kind);
  for (UINT64 volume : volumes) {
    client::putElement(writer, "VD", volume);
  }
  client::closeMethod(writer);
}

void needReady(const Model &model, const Json &disk, const std::string &property, const std::string &value) {
  if (disk.value("State", "") != "Ready") {
    refuse("PropertyValueResourceConflict", {property, value, driveUri(model, disk)}, property);
  }
}

} // namespace xyl::host::redfish
