// A configuration as Redfish sees it: the objects of 'show --json', apart from each other.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "client/documents/documents.h"
#include "host/redfish/fields.h"

namespace xyl::host::redfish {

struct Disk {
  Json object;
  std::string chassis; // its id
};

// Objects without those that are nested in them.
struct Model {
  Json adapter = Json::object();
  Json location = Json::object(); // PCI place; empty: not known
  std::vector<Json> enclosures;
  std::vector<Disk> disks;
  std::vector<Json> volumes;
  std::map<UINT64, size_t> diskById;
  std::map<UINT64, size_t> volumeById;
  std::map<UINT64, std::vector<size_t>> volumesOn; // by the id of a disk: those that it is a member of
  std::map<UINT64, std::vector<size_t>> sparesOf;  // by the id of a virtual disk: its dedicated hot spares
};

// Of a document's tree, which has an adapter. Throws ClientError where objects of a kind have one id.
void readRedfishModel(const client::Front *front, const XML_NODE *root, Model *model);

#define REDFISH_ROOT "/redfish/v1"
inline constexpr char chassisOfServer[] = "Server"; // holds the adapter and the disks outside enclosures

UINT64 idOf(const Json &object);
std::string idText(const Json &object);
// The member that is a list, or an empty one.
Json itemsOf(const Json &object, const char *member);
// The places found for an id, or none.
std::vector<size_t> placesOf(const std::map<UINT64, std::vector<size_t>> &places, UINT64 id);

std::string storageUri(const Model &model);
std::string controllerUri(const Model &model);
std::string driveUri(const Model &model, const Json &disk);
std::string volumesUri(const Model &model);
std::string volumeUri(const Model &model, const Json &volume);

} // namespace xyl::host::redfish
