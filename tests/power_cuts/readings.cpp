#include "tests/power_cuts/readings.h"

#include <algorithm>
#include <cstring>

#include "providers/disk_controller/model/view.h"
#include "tests/providers/ddf/describe.h"

using namespace xyl;

std::string Reading::text() const {
  std::string text = fault.empty() ? "" : "FAULT: " + fault + "\n";
  for (const std::string &line : lines) {
    text += line + "\n";
  }
  return text;
}

Texts virtualDisksOf(const Reading &reading) {
  Texts virtualDisks;
  std::copy_if(reading.lines.begin(), reading.lines.end(), std::back_inserter(virtualDisks),
               [](const std::string &line) { return line.starts_with("volume"); });
  return virtualDisks;
}

static std::string format(const char *pattern, auto... values) {
  char text[200];
  std::snprintf(text, sizeof(text), pattern, values...);
  return text;
}

static std::string hex(const UINT8 *bytes, size_t size) {
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    text += format("%02X", bytes[i]);
  }
  return text;
}

static std::string padded(const UINT8 *bytes, size_t size) {
  std::string text = std::string(reinterpret_cast<const char *>(bytes), size).c_str(); // up to a NUL
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

constexpr size_t nowhere = ~size_t{0};

// What a line tells of a virtual disk, but for its members.
static std::string virtualDiskLine(const std::string &name, const UINT8 *guid, unsigned state, unsigned init,
                                   const unsigned (&layout)[5], UINT64 blocks) {
  return format("volume \"%s\" %s, state %02X, init %02X, level %02X/%u, strip %u, %u of %02X, %llu a member:",
                name.c_str(), hex(guid + 16, 8).c_str(), state, init, layout[0], layout[1], layout[2], layout[3],
                layout[4], static_cast<unsigned long long>(blocks));
}

// Of a disk that failed it does not matter whether it is there.
static std::string diskText(size_t disk, unsigned state) {
  constexpr unsigned failedValue = 0x02;
  return (state & failedValue) != 0 ? "lost" : disk == nowhere ? "?" : std::to_string(disk);
}

static std::string memberText(size_t disk, unsigned state, UINT64 start) {
  return " " + diskText(disk, state) + "@" + std::to_string(start);
}

static std::string diskLine(size_t disk, unsigned type, unsigned state) {
  return "disk " + diskText(disk, state) + format(" type %02X, state %02X", type, state & ~0x40U);
}

// Disks of which more is to tell than that they are there.
static bool isSpecial(unsigned type, unsigned state) {
  constexpr unsigned spareState = 0x0C, lostState = 0x46; // failed, rebuilding, missing
  return (type & spareState) != 0 || (state & lostState) != 0;
}

static bool isForeign(const UINT8 *maker, UINT8 flag) {
  return flag != 0 || (std::memcmp(maker, "Linux-MD", 8) != 0 && std::memcmp(maker, "RAIDXYL ", 8) != 0);
}

// --- Ours ---

static size_t placeOf(const ddf::Pd *pd) {
  return pd == nullptr || pd->disk == ddf::noIndex ? nowhere : pd->disk;
}

static void addSet(Reading &reading, const ddf::Set &set) {
  set.foreign ? reading.lines.push_back("a foreign set") : void();
  reading.fault += set.sound ? "" : "a set that is not sound";
  for (UINT32 i = 0; i < set.virtualDiskCount; ++i) {
    const ddf::VirtualDisk &virtualDisk = set.virtualDisks[i];
    if (virtualDisk.memberCount == 0 ||
        std::count(virtualDisk.records, virtualDisk.records + virtualDisk.spans, nullptr) != 0) {
      continue; // nothing but an entry, or a span is lost
    }
    const ddf::Record &record = *virtualDisk.record;
    std::string line = virtualDiskLine(
        virtualDisk.name, virtualDisk.entry->guid.bytes, virtualDisk.entry->state, virtualDisk.entry->init,
        {record.level, record.qualifier, record.strip, record.secondaryCount, record.secondaryLevel},
        record.memberBlocks);
    for (UINT32 j = 0; j < virtualDisk.memberCount; ++j) {
      const ddf::Member &member = virtualDisk.members[j];
      const ddf::Pd *pd = member.pd == ddf::noIndex ? nullptr : &set.pds[member.pd];
      line += memberText(placeOf(pd), pd == nullptr ? 0U : UINT16{pd->entry->state}, member.start);
    }
    reading.lines.push_back(line);
  }
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    const ddf::PdEntry &entry = *set.pds[i].entry;
    if (isSpecial(entry.type, entry.state)) {
      reading.lines.push_back(diskLine(placeOf(&set.pds[i]), entry.type, entry.state));
    }
  }
}

