// What comes onto the system partition: the files of a boot medium.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace xyl::host::stage {

// The folders are those that the medium's image looks into.
inline constexpr const char *homeFolder = "EFI/raidxyl"; // the image, the drivers and what staging keeps
inline constexpr const char *work = "raidxyl";           // the job, what its lines read and what they leave
inline constexpr const char *imageName = "EFI/raidxyl/RaidBoot.efi";

struct PayloadFile {
  std::filesystem::path source; // empty: content is what it holds
  std::string content;
  std::string place; // below the system partition, with slashes
  uint64_t size = 0;
  uint32_t sum = 0; // CRC-32
};

struct Payload {
  std::vector<PayloadFile> files; // by their places
  std::string id;                 // of this staging, another one each time
  uint32_t job = 0;               // CRC-32 of the job file
};

// Looks at all files of a medium's folder and at the images for an architecture. Throws ClientError: what cannot be
// read, names that FAT has not, images that are none for this machine; with wantsSigned also images without a
// signature.
Payload collectPayload(const std::filesystem::path &folder, const std::filesystem::path &images,
                       const std::string &architecture, bool wantsSigned);

// Whether a file of the system partition came from the medium's folder, and may hold what others should not read.
inline bool isOfJob(const std::string &place) {
  return place.starts_with(std::string(work) + "/");
}

// As FAT takes names for one.
std::string lowered(std::string text);

// What it holds now. Throws ClientError when it is not what was looked at.
std::string contentOf(const PayloadFile &file);

} // namespace xyl::host::stage
