#include "tests/ddf/describe.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

static std::string faultText(const DDF_FAULT &fault) {
  CHAR8 text[80];
  ddfFaultText(fault, text, sizeof(text));
  return text;
}

static std::string bits(unsigned value, std::initializer_list<std::pair<unsigned, const char *>> names) {
  std::string text;
  for (auto [bit, name] : names) {
    text += (value & bit) != 0 ? std::string(text.empty() ? "" : " ") + name : "";
  }
  return text.empty() ? "none" : text;
}

static const char *stateName(unsigned state) {
  constexpr const char *NAMES[] = {"optimal", "degraded",          "deleted", "missing",
                                   "failed",  "partially optimal", "offline", "?"};
  return NAMES[state & DDF_VD_STATE_BITS];
}

// --- Disks ---

static void describeDisk(std::ostream &out, const DDF_DISK &disk) {
  constexpr const char *KINDS[] = {"other", "unreadable", "damaged", "stale", "member"};
  out << KINDS[disk.kind];
  if (disk.set != DDF_NONE) {
    out << " of set " << disk.set;
  }
  if (disk.kind == DDF_DISK_MEMBER) {
    out << " as pd " << disk.pd << ", sequence " << disk.copy.header.sequence
        << (disk.used == DDF_PRIMARY ? "" : ", by its secondary copy") << (disk.lagging ? ", lagging" : "");
  }
  out << (disk.holds[0] != 0 ? std::string(", holds ") + disk.holds : "");
  out << (disk.fault.what != nullptr ? ", " + faultText(disk.fault) : "") << '\n';
  for (int i = 0; i < 2; ++i) {
    if (disk.copyFaults[i].what != nullptr) {
      out << "  " << (i == 0 ? "primary" : "secondary") << ": " << faultText(disk.copyFaults[i]) << '\n';
    }
  }
}

static void describePd(std::ostream &out, const DDF_PD &pd) {
  constexpr const char *SPARES[] = {"", ", global spare", ", spare for volumes"};
  out << (pd.disk == DDF_NONE ? "missing" : "disk " + std::to_string(pd.disk)) << ", "
      << bits(pd.entry->state, {{DDF_PD_ONLINE, "online"},
                                {DDF_PD_FAILED, "failed"},
                                {DDF_PD_REBUILDING, "rebuilding"},
                                {DDF_PD_MISSING, "missing"}})
      << ", type "
      << bits(pd.entry->type,
              {{DDF_PD_MEMBER, "member"}, {DDF_PD_GLOBAL_SPARE, "global spare"}, {DDF_PD_SPARE, "spare"}})
      << SPARES[pd.spare];
  for (UINT32 i = 0; i < pd.spareForCount; ++i) {
    out << ' ' << pd.spareFor[i];
  }
  out << ", used " << pd.usedBlocks << ", free " << pd.freeBlocks << ':';
  for (UINT32 i = 0; i < pd.gapCount; ++i) {
    out << ' ' << pd.gaps[i].start << '+' << pd.gaps[i].blocks;
  }
  out << '\n';
}

// --- Volumes ---

static void describeMembers(std::ostream &out, const DDF_VOLUME &volume) {
  constexpr const char *STATES[] = {"", " rebuilding", " failed", " missing", " unknown", " outside"};
  for (UINT32 i = 0; i < volume.memberCount; ++i) {
    const DDF_MEMBER &member = volume.members[i];
    out << (i == 0 ? "    members" : "") << (i % volume.spanMembers == 0 && i != 0 ? " |" : "") << ' ';
    out << (member.pd == DDF_NONE ? "?" : std::to_string(member.pd));
    out << '@' << member.start << STATES[member.state] << (i + 1 == volume.memberCount ? "\n" : ",");
  }
}