Reading readAsWe(Disks &disks) {
  OwnedModel model = readModel(disks, &ddf::ourController);
  Reading reading = {{}, modelFault(*model)};
  for (UINT32 i = 0; i < model->setCount; ++i) {
    addSet(reading, model->sets[i]);
  }
  std::sort(reading.lines.begin(), reading.lines.end());
  return reading;
}

// --- Linux's ---

namespace {

using Bytes = std::vector<UINT8>;

constexpr size_t sector = 512, entrySize = 64, listHead = 64;
enum Part { controllerData, pdList, vdList, recordList, pdData, partCount };

struct Copy {
  Bytes header; // empty: none
  bool open = false;
  UINT64 sequence = 0;
};

struct LinuxDisk {
  size_t number; // in the order of the disks
  UINT64 sectors;
  Bytes header, parts[partCount];
  UINT64 rank;     // the sequence, less one when open
  UINT64 sequence; // of the header
};

struct LinuxRecord {
  const UINT8 *bytes = nullptr;
  UINT64 sequence = 0;
  size_t most = 0; // elements that it has room for
};

UINT64 number(const UINT8 *at, size_t size) {
  UINT64 value = 0;
  for (size_t i = 0; i < size; ++i) {
    value = value << 8 | at[i];
  }
  return value;
}

Bytes sectorsOf(SparseDisk &disk, UINT64 lba, UINT64 count) {
  Bytes bytes(count * sector);
  ddf::Source source = disk.source();
  return EFI_ERROR(source.read(source.context, lba, count, bytes.data())) ? Bytes() : bytes;
}

UINT64 headerChecksum(const Bytes &header) {
  UINT32 sum = 0;
  for (size_t i = 0; i < header.size(); ++i) {
    sum ^= i >= 4 && i < 8 ? 0xFF : header[i];
    for (int bit = 0; bit < 8; ++bit) {
      sum = sum >> 1 ^ ((sum & 1) != 0 ? 0xEDB88320U : 0);
    }
  }
  return sum;
}

bool isHeader(const Bytes &bytes) {
  return bytes.size() == sector && number(&bytes[0], 4) == 0xDE11DE11 && number(&bytes[4], 4) == headerChecksum(bytes);
}

Copy copyAt(SparseDisk &disk, const Bytes &anchor, size_t lbaAt, UINT8 type) {
  Copy copy = {sectorsOf(disk, number(&anchor[lbaAt], 8), 1)};
  const Bytes &header = copy.header;
  bool fits = isHeader(header) && header[112] == type && std::equal(&anchor[8], &anchor[40], &header[8]) &&
              std::equal(&anchor[96], &anchor[112], &header[96]) &&
              std::equal(&anchor[113], &anchor[512], &header[113]);
  return fits ? Copy{header, header[48] != 0, number(&header[40], 4)} : Copy{};
}

// False for a disk that Linux does not recognise.
bool load(SparseDisk &disk, size_t at, LinuxDisk *found) {
  Bytes anchor = sectorsOf(disk, disk.sectors - 1, 1);
  if (!isHeader(anchor)) {
    return false;
  }
  std::string revision(anchor.begin() + 32, anchor.begin() + 40);
  if (revision != "01.00.00" && revision != "01.02.00") {
    return false;
  }
  Copy primary = copyAt(disk, anchor, 96, 1), secondary = copyAt(disk, anchor, 104, 2);
  bool second = !secondary.header.empty() &&
                (primary.header.empty() || (primary.sequence < secondary.sequence && !secondary.open) ||
                 (primary.sequence == secondary.sequence && primary.open && !secondary.open));
  const Copy &used = second ? secondary : primary;
  if (used.header.empty()) {
    return false;
  }
  *found = {at, disk.sectors, used.header, {}, used.sequence - (used.open ? 1 : 0), used.sequence};
  for (size_t part = 0; part < partCount; ++part) {
    UINT64 length = number(&used.header[192 + 8 * part + 4], 4);
    bool isList = part == pdList || part == vdList;
    bool lengthFits = isList ? length == 2 || length == 8 || length == 32 || length == 128 || length == 512
                             : length >= 1 && length <= 1024;
    UINT64 lba = number(&used.header[second ? 104 : 96], 8) + number(&used.header[192 + 8 * part], 4);
    found->parts[part] = lengthFits ? sectorsOf(disk, lba, length) : Bytes();
    if (found->parts[part].empty()) {
      return false;
    }
  }
  return true;
}

bool isFree(const UINT8 *entry) {
  return std::all_of(entry, entry + 24, [](UINT8 byte) { return byte == 0xFF; }); // no GUID
}

// The entry with these bytes at a place of it, or null.
const UINT8 *entryOf(const Bytes &list, size_t place, const UINT8 *bytes, size_t size) {
  for (const UINT8 *entry = &list[listHead]; entry < &list.back(); entry += entrySize) {
    if (!isFree(entry) && std::memcmp(bytes, entry + place, size) == 0) {
      return entry;
    }
  }
  return nullptr;
}

// Which disks of a set mdadm puts together, when it finds them in this order: it asks each whether the newest disk has
// failed, in a table whose rows lie where the length of the list on the disk before says, and are read by the length of
// the newest one's.
class Assembly {
public:
  explicit Assembly(const std::vector<const LinuxDisk *> &disks) : disks_(disks), answers_(disks.size() * 4200) {
    UINT64 stride = lengthOf(0);
    for (size_t i = 0; i < disks.size(); ++i) {
      answer(i, stride);
      stride = lengthOf(i);
      bool isNewer = newest_ == nowhere || disks[i]->sequence > disks[newest_]->sequence;
      newest_ = works(i) && isNewer ? i : newest_;
    }
  }

