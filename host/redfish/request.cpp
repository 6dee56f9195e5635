#include "host/redfish/request.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "host/redfish/body.h"

namespace xyl::host::redfish {

// --- The system ---

// All that may be asked for is there already, since a storage service starts no system.
static void changeSystem(const Call &call) {
  readChange(call, g_systemFields);
}

// --- Drives ---

static void changeDrive(const Call &call) {
  Wants wants = readChange(call, g_driveFields);
  const Want *spare = wants.find("Hotspare");
  if (call.resource.at("HotspareType") == spare->given) {
    return;
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

static void changeController(const Call &call) {
  Wants wants = readChange(call, g_controllerFields);
  client::openMethod(call.writer, "Change", "Adapter");
  client::openObject(call.writer, "Adapter", "Adapter");
  for (const auto &[rate, want] : wants.byElement) {
    if (!isEditable(call.model.adapter, rate)) {
      refuse("PropertyNotWritable", {want.property}, want.property);
    }
    client::openElement(call.writer, "Rate");
    client::putElement(call.writer, "Name", rate.c_str());
    client::putElement(call.writer, "Editable", "true");
    client::putElement(call.writer, "Value", want.word.get<UINT64>());
    client::closeElement(call.writer);
  }
  client::closeMethod(call.writer);
}

// --- Routes ---

struct Route {
  const char *method;
  const char *resource; // behind the root; * stands for a name
  const char *action;   // behind the resource
  bool hasBody;
  void (*call)(const Call &call);
};

static constexpr Route g_routes[] = {
    {"POST", "/Systems/1/Storage/*/Volumes", "", true, createVolume},
    {"PATCH", "/Systems/1/Storage/*/Volumes/*", "", true, changeVolume},
    {"DELETE", "/Systems/1/Storage/*/Volumes/*", "", false, deleteVolume},
    {"POST", "/Systems/1/Storage/*/Volumes/*", "/Actions/Volume.CheckConsistency", false, checkVolume},
    {"POST", "/Systems/1/Storage/*/Volumes/*", "/Actions/Volume.Initialize", false, initializeVolume},
    {"PATCH", "/Systems/1", "", true, changeSystem},
    {"PATCH", "/Chassis/*/Drives/*", "", true, changeDrive},
    {"PATCH", "/Systems/1/Storage/*/Controllers/*", "", true, changeController},
};

// Whether the text is what the pattern says, of which a * stands for anything without a slash.
static bool fits(std::string_view pattern, std::string_view text) {
  while (!pattern.empty()) {
    size_t star = pattern.find('*');
    if (!text.starts_with(pattern.substr(0, star))) {
      return false;
    }
    if (star == std::string_view::npos) {
      return text.size() == pattern.size();
    }
    text.remove_prefix(star);
    pattern.remove_prefix(star + 1);
    text.remove_prefix(std::min(text.find('/'), text.size()));
  }
  return text.empty();
}

// What is made of no object takes nothing.
static bool fits(const Route &route, const std::string &resource) {
  return !resource.ends_with("/" CAPABILITIES) && resource.starts_with(REDFISH_ROOT) &&
         fits(route.resource, resource.substr(std::strlen(REDFISH_ROOT)));
}

// Clients may write a slash behind a URI.
static std::string withoutSlash(std::string uri) {
  while (uri.size() > 1 && uri.back() == '/') {
    uri.pop_back();
  }
  return uri;
}

std::string targetOf(const std::string &uri, const Resources &resources) {
  std::string resource = withoutSlash(uri);
  resource.erase(std::min(resource.find("/Actions/"), resource.size()));
  return resources.contains(resource) ? resource : "";
}

Json methodsOf(const Resources &resources) {
  std::map<std::string, Json> all; // a JSON object would look through all its members for each
  for (const auto &[uri, resource] : resources) {
    for (const Route &route : g_routes) {
      if (fits(route, uri)) {
        all[uri + route.action].push_back(route.method);
      }
    }
  }
  return all;
}

// The number at the end of the URI of a resource that has one.
static UINT64 numberAtEnd(const std::string &uri) {
  std::string name = uri.substr(uri.rfind('/') + 1);
  bool isNumber = !name.empty() && name.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? std::stoull(name) : 0;
}

void putRequest(const Request &request, const Resources &resources, client::ChangeWriter *writer,
                std::vector<Problem> *notes) {
  std::string target = targetOf(request.uri, resources);
  std::string action = withoutSlash(request.uri).substr(target.size());
  bool isThere = !target.empty() && action.empty();
  for (const Route &route : g_routes) {
    if (target.empty() || action != route.action || !fits(route, target)) {
      continue;
    }
    isThere = true;
    if (request.method == route.method) {
      Json body = route.hasBody || !request.body.empty() ? parseBody(request.body) : Json();
      return route.call({request.model, std::move(body), resources.at(target), numberAtEnd(target), writer, notes});
    }
  }
  refuse(isThere ? "OperationNotAllowed" : "ResourceMissingAtURI",
         isThere ? std::vector<std::string>() : std::vector<std::string>{request.uri});
}

} // namespace xyl::host::redfish
