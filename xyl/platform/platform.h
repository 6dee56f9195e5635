// The platform of one run of the host program: firmware, providers, a simulated controller and the driver bound to it.
#pragma once

#include <string>
#include <vector>

#include "host_firmware/host_firmware.h"
#include "xyl/controller_file/controller_file.h"

// Where the controller comes from; with both empty there is none.
struct PLATFORM_OPTIONS {
  std::string preset;
  std::string controllerFile;
  std::string logLevel; // empty: no log on the console
  bool changes = false; // the controller's file will be saved
};

class Platform {
public:
  // Throws CLIENT_ERROR.
  explicit Platform(const PLATFORM_OPTIONS &options);
  // Takes everything down and returns what the books say was done wrong, one line each.
  std::vector<std::string> close(bool namesWereAsked);

  EFI_SYSTEM_TABLE *systemTable() { return firmware_.systemTable(); }
  // What the driver wrote to the console, as far as the user wants to see it: the log, or why nothing was bound.
  std::string takeConsole();
  // Writes the state back to the controller's file, if it came from one and may have changed: also a command that only
  // reads uses up pending faults. Throws CLIENT_ERROR.
  void saveController();

private:
  void load(EFI_IMAGE_ENTRY entry, const char *name, const std::u16string &options = {});
  void loadController();
  void connect();

  PLATFORM_OPTIONS options_;
  FileLock lock_;
  Firmware firmware_;
  SIM_OWNER sim_; // after the firmware, whose pool it lives in
  std::vector<EFI_HANDLE> images_;
  bool showsConsole_ = false;
};
