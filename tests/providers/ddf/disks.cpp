#include "tests/providers/ddf/disks.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "tests/providers/ddf/describe.h"

using namespace xyl;

// --- Sectors ---

void SparseDisk::write(UINT64 lba, const void *bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    SectorBytes sector;
    std::memcpy(sector.data(), static_cast<const UINT8 *>(bytes) + i * ddf::sectorSize, ddf::sectorSize);
    bool filler = sector[0] == 0xFF && std::memcmp(sector.data(), sector.data() + 1, ddf::sectorSize - 1) == 0;
    filler ? void(kept.erase(lba + i)) : void(kept[lba + i] = sector);
  }
}

SectorBytes SparseDisk::read(UINT64 lba) const {
  auto at = kept.find(lba);
  SectorBytes bytes;
  bytes.fill(0xFF);
  return at == kept.end() ? bytes : at->second;
}

static EFI_STATUS readSparse(void *context, UINT64 lba, UINTN count, void *buffer) {
  auto *disk = static_cast<SparseDisk *>(context);
  if (disk->failAfter-- == 0 || count > disk->sectors || lba > disk->sectors - count) {
    return EFI_DEVICE_ERROR;
  }
  disk->readSectors += count;
  std::memset(buffer, 0xFF, count * ddf::sectorSize);
  for (auto at = disk->kept.lower_bound(lba); at != disk->kept.end() && at->first < lba + count; ++at) {
    std::memcpy(static_cast<UINT8 *>(buffer) + (at->first - lba) * ddf::sectorSize, at->second.data(), ddf::sectorSize);
  }
  return EFI_SUCCESS;
}

ddf::Source SparseDisk::source() {
  return {readSparse, this, sectors};
}

// A file has per disk: its sectors, the number of sectors kept, and for each of these its place and bytes; numbers are
// little-endian, of eight bytes.
Disks loadDisks(const std::string &file) {
  std::ifstream in(file, std::ios::binary);
  Disks disks;
  auto number = [&] {
    uint64_t value = 0;
    in.read(reinterpret_cast<char *>(&value), sizeof(value));
    return value;
  };
  for (uint64_t sectors = number(); in; sectors = number()) {
    SparseDisk disk;
    disk.sectors = sectors;
    for (uint64_t count = number(); count > 0 && in; --count) {
      uint64_t lba = number();
      in.read(reinterpret_cast<char *>(disk.kept[lba].data()), ddf::sectorSize);
    }
    disks.push_back(std::move(disk));
  }
  return disks;
}

// --- Models ---

OwnedModel readModel(Disks &disks, const ddf::Guid *ours) {
  std::vector<ddf::Source> sources;
  for (SparseDisk &disk : disks) {
    sources.push_back(disk.source());
  }
  ddf::Model *model = nullptr;
  ddf::readModel(sources.data(), static_cast<UINT32>(sources.size()), ours, &model);
  return OwnedModel(model);
}

std::string readText(Disks &disks) {
  return describe(*readModel(disks));
}

std::string searchedText(Disks &disks) {
  OwnedModel model = readModel(disks);
  for (UINT32 i = 0; i < model->diskCount; ++i) {
    ddf::searchDisk(model.get(), i);
  }
  return describe(*model);
}

// --- Changes ---

static void writeHeaders(SparseDisk &disk, const ddf::Copy &copy) {
  for (ddf::HeaderType type : {ddf::headerPrimary, ddf::headerSecondary, ddf::headerAnchor}) {
    ddf::Header header;
    ddf::makeHeader(copy, type, ddf::openFlagClosed, copy.header.sequence, copy.header.time, &header);
    UINT64 lba = type == ddf::headerPrimary  ? copy.header.primaryLba
                 : type == ddf::headerAnchor ? disk.sectors - 1
                                             : copy.header.secondaryLba;
    lba == ddf::noLba ? void() : disk.write(lba, &header, 1);
  }
}

void storeCopy(SparseDisk &disk, ddf::Copy &copy) {
  ddf::seal(&copy);
  writeHeaders(disk, copy);
  for (ddf::HeaderType type : {ddf::headerPrimary, ddf::headerSecondary}) {
    UINT64 lba = type == ddf::headerPrimary ? copy.header.primaryLba : copy.header.secondaryLba;
    for (int section = 0; lba != ddf::noLba && section < ddf::sectionCount; ++section) {
      ddf::Extent extent = ddf::extentOf(copy, type, static_cast<ddf::Section>(section));
      disk.write(extent.lba, copy.sections[section], extent.sectors);
    }
  }
}

void changeDisks(Disks &disks, const std::function<void(ddf::Copy &copy, size_t disk)> &change) {
  OwnedModel model = readModel(disks);
  for (UINT32 i = 0; i < model->diskCount; ++i) {
    ddf::Copy copy;
    if (model->disks[i].copy.sections[0] != nullptr && ddf::duplicateCopy(model->disks[i].copy, &copy) == EFI_SUCCESS) {
      change(copy, i);
      // A change of the header only: the sections' lengths in memory stay what they are.
      ddf::Copy sections = copy;
      sections.header = model->disks[i].copy.header;
      storeCopy(disks[i], sections);
      writeHeaders(disks[i], copy);
      ddf::freeCopy(&copy);
    }
  }
}

void dedicateSpare(ddf::Copy &copy, size_t disk, UINT32 pd) {
  ddf::pdEntryAt(copy, pd)->type = ddf::pdSpare;
  if (disk == pd) {
    auto *spare = reinterpret_cast<ddf::SpareRecord *>(ddf::recordAt(copy, ddf::recordCapacity(copy) - 1));
    spare->signature = ddf::spareSignature;
    spare->type = ddf::spareDedicated;
    spare->entries = 0xFFFF; // the first one is an entry
    reinterpret_cast<ddf::SpareEntry *>(spare + 1)->guid = ddf::vdEntryAt(copy, 0)->guid;
  }
}

