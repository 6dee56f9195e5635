#include "host/fleet/features.h"

#include <algorithm>
#include <set>

#include "base/text.h"
#include "client/output/output.h"
#include "host/common/common.h"

namespace xyl::host::fleet {

namespace {

// Of an adapter: which piece it is, where it is, what it can do, and what has lines of its own.
constexpr const CHAR8 *leftOutOfAdapter[] = {"ObjectType",
                                             "ObjectID",
                                             "ObjVersion",
                                             "FQDD",
                                             "WWN",
                                             "PCIID",
                                             "Keyid",
                                             "SerialNumber",
                                             "MaxLDs",
                                             "CapableSpeeds",
                                             "RAIDLevelParams",
                                             "SupportedRAIDLevels",
                                             "SupportedDiskProtocols",
                                             "MaxPDsPerSpan",
                                             "MaxSpansPerLD",
                                             "Enclosure",
                                             "PD",
                                             "VD"};

bool isLeftOut(const XML_NODE *node) {
  return std::any_of(std::begin(leftOutOfAdapter), std::end(leftOutOfAdapter),
                     [&](const CHAR8 *name) { return textEqual(node->Name, name); });
}

// "PatrolReadMode" as "patrol read mode".
std::string wordsOf(const CHAR8 *element) {
  std::string words;
  for (; *element != 0; ++element) {
    bool isCapital = *element >= 'A' && *element <= 'Z';
    words += isCapital && !words.empty() && element[1] >= 'a' && element[1] <= 'z' ? " " : "";
    words += static_cast<char>(isCapital && element[1] >= 'a' && element[1] <= 'z' ? *element | 0x20 : *element);
  }
  return words;
}

void addAdapter(const XML_NODE *adapter, Features *features) {
  for (const XML_NODE *field = adapter->FirstChild; field != nullptr; field = field->NextSibling) {
    if (isLeftOut(field)) {
      continue;
    }
    bool isRate = textEqual(field->Name, "Rate");
    std::string name = isRate ? "rate " + host::report::fieldOf(field, "Name") : wordsOf(field->Name);
    std::string value = isRate                         ? host::report::fieldOf(field, "Value")
                        : field->FirstChild != nullptr ? host::report::listOf(field)
                                                       : host::report::documentText(client::nodeText(field));
    ++(*features)[name.append(": ").append(value)];
  }
}

std::string diskWords(const XML_NODE *disk) {
  std::string model = host::report::modelOfDisk(disk);
  return host::report::kindOfDisk(disk) + ", " + sizeText(host::report::numberOf(disk, "Size")) +
         (model.empty() ? "" : ", " + model) + ", firmware " +
         host::report::orDash(host::report::fieldOf(disk, "Revision"));
}

void addDisks(const host::report::Model &model, Features *features) {
  for (const host::report::Disk &disk : model.disks) {
    ++(*features)["disk: " + diskWords(disk.node)];
    std::string spare = host::report::spareWords(disk.node);
    if (!spare.empty()) {
      ++(*features)[spare + ": " + host::report::kindOfDisk(disk.node) + ", " +
                    sizeText(host::report::numberOf(disk.node, "Size"))];
    }
  }
}

void addVirtualDisks(const host::report::Model &model, Features *features) {
  for (const host::report::VirtualDisk &each : model.virtualDisks) {
    const XML_NODE *node = each.node;
    size_t members = each.disks.size() + each.missingDisks.size();
    ++(*features)["virtual disk " + host::report::orDash(host::report::fieldOf(node, "Name")) + ": " +
                  host::report::fieldOf(node, "RAIDLevel") + ", " + sizeText(host::report::numberOf(node, "Size")) +
                  ", " + host::report::countText(members, "disk") + ", stripe " +
                  host::report::orDash(host::report::fieldOf(node, "StripeSize")) + ", " +
                  host::report::orDash(host::report::listOf(client::childNamed(node, "CurrentCachePolicy"))) + ", " +
                  host::report::orDash(host::report::fieldOf(node, "AccessPolicy")) + ", " +
                  host::report::listOf(client::childNamed(node, "Attributes"))];
  }
}

// What lines with the same beginning have behind it on one side alone.
struct Sides {
  std::vector<std::string> usual;
  std::vector<std::string> other;
};

void addMore(const Features &here, const Features &there, std::vector<std::string> Sides::*side,
             std::map<std::string, Sides> *sides) {
  for (const auto &[line, count] : here) {
    auto same = there.find(line);
    size_t more = count - std::min(count, same != there.end() ? same->second : 0);
    size_t colon = line.find(": ");
    if (more != 0) {
      ((*sides)[line.substr(0, colon)].*side)
          .push_back(line.substr(colon + 2) + (more > 1 ? " (" + std::to_string(more) + " times)" : ""));
    }
  }
}

std::set<std::string> partsOf(const std::string &value) {
  std::set<std::string> parts;
  for (size_t begin = 0, end = 0; end != std::string::npos; begin = end + 2) {
    end = value.find(", ", begin);
    parts.insert(value.substr(begin, end - begin));
  }
  return parts;
}

// The parts of a value that the other one has not.
std::string without(const std::string &value, const std::string &other) {
  std::set<std::string> known = partsOf(other);
  std::string left;
  for (const std::string &part : partsOf(value)) {
    left += known.contains(part) ? "" : (left.empty() ? "" : ", ") + part;
  }
  return host::report::orDash(left);
}

std::string lowered(std::string words) {
  words[0] = static_cast<char>(words[0] | 0x20);
  return words;
}

} // namespace

Features featuresOf(const host::report::Model &model) {
  Features features;
  addAdapter(model.adapter, &features);
  for (const XML_NODE *enclosure : model.enclosures) {
    ++features["enclosure: " + host::report::orDash(host::report::fieldOf(enclosure, "Name")) + ", " +
               host::report::fieldOf(enclosure, "SlotCount") + " slots"];
  }
  addDisks(model, &features);
  addVirtualDisks(model, &features);
  return features;
}

std::vector<std::string> troublesOf(const host::report::Model &model) {
  std::vector<std::string> troubles;
  for (const host::report::VirtualDisk &each : model.virtualDisks) {
    if (each.status->wantsAttention) {
      troubles.push_back(host::report::virtualDiskTitle(each) + " is " + lowered(each.status->words));
    }
    for (const std::string &id : each.missingDisks) {
      troubles.push_back(host::report::virtualDiskTitle(each) + " lacks disk " + id);
    }
  }
  for (const host::report::Disk &disk : model.disks) {
    if (disk.status->wantsAttention) {
      troubles.push_back("disk " + disk.place + " is " + lowered(disk.status->words));
    }
  }
  return troubles;
}

std::vector<std::string> differencesOf(const Features &usual, const Features &other) {
  std::map<std::string, Sides> sides;
  addMore(usual, other, &Sides::usual, &sides);
  addMore(other, usual, &Sides::other, &sides);
  std::vector<std::string> found;
  for (const auto &[head, side] : sides) {
    if (side.usual.size() == 1 && side.other.size() == 1) {
      found.push_back(head + ": " + without(side.usual[0], side.other[0]) + " -> " +
                      without(side.other[0], side.usual[0]));
      continue;
    }
    for (const std::string &value : side.usual) {
      found.push_back(std::string("without ").append(head).append(": ").append(value));
    }
    for (const std::string &value : side.other) {
      found.push_back(std::string("with ").append(head).append(": ").append(value));
    }
  }
  return found;
}

} // namespace xyl::host::fleet
