// What staging wants of the running machine: its system partition and its firmware's variables.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "host/stage/boot_option.h"

namespace xyl::host::stage {

// Of a file system, in bytes.
struct Room {
  uint64_t free = 0;
  uint64_t cluster = 1; // what a file takes is a multiple of it
};

// Throws ClientError.
Room roomOf(const std::filesystem::path &folder);

// Where the machine is looked at.
struct Machine {
  std::filesystem::path root = "/"; // its files; another folder in tests
  std::string processor;            // as uname tells it
  Room (*room)(const std::filesystem::path &folder) = roomOf;
};

// The machine on which the program runs.
Machine thisMachine();

// A file of the machine by its absolute name.
std::filesystem::path placeOf(const Machine &machine, const std::string &name);

struct SystemPartition {
  std::filesystem::path folder; // below the machine's root
  std::string name;             // the folder as people know it
  std::string device;
  Partition partition;
};

// The EFI system partition that is mounted, or the FAT partition that is mounted at wanted if that is not empty. Throws
// ClientError: none, several, read-only, without the place of a GPT, or not to be read.
SystemPartition findSystemPartition(const Machine &machine, const std::string &wanted);

// The folder of the firmware's variables. Throws ClientError when the machine did not start by UEFI of its own width,
// and when they are not there or only to be read.
std::filesystem::path findVariables(const Machine &machine);

// "x64" or "aa64". Throws ClientError for another processor.
std::string architectureOf(const Machine &machine);

// A random word that is another one after every start; empty when the system tells none.
std::string bootOf(const Machine &machine);

} // namespace xyl::host::stage
