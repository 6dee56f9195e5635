// The pieces of a log: what stands under "Detail" for every kind of block, how a log is handed over and printed.
#include "tests/restore/log_text.h"

#include "controller/controller.h"
#include "restore/steps.h"

// A log of the operations that add adds.
template <class T> static std::string logOf(T add) {
  XML_NODE *root = CreateXMLNode("RaidConfig");
  add(&root);
  RAID_XYL_BUFFER element = {};
  RAID_XYL_BUFFER output = {1, 32, &element};
  updateResultLog(&output, root, LOG_KIND_CONFIG);
  FreeXMLNode(root);
  std::string text = element.Data == nullptr ? "" : static_cast<const char *>(element.Data);
  EXPECT_EQ(element.Size, text.empty() ? 0 : text.size() + 1);
  g_bootServices->FreePool(element.Data);
  return onOneLine(text);
}

// Records that blocks carry. Every one is as large as it is and no larger, so that reading past it is noticed.
struct RECORDS {
  std::unique_ptr<RAID_ADAPTER_RECORD> adapter{new RAID_ADAPTER_RECORD{}};
  std::unique_ptr<RAID_PD_RECORD> disk{new RAID_PD_RECORD{}};
  std::unique_ptr<RAID_VD_RECORD> volume{new RAID_VD_RECORD{}};
  std::unique_ptr<RAID_KEY_RECORD> key{new RAID_KEY_RECORD{}};
  std::u16string longText = u"\x0141" + std::u16string(70, u'n'); // its first unit ends in 0x41, an A

  RECORDS() {
    adapter->UncertifiedMode = 0x82;
    adapter->LoadBalanceMode = 0x01; // not marked as present
    adapter->LearnMode = 0x80;
    adapter->CheckConsistencyMode = 0x81;
    adapter->PatrolReadMode = 0xC8;
    adapter->CopyBackMode = 0x83;
    adapter->Rates[1] = {longText.data(), 30 << 1 | 1};
    disk->ObjectType = RAID_OBJECT_PHYSICAL_DISK;
    disk->Hotspare = 1;
    volume->ObjectType = RAID_OBJECT_VIRTUAL_DISK;
    volume->Name = longText.data();
    volume->RAIDLevel = 0x2000;
    volume->Attributes = 0xFF7F;
    memset(key->KeyID, 'k', RAID_KEY_ID_SIZE);
    memset(key->Passphrase, 'p', RAID_PASSPHRASE_SIZE);
    key->Mode = RAID_KEY_MODE_LKM;
  }
};

static std::string rates(const std::string &second, const std::string &value) {
  std::string text;
  for (int i = 0; i < RAID_RATE_COUNT; ++i) {
    text += element("name", i == 1 ? second : "") + element("value", i == 1 ? value : "0");
  }
  return element("Rates", text);
}

struct DETAIL_CASE {
  const char *what;
  RAID_CMD_BLOCK block;
  const char *name;
  std::string detail;
};

