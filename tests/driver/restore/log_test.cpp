// The pieces of a log: what stands under "Detail" for every kind of block, how a log is handed over and printed.
#include "tests/driver/live/request_text.h"

#include "driver/controller/controller.h"
#include "driver/restore/steps.h"

using namespace xyl;
using namespace xyl::driver;

// A log of the operations that add adds.
template <class T> static std::string logOf(T add) {
  XML_NODE *root = CreateXMLNode("RaidConfig");
  RestoreLog log = {root, nullptr};
  add(&log);
  RAID_XYL_BUFFER element = {};
  RAID_XYL_BUFFER output = {1, 32, &element};
  updateResultLog(&output, root, LOG_KIND_CONFIG);
  FreeXMLNode(root);
  std::string text = element.Data == nullptr ? "" : static_cast<const char *>(element.Data);
  EXPECT_EQ(element.Size, text.empty() ? 0 : text.size() + 1);
  g_bootServices->FreePool(element.Data);
  return onOneLine(text);
}

TEST(RestoreLog, DetailFollowsCommandAndObject) {
  RAID_ADAPTER_RECORD adapter = {};
  RAID_PD_RECORD disk = {}, current[2] = {};
  RAID_VD_RECORD virtualDisk = {};
  RAID_KEY_RECORD key = {};
  std::u16string longText = u"\x0141" + std::u16string(70, u'n'); // its first unit ends in 0x41, an A
  disk.ObjectType = RAID_OBJECT_PHYSICAL_DISK;
  disk.Hotspare = 1;
  RAID_PD_RECORD spare = disk;
  spare.Hotspare = 2;
  virtualDisk.ObjectType = RAID_OBJECT_VIRTUAL_DISK;
  virtualDisk.Name = longText.data();
  virtualDisk.RAIDLevel = 0x2000;
  virtualDisk.Attributes = 0xFF7F;
  memset(key.KeyID, 'k', RAID_KEY_ID_SIZE);
  memset(key.Passphrase, 'p', RAID_PASSPHRASE_SIZE);
  key.Mode = RAID_KEY_MODE_LKM;
  RAID_CONFIG empty = {};
  RAID_KEY_RECORD remote = key;
  remote.Mode = RAID_KEY_MODE_RKM;
  memset(remote.KeyID, 0, 4); // begins as an adapter record does
  current[1].ObjectID = 0xAB;
  current[1].FQDD = const_cast<CHAR16 *>(u"disk-3");
  UINT32 ids[] = {0xAB, 7};
  UINT32 unknown[] = {7};
  RAID_CMD_BLOCK blocks[] = {
      {0, 0x106, 4, 2, ids, &virtualDisk, 0},
      {0, 5, 4, 0, nullptr, nullptr, 0},
      {2, 0, 7, 0, nullptr, nullptr, 0},
      {0, 0, ~0U, 3, nullptr, &empty, 0},
      {2, 2, 4, 1, unknown, nullptr, 0},
      {2, 3, 4, 2, ids, &virtualDisk, 0},
      // Data of another kind than the block says, ids that are not there: what can be built is.
      {2, 3, 4, 2, nullptr, nullptr, 0},
      {2, 3, 4, 1, unknown, &disk, 0},
      {3, 3, 4, 1, unknown, &key, 0},
      {2, 4, 0, 0, nullptr, nullptr, 0},
      {3, 12, 3, 1, ids, &key, 0},
      {0, 4, 3, 0, nullptr, &disk, 0},
      {0, 4, 3, 0, nullptr, &spare, 0},
      {0, 12, 0, 0, nullptr, &adapter, 0},
      {0, 4, 3, 2, ids, &disk, 0},
      {3, 12, 0, 0, nullptr, &key, 0},
      {3, 14, 0, 0, nullptr, &remote, 0},
  };
  World world(WorldOptions{.preset = nullptr});
  setCurrentDisks(current, 2);
  world.markBalance();
  std::string all, said;
  for (RAID_CMD_BLOCK &block : blocks) {
    world.clearLog();
    std::string text = logOf([&](RestoreLog *log) { _RestoreLogAddProgressNode(nullptr, EFI_SUCCESS, &block, log); });
    EXPECT_EQ(countOf(world.log(), "Failed to create detail XML Node"), countOf(text, "<Detail/>")) << text;
    all += text + "\n";
    said += world.log();
    world.expectBalanced();
  }
  expectGolden("driver/restore/details.txt", all);
  _RestoreLogCreateDetailNode(&blocks[0], nullptr);
  setCurrentDisks(/* disks= */ nullptr, 0);
  EXPECT_EQ(countOf(all + said, "ppp"), 0u) << "a passphrase was written";
}

