// Layouts that say what cannot be: the reader tells where, and the schema takes none of them.
#include "client/ensure/layout.h"
#include "tests/driver/live/request_text.h"
#include "tests/support/memory_front.h"
#include "validator.h"

using namespace xyl;
using namespace xyl::client;

static const std::string base =
    "<RaidLayout others=\"delete\"><VD differs=\"recreate\"><Name>data</Name><RAIDLevel>RAID 5</RAIDLevel><Disks>"
    "<Count>3</Count><Medium>HDD</Medium><Protocol>SAS</Protocol><Smallest>500GB</Smallest><Enclosure>301</Enclosure>"
    "</Disks><Size>1.2 TB</Size><StripeSize>64 Kb</StripeSize><CurrentCachePolicy><WritePolicy>Write Back</WritePolicy>"
    "</CurrentCachePolicy><Spares><Medium>HDD</Medium></Spares></VD>"
    "<VD><Name>more</Name><RAIDLevel>RAID 1</RAIDLevel><Size>all</Size></VD><Spares><Count>2</Count></Spares>"
    "<Adapter><CorrectUnconfiguredAreas>True</CorrectUnconfiguredAreas><PatrolReadMode>Manual</PatrolReadMode>"
    "<Rate><Name>Rebuild</Name><Value>40</Value></Rate></Adapter></RaidLayout>";

