// Requests for volumes.
#include <algorithm>
#include <cstring>
#include <set>

#include "driver/xml/xml.h"
#include "host/redfish/body.h"
#include "host/redfish/request.h"

namespace xyl::host::redfish {

// Names the new virtual disk within its document.
static constexpr UINT64 newVolume = 0x00100000;

static void putWord(client::ChangeWriter *writer, const char *element, const Json &word) {
  if (word.is_number()) {
    client::putElement(writer, element, word.get<UINT64>());
  } else {
    client::putElement(writer, element, word.get<std::string>().c_str());
  }
}

// The adapter's descriptor of the level, or an empty object.
static Json levelOf(const Model &model, const Json &word) {
  for (const Json &level : itemsOf(model.adapter, "RAIDLevelParams")) {
    if (level.value("RAIDLevel", Json()) == word) {
      return level;
    }
  }
  return Json::object();
}

// Refuses a word that is not among those that there are; a list that the document lacks allows all.
static void needOffered(const Want *want, const Json *offered) {
  if (want != nullptr && offered != nullptr &&
      std::find(offered->begin(), offered->end(), want->word) == offered->end()) {
    refuse("PropertyValueNotInList", {want->given, want->property}, want->property);
  }
}

// Refuses what the level does not offer.
static void checkLevel(const Wants &wants, const Json &level) {
  static constexpr struct {
    const char *element;
    const char *offered;
  } rows[] = {{"StripeSize", "AvailableStripeSize"},
              {"CurrentCachePolicy/WritePolicy", "AvailableCachePolicy/WritePolicy"},
              {"CurrentCachePolicy/ReadPolicy", "AvailableCachePolicy/ReadPolicy"}};
  for (const auto &row : rows) {
    needOffered(wants.find(row.element), memberAt(level, row.offered));
  }
}

// The policy is one word to the controller, so the groups that are not wanted are given as they are.
static void putCache(client::ChangeWriter *writer, const Wants &wants, const Json *policy) {
  std::string element = "CurrentCachePolicy/";
  if (wants.find(element + "WritePolicy") == nullptr && wants.find(element + "ReadPolicy") == nullptr) {
    return;
  }
  client::openElement(writer, "CurrentCachePolicy");
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    const char *group = driver::g_cachePolicyGroups.rows[i].element;
    const Want *want = wants.find(element + group);
    Json words = policy != nullptr ? itemsOf(*policy, group) : Json::array();
    if (want != nullptr || !words.empty()) {
      putWord(writer, group, want != nullptr ? want->word : words[0]);
    }
  }
  client::closeElement(writer);
}

static void putWanted(client::ChangeWriter *writer, const Wants &wants, const char *element) {
  const Want *want = wants.find(element);
  if (want != nullptr) {
    putWord(writer, element, want->word);
  }
}

// --- Hot spares ---

static std::vector<UINT64> spared(const Json &disk) {
  return disk.value("Hotspare", "") == "Dedicated" ? disk.value("VD", std::vector<UINT64>()) : std::vector<UINT64>();
}

static std::set<UINT64> idsOf(const Want &want) {
  return {want.word.begin(), want.word.end()};
}

static const Json &diskOf(const Model &model, UINT64 id) {
  return model.disks[model.diskById.at(id)].object;
}

// Makes the disk a spare of one more virtual disk.
static void putSpare(const Call &call, const Want &want, const Json &disk, UINT64 volume) {
  needReady(call.model, disk, want.property, want.given);
  std::vector<UINT64> volumes = spared(disk);
  volumes.push_back(volume);
  putHotspare(call.writer, idOf(disk), "Dedicated", volumes);
}

// The virtual disk's spares become those that are wanted; a spare of other virtual disks stays one of these.
static void putSpares(const Call &call, const Want &want) {
  std::set<UINT64> wanted = idsOf(want);
  for (size_t place : placesOf(call.model.sparesOf, call.id)) {
    const Json &disk = call.model.disks[place].object;
    if (wanted.erase(idOf(disk)) == 0) {
      std::vector<UINT64> volumes = spared(disk);
      std::erase(volumes, call.id);
      putHotspare(call.writer, idOf(disk), volumes.empty() ? "Not Hotspare" : "Dedicated", volumes);
    }
  }
  for (UINT64 id : wanted) {
    putSpare(call, want, diskOf(call.model, id), call.id);
  }
}

// --- POST ---

static const Want &need(const Wants &wants, const char *element, const char *property) {
  const Want *want = wants.find(element);
  if (want == nullptr || want->word.empty()) {
    refuse("CreateFailedMissingReqProperties", {property}, property);
  }
  return *want;
}

// As 'create' takes disks: what is free, or has room beside other virtual disks that alignment has not left over.
static bool hasRoom(const Json &disk) {
  std::string secure = disk.value("SecureState", "");
  std::string state = disk.value("State", "");
  UINT64 free = disk.value("FreeSize", UINT64{0});
  bool isUsable = !disk.contains("Hotspare") && secure != "LOCKED" && secure != "FOREIGN";
  return isUsable && (state == "Ready" || (state == "Online" && free > disk.value("Size", UINT64{0}) >> 16));
}

