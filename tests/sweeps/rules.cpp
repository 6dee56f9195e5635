#include "tests/sweeps/rules.h"

using namespace xyl;

static bool rereadFailed(const sim::Controller *sim, UINT64 create) {
  const sim::LogEntry *next = sim::command(sim, create + 1);
  return next != nullptr && next->block.Command == RAID_COMMAND_GET &&
         next->block.ObjectType == RAID_OBJECT_VIRTUAL_DISK && EFI_ERROR(next->status);
}

static bool changesState(UINT32 command) {
  return (command >= RAID_COMMAND_DELETE && command <= RAID_COMMAND_CLEAR) || command == RAID_COMMAND_LOCK ||
         command == RAID_COMMAND_SECURE_ERASE || command == RAID_COMMAND_REKEY;
}

std::vector<UINT32> changesMade(const sim::Controller *sim, UINT64 first) {
  std::vector<UINT32> made;
  for (UINT64 number = first; number < sim::commandCount(sim); ++number) {
    const sim::LogEntry *entry = sim::command(sim, number);
    UINT32 command = entry->block.Command;
    bool harmless = command == RAID_COMMAND_CLEAR && entry->status == EFI_NOT_FOUND;
    bool uncertain = command == RAID_COMMAND_CREATE && rereadFailed(sim, number);
    if (changesState(command) && !uncertain && (entry->status == EFI_SUCCESS || harmless)) {
      made.push_back(command);
    }
  }
  return made;
}

bool anythingDone(const sim::Controller *sim, UINT64 first) {
  for (UINT64 number = first; number < sim::commandCount(sim); ++number) {
    const sim::LogEntry *entry = sim::command(sim, number);
    if (changesState(entry->block.Command) && entry->status == EFI_SUCCESS) {
      return true;
    }
  }
  return false;
}

// 0 for an operation that changes nothing, or whose name was lost.
static UINT32 commandOf(const std::string &operation) {
  static const struct {
    const char *name;
    UINT32 command;
  } rows[] = {{"DELETE", RAID_COMMAND_DELETE},
              {"ResetConfig", RAID_COMMAND_DELETE},
              {"CREATE", RAID_COMMAND_CREATE},
              {"CreateVD", RAID_COMMAND_CREATE},
              {"CHANGE", RAID_COMMAND_CHANGE},
              {"ChangeAdapter", RAID_COMMAND_CHANGE},
              {"ChangePD", RAID_COMMAND_CHANGE},
              {"IMPORT_FOREIGN", RAID_COMMAND_IMPORT},
              {"CLEAR_FOREIGN", RAID_COMMAND_CLEAR},
              {"ClearForeignConfig", RAID_COMMAND_CLEAR},
              {"LOCK", RAID_COMMAND_LOCK},
              {"SECURE_ERASE", RAID_COMMAND_SECURE_ERASE},
              {"RemoveCtrlKey", RAID_COMMAND_SECURE_ERASE},
              {"REKEY", RAID_COMMAND_REKEY}};
  for (const auto &row : rows) {
    if (operation == row.name) {
      return row.command;
    }
  }
  return 0;
}

std::vector<UINT32> changesClaimed(const std::string &log) {
  std::vector<UINT32> claimed;
  for (const Step &step : stepsOf(log)) {
    UINT32 command = commandOf(step.name);
    if (command != 0 && step.status == "Success") {
      claimed.push_back(command);
    }
  }
  return claimed;
}

bool isPartOf(const std::vector<UINT32> &part, const std::vector<UINT32> &whole) {
  size_t found = 0;
  for (UINT32 command : whole) {
    found += found < part.size() && part[found] == command ? 1 : 0;
  }
  return found == part.size();
}

bool isWholeDocument(const std::string &text, const std::string &root) {
  size_t begin = text.find("<" + root);
  std::string end = text.ends_with("\n") ? text.substr(0, text.size() - 1) : text;
  return begin != std::string::npos && (end.ends_with("</" + root + ">") || end.ends_with("<" + root + "/>"));
}
