// The examples of the documents, put together: the callers in C on the provider in C, which nothing else here serves.
#include <regex>

#include "tests/driver/live/request_text.h"

extern "C" {
typedef void (*Consumer)(const CHAR8 *document, UINT32 length);
EFI_STATUS InstallExampleController(EFI_SYSTEM_TABLE *systemTable, UINT64 wwn, EFI_HANDLE *controller);
EFI_STATUS RemoveExampleController(EFI_HANDLE controller);
EFI_STATUS GetInventories(EFI_SYSTEM_TABLE *systemTable, Consumer consume);
EFI_STATUS VerifySaved(RAID_XYL_PROTOCOL *xyl, CHAR8 *saved, UINT32 *differences);
EFI_STATUS RestoreSaved(EFI_SYSTEM_TABLE *systemTable, RAID_XYL_PROTOCOL *xyl, CHAR8 *saved, BOOLEAN rebuild,
                        Consumer consume);
EFI_STATUS ChangeConfiguration(EFI_SYSTEM_TABLE *systemTable, RAID_XYL_PROTOCOL *xyl, const CHAR8 *request,
                               Consumer consume);
}

static std::string g_document;

static void keep(const CHAR8 *document, UINT32 length) {
  g_document.assign(document, length);
}

static void plugIn(World &world, UINT64 wwn) {
  ASSERT_EQ(name(InstallExampleController(world.firmware.systemTable(), wwn, &world.controller)), name(EFI_SUCCESS));
  ASSERT_EQ(name(world.connect()), name(EFI_SUCCESS));
}

static void unplug(World &world) {
  EXPECT_EQ(name(world.disconnect()), name(EFI_SUCCESS));
  EXPECT_EQ(name(RemoveExampleController(world.controller)), name(EFI_SUCCESS));
  world.controller = nullptr;
}

static std::string inventory(World &world) {
  EXPECT_EQ(name(GetInventories(world.firmware.systemTable(), keep)), name(EFI_SUCCESS));
  return g_document;
}

static UINT32 differences(World &world, std::string saved) {
  UINT32 bits = ~0U;
  EXPECT_EQ(name(VerifySaved(world.xyl, saved.data(), &bits)), name(EFI_SUCCESS));
  return bits;
}

static std::string change(World &world, const std::string &methods) {
  std::string request = element("raidData", methods);
  g_document.clear();
  return name(ChangeConfiguration(world.firmware.systemTable(), world.xyl, request.c_str(), keep));
}

static const std::string autoText = "<Adapter><PatrolReadMode>Auto</PatrolReadMode></Adapter>";
static const std::string mirror = "<VD><Name>System</Name><RAIDLevel>RAID 1</RAIDLevel></VD>";
static const std::string stripes = "<VD><Name>Scratch</Name><RAIDLevel>RAID 0</RAIDLevel>"
                                   "<StripeSize>128 Kb</StripeSize></VD>";
static const std::string spareState = "<PD><Hotspare>Global</Hotspare></PD>";

static std::string configure(World &world) {
  return change(world, method("Create", "Virtual Disk", {11, 13}, mirror) +
                           method("Create", "Virtual Disk", {12, 14, 15}, stripes) +
                           method("Change", "Physical Disk", {16}, spareState) +
                           method("Change", "Adapter", {}, autoText));
}

TEST(Examples, AReplacedAdapterIsRestored) {
  World world(nullptr);
  plugIn(world, 0x5000000000000001);
  ASSERT_EQ(configure(world), name(EFI_SUCCESS)) << g_document;
  std::string saved = inventory(world);
  EXPECT_EQ(countOf(saved, "<Hotspare>Global</Hotspare>"), 1u) << saved;
  // Levels that take no disks are of no use: those of the adapter and of the volumes do, and the volumes have some.
  EXPECT_EQ(countOf(saved, "<Attrib>HDD</Attrib>"), 6u);
  EXPECT_EQ(countOf(saved, "<Protocol>SAS</Protocol>"), 10u);
  EXPECT_EQ(differences(world, saved), 0u);
  unplug(world);

  plugIn(world, 0x5000000000000002);
  EXPECT_EQ(differences(world, saved), VERIFY_PART_REPLACEMENT | VERIFY_CONFIG_CHANGE);
  // Not those that the new one happens to have.
  EXPECT_EQ(change(world, method("Create", "Virtual Disk", {11, 16}, mirror)), name(EFI_SUCCESS));
  EXPECT_EQ(name(RestoreSaved(world.firmware.systemTable(), world.xyl, saved.data(), /* Rebuild= */ 1, keep)),
            name(EFI_SUCCESS));
  EXPECT_EQ(countOf(g_document, "<Status>Success</Status>"), countOf(g_document, "<Operation ")) << g_document;
  EXPECT_EQ(countOf(g_document, "<Operation name=\"CreateVD\">"), 2u) << g_document;
  EXPECT_EQ(countOf(g_document, "<Operation name=\"ChangePD\">"), 1u) << g_document;
  EXPECT_EQ(differences(world, saved), VERIFY_PART_REPLACEMENT);

  // All but the WWN is as it was, the members of a volume the other way round since documents list them last first.
  std::string again = inventory(world);
  EXPECT_EQ(name(RestoreSaved(world.firmware.systemTable(), world.xyl, again.data(), 1, keep)), name(EFI_SUCCESS));
  EXPECT_EQ(std::regex_replace(inventory(world), std::regex("5000000000000002"), "5000000000000001"), saved);
  unplug(world);
}

TEST(Examples, ChangesAreRefusedAsAWhole) {
  World world(nullptr);
  plugIn(world, 1);
  ASSERT_EQ(configure(world), name(EFI_SUCCESS)) << g_document;
  std::string before = inventory(world);
  const struct {
    std::string methods;
    EFI_STATUS status;
  } cases[] = {
      {method("Change", "Adapter", {}, "<PD/>"), EFI_INVALID_PARAMETER},
      {method("Create", "Virtual Disk", {16, 16}, mirror), EFI_INVALID_PARAMETER},
      {method("Create", "Virtual Disk", {16, 11}, mirror), EFI_ACCESS_DENIED},
      {method("Change", "Physical Disk", {16, 99}, spareState), EFI_NOT_FOUND},
      {method("Delete", "Virtual Disk", {1, 9}), EFI_NOT_FOUND},
      {method("Import", "Adapter"), EFI_UNSUPPORTED},
      {method("Remove", "Virtual Disk", {1}), EFI_ABORTED}, // no such method: left out
  };
  for (const auto &row : cases) {
    EXPECT_EQ(change(world, row.methods), name(row.status)) << row.methods;
    EXPECT_EQ(inventory(world), before) << row.methods;
  }
  // With a saved document ids are looked up among its disks, which hands a copy of a disk back to the provider.
  std::string request = element("raidData", method("Change", "Adapter", {11}, autoText));
  EXPECT_EQ(name(world.set({normal, before.c_str(), request.c_str()}).status), name(EFI_SUCCESS));
  // What cannot be read is refused before anything is handed over.
  std::string cut = "<raidData>";
  EXPECT_EQ(name(RestoreSaved(world.firmware.systemTable(), world.xyl, cut.data(), 1, keep)), name(EFI_ABORTED));
  EXPECT_EQ(change(world, method("Delete", "Virtual Disk", {1, 2, 1})), name(EFI_SUCCESS));
  EXPECT_EQ(countOf(inventory(world), "<VD>"), 0u);
  unplug(world);
}
