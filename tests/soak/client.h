// The client's core in this process.
#pragma once

#include "tests/model/random.h"
#include "tests/support/memory_front.h"

using namespace xyl;

class SoakClient : public MemoryFront {
public:
  explicit SoakClient(World &world) : world_(world) {}

  // Runs a command line. Everything is agreed to; what is printed is kept in out and errors.
  client::Outcome run(const std::string &line);

  // A line with its marks filled in: %D a disk, %V a virtual disk, %L a level, %N a name that hardly anything has.
  static std::string fill(const std::string &line, Random &random, const Ids &disks, const Ids &virtualDisks);

private:
  World &world_;
};
