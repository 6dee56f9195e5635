// What the driver refuses to read is not valid. Some of what it reads is not valid either: docs/schemas.md.
#include "tests/driver/live/request_text.h"
#include "tests/driver/request/parsed.h"
#include "validator.h"

enum KIND { INVENTORY, CHANGES, OPTIONS, RESTORE_LOG, CHANGE_LOG, KIND_COUNT };
enum READER { REFUSES, READS, NO_READER };

static const char *const SCHEMAS[KIND_COUNT] = {"XYLSchema.xsd", "changes.xsd", "options.xsd", "restore_log.xsd",
                                                "change_log.xsd"};

// A valid document in which one place is changed.
struct DAMAGE {
  KIND kind;
  std::string from;
  std::string to;
  READER reader;
};

static const DAMAGE DAMAGES[] = {
    {INVENTORY, "</xylComponent>", "</xylComponent><xylComponent/>", REFUSES},
    {INVENTORY, "<Inventory>", "<Other/><Inventory>", REFUSES},
    {INVENTORY, "<Adapter><ObjectType>Adapter", "<Adapter><ObjectType>Enclosure", REFUSES},
    {INVENTORY, "<ObjectType>Logical Disk", "<ObjectType>Physical Disk", REFUSES},
    {INVENTORY, "<Index>0</Index></PCIID><Supp", "</PCIID><Supp", REFUSES},
    {INVENTORY, "<RAIDLevelParams>", "<RAIDLevelParams><Other/>", REFUSES},
    {INVENTORY, "<RAIDLevel>RAID 5<", "<RAIDLevel>RAID-5<", REFUSES},
    {INVENTORY, "<Protocol>SAS</Protocol><Port>", "<Protocol>NVMe</Protocol><Port>", REFUSES},
    {INVENTORY, "</ManufactureName>", "</ManufactureName>" + repeated(256, "<VD>1</VD>"), REFUSES},
    {INVENTORY, "<MaxLDs>64</MaxLDs>", "", READS},
    {INVENTORY, "<MaxLDs>64", "<Other/><MaxLDs>64", READS},
    {INVENTORY, "<MaxLDs>64", "<MaxLDs>12345678", READS},
    {INVENTORY, "<MaxLDs>64</MaxLDs><MaxPDsPerSpan>32</MaxPDsPerSpan>",
     "<MaxPDsPerSpan>32</MaxPDsPerSpan><MaxLDs>64</MaxLDs>", READS},
    {INVENTORY, "<Embedded>true", "<Embedded>True", READS},
    {INVENTORY, "<AssetTag>A", "<AssetTag>More", READS},

    {CHANGES, "</raidData>", "</raidData><raidData/>", REFUSES},
    {CHANGES, "<raidData>", "<raidData><Adapter/>", REFUSES},
    {CHANGES, " name=\"Create\"", "", REFUSES},
    {CHANGES, "name=\"Create\"", "name=\"create\"", REFUSES},
    {CHANGES, "<Object><VD>", "<Object><Disk/><VD>", REFUSES},
    {CHANGES, "<VD><TargetID>", "<VD><ObjectType>Physical Disk</ObjectType><TargetID>", REFUSES},
    {CHANGES, "<RAIDLevel>RAID 1<", "<RAIDLevel>RAID1<", REFUSES},
    {CHANGES, "<Mode>LKM", "<Mode>RKM Pending", REFUSES},
    {CHANGES, "Y29ycmVjdCBob3JzZQ==", repeated(11, "AAAA"), REFUSES},
    {CHANGES, "<Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>Y29ycmVjdCBob3JzZQ==</Passphrase>", "", REFUSES},
    {CHANGES, "<Mode>LKM</Mode>", "", READS},
    {CHANGES, "ZQ==", "ZQ", READS},
    {CHANGES, "<OID>1001", "<OID>4294967296", READS},
    {CHANGES, "<ObjectType>", "<ObjectType>Adapter</ObjectType><ObjectType>", READS},
    {CHANGES, "<TargetID>1", "<Raidlevel/><TargetID>1", READS},

    {OPTIONS, "</RunMode>", "</RunMode><RunMode/>", REFUSES},
    {OPTIONS, "<Mode>Restore</Mode>", "", REFUSES},
    {OPTIONS, "<StopOnError>True", "<StopOnError>true", REFUSES},
    {OPTIONS, "<PreserveVDConfig>True</PreserveVDConfig>", "", REFUSES},
    {OPTIONS, "PreserveVDConfig>True</PreserveVDConfig", "Keep>True</Keep", READS},
    {OPTIONS, "<Mode>", "<Other/><Mode>", READS},
    {OPTIONS, "<Mode>", "<Mode>Normal</Mode><Mode>", READS},

    {RESTORE_LOG, "name=\"Validate\"", "name=\"VALIDATE\"", NO_READER},
    {RESTORE_LOG, "<Status>Success", "<Status>Done", NO_READER},
    {RESTORE_LOG, "<ccMode>", "<ccMode>Not ", NO_READER},
    {CHANGE_LOG, "name=\"CREATE\"", "name=\"Create\"", NO_READER},
    {CHANGE_LOG, "<TargetId>3E9", "<TargetId>3e9", NO_READER},
};