  std::vector<const LinuxDisk *> taken() const {
    std::vector<const LinuxDisk *> taken;
    for (size_t i = 0; newest_ != nowhere && i < disks_.size(); ++i) {
      bool isTrusted = i == newest_ || answers_[i * lengthOf(newest_) + placeOf(newest_)] != 0;
      bool isNew = disks_[i]->sequence + 1 >= disks_[newest_]->sequence;
      works(i) && isTrusted &&isNew ? taken.push_back(disks_[i]) : void();
    }
    return taken;
  }

private:
  const Bytes &list(size_t disk) const { return disks_[disk]->parts[pdList]; }
  UINT64 lengthOf(size_t disk) const { return number(&list(disk)[8], 2); }
  size_t capacity(size_t disk) const { return (list(disk).size() - listHead) / entrySize; }
  const UINT8 *entry(size_t disk, size_t at) const { return &list(disk)[listHead + at * entrySize]; }

  size_t placeOf(size_t disk) const {
    size_t at = 0;
    while (at < capacity(disk) && std::memcmp(entry(disk, at) + 24, &disks_[disk]->parts[pdData][32], 4) != 0) {
      ++at;
    }
    return at;
  }

  bool works(size_t disk) const {
    size_t at = placeOf(disk);
    return at < capacity(disk) && (entry(disk, at)[31] & 0x42) == 0; // failed, missing
  }

  void answer(size_t disk, UINT64 stride) {
    for (size_t i = 0, at = 0; i < stride; ++i, ++at) {
      for (; at < capacity(disk) && number(entry(disk, at) + 24, 4) == 0xFFFFFFFF; ++at) {
      }
      bool isFine = i < lengthOf(disk) && at < capacity(disk) && (entry(disk, at)[31] & 0x02) == 0;
      answers_[disk * stride + i] = isFine ? 1 : 0;
    }
  }

