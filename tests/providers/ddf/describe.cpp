#include "tests/providers/ddf/describe.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

using namespace xyl;

static std::string faultText(const ddf::Fault &fault) {
  CHAR8 text[80];
  ddf::faultText(fault, text, sizeof(text));
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
  constexpr const char *namesName[] = {"optimal", "degraded",          "deleted", "missing",
                                       "failed",  "partially optimal", "offline", "?"};
  return namesName[state & ddf::vdStateBits];
}

static std::string hex(const ddf::Guid &guid) {
  std::ostringstream out;
  for (UINT8 byte : guid.bytes) {
    out << std::hex << std::setw(2) << std::setfill('0') << unsigned{byte};
  }
  return out.str();
}

// --- Disks ---

static void describeDisk(std::ostream &out, const ddf::Disk &disk) {
  constexpr const char *kinds[] = {"other", "unreadable", "damaged", "stale", "member"};
  out << kinds[static_cast<int>(disk.kind)];
  if (disk.set != ddf::noIndex) {
    out << " of set " << disk.set;
  }
  if (disk.kind == ddf::DiskKind::member) {
    out << " as pd " << disk.pd << ", sequence " << disk.copy.header.sequence
        << (disk.used == ddf::headerPrimary ? "" : ", by its secondary copy") << (disk.lagging ? ", lagging" : "");
  }
  out << (disk.holds[0] != 0 ? std::string(", holds ") + disk.holds : "") << (disk.released ? ", set free" : "");
  out << (disk.fault.what != nullptr ? ", " + faultText(disk.fault) : "") << '\n';
  for (int i = 0; i < 2; ++i) {
    if (disk.copyFaults[i].what != nullptr) {
      out << "  " << (i == 0 ? "primary" : "secondary") << ": " << faultText(disk.copyFaults[i]) << '\n';
    }
  }
}

static void describePd(std::ostream &out, const ddf::Pd &pd) {
  constexpr const char *spares[] = {"", ", global spare", ", spare for volumes"};
  out << (pd.disk == ddf::noIndex ? "missing" : "disk " + std::to_string(pd.disk)) << ", "
      << bits(pd.entry->state, {{ddf::pdOnline, "online"},
                                {ddf::pdFailed, "failed"},
                                {ddf::pdRebuilding, "rebuilding"},
                                {ddf::pdMissing, "missing"}})
      << ", type "
      << bits(pd.entry->type,
              {{ddf::pdMember, "member"}, {ddf::pdGlobalSpare, "global spare"}, {ddf::pdSpare, "spare"}})
      << spares[static_cast<int>(pd.spare)];
  for (UINT32 i = 0; i < pd.spareForCount; ++i) {
    out << ' ' << pd.spareFor[i];
  }
  out << ", used " << pd.usedBlocks << ", free " << pd.freeBlocks << ':';
  for (UINT32 i = 0; i < pd.gapCount; ++i) {
    out << ' ' << pd.gaps[i].start << '+' << pd.gaps[i].blocks;
  }
  out << '\n';
}

// --- Virtual disks ---

static void describeMembers(std::ostream &out, const ddf::VirtualDisk &virtualDisk) {
  constexpr const char *states[] = {"", " rebuilding", " failed", " missing", " unknown", " outside", " repeated"};
  for (UINT32 i = 0; i < virtualDisk.memberCount; ++i) {
    const ddf::Member &member = virtualDisk.members[i];
    out << (i == 0 ? "    members" : "") << (i % virtualDisk.spanMembers == 0 && i != 0 ? " |" : "") << ' ';
    out << (member.pd == ddf::noIndex ? "?" : std::to_string(member.pd));
    out << '@' << member.start << states[static_cast<int>(member.state)]
        << (i + 1 == virtualDisk.memberCount ? "\n" : ",");
  }
}

