#include "host/stage/payload.h"

#include <algorithm>
#include <map>
#include <random>

#include "base/crc32.h"
#include "base/pool.h"
#include "host/common/common.h"
#include "host/stage/bytes.h"

namespace xyl::host::stage {

namespace fs = std::filesystem;

namespace {

std::string readSource(const fs::path &source) {
  std::string content;
  EFI_STATUS status = readHostFile(source.string(), &content);
  if (EFI_ERROR(status)) {
    throw ClientError(status, "cannot read '" + source.string() + "': " + client::statusWords(status));
  }
  return content;
}

// --- Images ---

// Looks at the headers of a PE32+ image.
void checkImage(const fs::path &source, const std::string &content, const std::string &architecture, bool wantsSigned) {
  uint64_t header = numberAt(content, 0x3C, 4);
  uint64_t machine = architecture == "x64" ? 0x8664 : 0xAA64;
  uint64_t optional = header + 24;
  bool isImage =
      content.starts_with("MZ") && content.compare(std::min<size_t>(header, content.size()), 4, "PE\0\0", 4) == 0;
  if (!isImage || numberAt(content, header + 4, 2) != machine || numberAt(content, optional, 2) != 0x20B) {
    throw ClientError(EFI_UNSUPPORTED, "'" + source.string() + "' is no image for this machine (" + architecture + ")");
  }
  // The fifth directory tells where the signatures are; the first ones stand behind 112 bytes.
  uint64_t at = numberAt(content, optional + 108, 4) > 4 ? numberAt(content, optional + 112 + 32, 4) : 0;
  uint64_t size = at != 0 ? numberAt(content, optional + 112 + 36, 4) : 0;
  bool isSigned = size != 0 && at <= content.size() && size <= content.size() - at;
  if (wantsSigned && !isSigned) {
    throw ClientError(EFI_SECURITY_VIOLATION, "Secure Boot is on, and '" + source.string() +
                                                  "' is not signed: the firmware would not start it");
  }
}

// --- Names ---

// The file system has not every name, and takes X and x for one.
void checkNames(const std::map<std::string, fs::path> &sources) {
  std::map<std::string, std::string> seen;
  for (const auto &[place, source] : sources) {
    bool isBad = std::any_of(place.begin(), place.end(), [](unsigned char letter) {
      return letter < ' ' || letter == 0x7F ||
             std::string("\"*:<>?|\\").find(static_cast<char>(letter)) != std::string::npos;
    });
    for (const fs::path &part : fs::path(place)) {
      isBad = isBad || part.string().ends_with('.') || part.string().ends_with(' ');
    }
    // Else it is another name in the file system's 16-bit letters, or in our list of what is ours.
    isBad = isBad || toUtf8(fromUtf8(place).c_str()) != place;
    if (isBad) {
      throw ClientError(EFI_INVALID_PARAMETER,
                        "'" + source.string() +
                            "': on the system partition, which is FAT, a name has none of \" * : "
                            "< > ? \\ |, no period or blank at its end, and is UTF-8 of 16-bit characters");
    }
    auto [other, isNew] = seen.emplace(lowered(place), place);
    if (!isNew) {
      throw ClientError(EFI_INVALID_PARAMETER,
                        other->second + " and " + place + " are one name on the system partition, which is FAT");
    }
  }
}

// --- The files ---

// Adds all files below a folder, but those whose first folder is skipped.
void addFolder(const fs::path &folder, const std::string &place, const std::vector<std::string> &skipped,
               std::map<std::string, fs::path> *sources) {
  std::error_code error;
  auto walk = fs::recursive_directory_iterator(folder, fs::directory_options::follow_directory_symlink, error);
  for (auto at = walk; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
    fs::path name = at->path().lexically_relative(folder);
    if (std::find(skipped.begin(), skipped.end(), name.begin()->string()) != skipped.end()) {
      at.disable_recursion_pending();
    } else if (at->is_regular_file()) {
      (*sources)[place + "/" + name.generic_string()] = at->path();
    } else if (!at->is_directory()) {
      throw ClientError(EFI_INVALID_PARAMETER, "'" + at->path().string() + "' is neither a file nor a folder");
    }
  }
  if (error) {
    throw ClientError(statusFromErrno(error.value()), "cannot read '" + folder.string() + "': " + error.message());
  }
}

std::string randomId() {
  static constexpr const char *digits = "0123456789abcdef";
  std::random_device source;
  std::string id;
  for (int i = 0; i < 32; ++i) {
    id += digits[source() % 16];
  }
  return id;
}

// A driver in the medium's folder stands in for one of the images.
std::map<std::string, fs::path> sourcesOf(const fs::path &folder, const fs::path &images,
                                          const std::string &architecture) {
  std::map<std::string, fs::path> sources;
  sources[imageName] = images / "RaidBoot.efi";
  std::string drivers = std::string(homeFolder) + "/" + architecture;
  for (const char *driver : {"RaidXyl.efi", "XmlService.efi"}) {
    sources[drivers + "/" + driver] = images / driver;
  }
  if (fs::is_directory(folder / "drivers" / architecture)) {
    addFolder(folder / "drivers" / architecture, drivers, {}, &sources);
  }
  addFolder(folder, work, {"drivers", "results", "medium.id"}, &sources);
  return sources;
}

void look(PayloadFile *file, const std::string &content) {
  file->size = content.size();
  file->sum = crc32Of(content.data(), content.size());
}

} // namespace

std::string lowered(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter | 0x20) : letter;
  });
  return text;
}

Payload collectPayload(const fs::path &folder, const fs::path &images, const std::string &architecture,
                       bool wantsSigned) {
  std::map<std::string, fs::path> sources = sourcesOf(folder, images, architecture);
  Payload payload;
  payload.id = randomId();
  const std::string idPlace = std::string(work) + "/medium.id"; // by it the machine knows a job again
  sources[idPlace] = "";
  checkNames(sources);
  for (const auto &[place, source] : sources) {
    PayloadFile file = {source, source.empty() ? payload.id : "", place};
    std::string content = source.empty() ? payload.id : readSource(source);
    look(&file, content);
    if (lowered(place).ends_with(".efi") && !isOfJob(place)) {
      checkImage(source, content, architecture, wantsSigned);
    }
    wipeBytes(content.data(), content.size());
    payload.job = place == std::string(work) + "/jobs.txt" ? file.sum : payload.job;
    payload.files.push_back(file);
  }
  return payload;
}

std::string contentOf(const PayloadFile &file) {
  std::string content = file.source.empty() ? file.content : readSource(file.source);
  PayloadFile now;
  look(&now, content);
  if (now.size != file.size || now.sum != file.sum) {
    throw ClientError(EFI_ABORTED, "'" + file.source.string() + "' changed meanwhile");
  }
  return content;
}

} // namespace xyl::host::stage