  const std::vector<const LinuxDisk *> &disks_;
  std::vector<UINT8> answers_;
  size_t newest_ = nowhere;
};

// What md has a personality for, but for mirrors.
constexpr struct LinuxLevel {
  unsigned level, layouts; // a bit each
  size_t least, spare;     // members
} linuxLevels[] = {{0x00, 0x1, 1, 0}, {0x1F, 0x1, 1, 0}, {0x04, 0x2, 3, 1},
                   {0x05, 0xD, 3, 1}, {0x06, 0xE, 4, 2}, {0x11, 0x3, 3, 1}};
constexpr unsigned mirror = 0x01;

const LinuxLevel *levelOf(unsigned number) {
  auto row = std::find_if(std::begin(linuxLevels), std::end(linuxLevels),
                          [=](const LinuxLevel &level) { return level.level == number; });
  return row == std::end(linuxLevels) ? nullptr : row;
}

bool isMapped(const UINT8 *record) {
  size_t members = number(record + 64, 2);
  unsigned layout = record[68], spans = record[69], over = record[71];
  if (record[67] == mirror) {
    return layout == members - 2 && members <= 3 && (spans <= 1 || over == 0 || over == 3);
  }
  const LinuxLevel *level = levelOf(record[67]);
  return spans <= 1 && level != nullptr && layout < 32 && (level->layouts >> layout & 1) != 0 &&
         members >= level->least;
}

// The disks of one set.
class LinuxSet {
public:
  LinuxSet(std::vector<LinuxDisk> disks, Reading &reading) : disks_(std::move(disks)), reading_(reading) {
    newest_ = &*std::max_element(disks_.begin(), disks_.end(),
                                 [](const LinuxDisk &a, const LinuxDisk &b) { return a.rank < b.rank; });
    if (isForeign(&newest_->parts[controllerData][8], newest_->header[49])) {
      reading_.lines.emplace_back("a foreign set");
    }
    for (const LinuxDisk &disk : disks_) {
      collect(disk);
    }
    std::vector<const LinuxDisk *> order;
    for (const LinuxDisk &disk : disks_) {
      order.push_back(&disk);
    }
    taken_[0] = Assembly(order).taken();
    std::reverse(order.begin(), order.end());
    taken_[1] = Assembly(order).taken();
    for (const auto &[guid, parts] : virtual_disks_) {
      addVirtualDisk(parts);
    }
    addDisks();
  }

private:
  void complain(const std::string &what) { reading_.fault += what + "; "; }

  void collect(const LinuxDisk &disk) {
    size_t most = number(&disk.header[136], 2), step = number(&disk.header[134], 2) * sector;
    const Bytes &records = disk.parts[recordList];
    for (size_t at = 0; step != 0 && at + step <= records.size(); at += step) {
      const UINT8 *record = &records[at];
      if (number(record, 4) != 0xEEEEEEEE) {
        continue;
      }
      if (entryOf(newest_->parts[vdList], 0, record + 8, 24) == nullptr) {
        complain("a record without entry on disk " + std::to_string(disk.number));
        continue;
      }
      LinuxRecord &known = virtual_disks_[hex(record + 8, 24)][record[70]];
      if (known.bytes == nullptr || known.sequence < number(record + 36, 4)) {
        known = {record, number(record + 36, 4), most};
      }
    }
  }

  size_t numberOf(const UINT8 *reference) {
    for (const LinuxDisk &disk : disks_) {
      if (std::memcmp(reference, &disk.parts[pdData][32], 4) == 0) {
        return disk.number;
      }
    }
    return nowhere;
  }

  bool isTaken(const UINT8 *reference, size_t order) const {
    return std::any_of(taken_[order].begin(), taken_[order].end(),
                       [&](const LinuxDisk *disk) { return std::memcmp(reference, &disk->parts[pdData][32], 4) == 0; });
  }

