// Runs ensure on the controller of a world, with a layout in memory.
#pragma once

#include "driver/request/request.h"
#include "providers/sim_controller/command_log.h"
#include "tests/support/memory_front.h"
#include "tests/support/world.h"

using namespace xyl;

class Runner {
public:
  explicit Runner(World &world) : world_(world) {}

  client::Outcome run(const std::string &layout, std::vector<const CHAR8 *> options) {
    memory.files["x.xml"] = layout;
    client::Front front = memory.as(client::frontShell, client::g_xylCommands);
    front.askYes = ask != nullptr ? ask : front.askYes;
    std::vector<const CHAR8 *> words = {"ensure", "x.xml"};
    words.insert(words.end(), options.begin(), options.end());
    client::Request request;
    EXPECT_EQ(client::xylParse(&front, words.size(), words.data(), &request).outcome, client::outcomeSuccess);
    sim::clearLog(world_.sim);
    return client::xylRun(&front, request).outcome;
  }

  // Which of the commands that came in the last run would change something, counted from 1.
  std::vector<UINT64> changes() const {
    std::vector<UINT64> places;
    for (UINT64 i = 0; i < sim::commandCount(world_.sim); ++i) {
      const sim::LogEntry *entry = sim::command(world_.sim, i);
      UINT32 command = entry != nullptr ? entry->block.Command : UINT32{RAID_COMMAND_GET};
      if (command != RAID_COMMAND_GET && command != RAID_COMMAND_GET_KEY_ID) {
        places.push_back(i + 1);
      }
    }
    return places;
  }

  MemoryFront memory;                                                    // what the last run told
  client::Answer (*ask)(const client::Front *, const CHAR8 *) = nullptr; // null: nobody is there

private:
  World &world_;
};
