#include "host/stage/staging.h"

#include <algorithm>
#include <map>
#include <set>

#include "base/crc32.h"
#include "base/pool.h"
#include "host/common/common.h"
#include "host/stage/bytes.h"

namespace xyl::host::stage {

namespace fs = std::filesystem;

namespace {

const std::string manifestName = std::string(homeFolder) + "/stage.json";
const std::string fetchedName = std::string(homeFolder) + "/fetched";

bool isEmptyOrAbsent(const fs::path &folder) {
  std::error_code error;
  return !fs::exists(folder) || (fs::is_directory(folder) && fs::is_empty(folder, error) && !error);
}

bool hasOnly(const fs::path &folder, const fs::path &file) {
  size_t others = 0;
  for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
    others += entry.path() != file ? 1 : 0;
  }
  return others == 0;
}

// All that is below one of our folders, as places; folders with a slash at their end.
std::vector<std::string> placesBelow(const Site &site, const std::string &folder) {
  std::vector<std::string> places;
  if (fs::is_directory(onPartition(site, folder))) {
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(onPartition(site, folder))) {
      places.push_back(entry.path().lexically_relative(site.system.folder).generic_string() +
                       (entry.is_directory() ? "/" : ""));
    }
  }
  std::sort(places.begin(), places.end());
  return places;
}

bool isFolder(const std::string &place) {
  return place.ends_with('/');
}

std::string contentAt(const Site &site, const std::string &place) {
  std::string content;
  EFI_STATUS status = readHostFile(onPartition(site, place).string(), &content);
  if (EFI_ERROR(status)) {
    throw ClientError(status,
                      "cannot read '" + onPartition(site, place).string() + "': " + client::statusWords(status));
  }
  return content;
}

// The file as it is now.
StagedFile fileAt(const Site &site, const std::string &place) {
  std::string content = contentAt(site, place);
  StagedFile file = {place, content.size(), crc32Of(content.data(), content.size())};
  wipeBytes(content.data(), content.size());
  return file;
}

bool isSameFile(const StagedFile &a, const StagedFile &b) {
  return lowered(a.place) == lowered(b.place) && a.size == b.size && a.sum == b.sum;
}

// Files of the job's folder that were not staged; and, if there are any, also those that are no more as they were.
std::vector<StagedFile> leftBy(const Site &site, const Manifest &manifest) {
  std::map<std::string, const StagedFile *> staged;
  for (const StagedFile &file : manifest.files) {
    staged[lowered(file.place)] = &file;
  }
  std::vector<StagedFile> made, changed;
  for (const std::string &place : placesBelow(site, work)) {
    if (isFolder(place)) {
      continue;
    }
    StagedFile now = fileAt(site, place);
    auto known = staged.find(lowered(place));
    if (known == staged.end()) {
      made.push_back(now);
    } else if (!isSameFile(now, *known->second)) {
      changed.push_back(now);
    }
  }
  if (!made.empty()) {
    made.insert(made.end(), changed.begin(), changed.end());
  }
  return made;
}

bool hasOption(const Site &site, const Manifest &manifest) {
  return isOption(site.variables.read(Variables::optionName(manifest.number)).value_or(""), manifest.option);
}

// Also when the option itself is gone: the number then leads nowhere.
bool isNext(const Site &site, const Manifest &manifest) {
  bool isFree = !site.variables.read(Variables::optionName(manifest.number));
  return site.variables.next() == manifest.number && (isFree || hasOption(site, manifest));
}

// What a run that fetched it noted, of that what is still there; none when no run came so far.
std::optional<std::vector<StagedFile>> fetchedOf(const Site &site, const std::vector<StagedFile> &left) {
  std::optional<Manifest> note =
      fs::exists(onPartition(site, fetchedName)) ? readManifest(contentAt(site, fetchedName)) : std::nullopt;
  if (!note) {
    return std::nullopt;
  }
  std::vector<StagedFile> fetched;
  std::copy_if(left.begin(), left.end(), std::back_inserter(fetched), [&note](const StagedFile &file) {
    return std::any_of(note->files.begin(), note->files.end(),
                       [&file](const StagedFile &noted) { return isSameFile(file, noted); });
  });
  return fetched;
}