// One place of the layout is changed.
static const struct {
  const char *from, *to;
  const char *said;     // the error line from the file's name on; "" for what the reader takes
  bool isValid = false; // all the same
} damages[] = {
    {"</RaidLayout>", "", "x is not a well-formed XML document"},
    {"others=\"delete\"", "others=\"remove\"", "'x': others cannot be 'remove'; it is one of leave, delete"},
    {"others=", "other=", "'x': there is no attribute 'other'"},
    {"\"recreate\"", "\"destroy\"",
     "'x', virtual disk 'data': differs cannot be 'destroy'; it is one of error, keep, "},
    {"<Name>more<", "<Name>data<", "'x': there are several virtual disks 'data'; each needs a name of its own"},
    {"<Name>more</Name>", "", "'x', virtual disk '': there is no element 'Name'"},
    {"<Name>data<", "<Name><", "'x', virtual disk '': Name cannot be ''; it is 1 to 63 characters of plain ASCII"},
    {"<Name>data<", "<Name>daten\xC3\xA4<",
     "'x', virtual disk 'daten\xC3\xA4': Name cannot be 'daten\xC3\xA4'; it is 1"},
    {"<RAIDLevel>RAID 1</RAIDLevel>", "", "'x', virtual disk 'more': there is no element 'RAIDLevel'"},
    {">RAID 5<", ">5<", "'x', virtual disk 'data': RAIDLevel cannot be '5'; it is one of Volume, RAID 0, RAID 1, "},
    {"<Disks>", "<Disks><Model>A</Model>",
     "'x', virtual disk 'data': Disks has no element 'Model'; it has Count, Medium"},
    {"<Spares><Count>2</Count></Spares>", "<Spares>2</Spares>", "'x': Spares has no text '2'; it has Count, Medium"},
    {"<Spares><Count>2</Count></Spares>", "<Spares>\n</Spares>", "", true},
    {"<Disks>", "<Disks kind=\"fast\">", "'x', virtual disk 'data': there is no attribute 'kind'"},
    {"<Count>3<", "<Count>0<", "'x', virtual disk 'data': Count cannot be '0'; it is a number from 1 to 65535"},
    {"<Count>3<", "<Count>three<", "'x', virtual disk 'data': Count cannot be 'three'; it is a number from 1"},
    {"<Medium>HDD<", "<Medium>disk<", "'x', virtual disk 'data': Medium cannot be 'disk'; it is one of HDD, SSD"},
    {"<Protocol>SAS<", "<Protocol>NVMe<",
     "'x', virtual disk 'data': Protocol cannot be 'NVMe'; it is one of Unknown, "},
    {"<Smallest>500GB<", "<Smallest>500<",
     "'x', virtual disk 'data': Smallest cannot be '500'; it is a size with its "},
    {"<Enclosure>301<", "<Enclosure>left<",
     "'x', virtual disk 'data': Enclosure cannot be 'left'; it is 'direct', or "},
    {"<Enclosure>301<", "<Enclosure>4294967597<", "'x', virtual disk 'data': Enclosure cannot be '4294967597'", true},
    {"<Size>1.2 TB<", "<Size>most<",
     "'x', virtual disk 'data': Size cannot be 'most'; it is 'all', or a size with its "},
    {"<StripeSize>64 Kb<", "<StripeSize>64KB<", "'x', virtual disk 'data': StripeSize cannot be '64KB'; it is one of "},
    {">Write Back<", ">Fast<", "'x', virtual disk 'data': WritePolicy cannot be 'Fast'; it is one of Write Through, "},
    {"<Size>all</Size>", "<Size>all</Size><Size>all</Size>",
     "'x', virtual disk 'more': there are several elements 'Size'; write it once"},
    {"<Size>all<", "<Colour/><Size>all<",
     "'x', virtual disk 'more': VD has no element 'Colour'; it has Name, RAIDLevel"},
    {"<Spares><Count>2<", "<Spares><Count>-2<", "'x': Count cannot be '-2'; it is a number from 1 to 65535"},
    {"<Spares><Count>2</Count></Spares>", "<Spares/><Spares/>", "'x': there are several elements 'Spares'", true},
    {">True<", ">true<", "'x': CorrectUnconfiguredAreas cannot be 'true'; it is one of True, False"},
    {">Manual<", ">Often<", "'x': PatrolReadMode cannot be 'Often'; it is one of Disabled, Manual, Auto"},
    {"<Adapter>", "<Adapter><SecurityMode>LKM</SecurityMode>", "'x': Adapter has no element 'SecurityMode'; it has "},
    {"<Value>40<", "<Value>101<", "'x': Value cannot be '101'; it is a number from 0 to 100"},
    {"<Name>Rebuild</Name>", "", "'x': there is no element 'Name'"},
    {"<Rate>", "<Rate><Name>Rebuild</Name><Value>4</Value></Rate><Rate>",
     "'x': there are several rates 'Rebuild'; write it once", true},

    {"<Size>1.2 TB<", "<Size>64GiB<", "", true},
    {"<Size>1.2 TB<", "<Size>64000000000<", "", true},
    {"<Enclosure>301<", "<Enclosure>direct<", "", true},
    {"<RAIDLevel>RAID 1</RAIDLevel><Size>all</Size>", "<Size>all</Size><RAIDLevel>RAID 1</RAIDLevel>", "", true},
    {"<RaidLayout ",
     "<RaidLayout xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
     "xsi:noNamespaceSchemaLocation=\"layout.xsd\" ",
     "", true},
};

struct LayoutReader {
  World world{"demo"};
  MemoryFront memory;
  Front front = memory.as(frontShell);
  Request request = {};
  Context context = {&front, &request};

  // The error line.
  std::string read(const std::string &text, ensure::Layout *layout) {
    memory.errors.clear();
    Result result = ensure::readLayout(context, "x", text.c_str(), layout);
    EXPECT_EQ(result.outcome, memory.errors.empty() ? outcomeSuccess : outcomeFailed) << memory.errors;
    EXPECT_EQ(result.reason == Reason::document, !memory.errors.empty());
    EXPECT_LE(countOf(memory.errors, "\n"), 1u);
    return memory.errors;
  }
};

TEST(Layouts, Damaged) {
  LayoutReader reader;
  for (const auto &damage : damages) {
    ensure::Layout layout;
    std::string text = replaced(base, damage.from, damage.to);
    std::string said = reader.read(text, &layout);
    EXPECT_TRUE(said.starts_with(*damage.said == 0 ? "" : std::string("xyl: ") + damage.said) &&
                said.empty() == (*damage.said == 0))
        << damage.to << "\n"
        << said;
    EXPECT_EQ(faults("layout.xsd", text).empty(), damage.isValid) << damage.to;
  }
}

