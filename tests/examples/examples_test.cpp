// The examples of the documents, put together: the caller in C reads what the provider in C answers.
#include "tests/support/world.h"

extern "C" {
EFI_STATUS InstallExampleController(EFI_SYSTEM_TABLE *systemTable, EFI_HANDLE *controller);
EFI_STATUS RemoveExampleController(EFI_HANDLE controller);
EFI_STATUS GetInventories(EFI_SYSTEM_TABLE *systemTable, void (*consume)(const CHAR8 *document, UINT32 length));
}

static std::string g_document;

static void keep(const CHAR8 *document, UINT32 length) {
  g_document.assign(document, length);
}

TEST(Examples, CallerReadsWhatTheProviderAnswers) {
  World world(nullptr);
  ASSERT_EQ(name(InstallExampleController(world.firmware.systemTable(), &world.controller)), name(EFI_SUCCESS));
  ASSERT_EQ(name(world.connect()), name(EFI_SUCCESS));
  ASSERT_NE(world.xyl, nullptr);
  EXPECT_EQ(name(GetInventories(world.firmware.systemTable(), keep)), name(EFI_SUCCESS));
  for (const char *part : {"<Name>Example Adapter</Name>", "<ObjectID>12</ObjectID>", "<Name>System</Name>"}) {
    EXPECT_EQ(countOf(g_document, part), 1u) << part << "\n" << g_document;
  }
  EXPECT_EQ(world.verify(g_document).result, 0u);

  // A change through a document with the disks' ids translated, which hands a disk record of the driver's to the
  // provider; then the same change once more with an object that does not go with it.
  std::string change = "<raidData><Method name=\"Change\"><ObjectType>Adapter</ObjectType><OID>11</OID><Object>"
                       "<Adapter><PatrolReadMode>Auto</PatrolReadMode></Adapter></Object></Method></raidData>";
  ANSWER answer = world.set({NORMAL, g_document.c_str(), change.c_str()});
  EXPECT_EQ(name(answer.status), name(EFI_SUCCESS)) << answer.text;
  EXPECT_EQ(world.verify(g_document).result, VERIFY_CONFIG_CHANGE);
  size_t at = change.find("<Adapter><Patrol");
  change.replace(at, change.find("</Object></Method>") - at, "<PD/>");
  EXPECT_EQ(name(world.set({NORMAL, g_document.c_str(), change.c_str()}).status), name(EFI_INVALID_PARAMETER));

  EXPECT_EQ(name(world.disconnect()), name(EFI_SUCCESS));
  EXPECT_EQ(name(RemoveExampleController(world.controller)), name(EFI_SUCCESS));
}
