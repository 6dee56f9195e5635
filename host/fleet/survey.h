// The documents of a folder, read one after the other, and their groups.
#pragma once

#include "host/fleet/features.h"

namespace fleet {

inline constexpr size_t NO_GROUP = SIZE_MAX; // of a file that is no configuration, or could not be read

// A file of the folder.
struct Row {
  std::string file; // below the folder
  std::string server;
  size_t group = NO_GROUP;
  std::vector<std::string> troubles; // what wants attention; of a file that cannot be read, why
};

// Configurations that are equal.
struct Group {
  std::string model; // of the controller
  Features features;
  std::string virtualDisks; // in a few words: "RAID 1, RAID 5"
  std::vector<std::string> files;
  size_t usual = 0;                     // the largest group of the model; may be itself
  std::vector<std::string> differences; // from that one
};

struct Survey {
  std::vector<Row> rows;     // by their names
  std::vector<Group> groups; // the larger ones first, the models together
};

// Reads the folder and those in it; a file that cannot be read is a row. With reports, a folder, which must be there, a
// page about each configuration is written into it. Throws CLIENT_ERROR when the folder cannot be read.
Survey surveyFolder(const XYL_CONTEXT &context, const std::string &folder, const std::string &reports);

// The page about a row, below the folder of reports.
std::string reportName(const Row &row);

} // namespace fleet