TEST(RestoreLog, IsNoneWithoutTheXmlService) {
  World world(WorldOptions{.preset = nullptr, .xmlService = false});
  RestoreLog log = {};
  _RestoreLogInit(RUN_MODE_RESTORE, &log);
  EXPECT_EQ(log.root, nullptr);
  EXPECT_EQ(countOf(world.log(), "Error in getXMLProto"), 1u);
}

TEST(RestoreLog, IsHandedOverFromItsRootOnAndPrintedInPiecesOfAHundred) {
  World world(WorldOptions{.preset = nullptr});
  RestoreLog log = {CreateXMLNode("Old"), nullptr}, none = {};
  _RestoreLogInit(0, nullptr);
  _RestoreLogAddProgressNode("Lost", EFI_SUCCESS, nullptr, nullptr);
  _RestoreLogAddProgressNode("Lost", EFI_SUCCESS, nullptr, &none);
  EXPECT_EQ(none.root, nullptr);
  _RestoreLogInit(RUN_MODE_RESTORE | RUN_MODE_STOP_ON_ERROR, &log);
  _RestoreLogAddProgressNode("Warned", 4, nullptr, &log);
  _RestoreLogAddProgressNode(nullptr, EFI_ERROR_BIT | 0x1BCDEF0123ULL, nullptr, &log);
  XML_NODE *root = log.root;
  char nothing;
  RAID_XYL_BUFFER output = {5, 6, &nothing};
  world.clearLog();
  updateResultLog(&output, root, LOG_KIND_CONFIG); // the root has another name: it is only printed
  updateResultLog(nullptr, root, LOG_KIND_RESTORE);
  EXPECT_EQ(countOf(world.log(), "PrintRestoreLog: <?xml"), 1u);
  world.firmware.failAllocation(3); // the first two are the serialised text
  updateResultLog(&output, root, LOG_KIND_RESTORE);
  EXPECT_EQ(countOf(world.log(), "Error allocating memory for log data"), 1u);
  EXPECT_EQ(countOf(world.log(), "PrintRestoreLog: <RaidRestore>"), 1u);
  EXPECT_EQ(output.Data, &nothing);
  updateResultLog(&output, root, LOG_KIND_RESTORE);
  std::string text = static_cast<const char *>(output.Data);
  EXPECT_EQ(onOneLine(text), std::string() +
                                 "<RaidRestore><Options><PreserveVD>False</PreserveVD><StopOnError>True</StopOnError>"
                                 "</Options>" +
                                 operation("Warned", "4", "") + operation("GENERIC COMMAND = 0", "1BCDEF0123", "") +
                                 "</RaidRestore>");
  EXPECT_EQ(output.Size, text.size() + 1);
  world.services->FreePool(output.Data);
  FreeXMLNode(root);
  PrintRestoreLog(nullptr);
  for (size_t length : {99u, 200u}) {
    world.clearLog();
    PrintRestoreLog(std::string(length, 'x').c_str());
    std::string piece = "TRACE PrintRestoreLog: " + std::string(100, 'x') + "\n";
    EXPECT_EQ(world.log(),
              (length == 99 ? "" : piece + piece) + "TRACE PrintRestoreLog: " + std::string(length % 100, 'x') + "\n");
  }
  world.expectBalanced();
}