TEST(RestoreLog, DetailFollowsCommandAndObject) {
  RECORDS records;
  RAID_KEY_RECORD remote = *records.key;
  remote.Mode = RAID_KEY_MODE_RKM;
  memset(remote.KeyID, 0, 4); // begins as an adapter record does
  RAID_VD_RECORD cache = *records.volume;
  cache.Name = nullptr;
  cache.Attributes = RAID_VD_ATTRIBUTE_CACHECADE;
  cache.RAIDLevel = 3;
  RAID_PD_RECORD global = *records.disk;
  global.Hotspare = 2;
  RAID_PD_RECORD current[2] = {};
  current[1].ObjectID = 0xAB;
  current[1].FQDD = const_cast<CHAR16 *>(u"disk-3");
  g_curPdArray = current;
  g_curPdCount = 2;
  UINT32 ids[] = {0xAB, 7};
  UINT32 unknown[] = {7};
  const std::string narrowed = "A" + std::string(62, 'n');
  const std::string known = "<PD><ObjectId>AB</ObjectId><FQDD>disk-3</FQDD>";
  const std::string volume = element("Name", narrowed) + "<RaidLevel>RAID 50</RaidLevel><Cachecade>False</Cachecade>";
  const std::string members = "<PDs>" + known + "</PD><PD><ObjectId>7</ObjectId></PD></PDs>";
  const std::string localKey = "<Mode>LKM</Mode>" + element("KeyId", std::string(RAID_KEY_ID_SIZE, 'k'));
  const std::string settings = "<ucMode>Warn</ucMode><lbMode>Unknown</lbMode><autoLearnMode>Auto</autoLearnMode>"
                               "<ccMode>Stop On Error</ccMode><patrolReadMode>Auto</patrolReadMode>"
                               "<CorrectUnconfiguredAreas>True</CorrectUnconfiguredAreas>"
                               "<copyBack>On w/ SMART</copyBack>" +
                               rates(narrowed, "30");
  const DETAIL_CASE cases[] = {
      {"get", {2, 1, 3, 0, nullptr, nullptr, 0}, "GENERIC COMMAND = 1", "<Object>PhysicalDisk</Object>"},
      {"reset", {2, 2, 0, 0, nullptr, nullptr, 0}, "DELETE", "<Object>Adapter</Object>"},
      {"import", {0, 5, 4, 0, nullptr, nullptr, 0}, "IMPORT_FOREIGN", "<Object>LogicalDisk</Object>"},
      {"clear, enclosure", {0, 6, 2, 0, nullptr, nullptr, 0}, "CLEAR_FOREIGN", "<Object>Unknown</Object>"},
      {"erase", {0, 13, 0xFFFFFFFF, 0, nullptr, nullptr, 0}, "SECURE_ERASE", "<Object>Unknown</Object>"},
      {"init", {2, 9, 4, 2, ids, records.volume.get(), 0}, "GENERIC COMMAND = 9", "<Object>None</Object>"},
      {"sort", {0, 0x106, 3, 2, ids, nullptr, 0}, "GENERIC COMMAND = 106", "<Object>None</Object>"},
      {"delete volume", {2, 2, 4, 1, unknown, nullptr, 0}, "DELETE", "<VD><TargetId>7</TargetId></VD>"},
      {"create",
       {2, 3, 4, 2, ids, records.volume.get(), 0},
       "CREATE",
       "<VD><TargetId>AB</TargetId>" + volume + members + "</VD>"},
      {"create, no ids",
       {2, 3, 4, 0, nullptr, &cache, 0},
       "CREATE",
       "<VD><Name/><RaidLevel>Unknown</RaidLevel><Cachecade>True</Cachecade><PDs/></VD>"},
      {"create, ids missing", {2, 3, 4, 2, nullptr, nullptr, 0}, "CREATE", "<VD/>"},
      {"create with a key", {3, 3, 4, 1, unknown, records.key.get(), 0}, "CREATE", "<VD><TargetId>7</TargetId></VD>"},
      {"create with a disk", {0, 3, 4, 1, unknown, records.disk.get(), 0}, "CREATE", "<VD><TargetId>7</TargetId></VD>"},
      {"change adapter", {2, 4, 0, 0, nullptr, records.adapter.get(), 0}, "CHANGE", element("Adapter", settings)},
      {"change adapter, no record", {2, 4, 0, 0, nullptr, nullptr, 0}, "CHANGE", "<Adapter/>"},
      {"change adapter with a key", {3, 4, 0, 0, nullptr, &remote, 0}, "CHANGE", "<Adapter/>"},
      {"change disk",
       {0, 4, 3, 2, ids, records.disk.get(), 0},
       "CHANGE",
       known + "<HotSpare>Dedicated</HotSpare></PD>"},
      {"change unknown disk",
       {0, 4, 3, 1, unknown, &global, 0},
       "CHANGE",
       "<PD><ObjectId>7</ObjectId><HotSpare>Global</HotSpare></PD>"},
      {"change disk, no record", {0, 4, 3, 1, ids, nullptr, 0}, "CHANGE", known + "</PD>"},
      {"change disk, no ids",
       {0, 4, 3, 0, nullptr, records.disk.get(), 0},
       "CHANGE",
       "<PD><HotSpare>Dedicated</HotSpare></PD>"},
      {"change disk, nothing", {0, 4, 3, 1, nullptr, nullptr, 0}, "CHANGE", ""},
      {"lock", {3, 12, 0, 0, nullptr, records.key.get(), 0}, "LOCK", element("Key", localKey)},
      {"rekey", {3, 14, 0, 0, nullptr, &remote, 0}, "REKEY", "<NewKey><Mode>RKM</Mode></NewKey>"},
      {"lock without a key", {0, 12, 0, 0, nullptr, nullptr, 0}, "LOCK", ""},
      {"lock with a record", {0, 12, 0, 0, nullptr, records.adapter.get(), 0}, "LOCK", ""},
      {"lock disk", {3, 12, 3, 1, ids, records.key.get(), 0}, "LOCK", known + "</PD>"},
      {"change enclosure", {0, 4, 2, 1, ids, records.disk.get(), 0}, "CHANGE", ""},
      {"create unknown", {0, 3, 0xFFFFFFFF, 1, ids, records.disk.get(), 0}, "CREATE", ""},
  };
  World world(WORLD_OPTIONS{.preset = nullptr});
  std::string all;
  for (const DETAIL_CASE &row : cases) {
    world.clearLog();
    std::string log =
        logOf([&](XML_NODE **root) { _RestoreLogAddProgressNode(nullptr, EFI_SUCCESS, &row.block, root); });
    EXPECT_EQ(log, element("RaidConfig", operation(row.name, "0", row.detail))) << row.what;
    EXPECT_EQ(countOf(world.log(), "Failed to create detail XML Node"), row.detail.empty() ? 1u : 0u) << row.what;
    all += log + world.log();
    world.expectBalanced(row.what);
  }
  EXPECT_EQ(countOf(all, "ppp"), 0u) << "a passphrase was written";
}

