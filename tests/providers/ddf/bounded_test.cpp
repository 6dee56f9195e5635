// Every field of a sound disk takes every value of its bounds, with good checksums.

#include "tests/providers/ddf/fixture.h"

using namespace xyl;

namespace {

constexpr UINT64 primary = testDiskSectors - 32768,
                 secondary = testDiskSectors - ddf::reserveSectors; // both copies
constexpr UINT64 length = 13;                                       // of a copy
constexpr UINT64 blocks = 256, free = secondary - blocks;           // of the only member, and behind it
constexpr UINT32 referenceValue = 0x5EED0000;

enum Place { header = 0, controller = 1, pds = 2, vds = 4, record = 6, diskData = 12 }; // sectors from the header

// From which value on a disk is described by what words; * stands for the value. All three headers of a disk have it.
struct Step {
  UINT64 from;
  std::string words;
};
struct Field {
  Place place;
  UINT32 offset, width;
  std::vector<Step> steps;
};

const std::string same, any = "disk 0", damaged = "damaged", stale = "stale", noRecord = "no disk has its record",
                        counts = "impossible counts", foreignImage = ", foreign", orphan = "orphans 1",
                        outside = "@* outside", unordered = "not ordered", bySecondary = "by its secondary";

std::vector<Step> only(UINT64 sound, const std::string &other) {
  return {{0, other}, {sound, same}, {sound + 1, other}};
}

#define OF(section, record, member) section, offsetof(record, member), sizeof(record::member)
#define ENTRY_OF(section, record, member) section, 64 + offsetof(record, member), sizeof(record::member)
const std::vector<Field> g_fields = {
    {OF(header, ddf::Header, signature), only(0xDE11DE11, "other")},
    {header, 32 + 4, 1, {{0, damaged}, {'0', same}, {'1', damaged}, {'2', same}, {'3', damaged}}}, // "01.02.00"
    {OF(header, ddf::Header, sequence), {{0, "sequence *, newest"}}},
    {OF(header, ddf::Header, openFlag), only(0, damaged)},
    {OF(header, ddf::Header, foreignFlag), only(0, foreignImage)},
    // At 0 the member ends where the copy begins; from secondary - length + 1 on the copies overlap.
    {OF(header, ddf::Header, primaryLba),
     {{0, "@0 outside"},
      {blocks, bySecondary},
      {secondary - length + 1, damaged},
      {secondary + length, bySecondary},
      {primary, same},
      {primary + 1, bySecondary}}},
    {OF(header, ddf::Header, secondaryLba),
     {{0, "@0 outside"},
      {blocks, "lagging"},
      {secondary, same},
      {secondary + 1, "lagging"},
      {primary - length + 1, damaged},
      {primary + length, "lagging"},
      {ddf::noLba, "there is none"}}},
    {OF(header, ddf::Header, type), {{0, damaged}}},
    {OF(header, ddf::Header, workspaceLba), {{0, same}}},
    {OF(header, ddf::Header, maxPds), {{0, same}}},
    {OF(header, ddf::Header, maxPartitions), only(2, unordered)},
    {OF(header, ddf::Header, recordLength), {{0, damaged}, {2, same}, {3, unordered}, {7, damaged}}},
    {OF(header, ddf::Header, maxElements),
     {{0, counts}, {1, " outside"}, {16, same}, {17, " outside"}, {42 + 1, damaged}}}, // the starts lie behind
    {header, 192, 4, only(controller, damaged)}, // where the sections lie, and their lengths
    {header, 196, 4, only(1, damaged)},
    {header, 200, 4, only(pds, damaged)},
    {header, 204, 4, only(2, damaged)},
    {header, 208, 4, only(vds, damaged)},
    {header, 212, 4, only(2, damaged)},
    // From length on the records, which are free then, lie behind all else.
    {header,
     216,
     4,
     {{0, damaged},
      {record, same},
      {record + 1, damaged},
      {length, noRecord},
      {primary - secondary - 6, bySecondary},
      {primary - secondary - 5, damaged}}},
    {header, 220, 4, {{0, damaged}, {2, unordered}, {6, same}, {7, damaged}}},
    {header, 224, 4, only(diskData, damaged)},
    {header, 228, 4, {{0, damaged}, {1, same}, {2, unordered}, {1025, damaged}}},
    {header, 232, 4, {{0, same}}},
    {controller, 0, 4, only(ddf::controllerSignature, damaged)},
    {controller, 8, 1, only('L', foreignImage)},
    {pds, 0, 4, only(ddf::pdSignature, damaged)},
    {pds, 10, 2, {{0, stale}, {1, same}, {16, damaged}}},
    {ENTRY_OF(pds, ddf::PdEntry, reference), only(referenceValue, stale)},
    {ENTRY_OF(pds, ddf::PdEntry, type), {{0, ", used"}, {4, "spare, used"}, {16, any}}},
    {ENTRY_OF(pds, ddf::PdEntry, state), {{0, "@0 failed"}, {1, same}, {2, "@0 failed"}, {5, "@0 rebuild"}, {6, any}}},
    {ENTRY_OF(pds, ddf::PdEntry, configuredSize), {{0, "@0 outside"}, {blocks, "used 256"}, {secondary, same}}},
    {vds, 0, 4, only(ddf::vdSignature, damaged)},
    {vds, 10, 2, {{0, orphan}, {1, same}, {16, damaged}}},
    {vds, 64, 1, only('L', noRecord)},
    {ENTRY_OF(vds, ddf::VdEntry, state),
     {{0, same},
      {1, " degraded ("},
      {2, " optimal ("},
      {3, " failed ("},
      {5, "partially"},
      {6, " failed ("},
      {7, any}}},
    {vds, 64 + 48, 1, {{0, "\"\""}, {1, "\"?olume\""}, {' ', "olume\""}, {127, "\"?olume\""}}}, // its name
    {OF(record, ddf::Record, signature), only(ddf::recordSignature, noRecord)},
    {record, 8, 1, only('L', orphan)},
    {OF(record, ddf::Record, sequence), {{0, same}}},
    {OF(record, ddf::Record, elements), {{0, counts}, {1, same}, {2, "@0, ?@"}, {17, counts}}},
    {OF(record, ddf::Record, strip),
     {{0, "256 a member, strip "}, {9, "0 a member"}, {23, "strip size"}, {255, "strip 0"}}},
    {OF(record, ddf::Record, level),
     {{0, same}, {1, "RAID 1 "}, {2, "unknown"}, {4, "RAID *"}, {7, any}, {32, "unknown"}}},
    {OF(record, ddf::Record, qualifier), only(0, "not for Linux")},
    {OF(record, ddf::Record, secondaryCount), {{0, counts}, {1, same}, {2, "@0, | ?@"}}},
    {OF(record, ddf::Record, secondaryElement), {{0, same}}},
    {OF(record, ddf::Record, secondaryLevel), {{0, "secondary *)"}}},
    {OF(record, ddf::Record, memberBlocks),
     {{0, "possible size"}, {1, "used *,"}, {secondary + 1, "@0 outside"}, {(UINT64{1} << 48) + 1, "possible size"}}},
    {OF(record, ddf::Record, blocks), {{0, same}, {1, ", * blocks"}, {blocks, same}}},
    {record, 512, 4, only(referenceValue, "?@0 unknown")},
    {record, 512 + 4 * 16, 8, {{0, "@*\n"}, {free + 1, outside}}}, // where the member begins
    {OF(diskData, ddf::DiskData, signature), only(ddf::pdDataSignature, damaged)},
    {diskData, 8, 1, only('L', stale)},
    {OF(diskData, ddf::DiskData, reference), only(referenceValue, stale)},
};

// In both copies, and in the anchor.
void store(Disks &disks, const Field &field, UINT64 value) {
  for (UINT64 lba : {primary + field.place, secondary + field.place, testDiskSectors - 1}) {
    if (lba != testDiskSectors - 1 || field.place == header) {
      UINT8 *bytes = &disks[0].kept.at(lba + field.offset / ddf::sectorSize)[field.offset % ddf::sectorSize];
      for (UINT32 i = 0; i < field.width; ++i) {
        bytes[i] = static_cast<UINT8>(value >> (8 * (field.width - 1 - i)));
      }
    }
  }
}

// All of a byte; small ones, and those around powers of two and around where the words change.
std::vector<UINT64> valuesOf(const Field &field) {
  std::vector<UINT64> values, middles;
  for (UINT64 i = 0; i < (field.width == 1 ? 256 : 48); ++i) {
    values.push_back(i);
  }
  for (const Step &step : field.steps) {
    middles.push_back(step.from);
  }
  for (UINT32 bit = 5; bit < 8 * field.width; ++bit) {
    middles.push_back(UINT64{1} << bit);
  }
  for (UINT64 middle : middles) {
    for (UINT64 value : {middle - 1, middle, middle + 1, ~middle}) {
      values.push_back(value & (~UINT64{0} >> (64 - 8 * field.width)));
    }
  }
  return values;
}

std::string wantedWords(const Field &field, UINT64 value) {
  auto step = std::find_if(field.steps.rbegin(), field.steps.rend(), [&](auto &row) { return row.from <= value; });
  size_t star = step->words.find('*');
  std::string words = step->words;
  return star == words.npos ? words : words.replace(star, 1, std::to_string(value));
}

class BoundedDdf : public Ddf {
protected:
  const Disks sound_ = makeDisks({ddf::levelRaid0, 0, ddf::noSecondary, 1, 1, 7, blocks}, 0, {15, 15, 2, 16});
  Disks disks_ = sound_;

