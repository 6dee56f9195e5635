// What staging keeps about itself on the system partition, before anything else: by it a later run, also after a power
// cut, knows what is ours.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/stage/payload.h"

namespace xyl::host::stage {

struct StagedFile {
  std::string place;
  uint64_t size = 0;
  uint32_t sum = 0;
};

struct Manifest {
  std::string id;
  uint32_t job = 0;
  std::string boot;    // in which start of the system it was staged
  uint16_t number = 0; // of the boot option
  std::string option;  // its bytes
  std::vector<StagedFile> files;
};

Manifest manifestOf(const Payload &payload, const std::string &boot, uint16_t number, const std::string &option);
std::string manifestText(const Manifest &manifest);
// None for a text that is no manifest, or not all of one.
std::optional<Manifest> readManifest(const std::string &text);
// Whether it is the beginning of one, or nothing that was written at all, as a power cut leaves it.
bool isBegunManifest(const std::string &text);

} // namespace xyl::host::stage
