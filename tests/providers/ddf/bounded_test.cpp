// Every field of a sound disk takes every value of its bounds, with good checksums.

#include "tests/providers/ddf/fixture.h"

namespace {

constexpr UINT64 PRIMARY = TEST_DISK_SECTORS - 32768,
                 SECONDARY = TEST_DISK_SECTORS - ddf::reserveSectors; // both copies
constexpr UINT64 LENGTH = 13;                                         // of a copy
constexpr UINT64 BLOCKS = 256, FREE = SECONDARY - BLOCKS;             // of the only member, and behind it
constexpr UINT32 REFERENCE = 0x5EED0000;

enum PLACE { HEADER = 0, CONTROLLER = 1, PDS = 2, VDS = 4, RECORD = 6, DISK_DATA = 12 }; // sectors from the header

// From which value on a disk is described by what words; * stands for the value. All three headers of a disk have it.
struct STEP {
  UINT64 from;
  std::string words;
};
struct FIELD {
  PLACE place;
  UINT32 offset, width;
  std::vector<STEP> steps;
};

const std::string SAME, ANY = "disk 0", DAMAGED = "damaged", STALE = "stale", NO_RECORD = "no disk has its record",
                        COUNTS = "impossible counts", FOREIGN = ", foreign", ORPHAN = "orphans 1",
                        OUTSIDE = "@* outside", UNORDERED = "not ordered", BY_SECONDARY = "by its secondary";

std::vector<STEP> only(UINT64 sound, const std::string &other) {
  return {{0, other}, {sound, SAME}, {sound + 1, other}};
}

#define OF(section, record, member) section, offsetof(record, member), sizeof(record::member)
#define ENTRY_OF(section, record, member) section, 64 + offsetof(record, member), sizeof(record::member)
const std::vector<FIELD> g_fields = {
    {OF(HEADER, ddf::Header, signature), only(0xDE11DE11, "other")},
    {HEADER, 32 + 4, 1, {{0, DAMAGED}, {'0', SAME}, {'1', DAMAGED}, {'2', SAME}, {'3', DAMAGED}}}, // "01.02.00"
    {OF(HEADER, ddf::Header, sequence), {{0, "sequence *, newest"}}},
    {OF(HEADER, ddf::Header, openFlag), only(0, DAMAGED)},
    {OF(HEADER, ddf::Header, foreignFlag), only(0, FOREIGN)},
    // At 0 the member ends where the copy begins; from SECONDARY - LENGTH + 1 on the copies overlap.
    {OF(HEADER, ddf::Header, primaryLba),
     {{0, "@0 outside"},
      {BLOCKS, BY_SECONDARY},
      {SECONDARY - LENGTH + 1, DAMAGED},
      {SECONDARY + LENGTH, BY_SECONDARY},
      {PRIMARY, SAME},
      {PRIMARY + 1, BY_SECONDARY}}},
    {OF(HEADER, ddf::Header, secondaryLba),
     {{0, "@0 outside"},
      {BLOCKS, "lagging"},
      {SECONDARY, SAME},
      {SECONDARY + 1, "lagging"},
      {PRIMARY - LENGTH + 1, DAMAGED},
      {PRIMARY + LENGTH, "lagging"},
      {ddf::noLba, "there is none"}}},
    {OF(HEADER, ddf::Header, type), {{0, DAMAGED}}},
    {OF(HEADER, ddf::Header, workspaceLba), {{0, SAME}}},
    {OF(HEADER, ddf::Header, maxPds), {{0, SAME}}},
    {OF(HEADER, ddf::Header, maxPartitions), only(2, UNORDERED)},
    {OF(HEADER, ddf::Header, recordLength), {{0, DAMAGED}, {2, SAME}, {3, UNORDERED}, {7, DAMAGED}}},
    {OF(HEADER, ddf::Header, maxElements),
     {{0, COUNTS}, {1, " outside"}, {16, SAME}, {17, " outside"}, {42 + 1, DAMAGED}}}, // the starts lie behind
    {HEADER, 192, 4, only(CONTROLLER, DAMAGED)}, // where the sections lie, and their lengths
    {HEADER, 196, 4, only(1, DAMAGED)},
    {HEADER, 200, 4, only(PDS, DAMAGED)},
    {HEADER, 204, 4, only(2, DAMAGED)},
    {HEADER, 208, 4, only(VDS, DAMAGED)},
    {HEADER, 212, 4, only(2, DAMAGED)},
    // From LENGTH on the records, which are free then, lie behind all else.
    {HEADER,
     216,
     4,
     {{0, DAMAGED},
      {RECORD, SAME},
      {RECORD + 1, DAMAGED},
      {LENGTH, NO_RECORD},
      {PRIMARY - SECONDARY - 6, BY_SECONDARY},
      {PRIMARY - SECONDARY - 5, DAMAGED}}},
    {HEADER, 220, 4, {{0, DAMAGED}, {2, UNORDERED}, {6, SAME}, {7, DAMAGED}}},
    {HEADER, 224, 4, only(DISK_DATA, DAMAGED)},
    {HEADER, 228, 4, {{0, DAMAGED}, {1, SAME}, {2, UNORDERED}, {1025, DAMAGED}}},
    {HEADER, 232, 4, {{0, SAME}}},
    {CONTROLLER, 0, 4, only(ddf::controllerSignature, DAMAGED)},
    {CONTROLLER, 8, 1, only('L', FOREIGN)},
    {PDS, 0, 4, only(ddf::pdSignature, DAMAGED)},
    {PDS, 10, 2, {{0, STALE}, {1, SAME}, {16, DAMAGED}}},
    {ENTRY_OF(PDS, ddf::PdEntry, reference), only(REFERENCE, STALE)},
    {ENTRY_OF(PDS, ddf::PdEntry, type), {{0, ", used"}, {4, "spare, used"}, {16, ANY}}},
    {ENTRY_OF(PDS, ddf::PdEntry, state), {{0, "@0 failed"}, {1, SAME}, {2, "@0 failed"}, {5, "@0 rebuild"}, {6, ANY}}},
    {ENTRY_OF(PDS, ddf::PdEntry, configuredSize), {{0, "@0 outside"}, {BLOCKS, "used 256"}, {SECONDARY, SAME}}},
    {VDS, 0, 4, only(ddf::vdSignature, DAMAGED)},
    {VDS, 10, 2, {{0, ORPHAN}, {1, SAME}, {16, DAMAGED}}},
    {VDS, 64, 1, only('L', NO_RECORD)},
    {ENTRY_OF(VDS, ddf::VdEntry, state),
     {{0, SAME},
      {1, " degraded ("},
      {2, " optimal ("},
      {3, " failed ("},
      {5, "partially"},
      {6, " failed ("},
      {7, ANY}}},
    {VDS, 64 + 48, 1, {{0, "\"\""}, {1, "\"?olume\""}, {' ', "olume\""}, {127, "\"?olume\""}}}, // its name
    {OF(RECORD, ddf::Record, signature), only(ddf::recordSignature, NO_RECORD)},
    {RECORD, 8, 1, only('L', ORPHAN)},
    {OF(RECORD, ddf::Record, sequence), {{0, SAME}}},
    {OF(RECORD, ddf::Record, elements), {{0, COUNTS}, {1, SAME}, {2, "@0, ?@"}, {17, COUNTS}}},
    {OF(RECORD, ddf::Record, strip),
     {{0, "256 a member, strip "}, {9, "0 a member"}, {23, "strip size"}, {255, "strip 0"}}},
    {OF(RECORD, ddf::Record, level),
     {{0, SAME}, {1, "RAID 1 "}, {2, "unknown"}, {4, "RAID *"}, {7, ANY}, {32, "unknown"}}},
    {OF(RECORD, ddf::Record, qualifier), only(0, "not for Linux")},
    {OF(RECORD, ddf::Record, secondaryCount), {{0, COUNTS}, {1, SAME}, {2, "@0, | ?@"}}},
    {OF(RECORD, ddf::Record, secondaryElement), {{0, SAME}}},
    {OF(RECORD, ddf::Record, secondaryLevel), {{0, "secondary *)"}}},
    {OF(RECORD, ddf::Record, memberBlocks),
     {{0, "possible size"}, {1, "used *,"}, {SECONDARY + 1, "@0 outside"}, {(UINT64{1} << 48) + 1, "possible size"}}},
    {OF(RECORD, ddf::Record, blocks), {{0, SAME}, {1, ", * blocks"}, {BLOCKS, SAME}}},
    {RECORD, 512, 4, only(REFERENCE, "?@0 unknown")},
    {RECORD, 512 + 4 * 16, 8, {{0, "@*\n"}, {FREE + 1, OUTSIDE}}}, // where the member begins
    {OF(DISK_DATA, ddf::DiskData, signature), only(ddf::pdDataSignature, DAMAGED)},
    {DISK_DATA, 8, 1, only('L', STALE)},
    {OF(DISK_DATA, ddf::DiskData, reference), only(REFERENCE, STALE)},
};

// In both copies, and in the anchor.
void store(DISKS &disks, const FIELD &field, UINT64 value) {
  for (UINT64 lba : {PRIMARY + field.place, SECONDARY + field.place, TEST_DISK_SECTORS - 1}) {
    if (lba != TEST_DISK_SECTORS - 1 || field.place == HEADER) {
      UINT8 *bytes = &disks[0].kept.at(lba + field.offset / ddf::sectorSize)[field.offset % ddf::sectorSize];
      for (UINT32 i = 0; i < field.width; ++i) {
        bytes[i] = static_cast<UINT8>(value >> (8 * (field.width - 1 - i)));
      }
    }
  }
}

// All of a byte; small ones, and those around powers of two and around where the words change.
std::vector<UINT64> valuesOf(const FIELD &field) {
  std::vector<UINT64> values, middles;
  for (UINT64 i = 0; i < (field.width == 1 ? 256 : 48); ++i) {
    values.push_back(i);
  }
  for (const STEP &step : field.steps) {
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

std::string wantedWords(const FIELD &field, UINT64 value) {
  auto step = std::find_if(field.steps.rbegin(), field.steps.rend(), [&](auto &row) { return row.from <= value; });
  size_t star = step->words.find('*');
  std::string words = step->words;
  return star == words.npos ? words : words.replace(star, 1, std::to_string(value));
}

class BoundedDdf : public Ddf {
protected:
  const DISKS sound_ = makeDisks({ddf::levelRaid0, 0, ddf::noSecondary, 1, 1, 7, BLOCKS}, 0, {15, 15, 2, 16});
  DISKS disks_ = sound_;

  // Describes the disks and puts them back.
  std::string read() {
    mendChecksums(disks_[0]);
    OWNED_MODEL model = readModel(disks_);
    std::string text = describe(*model);
    EXPECT_EQ(modelFault(*model), "") << text;
    disks_ = sound_;
    return text;
  }
};

} // namespace

TEST_F(BoundedDdf, EveryFieldWithEveryValueIsReadAsItSays) {
  const std::string usual = read();
  for (const FIELD &field : g_fields) {
    for (UINT64 value : valuesOf(field)) {
      std::string wanted = wantedWords(field, value);
      store(disks_, field, value);
      std::string text = read();
      EXPECT_TRUE(wanted == SAME ? text == usual : text.find(wanted) != text.npos)
          << field.place << " at " << field.offset << ": " << value << " is not \"" << wanted << "\"\n"
          << text;
    }
  }
}

TEST_F(BoundedDdf, EveryPairOfFieldsLeavesASoundModel) {
  constexpr UINT64 VALUES[] = {0, 1, ~UINT64{0}};
  for (size_t pair = 0; pair < g_fields.size() * g_fields.size() && !HasFailure(); ++pair) {
    size_t first = pair / g_fields.size(), second = pair % g_fields.size();
    for (size_t i = 0; i < 9 && first < second; ++i) {
      store(disks_, g_fields[first], VALUES[i / 3]);
      store(disks_, g_fields[second], VALUES[i % 3]);
      read();
    }
  }
}
