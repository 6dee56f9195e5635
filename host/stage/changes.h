// All that staging changes on a machine goes through here, so that tests can let the power go before each change.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace xyl::host::stage {

// Every change throws ClientError when it fails. What it did is on the disk when it returns, but for room
// that it gives back.
class Changes {
public:
  // before is called before each change that the disk or the firmware may see alone; it may throw.
  explicit Changes(std::function<void()> before = [] {}) : before_(std::move(before)) {}

  // A folder that is there stays as it is.
  void makeFolder(const std::filesystem::path &folder);
  // Writes a file that must not be there.
  void createFile(const std::filesystem::path &file, const std::string &content);
  // Removes a file, with its content overwritten first if told so. One that is not there is no fault.
  void removeFile(const std::filesystem::path &file, bool wipes);
  // Removes a folder if nothing is in it.
  void removeFolder(const std::filesystem::path &folder);
  // A variable is written at once, or not at all.
  void createVariable(const std::filesystem::path &file, const std::string &content);
  void removeVariable(const std::filesystem::path &file);

private:
  static void keepFolder(const std::filesystem::path &folder);

  std::function<void()> before_;
};

} // namespace xyl::host::stage
