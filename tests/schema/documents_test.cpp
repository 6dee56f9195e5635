// The documents that the system writes, and the examples in the repository, are valid.
#include <filesystem>
#include <fstream>
#include <sstream>

#include "base/text.h"
#include "driver/xml/xml.h"
#include "tests/live/request_text.h"
#include "validator.h"
#include "xyl/xyl.h"

static std::string contents(const std::string &file) {
  std::ifstream stream(RAIDXYL_SOURCE_DIR "/" + file);
  std::stringstream text;
  text << stream.rdbuf();
  EXPECT_FALSE(text.str().empty()) << file;
  return text.str();
}

static void expectValid(const std::string &schema, const std::string &document) {
  EXPECT_EQ(faults(schema, document), "") << document.substr(0, 4000);
}

// Applies the document; it and its log are valid, whatever the controller thinks of it.
static void expectValidChange(World &world, const std::string &request, const std::string &saved = {}) {
  expectValid("changes.xsd", request);
  ANSWER answer = world.set({NORMAL, saved.empty() ? nullptr : saved.c_str(), request.c_str()});
  ASSERT_TRUE(answer.hasText) << request << name(answer.status);
  expectValid("change_log.xsd", answer.text);
}

TEST(Documents, InventoriesAndRestoreLogs) {
  expectValid("XYLSchema.xsd", contents("tests/inventory/document.xml"));
  for (UINT32 i = 0; simPresetAt(i) != nullptr; ++i) {
    SCOPED_TRACE(simPresetAt(i)->name);
    World world(simPresetAt(i)->name);
    std::string saved = world.get().text;
    expectValid("XYLSchema.xsd", saved);
    if (world.sim->virtualDisks.count != 0) {
      EXPECT_EQ(simFailDisk(world.sim, world.sim->virtualDisks.items[0].PDs[0]), EFI_SUCCESS);
    }
    // A new adapter finds all virtual disks foreign.
    EXPECT_EQ(simReplaceAdapter(world.sim), EFI_SUCCESS);
    world.markBalance();
    expectValid("XYLSchema.xsd", world.get().text);
    for (const char *options : {RESTORE, RESTORE_REBUILD}) {
      expectValid("options.xsd", options);
      expectValid("restore_log.xsd", world.set({options, saved.c_str(), nullptr}).text);
    }
  }
}

TEST(Documents, Examples) {
  for (const auto &entry : std::filesystem::directory_iterator(RAIDXYL_SOURCE_DIR "/tests/firmware/documents")) {
    World world("demo");
    expectValidChange(world, contents("tests/firmware/documents/" + entry.path().filename().string()));
  }
  std::string text = contents("docs/changes.md");
  for (size_t at = 0; (at = text.find("```xml ", at)) != std::string::npos; at = text.find("```", at + 3)) {
    size_t begin = text.find('\n', at), end = text.find("```", begin);
    std::string title = text.substr(at + 7, begin - at - 7), document = text.substr(begin + 1, end - begin - 1);
    if (title == "options") {
      expectValid("options.xsd", document);
    } else if (title.ends_with("-log")) {
      expectValid("change_log.xsd", document);
    } else {
      World world(title.ends_with("-key") ? "empty" : "demo");
      expectValidChange(world, document, world.get().text);
    }
  }
}

TEST(Documents, EveryCommandOnEveryType) {
  World world({.preset = "demo", .debugLog = false});
  // Also objects that do not go with the command: the controller must not read beyond what it was given.
  const char *const objects[] = {"", "<Adapter/>", "<PD/>", "<VD/>", "<Key><Mode>RKM</Mode></Key>"};
  for (const VALUE_NAME_TABLE *command = g_commandTable; command->Name != nullptr; ++command) {
    for (const VALUE_NAME_TABLE *type = g_objectTypeTable; type->Name != nullptr; ++type) {
      for (const char *object : objects) {
        for (const IDS &ids : {IDS{}, IDS{1001}}) {
          expectValidChange(world, element("raidData", method(command->Name, type->Name, ids, object)));
        }
      }
    }
  }
}

// --- the client ---

static std::string g_file;    // what every file of the client contains
static std::string g_options; // that it made last

static EFI_STATUS readFile(const XYL_HOST *, const CHAR8 *, CHAR8 **data, UINTN *size) {
  *data = textDuplicate(g_file.c_str());
  *size = g_file.size();
  return EFI_SUCCESS;
}

static void writeNothing(const XYL_HOST *, const CHAR8 *, UINTN) {}

static EFI_STATUS EFIAPI keepOptions(RAID_XYL_PROTOCOL *, RAID_XYL_PARAMETER *, RAID_XYL_BUFFER *input,
                                     RAID_XYL_BUFFER *output) {
  RAID_XYL_BUFFER *documents = static_cast<RAID_XYL_BUFFER *>(input->Data);
  g_options = static_cast<char *>(documents[1].Data);
  void *request = output->Size == 0 ? nullptr : static_cast<RAID_XYL_BUFFER *>(output->Data)[1].Data;
  for (void *text : {documents[0].Data, documents[1].Data, request}) {
    if (text != nullptr) {
      poolFree(text);
    }
  }
  return EFI_SUCCESS;
}

TEST(Documents, OptionsOfTheClient) {
  World world("demo");
  std::string saved = world.get().text;
  world.xyl->Set_Live = keepOptions;
  XYL_HOST host = {nullptr, XYL_FRONT_HOST, world.firmware.systemTable(), writeNothing, writeNothing, readFile,
                   nullptr, nullptr};
  const std::vector<const CHAR8 *> lines[] = {
      {"restore", "saved.xml"},
      {"restore", "saved.xml", "--rebuild", "--yes", "--stop-on-error"},
      {"replace", "saved.xml"},
      {"apply", "changes.xml"},
  };
  for (const std::vector<const CHAR8 *> &line : lines) {
    SCOPED_TRACE(line[0]);
    g_file = line[0] == std::string("apply") ? element("raidData", method("Clear", "Adapter")) : saved;
    g_options.clear();
    XYL_REQUEST request = {};
    ASSERT_EQ(xylParse(&host, line.size(), line.data(), &request).Outcome, XYL_SUCCESS);
    EXPECT_EQ(xylRun(&host, request).Outcome, XYL_SUCCESS);
    expectValid("options.xsd", g_options);
  }
}
