#include "host/report/report_model.h"

#include "base/text.h"
#include "host/common/common.h"

namespace xyl::host::report {

static constexpr struct {
  const char *state;
  Status status;
} g_states[] = {
    {"Online", {"online", "Online", false}},      {"Ready", {"ready", "Ready", false}},
    {"Degraded", {"degraded", "Degraded", true}}, {"Failed", {"failed", "Failed", true}},
    {"Foreign", {"foreign", "Foreign", true}},    {"Offline", {"offline", "Offline", true}},
};
static constexpr Status g_unknown = {"unknown", "Unknown", true};
static constexpr Status g_globalSpare = {"spare", "Global spare", false};
static constexpr Status g_dedicatedSpare = {"spare", "Dedicated spare", false};

static const Status *statusOf(const XML_NODE *node) {
  const CHAR8 *state = client::childText(node, "State");
  for (const auto &row : g_states) {
    if (textEqual(state, row.state)) {
      return &row.status;
    }
  }
  return &g_unknown;
}

// What a disk serves as is shown while it is well.
static const Status *diskStatusOf(const XML_NODE *disk) {
  const Status *status = statusOf(disk);
  const CHAR8 *spare = client::childText(disk, "Hotspare");
  if (status->wantsAttention) {
    return status;
  }
  return textEqual(spare, "Global") ? &g_globalSpare : textEqual(spare, "Dedicated") ? &g_dedicatedSpare : status;
}

std::string fieldOf(const XML_NODE *node, const CHAR8 *name) {
  std::string text = documentText(client::childText(node, name));
  // Fixed fields are padded with blanks.
  return text.erase(text.find_last_not_of(' ') + 1);
}

UINT64 numberOf(const XML_NODE *node, const CHAR8 *name) {
  return parseDecimal(client::childText(node, name));
}

std::string listOf(const XML_NODE *node) {
  std::string list;
  for (const XML_NODE *child = node != nullptr ? node->FirstChild : nullptr; child != nullptr;
       child = child->NextSibling) {
    list += (list.empty() ? "" : ", ") + documentText(client::nodeText(child));
  }
  return list;
}

// A number stays on the line of its unit.
static std::string withoutBreaks(std::string text) {
  size_t blank = text.find(' ');
  return blank == std::string::npos ? text : text.replace(blank, 1, "\xC2\xA0");
}

std::string sizeOf(const XML_NODE *node, const CHAR8 *name) {
  return withoutBreaks(sizeText(numberOf(node, name)));
}

std::string modelOfDisk(const XML_NODE *disk) {
  std::string maker = fieldOf(disk, "ManufactureName");
  std::string model = fieldOf(disk, "ModelName");
  return maker + (maker.empty() || model.empty() ? "" : " ") + model;
}

static bool hasAttribute(const XML_NODE *node, const CHAR8 *name) {
  const XML_NODE *attribute = client::childNamed(client::childNamed(node, "Attributes"), "Attrib");
  while (attribute != nullptr && !textEqual(client::nodeText(attribute), name)) {
    attribute = client::nextSame(attribute);
  }
  return attribute != nullptr;
}

std::string kindOfDisk(const XML_NODE *disk) {
  std::string kind = fieldOf(disk, "Protocol") + (hasAttribute(disk, "SSD") ? " SSD" : " HDD");
  std::string secure = normalised(fieldOf(disk, "SecureState"));
  return kind + (hasAttribute(disk, "FDE") ? ", self-encrypting" : "") + (secure.empty() ? "" : ", " + secure);
}

std::string spareWords(const XML_NODE *disk) {
  const CHAR8 *spare = client::childText(disk, "Hotspare");
  return textEqual(spare, "Global") ? "global hot spare" : textEqual(spare, "Dedicated") ? "dedicated hot spare" : "";
}

std::string enclosureTitle(const XML_NODE *enclosure) {
  std::string name = fieldOf(enclosure, "Name");
  return "Enclosure " + fieldOf(enclosure, "ObjectID") + (name.empty() ? "" : ", " + name);
}

std::string virtualDiskTitle(const VirtualDisk &virtualDisk) {
  std::string name = fieldOf(virtualDisk.node, "Name");
  return name.empty() ? "virtual disk " + fieldOf(virtualDisk.node, "ObjectID") : name;
}

// A, B, ... Z, AA, AB, ...
static std::string letterOf(size_t index) {
  std::string letter(1, static_cast<char>('A' + index % 26));
  return index < 26 ? letter : letterOf(index / 26 - 1) + letter;
}

static void addDisks(Model *model, const XML_NODE *holder, const XML_NODE *enclosure) {
  std::string place = enclosure != nullptr ? fieldOf(enclosure, "ObjectID") : "direct";
  for (const XML_NODE *disk = client::childNamed(holder, "PD"); disk != nullptr; disk = client::nextSame(disk)) {
    std::string anchor = "d" + std::to_string(model->disks.size() + 1);
    model->disks.push_back({disk, enclosure, {}, diskStatusOf(disk), place + ":" + fieldOf(disk, "Slot"), anchor});
  }
}

using IndexById = std::map<std::string, size_t>;

template <class Objects> static IndexById indexById(const Objects &objects) {
  IndexById index;
  for (size_t i = 0; i < objects.size(); ++i) {
    index.emplace(client::childText(objects[i].node, "ObjectID"), i);
  }
  return index;
}

// Documents list ids in the reverse of the controller's order.
static void resolveIds(const XML_NODE *node, const CHAR8 *name, const IndexById &index, std::vector<size_t> *found,
                       std::vector<std::string> *missing) {
  for (const XML_NODE *id = client::childNamed(node, name); id != nullptr; id = client::nextSame(id)) {
    auto place = index.find(client::nodeText(id));
    if (place != index.end()) {
      found->insert(found->begin(), place->second);
    } else if (missing != nullptr) {
      missing->insert(missing->begin(), documentText(client::nodeText(id)));
    }
  }
}

Model readModel(const XML_NODE *root) {
  Model model = {client::childNamed(root, "Inventory"), client::adapterOf(root), {}, {}, {}};
  const XML_NODE *enclosure = client::childNamed(model.adapter, "Enclosure");
  for (; enclosure != nullptr; enclosure = client::nextSame(enclosure)) {
    model.enclosures.push_back(enclosure);
    addDisks(&model, enclosure, enclosure);
  }
  addDisks(&model, model.adapter, nullptr);
  for (const XML_NODE *virtualDisk = client::childNamed(model.adapter, "VD"); virtualDisk != nullptr;
       virtualDisk = client::nextSame(virtualDisk)) {
    size_t number = model.virtualDisks.size();
    model.virtualDisks.push_back(
        {virtualDisk, letterOf(number), {}, {}, statusOf(virtualDisk), "v" + std::to_string(number + 1)});
  }
  IndexById diskIndex = indexById(model.disks);
  IndexById virtualDiskIndex = indexById(model.virtualDisks);
  for (Disk &disk : model.disks) {
    resolveIds(disk.node, "VD", virtualDiskIndex, &disk.virtualDisks, nullptr);
  }
  for (VirtualDisk &virtualDisk : model.virtualDisks) {
    resolveIds(virtualDisk.node, "PD", diskIndex, &virtualDisk.disks, &virtualDisk.missingDisks);
  }
  return model;
}

} // namespace xyl::host::report
