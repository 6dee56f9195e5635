#include "host/redfish/resources.h"

#include <cstdio>

namespace xyl::host::redfish {

#define SERVICE_ROOT REDFISH_ROOT "/"
#define SYSTEM REDFISH_ROOT "/Systems/1"
#define MANAGER REDFISH_ROOT "/Managers/1"
#define CHECK_ACTION "Volume.CheckConsistency"
#define INITIALIZE_ACTION "Volume.Initialize"

// --- Pieces ---

static Json linkTo(const std::string &uri) {
  return {{"@odata.id", uri}};
}

static std::string chassisUri(const std::string &id) {
  return REDFISH_ROOT "/Chassis/" + id;
}

// Begins a resource; its name stands for one that the document lacks.
static Json resource(const std::string &uri, const char *type, const std::string &id, const std::string &name) {
  return {{"@odata.id", uri}, {"@odata.type", type}, {"Id", id}, {"Name", name}};
}

static Json collection(const std::string &uri, const char *kind, Json members) {
  return {{"@odata.id", uri},
          {"@odata.type", std::string("#") + kind + "." + kind},
          {"Name", kind},
          {"Members@odata.count", members.size()},
          {"Members", std::move(members)}};
}

static void putLinks(Json *resource, const char *name, Json links) {
  (*resource)[name + std::string("@odata.count")] = links.size();
  (*resource)[name] = std::move(links);
}

// What Redfish has no property for, under the document's own names.
static void putOem(Json *resource, const char *kind, const Json &rest) {
  Json oem = {{"@odata.type", std::string("#RaidXyl.v1_0_0.") + kind}};
  oem.update(rest);
  (*resource)["Oem"]["RaidXyl"] = std::move(oem);
}

// --- Health ---

struct StateRow {
  const char *word;
  const char *state; // null: Redfish has none
  const char *diskHealth;
  const char *volumeHealth;
};

// A disk that is Offline holds no virtual disk of the controller, whatever else is on it.
static constexpr StateRow g_states[] = {
    {"Online", "Enabled", "OK", "OK"},
    {"Ready", "Enabled", "OK", "OK"},
    {"Degraded", "Enabled", "Warning", "Warning"},
    {"Failed", "Disabled", "Critical", "Critical"},
    {"Foreign", "StandbyOffline", "Warning", "Warning"},
    {"Offline", "UnavailableOffline", "Warning", "Critical"},
};
static constexpr StateRow g_noState = {"", nullptr, "Warning", "Warning"};

static const StateRow &stateOf(const Json &object) {
  for (const StateRow &row : g_states) {
    if (object.value("State", "") == row.word) {
      return row;
    }
  }
  return g_noState;
}

static Json statusOf(const Json &object, const char *health) {
  const char *state = stateOf(object).state;
  Json status = {{"Health", health}};
  if (state != nullptr) {
    bool isSpare = object.contains("Hotspare") && object["State"] == "Ready";
    status["State"] = isSpare ? "StandbySpare" : state;
  }
  return status;
}

// The worst health of several objects.
struct Rollup {
  const char *health = "OK";

  void add(const std::string &other) {
    health = other == "Critical" || std::string(health) == "Critical" ? "Critical" : other == "OK" ? health : "Warning";
  }
  Json status() const { return {{"State", "Enabled"}, {"HealthRollup", health}}; }
};

// --- Resources ---

struct Maker {
  const Model &model;
  Resources made = {};
  Rollup all = {};
  std::map<std::string, Rollup> byChassis = {};
  std::map<std::string, Json> drivesOf = {}; // links, by chassis