  // Whether a record's members that have not failed are put together as far as the level needs them: all as soon as one
  // that is lost anyway is too many.
  bool starts(const LinuxRecord &record, size_t order) {
    size_t members = std::min<size_t>(number(record.bytes + 64, 2), record.most), lost = 0, left = 0;
    for (size_t i = 0; i < members; ++i) {
      const UINT8 *reference = record.bytes + 512 + 4 * i;
      const UINT8 *pd = entryOf(newest_->parts[pdList], 24, reference, 4);
      bool isLost = pd == nullptr || (pd[31] & 0x02) != 0 || numberOf(reference) == nowhere;
      lost += isLost ? 1 : 0;
      left += !isLost && !isTaken(reference, order) ? 1 : 0;
    }
    const LinuxLevel *level = levelOf(record.bytes[67]);
    size_t spare = record.bytes[67] == mirror ? members - 1 : level == nullptr ? 0 : level->spare;
    return left == 0 || lost + left <= spare;
  }

  // A spanned virtual disk that lacks a span is left out.
  void addVirtualDisk(const std::map<UINT8, LinuxRecord> &spans) {
    const UINT8 *first = spans.begin()->second.bytes;
    if (spans.size() < first[69]) {
      return;
    }
    const UINT8 *entry = entryOf(newest_->parts[vdList], 0, first + 8, 24);
    UINT64 blocks = number(first + 72, 8);
    std::string line = virtualDiskLine(padded(entry + 48, 16), entry, entry[32], entry[33],
                                       {first[67], first[68], first[66], first[69], first[71]}, blocks);
    for (const auto &[position, record] : spans) {
      isMapped(record.bytes) ? void() : complain("a volume that cannot be mapped");
      starts(record, 0) && starts(record, 1) ? void() : complain("a volume that does not start");
      for (size_t i = 0; i < std::min<size_t>(number(record.bytes + 64, 2), record.most); ++i) {
        const UINT8 *reference = record.bytes + 512 + 4 * i;
        UINT64 start = number(record.bytes + 512 + 4 * record.most + 8 * i, 8);
        const UINT8 *pd = entryOf(newest_->parts[pdList], 24, reference, 4);
        line += memberText(pd == nullptr ? nowhere : numberOf(reference), pd == nullptr ? 0 : pd[31], start);
        pd == nullptr ? void() : place(pd, start, blocks);
      }
    }
    reading_.lines.push_back(line);
  }

  void place(const UINT8 *pd, UINT64 start, UINT64 blocks) {
    if (start + blocks > number(pd + 32, 8)) {
      complain("a member outside its disk");
    }
    auto &members = members_[hex(pd + 24, 4)];
    for (auto [otherStart, otherEnd] : members) {
      if (start < otherEnd && otherStart < start + blocks) {
        complain("members that meet");
      }
    }
    members.emplace_back(start, start + blocks);
  }

  void addDisks() {
    const Bytes &list = newest_->parts[pdList];
    for (const UINT8 *entry = &list[listHead]; entry < &list.back(); entry += entrySize) {
      if (isFree(entry)) {
        continue;
      }
      unsigned type = entry[28] << 8 | entry[29], state = entry[30] << 8 | entry[31];
      entryOf(list, 24, entry + 24, 4) != entry ? complain("two disks with one reference") : void();
      if (isSpecial(type, state)) {
        reading_.lines.push_back(diskLine(numberOf(entry + 24), type, state));
      }
    }
  }

  std::vector<LinuxDisk> disks_;
  Reading &reading_;
  const LinuxDisk *newest_;
  std::vector<const LinuxDisk *> taken_[2]; // found in the order of the disks, and the other way round
  std::map<std::string, std::map<UINT8, LinuxRecord>> virtual_disks_;     // by GUID, by place of the span
  std::map<std::string, std::vector<std::pair<UINT64, UINT64>>> members_; // by reference
};

} // namespace

Reading readAsLinux(Disks &disks) {
  std::map<std::string, std::vector<LinuxDisk>> sets; // by GUID
  for (size_t i = 0; i < disks.size(); ++i) {
    LinuxDisk disk;
    if (load(disks[i], i, &disk)) {
      sets[hex(&disk.header[8], 24)].push_back(std::move(disk));
    }
  }
  Reading reading;
  for (auto &[guid, members] : sets) {
    LinuxSet(std::move(members), reading);
  }
  std::sort(reading.lines.begin(), reading.lines.end());
  return reading;
}