TEST(RestoreLog, OperationsFollowEachOtherWithTheirCodes) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  const std::string log = logOf([](XML_NODE **root) {
    _RestoreLogAddProgressNode("First", EFI_DEVICE_ERROR, nullptr, root);
    _RestoreLogAddProgressNode("Second", 4, nullptr, root); // a warning
    _RestoreLogAddProgressNode("Third", EFI_ERROR_BIT | 0x1BCDEF0123ULL, nullptr, root);
    _RestoreLogAddProgressNode(nullptr, EFI_SUCCESS, nullptr, root);
  });
  EXPECT_EQ(log, element("RaidConfig", operation("First", "7", "") + operation("Second", "4", "") +
                                           operation("Third", "1BCDEF0123", "") +
                                           operation("GENERIC COMMAND = 0", "0", "")));
  XML_NODE *none = nullptr;
  _RestoreLogAddProgressNode("Lost", EFI_SUCCESS, nullptr, &none);
  _RestoreLogAddProgressNode("Lost", EFI_SUCCESS, nullptr, nullptr);
  _RestoreLogInit(0, nullptr);
  EXPECT_EQ(none, nullptr);
  EXPECT_EQ(countOf(world.log(), "rootNode not initialized "), 2u);
}

TEST(RestoreLog, IsHandedOverFromItsRootOn) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  XML_NODE *root = CreateXMLNode("Old");
  _RestoreLogInit(RUN_MODE_RESTORE | RUN_MODE_STOP_ON_ERROR, &root);
  char nothing;
  RAID_XYL_BUFFER output = {5, 6, &nothing};
  world.clearLog();
  updateResultLog(&output, root, LOG_KIND_CONFIG); // the root has another name: it is only printed
  updateResultLog(&output, nullptr, LOG_KIND_RESTORE);
  updateResultLog(nullptr, root, LOG_KIND_RESTORE);
  EXPECT_EQ(countOf(world.log(), "PrintRestoreLog: <?xml"), 1u);
  world.firmware.failAllocation(2); // the first is the serialised text
  updateResultLog(&output, root, LOG_KIND_RESTORE);
  EXPECT_EQ(countOf(world.log(), "Error allocating memory for log data"), 1u);
  EXPECT_EQ(countOf(world.log(), "PrintRestoreLog: <RaidRestore>"), 1u);
  EXPECT_EQ(output.Data, &nothing);
  EXPECT_EQ(output.Size, 6u);
  updateResultLog(&output, root, LOG_KIND_RESTORE);
  std::string text = static_cast<const char *>(output.Data);
  EXPECT_EQ(onOneLine(text), "<RaidRestore><Options><PreserveVD>False</PreserveVD><StopOnError>True</StopOnError>"
                             "</Options></RaidRestore>");
  EXPECT_EQ(output.Size, text.size() + 1);
  world.services->FreePool(output.Data);
  FreeXMLNode(root);
  world.expectBalanced();
}

TEST(RestoreLog, IsPrintedInPiecesOfAHundred) {
  World world(WORLD_OPTIONS{.preset = nullptr});
  for (size_t length : {0u, 99u, 100u, 250u}) {
    world.clearLog();
    PrintRestoreLog(std::string(length, 'x').c_str());
    std::string wanted;
    for (size_t i = 0; i < length / 100; ++i) {
      wanted += "TRACE PrintRestoreLog: " + std::string(100, 'x') + "\n";
    }
    EXPECT_EQ(world.log(), wanted + "TRACE PrintRestoreLog: " + std::string(length % 100, 'x') + "\n");
  }
}