static const char *const OPTIONS_BASE = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError>"
                                        "<Raid><PreserveVDConfig>True</PreserveVDConfig></Raid></RunMode>";

static const char *const CHANGES_BASE =
    "<raidData><Method name=\"Create\"><ObjectType>Virtual Disk</ObjectType><OID>1001</OID><OID>1002</OID><Object>"
    "<VD><TargetID>1048576</TargetID><RAIDLevel>RAID 1</RAIDLevel><StripeSize>64 Kb</StripeSize></VD></Object></Method>"
    "<Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>Y29ycmVjdCBob3JzZQ==</Passphrase>"
    "</Key></Object></Method></raidData>";

// A world, and the documents in it that are damaged.
struct BASES {
  World world{"demo"};
  std::string documents[KIND_COUNT];

  BASES() {
    std::string saved = world.get().text;
    documents[INVENTORY] = onOneLine(saved);
    documents[CHANGES] = CHANGES_BASE;
    documents[OPTIONS] = OPTIONS_BASE;
    documents[RESTORE_LOG] = onOneLine(world.set({RESTORE_REBUILD, saved.c_str(), nullptr}).text);
    world.set({NORMAL, nullptr, "<raidData><Method name=\"Delete\"/></raidData>"});
    documents[CHANGE_LOG] = onOneLine(world.set({NORMAL, nullptr, CHANGES_BASE}).text);
  }

  // Whether the driver takes the document for what it is, with all its methods.
  bool reads(KIND kind, const std::string &text) {
    if (kind == OPTIONS) {
      return !EFI_ERROR(world.set({text.c_str(), documents[INVENTORY].c_str(), nullptr}).status);
    }
    Parsed parsed(text);
    return !EFI_ERROR(parsed.status) &&
           (kind == INVENTORY ? parsed.count == 1 : parsed.config->commandCount == countOf(text, "<Method"));
  }
};

TEST(Refusals, DamagedDocuments) {
  BASES bases;
  for (int i = 0; i < KIND_COUNT; ++i) {
    KIND kind = static_cast<KIND>(i);
    EXPECT_EQ(faults(SCHEMAS[kind], bases.documents[kind]), "") << SCHEMAS[kind];
    EXPECT_TRUE(kind > OPTIONS || bases.reads(kind, bases.documents[kind])) << SCHEMAS[kind];
  }
  for (const DAMAGE &damage : DAMAGES) {
    std::string text = replaced(bases.documents[damage.kind], damage.from, damage.to);
    EXPECT_NE(faults(SCHEMAS[damage.kind], text), "") << damage.to;
    if (damage.reader != NO_READER) {
      EXPECT_EQ(bases.reads(damage.kind, text), damage.reader == READS) << damage.to;
    }
  }
}
