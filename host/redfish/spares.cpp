// Hot spares, which requests for drives and for volumes make.
#include "host/redfish/request.h"

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
