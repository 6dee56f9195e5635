// What the driver refuses to read is not valid. Some of what it reads is not valid either: docs/schemas.md.
#include "tests/driver/live/request_text.h"
#include "tests/driver/request/parsed.h"
#include "validator.h"

enum Kind { inventory, changes, options, restoreLog, changeLog, kindCount };
enum Reader { refuses, reads, noReader };

static const char *const schemas[kindCount] = {"XYLSchema.xsd", "changes.xsd", "options.xsd", "restore_log.xsd",
                                               "change_log.xsd"};

// A valid document in which one place is changed.
struct Damage {
  Kind kind;
  std::string from;
  std::string to;
  Reader reader;
};

static const Damage damages[] = {
    {inventory, "</xylComponent>", "</xylComponent><xylComponent/>", refuses},
    {inventory, "<Inventory>", "<Other/><Inventory>", refuses},
    {inventory, "<Adapter><ObjectType>Adapter", "<Adapter><ObjectType>Enclosure", refuses},
    {inventory, "<ObjectType>Logical Disk", "<ObjectType>Physical Disk", refuses},
    {inventory, "<Index>0</Index></PCIID><Supp", "</PCIID><Supp", refuses},
    {inventory, "<RAIDLevelParams>", "<RAIDLevelParams><Other/>", refuses},
    {inventory, "<RAIDLevel>RAID 5<", "<RAIDLevel>RAID-5<", refuses},
    {inventory, "<Protocol>SAS</Protocol><Port>", "<Protocol>NVMe</Protocol><Port>", refuses},
    {inventory, "</ManufactureName>", "</ManufactureName>" + repeated(256, "<VD>1</VD>"), refuses},
    {inventory, "<MaxLDs>64</MaxLDs>", "", reads},
    {inventory, "<MaxLDs>64", "<Other/><MaxLDs>64", reads},
    {inventory, "<MaxLDs>64", "<MaxLDs>12345678", reads},
    {inventory, "<MaxLDs>64</MaxLDs><MaxPDsPerSpan>32</MaxPDsPerSpan>",
     "<MaxPDsPerSpan>32</MaxPDsPerSpan><MaxLDs>64</MaxLDs>", reads},
    {inventory, "<Embedded>true", "<Embedded>True", reads},
    {inventory, "<AssetTag>A", "<AssetTag>More", reads},

    {changes, "</raidData>", "</raidData><raidData/>", refuses},
    {changes, "<raidData>", "<raidData><Adapter/>", refuses},
    {changes, " name=\"Create\"", "", refuses},
    {changes, "name=\"Create\"", "name=\"create\"", refuses},
    {changes, "<Object><VD>", "<Object><Disk/><VD>", refuses},
    {changes, "<VD><TargetID>", "<VD><ObjectType>Physical Disk</ObjectType><TargetID>", refuses},
    {changes, "<RAIDLevel>RAID 1<", "<RAIDLevel>RAID1<", refuses},
    {changes, "<Mode>LKM", "<Mode>RKM Pending", refuses},
    {changes, "Y29ycmVjdCBob3JzZQ==", repeated(11, "AAAA"), refuses},
    {changes, "<Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>Y29ycmVjdCBob3JzZQ==</Passphrase>", "", refuses},
    {changes, "<Mode>LKM</Mode>", "", reads},
    {changes, "ZQ==", "ZQ", reads},
    {changes, "<OID>1001", "<OID>4294967296", reads},
    {changes, "<ObjectType>", "<ObjectType>Adapter</ObjectType><ObjectType>", reads},
    {changes, "<TargetID>1", "<Raidlevel/><TargetID>1", reads},

    {options, "</RunMode>", "</RunMode><RunMode/>", refuses},
    {options, "<Mode>Restore</Mode>", "", refuses},
    {options, "<StopOnError>True", "<StopOnError>true", refuses},
    {options, "<PreserveVDConfig>True</PreserveVDConfig>", "", refuses},
    {options, "PreserveVDConfig>True</PreserveVDConfig", "Keep>True</Keep", reads},
    {options, "<Mode>", "<Other/><Mode>", reads},
    {options, "<Mode>", "<Mode>Normal</Mode><Mode>", reads},

    {restoreLog, "name=\"Validate\"", "name=\"VALIDATE\"", noReader},
    {restoreLog, "<Status>Success", "<Status>Done", noReader},
    {restoreLog, "<ccMode>", "<ccMode>Not ", noReader},
    {changeLog, "name=\"CREATE\"", "name=\"Create\"", noReader},
    {changeLog, "<TargetId>3E9", "<TargetId>3e9", noReader},
};

static const char *const optionsBase = "<RunMode><Mode>Restore</Mode><StopOnError>True</StopOnError>"
                                       "<Raid><PreserveVDConfig>True</PreserveVDConfig></Raid></RunMode>";

static const char *const changesBase =
    "<raidData><Method name=\"Create\"><ObjectType>Virtual Disk</ObjectType><OID>1001</OID><OID>1002</OID><Object>"
    "<VD><TargetID>1048576</TargetID><RAIDLevel>RAID 1</RAIDLevel><StripeSize>64 Kb</StripeSize></VD></Object></Method>"
    "<Method name=\"Lock\"><Object><Key><Mode>LKM</Mode><KeyID>k</KeyID><Passphrase>Y29ycmVjdCBob3JzZQ==</Passphrase>"
    "</Key></Object></Method></raidData>";

// A world, and the documents in it that are damaged.
struct Bases {
  World world{"demo"};
  std::string documents[kindCount];

  Bases() {
    std::string saved = world.get().text;
    documents[inventory] = onOneLine(saved);
    documents[changes] = changesBase;
    documents[options] = optionsBase;
    documents[restoreLog] = onOneLine(world.set({restoreRebuild, saved.c_str(), nullptr}).text);
    world.set({normal, nullptr, "<raidData><Method name=\"Delete\"/></raidData>"});
    documents[changeLog] = onOneLine(world.set({normal, nullptr, changesBase}).text);
  }

  // Whether the driver takes the document for what it is, with all its methods.
  bool reads(Kind kind, const std::string &text) {
    if (kind == options) {
      return !EFI_ERROR(world.set({text.c_str(), documents[inventory].c_str(), nullptr}).status);
    }
    Parsed parsed(text);
    return !EFI_ERROR(parsed.status) &&
           (kind == inventory ? parsed.count == 1 : parsed.config->commandCount == countOf(text, "<Method"));
  }
};

TEST(Refusals, DamagedDocuments) {
  Bases bases;
  for (int i = 0; i < kindCount; ++i) {
    Kind kind = static_cast<Kind>(i);
    EXPECT_EQ(faults(schemas[kind], bases.documents[kind]), "") << schemas[kind];
    EXPECT_TRUE(kind > options || bases.reads(kind, bases.documents[kind])) << schemas[kind];
  }
  for (const Damage &damage : damages) {
    std::string text = replaced(bases.documents[damage.kind], damage.from, damage.to);
    EXPECT_NE(faults(schemas[damage.kind], text), "") << damage.to;
    if (damage.reader != noReader) {
      EXPECT_EQ(bases.reads(damage.kind, text), damage.reader == reads) << damage.to;
    }
  }
}
