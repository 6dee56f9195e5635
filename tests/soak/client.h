// The client's core in this process, with its files in memory.
#pragma once

#include <map>

#include "client/client.h"
#include "tests/model/random.h"

class SoakClient {
public:
  explicit SoakClient(World &world) : world_(world) {}

  // Runs a command line. Everything is agreed to; what is printed is kept in out and errors.
  XYL_OUTCOME run(const std::string &line);

  // A line with its marks filled in: %D a disk, %V a virtual disk, %L a level, %N a name that hardly anything has.
  static std::string fill(const std::string &line, RANDOM &random, const IDS &disks, const IDS &virtualDisks);

  std::map<std::string, std::string> files;
  std::string out, errors;

private:
  World &world_;
};
