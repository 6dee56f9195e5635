// The inventory document and the reading of it as a program would do them that has pugixml and nothing else to look
// after: what the operations are measured against.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "raid_records.h"

// Builds the document of config and prints it.
std::string peerInventory(const RAID_CONFIG &config);

// An element of a document in the document's order.
struct ReadyElement {
  size_t depth;
  std::string name, text;
  std::vector<std::pair<std::string, std::string>> attributes;
};
using ReadyTexts = std::vector<ReadyElement>;
ReadyTexts readyTexts(const std::string &document);

// Builds the document of texts that are there already, and prints it: no record is read, no number made a text.
std::string peerInventory(const ReadyTexts &texts);

// Parses text and walks it once; returns the bytes of the names and texts that it saw.
uint64_t peerWalk(const std::string &text);
