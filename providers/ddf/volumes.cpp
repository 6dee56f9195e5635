// The virtual disks of a set: entries from the set's list, each with the newest record that a disk has for each of its
// spans.

#include "providers/ddf/set_stages.h"

namespace xyl::ddf {

constexpr UINT32 mostMembers = 256;            // of a virtual disk
constexpr UINT64 mostBlocks = UINT64{1} << 48; // of a member
constexpr UINT32 mostStripShift = 22;          // 2 GiB

// A record on a disk of the set. position is its span, 0 unless there are several.
struct RecordKey {
  const Copy *copy;
  Record *record;
  UINT32 position;
  UINTN order; // in which it was found
};

static bool isBefore(const RecordKey &a, const RecordKey &b) {
  if (int order = compareGuids(a.record->guid, b.record->guid)) {
    return order < 0;
  }
  if (a.position != b.position) {
    return a.position < b.position;
  }
  if (a.record->sequence != b.record->sequence) {
    return a.record->sequence > b.record->sequence;
  }
  return a.order < b.order;
}

// --- Entries ---

static bool collectVirtualDisks(const Copy &copy, Set *set) {
  UINT32 capacity = vdCapacity(copy);
  for (UINT32 at = 0; at < capacity; ++at) {
    set->virtualDiskCount += isFree(vdEntryAt(copy, at)->guid) ? 0 : 1;
  }
  set->virtualDisks = poolNew<VirtualDisk>(set->virtualDiskCount + UINTN{1});
  if (set->virtualDisks == nullptr) {
    return false;
  }
  VirtualDisk *virtualDisk = set->virtualDisks;
  for (UINT32 at = 0; at < capacity; ++at) {
    const VdEntry *entry = vdEntryAt(copy, at);
    if (!isFree(entry->guid)) {
      (virtualDisk++)->entry = entry;
    }
  }
  return true;
}

static void readName(const VdEntry &entry, CHAR8 (&name)[17]) {
  UINTN length = 0;
  for (UINTN i = 0; i < sizeof(entry.name) && entry.name[i] != 0; ++i) {
    CHAR8 character = entry.name[i];
    name[i] = character < 0x20 || character > 0x7E ? '?' : character;
    length = character != ' ' ? i + 1 : length;
  }
  name[length] = 0;
}

// --- Records ---

static UINT64 countRecords(const Model &model, const Set &set) {
  UINT64 count = 0;
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    count += set.pds[i].disk != noIndex ? recordCapacity(model.disks[set.pds[i].disk].copy) : 0;
  }
  return count;
}

// Fills keys with the records of all disks that are there, sorted; returns their number.
static UINTN collectRecords(const Model &model, const Set &set, RecordKey *keys) {
  UINTN count = 0;
  for (UINT32 i = 0; i < set.pdCount; ++i) {
    if (set.pds[i].disk == noIndex) {
      continue;
    }
    const Copy &copy = model.disks[set.pds[i].disk].copy;
    UINT32 slots = recordCapacity(copy);
    for (UINT32 at = 0; at < slots; ++at) {
      Record *record = recordAt(copy, at);
      if (record->signature == recordSignature) {
        keys[count] = {&copy, record, record->secondaryCount > 1 ? record->secondaryElement : 0U, count};
        ++count;
      }
    }
  }
  sortArray(keys, count, isBefore);
  return count;
}

static const CHAR8 *recordFault(const RecordKey &key) {
  const Record &record = *key.record;
  UINT32 spans = record.secondaryCount;
  if (record.elements == 0 || record.elements > key.copy->header.maxElements || spans == 0 ||
      (spans > 1 && record.secondaryElement >= spans)) {
    return "record with impossible counts";
  }
  if (spans * record.elements > mostMembers) {
    return "record with too many members";
  }
  if (record.memberBlocks == 0 || record.memberBlocks > mostBlocks) {
    return "record with an impossible size";
  }
  if (record.strip != noStrip && record.strip > mostStripShift) {
    return "record with an impossible strip size";
  }
  return nullptr;
}

