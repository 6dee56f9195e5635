// The platform of one run of the host program: firmware, providers, a controller (simulated, or over disks) and the
// driver bound to it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/controller_file/controller_file.h"
#include "host/firmware/firmware.h"
#include "host/platform/step_log.h"

namespace xyl::host {

// Where the controller comes from; with all empty there is none.
struct PlatformOptions {
  std::string preset;
  std::string controllerFile;
  std::vector<std::string> disks; // images and block devices, which stand in the ports of one function
  std::string logLevel;           // empty: no log on the console
  bool changes = false;           // the controller's file will be saved, disks are opened for writing
  std::function<void(const client::progress::Step &)> onStep; // told of each step of an operation when it is done
};

class Platform {
public:
  // Throws ClientError.
  explicit Platform(const PlatformOptions &options);
  // Takes everything down and returns what the books say was done wrong, one line each.
  std::vector<std::string> close(bool namesWereAsked);

  EFI_SYSTEM_TABLE *systemTable() { return firmware_.systemTable(); }
  // What the driver wrote to the console, as far as the user wants to see it: the log, or why nothing was bound.
  std::string takeConsole();
  // Writes the state back to the controller's file, if it came from one and may have changed: also a command that only
  // reads uses up pending faults. Throws ClientError.
  void saveController();

private:
  void loadLog();
  void load(ImageEntry entry, const char *name, const std::u16string &options = {});
  void loadController();
  void connectSimulated();
  void loadDisks();
  void connectDisks();

  PlatformOptions options_;
  FileLock lock_;
  Firmware firmware_;
  StepLog steps_;
  SimOwner sim_;                                    // after the firmware, whose pool it lives in
  std::vector<std::unique_ptr<BlockDevice>> disks_; // likewise
  EFI_HANDLE overDisks_ = nullptr;                  // the controller over them
  std::vector<EFI_HANDLE> images_;
  bool showsConsole_ = false;
};

} // namespace xyl::host
