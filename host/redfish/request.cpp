#include "host/redfish/request.h"

#include "host/redfish/body.h"

// --- Drives ---

static void changeDrive(const REDFISH_CALL &call) {
  REDFISH_WANTS wants = readBody(call.model, call.body, {g_driveFields, WRITE_CHANGE, call.resource});
  const REDFISH_WANT *spare = wants.find("Hotspare");
  if (spare == nullptr || call.resource["HotspareType"] == spare->given) {
    refuse("NoOperation");
  }
  // Of which volume a drive is to be a spare, the volume tells.
  if (spare->word == "Dedicated") {
    refuse("PropertyValueConflict", {spare->property, "Links/DedicatedSpareDrives"}, spare->property);
  }
  if (spare->word == "Global") {
    needReady(call.model, call.model.disks[call.model.diskById.at(call.id)].object, spare->property, spare->given);
  }
  putHotspare(call.writer, call.id, spare->word.get<std::string>().c_str(), {});
}

// --- The controller ---

static bool isEditable(const Json &adapter, const std::string &rate) {
  for (const Json &row : itemsOf(adapter, "Rate")) {
    if (row.value("Name", "") == rate && row.value("Editable", false)) {
      return true;
    }
  }
  return false;
}

static void changeController(const REDFISH_CALL &call) {
  REDFISH_WANTS wants = readBody(call.model, call.body, {g_controllerFields, WRITE_CHANGE, call.resource});
  if (wants.byElement.empty()) {
    refuse("NoOperation");
  }
  openMethod(call.writer, "Change", "Adapter");
  openObject(call.writer, "Adapter", "Adapter");
  for (const auto &[rate, want] : wants.byElement) {
    if (!isEditable(call.model.adapter, rate)) {
      refuse("PropertyNotWritable", {want.property}, want.property);
    }
    openElement(call.writer, "Rate");
    putElement(call.writer, "Name", rate.c_str());
    putElement(call.writer, "Editable", "true");
    putElement(call.writer, "Value", want.word.get<UINT64>());
    closeElement(call.writer);
  }
  closeMethod(call.writer);
}

// --- Routes ---

struct ROUTE {
  const char *method;
  const char *before; // the id, behind the storage's URI
  const char *behind; // null: there is no id
  bool hasBody;
  void (*call)(const REDFISH_CALL &call);
};

static constexpr ROUTE g_routes[] = {
    {"POST", "/Volumes", nullptr, true, createVolume},
    {"PATCH", "/Volumes/", "", true, changeVolume},
    {"DELETE", "/Volumes/", "", false, deleteVolume},
    {"POST", "/Volumes/", "/Actions/Volume.CheckConsistency", false, checkVolume},
    {"PATCH", "/Drives/", "", true, changeDrive},
    {"PATCH", "/Controllers/", "", true, changeController},
};

// Whether the URI is that of the route; the resource's URI and the id are then left in the others.
static bool fits(const ROUTE &route, const std::string &uri, std::string *resource, std::string *id) {
  std::string behind = route.behind != nullptr ? route.behind : "";
  if (!uri.starts_with(route.before) || !uri.ends_with(behind)) {
    return false;
  }
  size_t length = std::string(route.before).size();
  *id = uri.size() > length + behind.size() ? uri.substr(length, uri.size() - length - behind.size()) : "";
  *resource = route.before + *id;
  return id->empty() == (route.behind == nullptr) && id->find('/') == std::string::npos;
}

void putRequest(const REDFISH_REQUEST &request, CHANGE_WRITER *writer) {
  REDFISH_RESOURCES resources = makeResources(request.model);
  std::string uri = request.uri;
  while (uri.size() > 1 && uri.back() == '/') {
    uri.pop_back();
  }
  std::string storage = storageUri(request.model);
  bool isThere = resources.contains(uri);
  std::string inside = uri.starts_with(storage) ? uri.substr(storage.size()) : "";
  for (const ROUTE &route : g_routes) {
    std::string resource;
    std::string id;
    if (!fits(route, inside, &resource, &id) || !resources.contains(storage + resource)) {
      continue;
    }
    isThere = true;
    if (request.method == route.method) {
      Json body = route.hasBody || !request.body.empty() ? parseBody(request.body) : Json();
      UINT64 number = id.empty() ? 0 : std::stoull(id); // a resource has it, so it is one
      return route.call({request.model, std::move(body), resources[storage + resource], number, writer});
    }
  }
  refuse(isThere ? "OperationNotAllowed" : "ResourceMissingAtURI",
         isThere ? std::vector<std::string>() : std::vector<std::string>{request.uri});
}
