// The inventory document and the reading of it as a program would do them that has pugixml and nothing else to look
// after: what the operations are measured against.
#pragma once

#include <cstdint>
#include <string>

#include "raid_records.h"

// Builds the document of config and prints it.
std::string peerInventory(const RAID_CONFIG &config);

// Parses text and walks it once; returns the bytes of the names and texts that it saw.
uint64_t peerWalk(const std::string &text);
