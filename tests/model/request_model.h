// What one call of Set_Live must do: the commands that reach the controller, the status, and the log.
#pragma once

#include "tests/model/controller_model.h"

// --- What a call is given ---

struct SAVED_DISK {
  DISK disk;        // state does not count
  std::string fqdd; // empty: none
};

// A saved configuration as its document says it, in document order.
struct SAVED {
  UINT32 deviceId = 0;
  SETTINGS settings; // rates without unused slots
  std::vector<SAVED_DISK> disks;
  std::vector<VOLUME> volumes; // ids do not count
};

// A method of the request. Its revision is that of the parsed command: 3 with keys, else 0.
struct METHOD {
  COMMAND command;
  std::string damage; // text that makes the method unreadable, so that it is left out
};

struct OPTIONS {
  bool restore = false;
  bool normal = false;
  bool preserve = true;
  bool stopOnError = false;
};

// The nth command of the call, or all from it on, return status and do nothing, or (EFI_SUCCESS) answer without data.
struct FAULT {
  UINT32 nth = 0; // 0: none
  bool once = true;
  bool ofLists = false; // only reads of the virtual disks count
  EFI_STATUS status = EFI_SUCCESS;
};

struct CALL {
  OPTIONS options;
  std::optional<SAVED> saved;
  std::string savedText; // the saved document when it is not written from saved
  std::optional<std::vector<METHOD>> methods;
  FAULT fault;
};

// --- What it did ---

// A command as it reached the controller. Of payloads only hot spares and their lists are compared here.
struct ARRIVED {
  COMMAND command;
  EFI_STATUS status;
};

struct OPERATION {
  std::string name;
  EFI_STATUS code; // the status without its top bit; 0 for a success

  bool operator==(const OPERATION &) const = default;
};

struct OUTCOME {
  EFI_STATUS status = EFI_SUCCESS;
  bool hasLog = false;
  std::vector<OPERATION> log = {};
};

// What must come of the call; the controller is brought to the state that it must then be in. Which commands it
// accepted is looked up in arrived, where that is not certain beforehand. *wrong tells where arrived is not what it
// must be.
OUTCOME predict(CONTROLLER &controller, const CALL &call, const std::vector<ARRIVED> &arrived, std::string *wrong);

std::string describe(const COMMAND &command);
