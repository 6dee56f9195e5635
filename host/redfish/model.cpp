#include "host/redfish/model.h"

#include <set>

#include "client/show/show.h"
#include "host/common/common.h"

namespace xyl::host::redfish {

static void keepText(const client::Front *front, const CHAR8 *text, UINTN length) {
  static_cast<std::string *>(front->context)->append(text, length);
}

static Json showJson(const client::Front *front, const XML_NODE *root) {
  std::string text;
  client::Front keeper = *front;
  keeper.context = &text;
  keeper.writeOut = keepText;
  client::writeConfiguration(&keeper, client::adapterOf(root), client::childNamed(root, "Inventory"));
  return Json::parse(text);
}

// Takes the member, a list of objects, out of the object.
static Json takeList(Json *object, const char *member) {
  Json list = itemsOf(*object, member);
  object->erase(member);
  return list;
}

static void takeDisks(Model *model, Json *holder, const std::string &chassis) {
  for (Json &disk : takeList(holder, "PD")) {
    if (!model->diskById.emplace(idOf(disk), model->disks.size()).second) {
      throw ClientError(EFI_INVALID_PARAMETER, "two disks have the id " + idText(disk));
    }
    model->disks.push_back({std::move(disk), chassis});
  }
}

static void takeEnclosures(Model *model) {
  std::set<UINT64> ids;
  for (Json &enclosure : takeList(&model->adapter, "Enclosure")) {
    if (!ids.insert(idOf(enclosure)).second) {
      throw ClientError(EFI_INVALID_PARAMETER, "two enclosures have the id " + idText(enclosure));
    }
    takeDisks(model, &enclosure, idText(enclosure));
    model->enclosures.push_back(std::move(enclosure));
  }
}

static void takeVolumes(Model *model) {
  for (Json &volume : takeList(&model->adapter, "VD")) {
    if (!model->volumeById.emplace(idOf(volume), model->volumes.size()).second) {
      throw ClientError(EFI_INVALID_PARAMETER, "two virtual disks have the id " + idText(volume));
    }
    model->volumes.push_back(std::move(volume));
  }
}

// What is linked stands in both, whichever of them the document tells it of.
static void linkObjects(Model *model) {
  for (size_t place = 0; place < model->volumes.size(); ++place) {
    for (const Json &disk : itemsOf(model->volumes[place], "PD")) {
      model->volumesOn[disk].push_back(place);
    }
  }
  for (size_t place = 0; place < model->disks.size(); ++place) {
    const Json &disk = model->disks[place].object;
    if (disk.value("Hotspare", "") == "Dedicated") {
      for (const Json &volume : itemsOf(disk, "VD")) {
        model->sparesOf[volume].push_back(place);
      }
    }
  }
}

void readRedfishModel(const client::Front *front, const XML_NODE *root, Model *model) {
  Json shown = showJson(front, root);
  model->adapter = std::move(shown["Adapter"]);
  model->location = shown.value("PCILocation", Json::object());
  takeEnclosures(model);
  takeDisks(model, &model->adapter, chassisOfServer);
  takeVolumes(model);
  linkObjects(model);
}

UINT64 idOf(const Json &object) {
  return object.value("ObjectID", UINT64{0});
}

std::string idText(const Json &object) {
  return std::to_string(idOf(object));
}

Json itemsOf(const Json &object, const char *member) {
  return object.value(member, Json::array());
}

std::vector<size_t> placesOf(const std::map<UINT64, std::vector<size_t>> &places, UINT64 id) {
  auto found = places.find(id);
  return found == places.end() ? std::vector<size_t>() : found->second;
}

std::string storageUri(const Model &model) {
  return REDFISH_ROOT "/Systems/1/Storage/" + idText(model.adapter);
}

std::string controllerUri(const Model &model) {
  return storageUri(model) + "/Controllers/" + idText(model.adapter);
}

std::string driveUri(const Model &model, const Json &disk) {
  return REDFISH_ROOT "/Chassis/" + model.disks[model.diskById.at(idOf(disk))].chassis + "/Drives/" + idText(disk);
}

std::string volumesUri(const Model &model) {
  return storageUri(model) + "/Volumes";
}

std::string volumeUri(const Model &model, const Json &volume) {
  return volumesUri(model) + "/" + idText(volume);
}

} // namespace xyl::host::redfish