State stateOf(const Site &site, const Look &look) {
  return !look.left.empty() ? State::ran : isNext(site, *look.manifest) ? State::waiting : State::cut;
}

// Without a manifest that can be read: the folders have to be empty, but for the beginning of one.
Look lookWithout(const Site &site, const std::string &text) {
  fs::path home = onPartition(site, homeFolder);
  fs::path file = onPartition(site, manifestName);
  bool isEmpty = isEmptyOrAbsent(home);
  bool isBegun = fs::is_regular_file(file) && hasOnly(home, file) && isBegunManifest(text);
  Look look;
  if (!isEmptyOrAbsent(onPartition(site, work))) {
    look.foreign = work;
  } else if (!isEmpty && !isBegun) {
    look.foreign = fs::is_regular_file(file) ? manifestName : homeFolder;
  }
  look.state = !look.foreign.empty() ? State::foreign : isBegun ? State::cut : State::nothing;
  return look;
}

constexpr const char *remembered = "RaidXylJob";

// The folders on the way to a place; in their order each stands behind the one in which it is.
std::set<std::string> foldersOf(const std::string &place) {
  std::set<std::string> folders;
  for (fs::path at = fs::path(place).parent_path(); !at.empty() && at != "EFI"; at = at.parent_path()) {
    folders.insert(at.generic_string());
  }
  return folders;
}

// Whether it may be one of the staged files under another name.
bool isContentOf(const StagedFile &file, const Manifest &manifest) {
  return std::any_of(manifest.files.begin(), manifest.files.end(),
                     [&file](const StagedFile &staged) { return staged.size == file.size && staged.sum == file.sum; });
}

// A file under another name than it was given would later be taken for one that the job made.
void checkKept(const Site &site, const Manifest &manifest) {
  std::vector<StagedFile> others = leftBy(site, manifest);
  if (!others.empty()) {
    throw ClientError(EFI_INVALID_PARAMETER, "'" + site.system.name + "' has a file '" + others[0].place +
                                                 "', which is no name that it was given; it keeps one otherwise, or "
                                                 "somebody put it there just now");
  }
}

void putAll(Site *site, const Payload &payload, const Manifest &manifest) {
  Changes &changes = site->changes;
  changes.makeFolder(onPartition(*site, "EFI"));
  changes.makeFolder(onPartition(*site, homeFolder));
  changes.createFile(onPartition(*site, manifestName), manifestText(manifest));
  std::set<std::string> folders;
  for (const PayloadFile &file : payload.files) {
    folders.merge(foldersOf(file.place));
  }
  for (const std::string &folder : folders) {
    changes.makeFolder(onPartition(*site, folder));
  }
  for (const PayloadFile &file : payload.files) {
    std::string content = contentOf(file);
    changes.createFile(onPartition(*site, file.place), content);
    wipeBytes(content.data(), content.size());
  }
  checkKept(*site, manifest);
  site->variables.create(Variables::optionName(manifest.number), manifest.option);
  site->variables.create("BootNext", littleEndian(manifest.number));
}

// The order first: firmware is never told to boot what is not there any more.
void takeVariables(Site *site, const Manifest &manifest) {
  std::string option = Variables::optionName(manifest.number);
  if (isNext(*site, manifest) || !site->variables.read("BootNext")) {
    site->variables.remove("BootNext"); // or the empty file of a run that ended before it had written
  }
  if (hasOption(*site, manifest) || !site->variables.read(option)) {
    site->variables.remove(option);
  }
  if (isRemembered(*site, manifest)) {
    site->variables.remove(remembered, mediumVendor);
  }
}

