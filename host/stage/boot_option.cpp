#include "host/stage/boot_option.h"

#include "host/stage/bytes.h"

namespace xyl::host::stage {

namespace {

constexpr uint32_t active = 1;
constexpr uint8_t nodeMedia = 4;
constexpr uint8_t nodeDisk = 1;
constexpr uint8_t nodeFile = 4;
constexpr uint8_t tableGpt = 2;
constexpr uint8_t idGuid = 2;
constexpr size_t head = 6; // attributes and the size of the device path, before the description

// Text as 16-bit characters, and the zero behind it.
std::string wide(const std::string &text) {
  std::string bytes;
  for (char letter : text) {
    bytes += {letter, '\0'};
  }
  return bytes + std::string(2, '\0');
}

std::string node(uint8_t type, uint8_t subtype, const std::string &content) {
  return std::string{static_cast<char>(type), static_cast<char>(subtype)} +
         littleEndian(static_cast<uint16_t>(content.size() + 4)) + content;
}

} // namespace

std::string bootOption(const Partition &partition, const std::string &file, const std::string &description) {
  std::string disk = littleEndian(partition.number) + littleEndian(partition.first) + littleEndian(partition.count) +
                     std::string(partition.id.begin(), partition.id.end()) + std::string{tableGpt, idGuid};
  std::string path =
      node(nodeMedia, nodeDisk, disk) + node(nodeMedia, nodeFile, wide(file)) + node(/* end */ 0x7F, 0xFF, "");
  return littleEndian(active) + littleEndian(static_cast<uint16_t>(path.size())) + wide(description) + path;
}

bool isOption(const std::string &option, const std::string &made) {
  std::string description = descriptionOf(made);
  constexpr size_t end = 4; // bytes of the last node
  size_t path = head + wide(description).size();
  return made.size() > path + end && descriptionOf(option) == description &&
         option.find(made.substr(path, made.size() - path - end)) != std::string::npos;
}

std::string descriptionOf(const std::string &option) {
  std::string text;
  for (size_t at = head; at + 1 < option.size() && (option[at] != 0 || option[at + 1] != 0); at += 2) {
    bool isPlain = option[at + 1] == 0 && option[at] >= ' ' && option[at] <= '~';
    text += isPlain ? option[at] : '?';
  }
  return text;
}

} // namespace xyl::host::stage