static void checkMembers(const Call &call, const Wants &wants, const Want &members) {
  const Want *span = wants.find("PDsPerSpan");
  const Want *spares = wants.find(elementSpares);
  std::set<UINT64> taken = spares != nullptr ? idsOf(*spares) : std::set<UINT64>();
  if (span != nullptr && members.word.size() % span->word.get<UINT64>() != 0) {
    refuse("PropertyValueConflict", {span->property, members.property}, span->property);
  }
  for (UINT64 id : members.word) {
    const Json &disk = diskOf(call.model, id);
    if (!hasRoom(disk)) {
      refuse("PropertyValueResourceConflict", {members.property, members.given, driveUri(call.model, disk)},
             members.property);
    }
    if (spares != nullptr && taken.contains(id)) {
      refuse("PropertyValueConflict", {spares->property, members.property}, spares->property);
    }
  }
}

static void putMembers(client::ChangeWriter *writer, const Wants &wants, const Json &members) {
  for (UINT64 id : members) {
    client::putElement(writer, "OID", id);
  }
  client::openObject(writer, "VD", "Virtual Disk");
  const Want *span = wants.find("PDsPerSpan");
  if (span != nullptr) {
    client::putElement(writer, "SpanDepth", members.size() / span->word.get<UINT64>());
    client::putElement(writer, "PDsPerSpan", span->word.get<UINT64>());
  }
}

void createVolume(const Call &call) {
  Wants wants = readBody(call.model, call.body, {g_volumeFields, writeCreate, nullptr});
  if (call.model.volumes.size() >= call.model.adapter.value("MaxLDs", UINT64{~0ULL})) {
    refuse("CreateLimitReachedForResource");
  }
  const Want &level = need(wants, "RAIDLevel", "RAIDType");
  const Want &members = need(wants, elementMembers, "Links/Drives");
  Json descriptor = levelOf(call.model, level.word);
  needOffered(&level, memberAt(call.model.adapter, "SupportedRAIDLevels"));
  checkLevel(wants, descriptor);
  checkMembers(call, wants, members);
  client::openMethod(call.writer, "Create", "Virtual Disk");
  putMembers(call.writer, wants, members.word);
  client::putElement(call.writer, "TargetID", newVolume);
  for (const char *element : {"Name", "RAIDLevel", "Size", "StripeSize", "AccessPolicy"}) {
    putWanted(call.writer, wants, element);
  }
  putCache(call.writer, wants, memberAt(descriptor, "DefaultCachePolicy"));
  const Want *encrypted = wants.find("Attributes");
  if (encrypted != nullptr && encrypted->word == "FDE") {
    client::openElement(call.writer, "Attributes");
    putWord(call.writer, "Attrib", encrypted->word);
    client::closeElement(call.writer);
  }
  client::closeMethod(call.writer);
  const Want *spares = wants.find(elementSpares);
  if (spares == nullptr) {
    return;
  }
  for (UINT64 id : spares->word) {
    putSpare(call, *spares, diskOf(call.model, id), newVolume);
  }
}

// --- PATCH, DELETE and the action ---

void changeVolume(const Call &call) {
  Wants wants = readChange(call, g_volumeFields);
  const Json &volume = call.model.volumes[call.model.volumeById.at(call.id)];
  const Want *spares = wants.find(elementSpares);
  checkLevel(wants, volume.value("RAIDLevelDesc", Json::object()));
  if (wants.byElement.size() > (spares != nullptr ? 1U : 0U)) {
    client::openMethod(call.writer, "Change", "Virtual Disk");
    client::putElement(call.writer, "OID", call.id);
    client::openObject(call.writer, "VD", "Virtual Disk");
    putWanted(call.writer, wants, "Name");
    putWanted(call.writer, wants, "AccessPolicy");
    putCache(call.writer, wants, memberAt(volume, "CurrentCachePolicy"));
    client::closeMethod(call.writer);
  }
  if (spares != nullptr) {
    putSpares(call, *spares);
  }
}

// The same problems of what is no property but a parameter.
static Refusal ofAction(const Refusal &refusal, const char *action) {
  static constexpr const char *keys[][2] = {{"PropertyUnknown", "ActionParameterUnknown"},
                                            {"PropertyValueNotInList", "ActionParameterValueNotInList"},
                                            {"PropertyValueTypeError", "ActionParameterValueTypeError"}};
  Refusal other = refusal;
  for (Problem &problem : *other.problems) {
    for (const auto &[key, parameterKey] : keys) {
      bool isFirst = std::strcmp(problem.key, key) == 0 && std::strcmp(key, "PropertyUnknown") == 0;
      if (std::strcmp(problem.key, key) == 0) {
        problem.arguments.insert(isFirst ? problem.arguments.begin() : problem.arguments.end(), action);
        problem.key = parameterKey;
        break;
      }
    }
  }
  return other;
}

// A body may say when, or how. The action is null for none.
static void putMethod(const Call &call, const char *command, const char *action, Table parameters) {
  try {
    if (!call.body.is_null() && !call.body.empty()) {
      Wants wants = readBody(call.model, call.body, {parameters, writeChange, nullptr});
      if (!wants.notes.empty()) {
        throw Refusal{std::make_shared<std::vector<Problem>>(wants.notes)};
      }
    }
  } catch (const Refusal &refusal) {
    throw action != nullptr ? ofAction(refusal, action) : refusal;
  }
  client::openMethod(call.writer, command, "Virtual Disk");
  client::putElement(call.writer, "OID", call.id);
  client::closeMethod(call.writer);
}

void deleteVolume(const Call &call) {
  putMethod(call, "Delete", nullptr, {});
}

void checkVolume(const Call &call) {
  putMethod(call, "Check", "Volume.CheckConsistency", {});
}

void initializeVolume(const Call &call) {
  putMethod(call, "Init", "Volume.Initialize", g_initializeFields);
}

} // namespace xyl::host::redfish