static void mend(SparseDisk &disk, UINT64 lba, UINT64 count) {
  constexpr UINT64 most = 1024;
  if (count == 0 || count > most || count > disk.sectors || lba > disk.sectors - count) {
    return;
  }
  std::vector<UINT8> bytes(count * ddf::sectorSize);
  readSparse(&disk, lba, count, bytes.data());
  ddf::ListHead *head = reinterpret_cast<ddf::ListHead *>(bytes.data());
  head->crc = ddf::checksum(bytes.data(), bytes.size());
  disk.write(lba, bytes.data(), 1);
}

static void mendCopy(SparseDisk &disk, UINT64 lba) {
  if (lba >= disk.sectors) {
    return;
  }
  SectorBytes bytes = disk.read(lba);
  const ddf::Header *header = reinterpret_cast<const ddf::Header *>(bytes.data());
  for (int section = 0; section < ddf::sectionCount; ++section) {
    UINT64 from = lba + header->sections[section].offset, length = header->sections[section].length;
    if (section != ddf::sectionRecords) {
      mend(disk, from, length);
      continue;
    }
    UINT64 step = header->recordLength;
    for (UINT64 at = 0; step != 0 && at + step <= length && length <= 1024; at += step) {
      if (disk.kept.count(from + at) != 0) {
        mend(disk, from + at, step);
      }
    }
  }
  mend(disk, lba, 1);
}

void mendChecksums(SparseDisk &disk) {
  if (disk.sectors == 0) {
    return;
  }
  disk.failAfter = ~UINT64{0};
  SectorBytes bytes = disk.read(disk.sectors - 1);
  const ddf::Header *anchor = reinterpret_cast<const ddf::Header *>(bytes.data());
  mendCopy(disk, anchor->primaryLba);
  mendCopy(disk, anchor->secondaryLba);
  mend(disk, disk.sectors - 1, 1);
}

// --- New sets ---

static ddf::Guid testGuid(char kind, UINT32 number) {
  ddf::Guid guid;
  std::memset(guid.bytes, kind, sizeof(guid.bytes));
  std::memcpy(guid.bytes, "Linux-MD", 8); // of a friend
  guid.bytes[23] = static_cast<UINT8>(number);
  return guid;
}

static UINT32 testReference(UINT32 disk) {
  return 0x5EED0000 + disk * 7919; // no order that a disk's number has
}

static void addPds(ddf::Copy &copy, UINT32 count, UINT32 members) {
  for (UINT32 i = 0; i < count; ++i) {
    ddf::PdEntry *entry = ddf::pdEntryAt(copy, i);
    entry->guid = testGuid('D', i);
    entry->reference = testReference(i);
    entry->type = i < members ? ddf::pdMember : ddf::pdGlobalSpare;
    entry->state = ddf::pdOnline;
    entry->configuredSize = testDiskSectors - ddf::reserveSectors;
  }
}

static void addVirtualDisk(ddf::Copy &copy, const TestVirtualDisk &virtualDisk, UINT32 disk) {
  ddf::VdEntry *entry = ddf::vdEntryAt(copy, 0);
  entry->guid = testGuid('V', 0);
  entry->number = 0;
  entry->type = 0;
  entry->state = ddf::vdOptimal;
  entry->init = ddf::initFull;
  std::memcpy(entry->name, "volume\0\0\0\0\0\0\0\0\0\0", sizeof(entry->name));
  if (disk >= virtualDisk.spans * virtualDisk.spanMembers) {
    return;
  }
  UINT32 span = disk / virtualDisk.spanMembers;
  ddf::Record *record = ddf::recordAt(copy, 0);
  record->signature = ddf::recordSignature;
  record->guid = entry->guid;
  record->sequence = 1;
  record->elements = static_cast<UINT16>(virtualDisk.spanMembers);
  record->strip = virtualDisk.strip;
  record->level = virtualDisk.level;
  record->qualifier = virtualDisk.qualifier;
  record->secondaryCount = static_cast<UINT8>(virtualDisk.spans);
  record->secondaryElement = static_cast<UINT8>(span);
  record->secondaryLevel = virtualDisk.secondaryLevel;
  record->memberBlocks = virtualDisk.memberBlocks;
  record->blocks = 0;
  for (UINT32 i = 0; i < virtualDisk.spanMembers; ++i) {
    ddf::referencesOf(record)[i] = testReference(span * virtualDisk.spanMembers + i);
    ddf::startsOf(copy, record)[i] = 0;
  }
}

Disks makeDisks(const TestVirtualDisk &virtualDisk, UINT32 extraDisks, const ddf::Limits &limits) {
  UINT32 members = virtualDisk.spans * virtualDisk.spanMembers;
  Disks disks(members + extraDisks);
  for (UINT32 i = 0; i < disks.size(); ++i) {
    ddf::NewCopy wanted = {testDiskSectors, limits, testGuid('S', 0), testGuid('C', 0),
                           {1, 2, 3, 4},    {},     testGuid('D', i), testReference(i)};
    ddf::Copy copy;
    if (ddf::makeNewCopy(wanted, &copy) != EFI_SUCCESS) {
      return {};
    }
    copy.header.sequence = 1;
    copy.header.time = 0;
    addPds(copy, static_cast<UINT32>(disks.size()), members);
    addVirtualDisk(copy, virtualDisk, i);
    disks[i].sectors = testDiskSectors;
    storeCopy(disks[i], copy);
    ddf::freeCopy(&copy);
  }
  return disks;
}