// Removes the files, then the folders that are empty without them, the deepest first. What was staged is overwritten
// before, since it may hold passphrases; what the job left is known by its content.
void takeFiles(Site *site, const Look &look) {
  std::map<std::string, bool> wipes;
  for (const StagedFile &file : look.left) {
    wipes[file.place] = false;
  }
  for (const StagedFile &file : look.manifest->files) {
    wipes[file.place] = isOfJob(file.place);
  }
  std::set<std::string> folders;
  for (const auto &[place, isWiped] : wipes) {
    folders.merge(foldersOf(place));
  }
  for (const std::string &place : placesBelow(*site, work)) {
    if (isFolder(place)) {
      folders.insert(place.substr(0, place.size() - 1));
    }
  }
  folders.erase(homeFolder);
  for (const auto &[place, isWiped] : wipes) {
    site->changes.removeFile(onPartition(*site, place), isWiped);
  }
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
    site->changes.removeFolder(onPartition(*site, *folder));
  }
}

} // namespace

fs::path onPartition(const Site &site, const std::string &place) {
  return site.system.folder / place;
}

Look lookAt(const Site &site) {
  std::string text;
  EFI_STATUS status = readHostFile(onPartition(site, manifestName).string(), &text);
  if (EFI_ERROR(status) && status != EFI_NOT_FOUND && status != EFI_INVALID_PARAMETER) {
    throw ClientError(status,
                      "cannot read '" + onPartition(site, manifestName).string() + "': " + client::statusWords(status));
  }
  std::optional<Manifest> manifest = EFI_ERROR(status) ? std::nullopt : readManifest(text);
  if (!manifest) {
    return lookWithout(site, text);
  }
  Look look;
  look.manifest = manifest;
  look.left = leftBy(site, *manifest);
  std::optional<std::vector<StagedFile>> fetched = fetchedOf(site, look.left);
  look.state = fetched ? State::fetched : stateOf(site, look);
  look.left = fetched ? *fetched : look.left;
  return look;
}

// The sums of the job, which may come from a server, and of the number that no other staging has
// (images/medium/done.cpp).
bool isRemembered(const Site &site, const Manifest &manifest) {
  std::string value = site.variables.read(remembered, mediumVendor).value_or("");
  return value.size() == 8 && value.substr(4) == littleEndian(crc32Of(manifest.id.data(), manifest.id.size()));
}

void put(Site *site, const Payload &payload, const Manifest &manifest) {
  try {
    putAll(site, payload, manifest);
  } catch (const std::runtime_error &) { // also of the library's, about files
    try {
      Look look = lookAt(*site);
      std::erase_if(look.left, [&manifest](const StagedFile &file) { return !isContentOf(file, manifest); });
      takeBack(site, look);
    } catch (const std::runtime_error &) {
      // What failed first is told; the next run, or --cancel, takes back the rest.
    }
    throw;
  }
}

// A job may have filled the partition, so what it takes to boot it goes first, and gives the note its room.
void noteFetched(Site *site, const Look &look) {
  takeVariables(site, *look.manifest);
  for (const StagedFile &file : look.manifest->files) {
    if (!isOfJob(file.place)) {
      site->changes.removeFile(onPartition(*site, file.place), /* wipes= */ false);
    }
  }
  Manifest note = *look.manifest;
  note.files = look.left;
  site->changes.removeFile(onPartition(*site, fetchedName), /* wipes= */ false); // half of one
  site->changes.createFile(onPartition(*site, fetchedName), manifestText(note));
}

std::vector<std::string> takeBack(Site *site, const Look &look) {
  if (look.manifest) {
    takeVariables(site, *look.manifest);
    takeFiles(site, look);
  }
  fs::path home = onPartition(*site, homeFolder);
  if (look.state != State::foreign && fs::is_directory(home)) {
    site->changes.removeFile(onPartition(*site, fetchedName), /* wipes= */ false);
    site->changes.removeFile(onPartition(*site, manifestName), /* wipes= */ false);
    site->changes.removeFolder(home);
  }
  std::vector<std::string> stays = placesBelow(*site, homeFolder);
  for (const std::string &place : placesBelow(*site, work)) {
    stays.push_back(place);
  }
  return stays;
}

} // namespace xyl::host::stage
