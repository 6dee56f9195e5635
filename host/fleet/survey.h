// The documents of a folder, read one after the other, and their groups.
#pragma once

#include <filesystem>

#include "client/ensure/layout.h"
#include "host/fleet/features.h"

namespace xyl::host::fleet {

inline constexpr size_t noGroup = SIZE_MAX; // of a file that is no configuration, or could not be read

// A file of the folder.
struct Row {
  std::string file;   // below the folder
  std::string serial; // of the machine, where a result tells it
  size_t group = noGroup;
  std::vector<std::string> troubles; // what wants attention; of a file that cannot be read, why
  bool isJudged = false;             // by the layout
  std::vector<std::string> lacks;    // what is not as that says
};

// Configurations that are equal.
struct Group {
  std::string model; // of the controller
  Features features;
  std::string virtualDisks; // in a few words: "RAID 1, RAID 5"
  std::vector<std::string> files;
  size_t usual = 0;                     // the largest group of the model; may be itself
  std::vector<std::string> differences; // from that one
  size_t lacking = 0;                   // how many of its files are not as the layout says
};

struct Survey {
  std::vector<Row> rows;     // by their names
  std::vector<Group> groups; // the larger ones first, the models together
};

// Reads the folder and those in it; what cannot be read is a row. With reports, a folder, a page about each
// configuration is written into it, which replaces a file only with --force. With a layout, or null, each is judged by
// it. Throws ClientError when the folder cannot be read or a page not be written.
Survey surveyFolder(const client::Context &context, const std::filesystem::path &folder,
                    const std::filesystem::path &reports, const client::ensure::Layout *layout);

// The page about a row, below the folder of reports.
inline std::string reportName(const Row &row) {
  return row.file + ".html";
}

} // namespace xyl::host::fleet