// Whether two records describe spans of one virtual disk: the eight bytes that begin with the member count, but for the
// span's number, and the size.
static bool isSibling(const Record &a, const Record &b) {
  return a.elements == b.elements && a.strip == b.strip && a.level == b.level && a.qualifier == b.qualifier &&
         a.secondaryCount == b.secondaryCount && a.secondaryLevel == b.secondaryLevel &&
         a.memberBlocks == b.memberBlocks;
}

// Whether two records of a span put it in the same places. Of two that do not, the newer one counts.
static bool isSamePlace(const RecordKey &a, const RecordKey &b) {
  UINT32 count = a.record->elements;
  return isSibling(*a.record, *b.record) &&
         __builtin_memcmp(referencesOf(a.record), referencesOf(b.record), sizeof(U32) * count) == 0 &&
         __builtin_memcmp(startsOf(*a.copy, a.record), startsOf(*b.copy, b.record), sizeof(U64) * count) == 0;
}

// keys are the records of one virtual disk: whether two of one age say different things.
static bool contradict(const RecordKey *keys, UINTN count) {
  UINTN first = 0; // of its span and age
  for (UINTN i = 1; i < count; ++i) {
    bool isEqual = keys[i].position == keys[first].position && keys[i].record->sequence == keys[first].record->sequence;
    first = isEqual ? first : i;
    bool isJudged = isEqual && recordFault(keys[first]) == nullptr && recordFault(keys[i]) == nullptr;
    if (isJudged && !isSamePlace(keys[first], keys[i])) {
      return true;
    }
  }
  return false;
}

// --- Members ---

static MemberState memberState(const Set &set, const Member &member, UINT64 blocks) {
  if (member.pd == noIndex) {
    return MemberState::unknown;
  }
  const Pd &pd = set.pds[member.pd];
  UINT32 state = pd.entry->state;
  if (pd.disk == noIndex) {
    return MemberState::missing;
  }
  if ((state & pdOnline) == 0 || (state & (pdFailed | pdMissing)) != 0) {
    return MemberState::failed;
  }
  if (!fits(member.start, blocks, pd.limit)) {
    return MemberState::outside;
  }
  return (state & pdRebuilding) != 0 ? MemberState::rebuilding : MemberState::good;
}

// Writers that lost their way enter a disk twice.
static bool isRepeated(const SetIndex &index, UINT32 pd, UINT32 number) {
  if (pd == noIndex) {
    return false;
  }
  bool repeated = index.lastVirtualDisks[pd] == number;
  index.lastVirtualDisks[pd] = number;
  return repeated;
}

static void readSpan(const Set &set, const SetIndex &index, const RecordKey &key, UINT32 number, Member *members) {
  const U32 *references = referencesOf(key.record);
  const U64 *starts = startsOf(*key.copy, key.record);
  for (UINT32 i = 0; i < key.record->elements; ++i) {
    Member &member = members[i];
    member.reference = references[i];
    member.start = starts[i];
    member.pd = findReference(set, index, member.reference);
    member.state = memberState(set, member, key.record->memberBlocks);
    if (isRepeated(index, member.pd, number)) {
      member.state = MemberState::repeated;
    }
  }
}

