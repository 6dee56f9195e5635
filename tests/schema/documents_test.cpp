// The documents that the system writes, and the examples in the repository, are valid.
#include <filesystem>

#include "driver/xml/xml.h"
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"
#include "tests/driver/live/request_text.h"
#include "tests/support/kept_state.h"
#include "tests/support/paths.h"
#include "validator.h"

using namespace xyl;

static void expectValid(const std::string &schema, const std::string &document) {
  EXPECT_EQ(faults(schema, document), "") << document.substr(0, 4000);
}

// Applies the document; it and its log are valid, whatever the controller thinks of it.
static std::string expectValidChange(World &world, const std::string &request, const std::string &saved = {}) {
  expectValid("changes.xsd", request);
  OperationAnswer answer = world.set({normal, saved.empty() ? nullptr : saved.c_str(), request.c_str()});
  EXPECT_TRUE(answer.hasText) << request << name(answer.status);
  expectValid("change_log.xsd", answer.text);
  return answer.text;
}

TEST(Documents, InventoriesAndRestoreLogs) {
  expectValid("XYLSchema.xsd", sourceFile("tests/driver/inventory/document.xml"));
  for (UINT32 i = 0; sim::presetAt(i) != nullptr; ++i) {
    SCOPED_TRACE(sim::presetAt(i)->name);
    World world(sim::presetAt(i)->name);
    std::string saved = world.get().text;
    expectValid("XYLSchema.xsd", saved);
    if (world.sim->virtualDisks.count != 0) {
      EXPECT_EQ(sim::failDisk(world.sim, world.sim->virtualDisks.items[0].PDs[0]), EFI_SUCCESS);
    }
    // A new adapter finds all virtual disks foreign.
    EXPECT_EQ(sim::replaceAdapter(world.sim), EFI_SUCCESS);
    world.markBalance();
    expectValid("XYLSchema.xsd", world.get().text);
    for (const char *options : {restoreOptions, restoreRebuild}) {
      expectValid("options.xsd", options);
      expectValid("restore_log.xsd", world.set({options, saved.c_str(), nullptr}).text);
    }
  }
}

TEST(Documents, Examples) {
  for (const auto &entry : std::filesystem::directory_iterator(sourceDir() + "/tests/firmware/documents")) {
    World world("demo");
    expectValidChange(world, sourceFile("tests/firmware/documents/" + entry.path().filename().string()));
  }
}

// The examples of the guide do, one after the other, what it says: those with keys on an adapter without one, the
// others where there are free disks. The example behind one that says "-log" is its log.
TEST(Documents, ChangesGuide) {
  const std::string guide = sourceFile("docs/changes.md");
  for (const char *preset : {"demo", "empty"}) {
    World world(preset);
    std::string log;
    for (size_t at = 0; (at = guide.find("```xml ", at)) != std::string::npos; at = guide.find("```", at + 3) + 3) {
      size_t begin = guide.find('\n', at), end = guide.find("```", begin);
      std::string title = guide.substr(at + 7, begin - at - 7), document = guide.substr(begin + 1, end - begin - 1);
      SCOPED_TRACE(title);
      if (title == "options") {
        expectValid("options.xsd", document);
      } else if (title.ends_with("-log")) {
        EXPECT_TRUE(log == document || *preset == 'e');
      } else if (title.ends_with("-key") == (*preset == 'e')) {
        const UINT32 free[] = {1019, 1020};
        const KeptState tidy(world.sim);
        if (title.ends_with("-foreign")) {
          EXPECT_EQ(name(sim::makeForeign(world.sim, /* RAID 1 */ 4, free, 2)), name(EFI_SUCCESS));
        }
        const KeptState before(world.sim);
        log = expectValidChange(world, document, world.get().text);
        EXPECT_EQ(countOf(log, "<Status>Fail"), 0u) << log;
        EXPECT_EQ(before.isIn(world.sim), title == "identify-disk");
        EXPECT_EQ(sim::stateFault(world.sim), nullptr);
        if (title.ends_with("-foreign")) { // the next one needs the disks
          tidy.putBack(world.sim);
        }
      }
    }
  }
}

TEST(Documents, EveryCommandOnEveryType) {
  World world({.preset = "demo", .debugLog = false});
  // Also objects that do not go with the command: the controller must not read beyond what it was given.
  const char *const objects[] = {"", "<Adapter/>", "<PD/>", "<VD/>", "<Key><Mode>RKM</Mode></Key>"};
  for (const driver::VALUE_NAME_TABLE *command = driver::g_commandTable; command->Name != nullptr; ++command) {
    for (const driver::VALUE_NAME_TABLE *type = driver::g_objectTypeTable; type->Name != nullptr; ++type) {
      for (const char *object : objects) {
        for (const Ids &ids : {Ids{}, Ids{1001}}) {
          expectValidChange(world, element("raidData", method(command->Name, type->Name, ids, object)));
        }
      }
    }
  }
}