static void describeVolume(std::ostream &out, const DDF_VOLUME &volume) {
  constexpr const char *LEVELS[] = {"unknown level", "RAID 0", "RAID 1",  "RAID 4",
                                    "RAID 5",        "RAID 6", "RAID 10", "linear"};
  constexpr const char *INIT[] = {"not initialised", "quickly initialised", "initialised", "?"};
  constexpr const char *ACCESS[] = {"read/write", "?", "read only", "blocked"};
  const DDF_VD_ENTRY &entry = *volume.entry;
  out << '"' << volume.name << "\" " << stateName(volume.state) << " (entry: " << stateName(entry.state)
      << ((entry.state & DDF_VD_INCONSISTENT) != 0 ? ", inconsistent" : "") << ", " << INIT[entry.init & DDF_INIT_BITS]
      << ", " << ACCESS[entry.init >> DDF_ACCESS_SHIFT] << ')';
  out << (volume.fault.what != nullptr ? ", " + faultText(volume.fault) : "") << '\n';
  if (volume.memberCount == 0) {
    return;
  }
  const DDF_RECORD &record = *volume.record;
  out << "    " << LEVELS[volume.level] << " (" << unsigned{record.level} << ", " << unsigned{record.qualifier}
      << ", secondary " << unsigned{record.secondaryLevel} << ')' << (volume.assembles ? "" : ", not for Linux") << ", "
      << volume.blocks << " blocks, " << volume.memberBlocks << " a member, strip " << volume.stripBlocks << '\n';
  describeMembers(out, volume);
}

std::string describe(const DDF_MODEL &model) {
  std::ostringstream out;
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    out << "disk " << i << ": ";
    describeDisk(out, model.disks[i]);
  }
  for (UINT32 i = 0; i < model.setCount; ++i) {
    const DDF_SET &set = model.sets[i];
    out << "set " << i << ": sequence " << set.sequence << ", newest disk " << set.newest
        << (set.foreign ? ", foreign" : "") << (set.ordered ? "" : ", not ordered") << (set.sound ? "" : ", not sound");
    out << (set.orphans != 0 ? ", orphans " + std::to_string(set.orphans) : "") << '\n';
    for (UINT32 j = 0; j < set.pdCount; ++j) {
      out << "  pd " << j << ": ";
      describePd(out, set.pds[j]);
    }
    for (UINT32 j = 0; j < set.volumeCount; ++j) {
      out << "  volume " << j << ": ";
      describeVolume(out, set.volumes[j]);
    }
  }
  return out.str();
}

// --- Recorded disks ---

UINT8 *SPARSE_DISK::sector(UINT64 lba) {
  auto at = std::lower_bound(lbas.begin(), lbas.end(), lba);
  return at == lbas.end() || *at != lba ? nullptr : &bytes[static_cast<size_t>(at - lbas.begin()) * DDF_SECTOR];
}

static EFI_STATUS readSparse(void *context, UINT64 lba, UINTN count, void *buffer) {
  auto *disk = static_cast<SPARSE_DISK *>(context);
  for (UINTN i = 0; i < count; ++i, ++lba) {
    if (lba >= disk->sectors || lba == disk->badLba) {
      return EFI_DEVICE_ERROR;
    }
    UINT8 *to = static_cast<UINT8 *>(buffer) + i * DDF_SECTOR;
    const UINT8 *from = disk->sector(lba);
    from != nullptr ? std::memcpy(to, from, DDF_SECTOR) : std::memset(to, 0, DDF_SECTOR);
  }
  return EFI_SUCCESS;
}

DDF_SOURCE SPARSE_DISK::source() {
  return {readSparse, this, sectors};
}

// A file has per disk: its sectors, the number of pieces, and per piece the first sector, the number of sectors and
// their bytes; numbers are little-endian, of eight bytes.
std::vector<SPARSE_DISK> loadDisks(const std::string &file) {
  std::ifstream in(file, std::ios::binary);
  std::vector<SPARSE_DISK> disks;
  auto number = [&] {
    uint64_t value = 0;
    in.read(reinterpret_cast<char *>(&value), sizeof(value));
    return value;
  };
  for (uint64_t sectors = number(); in; sectors = number()) {
    SPARSE_DISK disk;
    disk.sectors = sectors;
    for (uint64_t pieces = number(); pieces > 0 && in; --pieces) {
      uint64_t lba = number(), count = number();
      size_t used = disk.bytes.size();
      disk.bytes.resize(used + count * DDF_SECTOR);
      in.read(reinterpret_cast<char *>(&disk.bytes[used]), static_cast<std::streamsize>(count * DDF_SECTOR));
      for (; count > 0; --count) {
        disk.lbas.push_back(lba++);
      }
    }
    disks.push_back(std::move(disk));
  }
  return disks;
}

DDF_MODEL *readModel(std::vector<SPARSE_DISK> &disks) {
  std::vector<DDF_SOURCE> sources;
  for (SPARSE_DISK &disk : disks) {
    sources.push_back(disk.source());
  }
  DDF_MODEL *model = nullptr;
  ddfRead(sources.data(), static_cast<UINT32>(sources.size()), /* ours= */ nullptr, &model);
  return model;
}