static void describeVirtualDisk(std::ostream &out, const ddf::VirtualDisk &virtualDisk) {
  constexpr const char *levels[] = {"unknown level", "RAID 0", "RAID 1",  "RAID 4",
                                    "RAID 5",        "RAID 6", "RAID 10", "linear"};
  constexpr const char *init[] = {"not initialised", "quickly initialised", "initialised", "?"};
  constexpr const char *access[] = {"read/write", "?", "read only", "blocked"};
  const ddf::VdEntry &entry = *virtualDisk.entry;
  out << '"' << virtualDisk.name << "\" " << stateName(virtualDisk.state) << " (entry: " << stateName(entry.state)
      << ((entry.state & ddf::vdInconsistent) != 0 ? ", inconsistent" : "") << ", " << init[entry.init & ddf::initBits]
      << ", " << access[entry.init >> ddf::accessShift] << ')';
  out << (virtualDisk.fault.what != nullptr ? ", " + faultText(virtualDisk.fault) : "") << '\n';
  if (virtualDisk.memberCount == 0) {
    return;
  }
  const ddf::Record &record = *virtualDisk.record;
  out << "    " << levels[static_cast<int>(virtualDisk.level)] << " (" << unsigned{record.level} << ", "
      << unsigned{record.qualifier} << ", secondary " << unsigned{record.secondaryLevel} << ')'
      << (virtualDisk.assembles ? "" : ", not for Linux") << ", " << virtualDisk.blocks << " blocks, "
      << virtualDisk.memberBlocks << " a member, strip " << virtualDisk.stripBlocks << '\n';
  describeMembers(out, virtualDisk);
}

// Of each span's record too, as it is.
static void describeNames(std::ostream &out, const ddf::Copy &copy, const ddf::VirtualDisk &virtualDisk) {
  const ddf::VdEntry &entry = *virtualDisk.entry;
  out << "    [" << &entry - ddf::vdEntryAt(copy, 0) << ' ' << hex(entry.guid) << ' ' << entry.number << ' '
      << unsigned{entry.state} << ' ' << unsigned{entry.init} << "]\n";
  for (UINT32 i = 0; i < virtualDisk.spans; ++i) {
    if (const ddf::Record *record = virtualDisk.records[i]) {
      out << "    [span " << i << ' ' << unsigned{record->secondaryCount} << ' ' << unsigned{record->secondaryLevel}
          << ' ' << unsigned{record->strip} << ' ' << record->memberBlocks << ' ' << record->blocks << "]\n";
    }
  }
}

std::string describe(const ddf::Model &model, bool names) {
  std::ostringstream out;
  for (UINT32 i = 0; i < model.diskCount; ++i) {
    out << "disk " << i << ": ";
    describeDisk(out, model.disks[i]);
    if (names && model.disks[i].copy.sections[0] != nullptr) {
      out << "  [" << ddf::diskDataOf(model.disks[i].copy)->reference << ' ' << model.disks[i].sequences[0] << ' '
          << model.disks[i].sequences[1] << ' ' << unsigned{model.disks[i].used} << "]\n";
    }
  }
  for (UINT32 i = 0; i < model.setCount; ++i) {
    const ddf::Set &set = model.sets[i];
    out << "set " << i << ": sequence " << set.sequence << ", newest disk " << set.newest
        << (set.foreign ? ", foreign" : "") << (set.ordered ? "" : ", not ordered") << (set.sound ? "" : ", not sound");
    out << (set.orphans != 0 ? ", orphans " + std::to_string(set.orphans) : "") << '\n';
    if (names) {
      out << "  [" << hex(set.guid) << ' ' << hex(set.controller->guid) << "]\n";
    }
    for (UINT32 j = 0; j < set.pdCount; ++j) {
      out << "  pd " << j << ": ";
      describePd(out, set.pds[j]);
      const ddf::PdEntry &entry = *set.pds[j].entry;
      if (names) {
        out << "    [" << &entry - ddf::pdEntryAt(model.disks[set.newest].copy, 0) << ' ' << entry.reference << ' '
            << entry.configuredSize << ' ' << entry.type << ' ' << entry.state << "]\n";
      }
    }
    for (UINT32 j = 0; j < set.virtualDiskCount; ++j) {
      out << "  volume " << j << ": ";
      describeVirtualDisk(out, set.virtualDisks[j]);
      names ? describeNames(out, model.disks[set.newest].copy, set.virtualDisks[j]) : void();
    }
  }
  return out.str();
}

