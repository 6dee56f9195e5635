// The client's core in this process.
#pragma once

#include "tests/model/random.h"
#include "tests/support/memory_front.h"

class SoakClient : public MemoryFront {
public:
  explicit SoakClient(World &world) : world_(world) {}

  // Runs a command line. Everything is agreed to; what is printed is kept in out and errors.
  XYL_OUTCOME run(const std::string &line);

  // A line with its marks filled in: %D a disk, %V a virtual disk, %L a level, %N a name that hardly anything has.
  static std::string fill(const std::string &line, RANDOM &random, const IDS &disks, const IDS &virtualDisks);

private:
  World &world_;
};