  // Describes the disks and puts them back.
  std::string read() {
    mendChecksums(disks_[0]);
    OwnedModel model = readModel(disks_);
    std::string text = describe(*model);
    EXPECT_EQ(modelFault(*model), "") << text;
    disks_ = sound_;
    return text;
  }
};

} // namespace

TEST_F(BoundedDdf, EveryFieldWithEveryValueIsReadAsItSays) {
  const std::string usual = read();
  for (const Field &field : g_fields) {
    for (UINT64 value : valuesOf(field)) {
      std::string wanted = wantedWords(field, value);
      store(disks_, field, value);
      std::string text = read();
      EXPECT_TRUE(wanted == same ? text == usual : text.find(wanted) != text.npos)
          << field.place << " at " << field.offset << ": " << value << " is not \"" << wanted << "\"\n"
          << text;
    }
  }
}

TEST_F(BoundedDdf, EveryPairOfFieldsLeavesASoundModel) {
  constexpr UINT64 hostileValues[] = {0, 1, ~UINT64{0}};
  for (size_t pair = 0; pair < g_fields.size() * g_fields.size() && !HasFailure(); ++pair) {
    size_t first = pair / g_fields.size(), second = pair % g_fields.size();
    for (size_t i = 0; i < 9 && first < second; ++i) {
      store(disks_, g_fields[first], hostileValues[i / 3]);
      store(disks_, g_fields[second], hostileValues[i % 3]);
      read();
    }
  }
}