// --- What holds for every model ---

static std::string diskFault(const ddf::Model &model, UINT32 number) {
  const ddf::Disk &disk = model.disks[number];
  bool good = disk.kind == ddf::DiskKind::member || disk.kind == ddf::DiskKind::stale;
  if (good != (disk.set != ddf::noIndex) || good != (disk.copy.sections[0] != nullptr)) {
    return "set or copy of another kind of disk";
  }
  if ((disk.kind == ddf::DiskKind::member || disk.kind == ddf::DiskKind::other) != (disk.fault.what == nullptr)) {
    return "a disk without a reason, or with one too many";
  }
  if (disk.kind == ddf::DiskKind::member && model.sets[disk.set].pds[disk.pd].disk != number) {
    return "a member that its set does not name";
  }
  return {};
}

static std::string spaceFault(const ddf::Pd &pd) {
  UINT64 at = 0, free = 0;
  for (UINT32 i = 0; i < pd.gapCount; ++i) {
    const ddf::Gap &gap = pd.gaps[i];
    if (gap.blocks == 0 || gap.start < at || gap.start > pd.limit || gap.blocks > pd.limit - gap.start) {
      return "gaps that overlap or lie outside";
    }
    at = gap.start + gap.blocks + 1;
    free += gap.blocks;
  }
  return free != pd.freeBlocks || free + pd.usedBlocks != pd.limit ? "blocks that are neither free nor used" : "";
}

static bool meetsGap(const ddf::Pd &pd, UINT64 start, UINT64 end) {
  return std::any_of(pd.gaps, pd.gaps + pd.gapCount,
                     [&](const ddf::Gap &gap) { return gap.start < end && start < gap.start + gap.blocks; });
}

static std::string virtualDiskFault(const ddf::Set &set, const ddf::VirtualDisk &virtualDisk) {
  if ((virtualDisk.memberCount == 0) != (virtualDisk.fault.what != nullptr)) {
    return "a volume without members or reason";
  }
  if (ddf::stateOfMembers(virtualDisk) == ddf::vdFailed && virtualDisk.state != ddf::vdFailed) {
    return "a volume that is better than its members";
  }
  UINT32 lost = 0;
  for (UINT32 i = 0; i < virtualDisk.memberCount; ++i) {
    const ddf::Member &member = virtualDisk.members[i];
    lost += member.state != ddf::MemberState::good ? 1 : 0;
    if (member.state != ddf::MemberState::good) {
      continue;
    }
    const ddf::Pd &pd = set.pds[member.pd];
    UINT64 end = member.start + virtualDisk.record->memberBlocks;
    if (pd.disk == ddf::noIndex || end < member.start || end > pd.limit || meetsGap(pd, member.start, end)) {
      return "a member outside its disk or in a gap";
    }
  }
  return lost != 0 && virtualDisk.state == ddf::vdOptimal ? "an optimal volume that lost members" : "";
}

std::string modelFault(const ddf::Model &model) {
  std::string fault;
  for (UINT32 i = 0; i < model.diskCount && fault.empty(); ++i) {
    fault = diskFault(model, i);
  }
  for (UINT32 i = 0; i < model.setCount && fault.empty(); ++i) {
    const ddf::Set &set = model.sets[i];
    for (UINT32 j = 0; j < set.pdCount && fault.empty(); ++j) {
      fault = spaceFault(set.pds[j]);
    }
    for (UINT32 j = 0; j < set.virtualDiskCount && fault.empty(); ++j) {
      fault = virtualDiskFault(set, set.virtualDisks[j]);
    }
  }
  return fault;
}
