#include "host/stage/manifest.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace xyl::host::stage {

namespace {

constexpr const char *kind = "raidxyl stage 1";
constexpr const char *manifestBeginning = "{\n  \"kind\": \"raidxyl stage ";

std::string hexOf(const std::string &bytes) {
  static constexpr const char *digits = "0123456789abcdef";
  std::string text;
  for (unsigned char byte : bytes) {
    text += {digits[byte >> 4], digits[byte & 15]};
  }
  return text;
}

std::string bytesOf(const std::string &hex) {
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoul(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

// What is not below our folders is none of ours, whatever a manifest says.
bool isOurs(const std::string &place) {
  std::filesystem::path path(place);
  return (place.starts_with(std::string(homeFolder) + "/") || isOfJob(place)) && path == path.lexically_normal() &&
         path.has_filename();
}

} // namespace

Manifest manifestOf(const Payload &payload, const std::string &boot, uint16_t number, const std::string &option) {
  Manifest manifest = {payload.id, payload.job, boot, number, option, {}};
  for (const PayloadFile &file : payload.files) {
    manifest.files.push_back({file.place, file.size, file.sum});
  }
  return manifest;
}

std::string manifestText(const Manifest &manifest) {
  nlohmann::ordered_json json = {
      {"kind", kind},          {"id", manifest.id},         {"job", manifest.job},
      {"boot", manifest.boot}, {"number", manifest.number}, {"option", hexOf(manifest.option)}};
  json["files"] = nlohmann::ordered_json::array();
  for (const StagedFile &file : manifest.files) {
    json["files"].push_back({{"place", file.place}, {"size", file.size}, {"crc32", file.sum}});
  }
  return json.dump(2, ' ', /* ensure_ascii= */ false, nlohmann::json::error_handler_t::replace) + "\n";
}

std::optional<Manifest> readManifest(const std::string &text) {
  try {
    nlohmann::json json = nlohmann::json::parse(text);
    Manifest manifest = {
        json.at("id"), json.at("job"), json.at("boot"), json.at("number"), bytesOf(json.at("option")), {}};
    for (const nlohmann::json &file : json.at("files")) {
      manifest.files.push_back({file.at("place"), file.at("size"), file.at("crc32")});
    }
    bool isOne = json.at("kind") == kind && std::all_of(manifest.files.begin(), manifest.files.end(),
                                                        [](const StagedFile &file) { return isOurs(file.place); });
    return isOne ? std::optional(manifest) : std::nullopt;
  } catch (const nlohmann::json::exception &) {
    return std::nullopt;
  } catch (const std::logic_error &) {
    return std::nullopt; // no hexadecimal digits
  }
}

bool isBegunManifest(const std::string &text) {
  const std::string beginning = manifestBeginning;
  return text.find_first_not_of('\0') == std::string::npos ||
         text.compare(0, beginning.size(), beginning, 0, text.size()) == 0;
}

} // namespace xyl::host::stage