TEST(Layouts, WhatTheyMean) {
  LayoutReader reader;
  ensure::Layout layout;
  EXPECT_EQ(reader.read(base, &layout), "");
  EXPECT_EQ(faults("layout.xsd", base), "");
  EXPECT_EQ(layout.others, ensure::Others::remove);
  ASSERT_EQ(layout.virtualDisks.count, 2u);
  const ensure::VirtualDiskWish &data = layout.virtualDisks.items[0], &more = layout.virtualDisks.items[1];
  EXPECT_EQ(std::string(data.name) + more.name, "datamore");
  EXPECT_EQ(data.differs, ensure::Differs::recreate);
  EXPECT_EQ(more.differs, ensure::Differs::refuse);
  EXPECT_EQ(
      (std::vector<UINT64>{data.level, data.size, data.stripe, data.cache, data.spares.count, data.spares.medium}),
      (std::vector<UINT64>{RAID_LEVEL_5, 1200000000000, RAID_STRIPE_SIZE_64KB, RAID_CACHE_WRITE_BACK, 1,
                           RAID_LEVEL_ATTRIBUTE_HDD}));
  EXPECT_EQ((std::vector<UINT64>{data.disks.count, data.disks.medium, data.disks.protocol, data.disks.smallest,
                                 static_cast<UINT64>(data.disks.where), data.disks.enclosure}),
            (std::vector<UINT64>{3, RAID_LEVEL_ATTRIBUTE_HDD, RAID_PROTOCOL_SAS, 500000000000,
                                 static_cast<UINT64>(ensure::Where::enclosure), 301}));
  EXPECT_EQ(
      (std::vector<UINT64>{more.level, more.size, more.disks.count, more.spares.count, layout.globalSpares.count}),
      (std::vector<UINT64>{RAID_LEVEL_1, ensure::sizeAll, 0, 0, 2}));
  EXPECT_EQ(layout.adapter.PatrolReadMode, RAID_PATROL_READ_MODE_MANUAL | RAID_PATROL_READ_MODE_CORRECT_AREAS);
  EXPECT_EQ(__builtin_popcountll(layout.modes), 2);
  EXPECT_EQ(std::string(layout.rates[0].name) + std::to_string(layout.rates[0].percent), "Rebuild40");
  EXPECT_EQ(reader.read("<raidData/>", &layout),
            "xyl: 'x': this is no layout, whose root is RaidLayout and not 'raidData'\n");
  // As many as can be named, and one more.
  std::string many;
  for (UINT32 i = 0; i <= ensure::virtualDisksMax; ++i) {
    many += element("VD", element("Name", "v" + std::to_string(i)) + element("RAIDLevel", "RAID 0"));
  }
  ensure::Layout full, tooMany;
  EXPECT_EQ(reader.read(element("RaidLayout", many.substr(0, many.rfind("<VD>"))), &full), "");
  EXPECT_EQ(reader.read(element("RaidLayout", many), &tooMany),
            "xyl: 'x': there are too many virtual disks, from 'v64' on; 64 are the most\n");
}

TEST(Layouts, OfTheGuide) {
  LayoutReader reader;
  ensure::Layout layout;
  const std::string guide = sourceFile("docs/layouts.md"), mark = "```xml layout\n";
  size_t begin = guide.find(mark) + mark.size();
  std::string example = guide.substr(begin, guide.find("```", begin) - begin);
  EXPECT_EQ(reader.read(example, &layout), "");
  EXPECT_EQ(faults("layout.xsd", example), "");
  EXPECT_EQ(layout.virtualDisks.count, 2u);
}

TEST(Layouts, WithoutMemory) {
  sweepAllocations({.world = {.preset = "demo"},
                    .prepare = nullptr,
                    .operation =
                        [](World &) {
                          MemoryFront memory;
                          Front front = memory.as(frontShell);
                          Request request = {};
                          ensure::Layout layout;
                          return ensure::readLayout({&front, &request}, "x", base.c_str(), &layout).status;
                        },
                    .afterFailure = nullptr});
}
