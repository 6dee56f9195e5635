// Runs ensure on the controller of a world, with a layout in memory.
#pragma once

#include "driver/request/request.h"
#include "providers/sim_controller/command_log.h"
#include "tests/support/memory_front.h"
#include "tests/support/world.h"

class Runner {
public:
  explicit Runner(World &world) : world_(world) {}

  XYL_OUTCOME run(const std::string &layout, std::vector<const CHAR8 *> options) {
    memory.files["x.xml"] = layout;
    XYL_FRONT front = memory.as(XYL_FRONT_SHELL, g_xylCommands);
    front.AskYes = ask != nullptr ? ask : front.AskYes;
    std::vector<const CHAR8 *> words = {"ensure", "x.xml"};
    words.insert(words.end(), options.begin(), options.end());
    XYL_REQUEST request;
    EXPECT_EQ(xylParse(&front, words.size(), words.data(), &request).Outcome, XYL_SUCCESS);
    sim::clearLog(world_.sim);
    return xylRun(&front, request).Outcome;
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

  MemoryFront memory;                                            // what the last run told
  XYL_ANSWER (*ask)(const XYL_FRONT *, const CHAR8 *) = nullptr; // null: nobody is there

private:
  World &world_;
};
