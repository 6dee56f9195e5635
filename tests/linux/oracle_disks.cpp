// oracle_disks FOLDER INPUT...: disks for the comparison with mdadm, those of the inputs of the fuzz target ddf and
// sets that are made here; a file as snapshots.py packs them for each set.

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/pool.h"
#include "fuzz/ddf_input.h"

using namespace xyl;

static void pack(const std::string &path, const Disks &disks) {
  std::ofstream out(path, std::ios::binary);
  auto number = [&](uint64_t value) { out.write(reinterpret_cast<const char *>(&value), sizeof(value)); };
  for (const SparseDisk &disk : disks) {
    number(disk.sectors);
    number(disk.kept.size());
    for (const auto &[lba, bytes] : disk.kept) {
      number(lba);
      out.write(reinterpret_cast<const char *>(bytes.data()), ddf::sectorSize);
    }
  }
}

static constexpr TestVirtualDisk g_levels[] = {
    {0x00, 0, 0xFF, 1, 3, 7, 300}, {0x01, 0, 0xFF, 1, 2, 0xFF, 300}, {0x01, 1, 0xFF, 1, 3, 7, 300},
    {0x04, 1, 0xFF, 1, 3, 7, 256}, {0x05, 0, 0xFF, 1, 3, 7, 256},    {0x05, 2, 0xFF, 1, 4, 7, 256},
    {0x05, 3, 0xFF, 1, 3, 0, 256}, {0x06, 1, 0xFF, 1, 4, 7, 256},    {0x06, 2, 0xFF, 1, 4, 7, 256},
    {0x06, 3, 0xFF, 1, 5, 7, 256}, {0x11, 0, 0xFF, 1, 3, 7, 256},    {0x11, 0, 0xFF, 1, 6, 7, 300},
    {0x11, 1, 0xFF, 1, 4, 7, 256}, {0x01, 0, 0, 2, 2, 7, 256},       {0x01, 1, 3, 2, 3, 7, 256},
    {0x1F, 0, 0xFF, 1, 2, 7, 300}, {0x05, 1, 0xFF, 1, 3, 7, 256},    {0x05, 3, 3, 2, 3, 7, 256},
};

// What happens to a set; disk and copy are one of its disks and what it has.
struct ChangeRow {
  const char *name;
  void (*change)(ddf::Copy &copy, size_t disk);
};
static const ChangeRow g_changes[] = {
    {"whole", [](ddf::Copy &, size_t) {}},
    {"failed",
     [](ddf::Copy &copy, size_t) {
       ddf::pdEntryAt(copy, 0)->state = ddf::pdOnline | ddf::pdFailed;
       ddf::pdEntryAt(copy, 1)->state = ddf::pdOnline | ddf::pdRebuilding | ddf::pdSmart;
       ddf::vdEntryAt(copy, 0)->state = ddf::vdDegraded | ddf::vdInconsistent | ddf::vdMorphing;
       ddf::vdEntryAt(copy, 0)->init = ddf::initQuick | ddf::accessReadOnly << ddf::accessShift;
     }},
    {"lost",
     [](ddf::Copy &copy, size_t) {
       ddf::pdEntryAt(copy, 0)->state = ddf::pdFailed | ddf::pdMissing;
       ddf::pdEntryAt(copy, 1)->state = ddf::pdFailed | ddf::pdReadErrors;
       ddf::vdEntryAt(copy, 0)->state = ddf::vdFailed;
     }},
    // A second virtual disk behind the first, in entries and slots with gaps.
    {"two",
     [](ddf::Copy &copy, size_t) {
       ddf::VdEntry *entry = ddf::vdEntryAt(copy, 5);
       *entry = *ddf::vdEntryAt(copy, 0);
       entry->guid.bytes[22] = 2;
       entry->number = 9;
       entry->state = ddf::vdOffline;
       std::memcpy(entry->name, "the second  one ", sizeof(entry->name));
       ddf::Record *record = ddf::recordAt(copy, 3);
       std::memcpy(record, ddf::recordAt(copy, 0), UINT32{copy.header.recordLength} * ddf::sectorSize);
       record->guid = entry->guid;
       for (UINT32 i = 0; record->signature == ddf::recordSignature && i < record->elements; ++i) {
         ddf::startsOf(copy, record)[i] = 1024;
       }
     }},
    {"behind",
     [](ddf::Copy &copy, size_t disk) {
       copy.header.sequence = disk == 0 ? 1 : 7;
       ddf::vdEntryAt(copy, 0)->state = disk == 0 ? ddf::vdOptimal : ddf::vdDegraded;
     }},
};

static void packMade(const std::string &folder) {
  for (size_t i = 0; i < std::size(g_levels); ++i) {
    for (const ChangeRow &row : g_changes) {
      Disks disks = makeDisks(g_levels[i], /* extraDisks= */ 1, ddf::smallLimits);
      changeDisks(disks, row.change);
      pack(folder + "/made-" + std::to_string(i) + "-" + row.name + ".disks", disks);
    }
  }
}

int main(int argc, char **argv) {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  packMade(argv[1]);
  for (int i = 2; i < argc; ++i) {
    std::ifstream in(argv[i], std::ios::binary);
    std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    DdfInput input = readDdfInput({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()});
    pack(argv[1] + ("/" + std::filesystem::path(argv[i]).filename().string()) + ".disks", input.disks);
  }
}