  void put(Json resource) {
    std::string uri = resource["@odata.id"];
    made.emplace(std::move(uri), std::move(resource));
  }
};

static void makeDrives(Maker *maker) {
  const Model &model = maker->model;
  for (const Disk &disk : model.disks) {
    std::string uri = driveUri(model, disk.object);
    std::string id = idText(disk.object);
    Json rest = disk.object;
    Json drive = resource(uri, "#Drive.v1_22_0.Drive", id, "disk " + id);
    const char *health = stateOf(disk.object).diskHealth;
    drive["Status"] = statusOf(disk.object, health);
    drive["HotspareType"] = "None";
    moveFields(g_driveFields, &rest, &drive);
    Json volumes = Json::array();
    for (size_t volume : placesOf(model.volumesOn, idOf(disk.object))) {
      volumes.push_back(linkTo(volumeUri(model, model.volumes[volume])));
    }
    putLinks(&drive["Links"], "Volumes", volumes);
    drive["Links"]["Chassis"] = linkTo(chassisUri(disk.chassis));
    drive["Links"]["Storage"] = linkTo(storageUri(model));
    rest.erase("State");
    putOem(&drive, "PhysicalDisk", rest);
    maker->put(std::move(drive));
    maker->all.add(health);
    maker->byChassis[disk.chassis].add(health);
    maker->drivesOf[disk.chassis].push_back(linkTo(uri));
  }
}

// What the table lets be written of a new volume, with the values that the controller offers.
static Json creationOf(const Model &model) {
  Json creation = Json::object();
  for (const Field &field : g_volumeFields) {
    std::string element = field.element;
    bool isRequired = element == "RAIDLevel" || element == elementMembers;
    if ((field.writable & writeCreate) == 0) {
      continue;
    }
    Json::json_pointer place("/" + std::string(field.property) +
                             (isRequired ? "@Redfish.RequiredOnCreate" : "@Redfish.OptionalOnCreate"));
    creation[place] = true;
    const Json *offered = element == "RAIDLevel" ? memberAt(model.adapter, "SupportedRAIDLevels") : nullptr;
    if (offered != nullptr) {
      Json::json_pointer values("/" + std::string(field.property) + "@Redfish.AllowableValues");
      creation[values] = knownValues(field, *offered);
    }
  }
  return creation;
}

static void putCapabilities(Maker *maker, Json *volumes) {
  const Model &model = maker->model;
  std::string uri = volumesUri(model) + "/" CAPABILITIES;
  Json capabilities = resource(uri, "#Volume.v1_10_2.Volume", CAPABILITIES, "Capabilities of new virtual disks");
  capabilities.update(creationOf(model));
  maker->put(std::move(capabilities));
  Json use = {{"CapabilitiesObject", linkTo(uri)},
              {"UseCase", "VolumeCreation"},
              {"Links", {{"TargetCollection", linkTo(volumesUri(model))}}}};
  Json all = {{"@odata.type", "#CollectionCapabilities.v1_4_0.CollectionCapabilities"},
              {"Capabilities", Json::array({use})}};
  if (model.adapter.contains("MaxLDs")) {
    all["MaxMembers"] = model.adapter["MaxLDs"];
  }
  (*volumes)["@Redfish.CollectionCapabilities"] = all;
}

static void makeVolumes(Maker *maker) {
  const Model &model = maker->model;
  Json members = Json::array();
  for (const Json &object : model.volumes) {
    std::string uri = volumeUri(model, object);
    Json rest = object;
    Json volume = resource(uri, "#Volume.v1_10_2.Volume", idText(object), "virtual disk " + idText(object));
    const char *health = stateOf(object).volumeHealth;
    volume["Status"] = statusOf(object, health);
    moveFields(g_volumeFields, &rest, &volume);
    Json drives = Json::array();
    for (const Json &disk : itemsOf(object, "PD")) {
      auto place = model.diskById.find(disk); // one that was pulled is not there
      if (place != model.diskById.end()) {
        drives.push_back(linkTo(driveUri(model, model.disks[place->second].object)));
      }
    }
    Json spares = Json::array();
    for (size_t disk : placesOf(model.sparesOf, idOf(object))) {
      spares.push_back(linkTo(driveUri(model, model.disks[disk].object)));
    }
    putLinks(&volume["Links"], "Drives", drives);
    putLinks(&volume["Links"], "DedicatedSpareDrives", spares);
    volume["Links"]["OwningStorageResource"] = linkTo(storageUri(model));
    volume["Actions"]["#" CHECK_ACTION] = {{"target", uri + "/Actions/" CHECK_ACTION}};
    volume["Actions"]["#" INITIALIZE_ACTION] = {{"target", uri + "/Actions/" INITIALIZE_ACTION},
                                                {"InitializeType@Redfish.AllowableValues", {"Fast", "Slow"}}};
    rest.erase("State");
    putOem(&volume, "VirtualDisk", rest);
    maker->put(std::move(volume));
    maker->all.add(health);
    members.push_back(linkTo(uri));
  }
  Json volumes = collection(volumesUri(model), "VolumeCollection", members);
  volumes["@Redfish.OperationApplyTimeSupport"] = {{"@odata.type", "#Settings.v1_4_0.OperationApplyTimeSupport"},
                                                   {"SupportedValues", {"Immediate"}}};
  putCapabilities(maker, &volumes);
  maker->put(std::move(volumes));
}

// The adapter is a storage and its controller, which the storage tells in the old form as well.
static void makeStorage(Maker *maker) {
  const Model &model = maker->model;
  std::string uri = storageUri(model);
  std::string id = idText(model.adapter);
  Json adapter = model.adapter;
  std::string name = adapter.value("Name", "");
  name = name.empty() ? "RAID controller" : name;
  Json storage = resource(uri, "#Storage.v1_21_0.Storage", id, name);
  Json controller = resource(controllerUri(model), "#StorageController.v1_11_0.StorageController", id, name);
  controller["Status"] = {{"State", "Enabled"}};
  moveFields(g_controllerFields, &adapter, &controller);
  moveFields(g_storageFields, &adapter, &storage);
  if (!model.location.empty()) {
    adapter["PCILocation"] = model.location;
  }
  Json old = controller;
  putOem(&controller, "Adapter", adapter);
  old["@odata.id"] = uri + "#/StorageControllers/0";
  old["MemberId"] = id;
  old.erase("@odata.type");
  old.erase("Id");
  storage["Status"] = maker->all.status();
  storage["Controllers"] = linkTo(uri + "/Controllers");
  storage["Volumes"] = linkTo(volumesUri(model));
  putLinks(&storage, "StorageControllers", Json::array({old}));
  Json drives = Json::array();
  for (const Disk &disk : model.disks) {
    drives.push_back(linkTo(driveUri(model, disk.object)));
  }
  putLinks(&storage, "Drives", drives);
  Json enclosures = Json::array();
  for (const Json &enclosure : model.enclosures) {
    enclosures.push_back(linkTo(chassisUri(idText(enclosure))));
  }
  putLinks(&storage["Links"], "Enclosures", enclosures);
  maker->put(std::move(storage));
  maker->put(std::move(controller));
  maker->put(
      collection(uri + "/Controllers", "StorageControllerCollection", Json::array({linkTo(controllerUri(model))})));
}

static void putChassis(Maker *maker, Json chassis, const std::string &id) {
  std::string uri = chassisUri(id);
  Json drives = maker->drivesOf.contains(id) ? maker->drivesOf[id] : Json::array();
  chassis["Status"] = maker->byChassis[id].status();
  chassis["Drives"] = linkTo(uri + "/Drives");
  putLinks(&chassis["Links"], "Drives", drives);
  putLinks(&chassis["Links"], "Storage", Json::array({linkTo(storageUri(maker->model))}));
  putLinks(&chassis["Links"], "ComputerSystems", Json::array({linkTo(SYSTEM)}));
  maker->put(std::move(chassis));
  maker->put(collection(uri + "/Drives", "DriveCollection", drives));
}

static void makeChassis(Maker *maker) {
  Json members = Json::array({linkTo(chassisUri(chassisOfServer))});
  Json inside = Json::array();
  for (const Json &enclosure : maker->model.enclosures) {
    std::string id = idText(enclosure);
    Json rest = enclosure;
    Json chassis = resource(chassisUri(id), "#Chassis.v1_28_0.Chassis", id, "enclosure " + id);
    chassis["ChassisType"] = "Enclosure";
    moveFields(g_chassisFields, &rest, &chassis);
    putOem(&chassis, "Enclosure", rest);
    chassis["Links"]["ContainedBy"] = linkTo(chassisUri(chassisOfServer));
    putChassis(maker, chassis, id);
    members.push_back(linkTo(chassisUri(id)));
    inside.push_back(linkTo(chassisUri(id)));
  }
  Json server = resource(chassisUri(chassisOfServer), "#Chassis.v1_28_0.Chassis", chassisOfServer, chassisOfServer);
  server["ChassisType"] = "Other";
  putLinks(&server["Links"], "Contains", inside);
  putLinks(&server["Links"], "ManagedBy", Json::array({linkTo(MANAGER)}));
  putChassis(maker, server, chassisOfServer);
  maker->put(collection(REDFISH_ROOT "/Chassis", "ChassisCollection", members));
}

static void makeSystem(Maker *maker) {
  Json boot = {{"enabled", "Disabled"}, {"mode", "UEFI"}, {"target", "None"}};
  Json system = resource(SYSTEM, "#ComputerSystem.v1_27_0.ComputerSystem", "1", chassisOfServer);
  system["Status"] = maker->all.status();
  system["Storage"] = linkTo(SYSTEM "/Storage");
  system["PowerState"] = "On"; // or nobody would answer
  moveFields(g_systemFields, &boot, &system);
  for (const Field &field : g_systemFields) {
    Json::json_pointer values("/" + std::string(field.property) + "@Redfish.AllowableValues");
    system[values] = Json::array({system[Json::json_pointer("/" + std::string(field.property))]});
  }
  system["Actions"] = Json::object(); // clients insist on it
  putLinks(&system["Links"], "ManagedBy", Json::array({linkTo(MANAGER)}));
  putLinks(&system["Links"], "Chassis", Json::array({linkTo(chassisUri(chassisOfServer))}));
  maker->put(std::move(system));
  maker->put(collection(SYSTEM "/Storage", "StorageCollection", Json::array({linkTo(storageUri(maker->model))})));
  maker->put(collection(REDFISH_ROOT "/Systems", "ComputerSystemCollection", Json::array({linkTo(SYSTEM)})));
}

// What answers for the system is no more than the service.
static void makeManager(Maker *maker) {
  Json manager = resource(MANAGER, "#Manager.v1_20_0.Manager", "1", "RAID configuration service");
  manager["ManagerType"] = "Service";
  manager["Status"] = {{"State", "Enabled"}, {"Health", "OK"}};
  putLinks(&manager["Links"], "ManagerForServers", Json::array({linkTo(SYSTEM)}));
  putLinks(&manager["Links"], "ManagerForChassis", Json::array({linkTo(chassisUri(chassisOfServer))}));
  maker->put(std::move(manager));
  maker->put(collection(REDFISH_ROOT "/Managers", "ManagerCollection", Json::array({linkTo(MANAGER)})));
}

static void makeRoot(Maker *maker) {
  Json root = resource(SERVICE_ROOT, "#ServiceRoot.v1_20_0.ServiceRoot", "RootService", "RAID configuration");
  root["RedfishVersion"] = "1.20.0";
  root["Systems"] = linkTo(REDFISH_ROOT "/Systems");
  root["Chassis"] = linkTo(REDFISH_ROOT "/Chassis");
  root["Managers"] = linkTo(REDFISH_ROOT "/Managers");
  root["SessionService"] = linkTo(REDFISH_ROOT "/SessionService");
  root["Links"]["Sessions"] = linkTo(REDFISH_ROOT "/SessionService/Sessions");
  maker->made[REDFISH_ROOT] = root;
  maker->made["/redfish"] = {{"v1", SERVICE_ROOT}};
  Json sessions =
      resource(REDFISH_ROOT "/SessionService", "#SessionService.v1_2_0.SessionService", "SessionService", "Sessions");
  sessions["ServiceEnabled"] = false;
  sessions["Sessions"] = linkTo(REDFISH_ROOT "/SessionService/Sessions");
  maker->put(std::move(sessions));
  maker->put(collection(REDFISH_ROOT "/SessionService/Sessions", "SessionCollection", Json::array()));
}

// The tag tells whether a resource is still what it was: FNV-1a of all of it.
static void putTag(Json *resource) {
  UINT64 hash = 0xCBF29CE484222325;
  for (char c : resource->dump()) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  }
  char tag[24];
  std::snprintf(tag, sizeof(tag), "\"%016llX\"", static_cast<unsigned long long>(hash));
  if (resource->contains("@odata.id")) {
    (*resource)["@odata.etag"] = tag;
  }
}

Resources makeResources(const Model &model) {
  Maker maker = {model};
  static constexpr void (*makers[])(Maker *) = {makeDrives, makeVolumes, makeStorage, makeChassis,
                                                makeSystem, makeManager, makeRoot};
  for (auto *make : makers) {
    make(&maker);
  }
  for (auto &[uri, resource] : maker.made) {
    putTag(&resource);
  }
  return std::move(maker.made);
}

} // namespace xyl::host::redfish