// keys are the records of this virtual disk. Spans without a record have unknown members.
static bool readMembers(const Set &set, const SetIndex &index, const RecordKey *keys, UINTN count,
                        VirtualDisk *virtualDisk) {
  const Record &record = *virtualDisk->record;
  UINT32 number = static_cast<UINT32>(virtualDisk - set.virtualDisks) + 1;
  virtualDisk->spans = record.secondaryCount;
  virtualDisk->spanMembers = record.elements;
  UINT32 members = virtualDisk->spans * virtualDisk->spanMembers;
  virtualDisk->members = poolNew<Member>(members);
  virtualDisk->records = poolNew<const Record *>(virtualDisk->spans);
  if (virtualDisk->members == nullptr || virtualDisk->records == nullptr) {
    return false;
  }
  virtualDisk->memberCount = members;
  for (UINT32 i = 0; i < members; ++i) {
    virtualDisk->members[i] = {noIndex, noReference, 0, MemberState::unknown};
  }
  for (UINTN i = 0; i < count; ++i) {
    bool newest = i == 0 || keys[i].position != keys[i - 1].position;
    if (newest && recordFault(keys[i]) == nullptr && isSibling(*keys[i].record, record)) {
      virtualDisk->records[keys[i].position] = keys[i].record;
      readSpan(set, index, keys[i], number, virtualDisk->members + UINTN{keys[i].position} * virtualDisk->spanMembers);
    } else if (newest && keys[i].record->sequence >= record.sequence) {
      virtualDisk->unread = true;
    }
  }
  return true;
}

static bool readVirtualDisk(const Set &set, const SetIndex &index, const RecordKey *keys, UINTN count,
                            VirtualDisk *virtualDisk) {
  readName(*virtualDisk->entry, virtualDisk->name);
  virtualDisk->state = vdFailed;
  UINTN from = countBefore(
      keys, count, [&](const RecordKey &key) { return compareGuids(key.record->guid, virtualDisk->entry->guid) < 0; });
  UINTN end = from;
  while (end < count && sameGuid(keys[end].record->guid, virtualDisk->entry->guid)) {
    ++end;
  }
  if (from == end) {
    virtualDisk->fault = {"no disk has its record", nullptr};
    return true;
  }
  virtualDisk->record = keys[from].record;
  const CHAR8 *fault = recordFault(keys[from]);
  fault = fault == nullptr && contradict(keys + from, end - from) ? "records that contradict each other" : fault;
  virtualDisk->fault = {fault, nullptr};
  if (virtualDisk->fault.what != nullptr) {
    return true;
  }
  if (!readMembers(set, index, keys + from, end - from, virtualDisk)) {
    return false;
  }
  judgeVirtualDisk(virtualDisk);
  return true;
}

// --- All virtual disks ---

// A disk that was away while a virtual disk was deleted still has its record. A new virtual disk has its entry on all
// disks before any has its record.
static bool readAll(const Copy &newest, Set *set, const SetIndex &index, const RecordKey *keys, UINTN count) {
  set->sound = true;
  for (UINT32 i = 0; i < set->virtualDiskCount; ++i) {
    VirtualDisk *virtualDisk = &set->virtualDisks[i];
    if (findVirtualDisk(*set, index, virtualDisk->entry->guid) != i) {
      readName(*virtualDisk->entry, virtualDisk->name);
      virtualDisk->state = vdFailed;
      virtualDisk->fault = {"another entry has its identity", nullptr};
      set->sound = false;
    } else if (!readVirtualDisk(*set, index, keys, count, virtualDisk)) {
      return false;
    }
    set->sound =
        set->sound && (virtualDisk->record == nullptr || virtualDisk->fault.what == nullptr) && !virtualDisk->unread;
  }
  for (UINTN i = 0; i < count; ++i) {
    bool isKnown = findVirtualDisk(*set, index, keys[i].record->guid) != noIndex;
    set->orphans += isKnown || isDeleted(newest, keys[i].record->guid) ? 0 : 1;
  }
  set->sound = set->sound && set->orphans == 0;
  return true;
}

bool listVirtualDisks(const Model &model, Set *set, SetIndex *index) {
  return collectVirtualDisks(model.disks[set->newest].copy, set) && indexVirtualDisks(*set, index);
}

bool readVirtualDisks(const Model &model, Set *set, const SetIndex &index) {
  RecordKey *keys = poolNew<RecordKey>(countRecords(model, *set) + 1);
  if (keys == nullptr) {
    return false;
  }
  bool done = readAll(model.disks[set->newest].copy, set, index, keys, collectRecords(model, *set, keys));
  poolFree(keys);
  return done;
}

} // namespace xyl::ddf
