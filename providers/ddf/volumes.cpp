// The virtual disks of a set: entries from the set's list, each with the newest record that a disk has for each of its
// spans.

#include "providers/ddf/set_stages.h"

constexpr UINT32 MOST_MEMBERS = 256;            // of a virtual disk
constexpr UINT64 MOST_BLOCKS = UINT64{1} << 48; // of a member
constexpr UINT32 MOST_STRIP_SHIFT = 22;         // 2 GiB

// A record on a disk of the set. position is its span, 0 unless there are several.
struct RECORD_KEY {
  const DDF_COPY *copy;
  DDF_RECORD *record;
  UINT32 position;
  UINTN order; // in which it was found
};

static bool isBefore(const RECORD_KEY &a, const RECORD_KEY &b) {
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

static bool collectVirtualDisks(const DDF_COPY &copy, DDF_SET *set) {
  UINT32 capacity = ddfVdCapacity(copy);
  for (UINT32 at = 0; at < capacity; at++) {
    set->virtualDiskCount += ddfIsFree(ddfVdEntry(copy, at)->guid) ? 0 : 1;
  }
  set->virtualDisks = poolNew<DDF_VIRTUAL_DISK>(set->virtualDiskCount + UINTN{1});
  if (set->virtualDisks == nullptr) {
    return false;
  }
  DDF_VIRTUAL_DISK *virtualDisk = set->virtualDisks;
  for (UINT32 at = 0; at < capacity; at++) {
    const DDF_VD_ENTRY *entry = ddfVdEntry(copy, at);
    if (!ddfIsFree(entry->guid)) {
      (virtualDisk++)->entry = entry;
    }
  }
  return true;
}

static void readName(const DDF_VD_ENTRY &entry, CHAR8 (&name)[17]) {
  UINTN length = 0;
  for (UINTN i = 0; i < sizeof(entry.name) && entry.name[i] != 0; i++) {
    CHAR8 character = entry.name[i];
    name[i] = character < 0x20 || character > 0x7E ? '?' : character;
    length = character != ' ' ? i + 1 : length;
  }
  name[length] = 0;
}

// --- Records ---

static UINT64 countRecords(const DDF_MODEL &model, const DDF_SET &set) {
  UINT64 count = 0;
  for (UINT32 i = 0; i < set.pdCount; i++) {
    count += set.pds[i].disk != DDF_NONE ? ddfRecordCapacity(model.disks[set.pds[i].disk].copy) : 0;
  }
  return count;
}

// Fills keys with the records of all disks that are there, sorted; returns their number.
static UINTN collectRecords(const DDF_MODEL &model, const DDF_SET &set, RECORD_KEY *keys) {
  UINTN count = 0;
  for (UINT32 i = 0; i < set.pdCount; i++) {
    if (set.pds[i].disk == DDF_NONE) {
      continue;
    }
    const DDF_COPY &copy = model.disks[set.pds[i].disk].copy;
    UINT32 slots = ddfRecordCapacity(copy);
    for (UINT32 at = 0; at < slots; at++) {
      DDF_RECORD *record = ddfRecordSlot(copy, at);
      if (record->signature == DDF_RECORD_SIGNATURE) {
        keys[count] = {&copy, record, record->secondaryCount > 1 ? record->secondaryElement : 0U, count};
        count++;
      }
    }
  }
  sortArray(keys, count, isBefore);
  return count;
}

static const CHAR8 *recordFault(const RECORD_KEY &key) {
  const DDF_RECORD &record = *key.record;
  UINT32 spans = record.secondaryCount;
  if (record.elements == 0 || record.elements > key.copy->header.maxElements || spans == 0 ||
      (spans > 1 && record.secondaryElement >= spans)) {
    return "record with impossible counts";
  }
  if (spans * record.elements > MOST_MEMBERS) {
    return "record with too many members";
  }
  if (record.memberBlocks == 0 || record.memberBlocks > MOST_BLOCKS) {
    return "record with an impossible size";
  }
  if (record.strip != DDF_NO_STRIP && record.strip > MOST_STRIP_SHIFT) {
    return "record with an impossible strip size";
  }
  return nullptr;
}

// Whether two records describe spans of one virtual disk: the eight bytes that begin with the member count, but for the
// span's number, and the size.
static bool isSibling(const DDF_RECORD &a, const DDF_RECORD &b) {
  return a.elements == b.elements && a.strip == b.strip && a.level == b.level && a.qualifier == b.qualifier &&
         a.secondaryCount == b.secondaryCount && a.secondaryLevel == b.secondaryLevel &&
         a.memberBlocks == b.memberBlocks;
}

// Whether two records of a span put it in the same places. Of two that do not, the newer one counts.
static bool isSamePlace(const RECORD_KEY &a, const RECORD_KEY &b) {
  UINT32 count = a.record->elements;
  return isSibling(*a.record, *b.record) &&
         __builtin_memcmp(ddfReferences(a.record), ddfReferences(b.record), sizeof(DDF_U32) * count) == 0 &&
         __builtin_memcmp(ddfStarts(*a.copy, a.record), ddfStarts(*b.copy, b.record), sizeof(DDF_U64) * count) == 0;
}

// keys are the records of one virtual disk: whether two of one age say different things.
static bool contradict(const RECORD_KEY *keys, UINTN count) {
  UINTN first = 0; // of its span and age
  for (UINTN i = 1; i < count; i++) {
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

static DDF_MEMBER_STATE memberState(const DDF_SET &set, const DDF_MEMBER &member, UINT64 blocks) {
  if (member.pd == DDF_NONE) {
    return DDF_MEMBER_UNKNOWN;
  }
  const DDF_PD &pd = set.pds[member.pd];
  UINT32 state = pd.entry->state;
  if (pd.disk == DDF_NONE) {
    return DDF_MEMBER_MISSING;
  }
  if ((state & DDF_PD_ONLINE) == 0 || (state & (DDF_PD_FAILED | DDF_PD_MISSING)) != 0) {
    return DDF_MEMBER_FAILED;
  }
  if (!fits(member.start, blocks, pd.limit)) {
    return DDF_MEMBER_OUTSIDE;
  }
  return (state & DDF_PD_REBUILDING) != 0 ? DDF_MEMBER_REBUILDING : DDF_MEMBER_GOOD;
}

// Writers that lost their way enter a disk twice.
static bool isRepeated(const SET_INDEX &index, UINT32 pd, UINT32 number) {
  if (pd == DDF_NONE) {
    return false;
  }
  bool repeated = index.lastVirtualDisks[pd] == number;
  index.lastVirtualDisks[pd] = number;
  return repeated;
}

static void readSpan(const DDF_SET &set, const SET_INDEX &index, const RECORD_KEY &key, UINT32 number,
                     DDF_MEMBER *members) {
  const DDF_U32 *references = ddfReferences(key.record);
  const DDF_U64 *starts = ddfStarts(*key.copy, key.record);
  for (UINT32 i = 0; i < key.record->elements; i++) {
    DDF_MEMBER &member = members[i];
    member.reference = references[i];
    member.start = starts[i];
    member.pd = findReference(set, index, member.reference);
    member.state = memberState(set, member, key.record->memberBlocks);
    if (isRepeated(index, member.pd, number)) {
      member.state = DDF_MEMBER_REPEATED;
    }
  }
}

// keys are the records of this virtual disk. Spans without a record have unknown members.
static bool readMembers(const DDF_SET &set, const SET_INDEX &index, const RECORD_KEY *keys, UINTN count,
                        DDF_VIRTUAL_DISK *virtualDisk) {
  const DDF_RECORD &record = *virtualDisk->record;
  UINT32 number = static_cast<UINT32>(virtualDisk - set.virtualDisks) + 1;
  virtualDisk->spans = record.secondaryCount;
  virtualDisk->spanMembers = record.elements;
  UINT32 members = virtualDisk->spans * virtualDisk->spanMembers;
  virtualDisk->members = poolNew<DDF_MEMBER>(members);
  virtualDisk->records = poolNew<const DDF_RECORD *>(virtualDisk->spans);
  if (virtualDisk->members == nullptr || virtualDisk->records == nullptr) {
    return false;
  }
  virtualDisk->memberCount = members;
  for (UINT32 i = 0; i < members; i++) {
    virtualDisk->members[i] = {DDF_NONE, DDF_NO_REFERENCE, 0, DDF_MEMBER_UNKNOWN};
  }
  for (UINTN i = 0; i < count; i++) {
    bool newest = i == 0 || keys[i].position != keys[i - 1].position;
    if (newest && recordFault(keys[i]) == nullptr && isSibling(*keys[i].record, record)) {
      virtualDisk->records[keys[i].position] = keys[i].record;
      readSpan(set, index, keys[i], number, virtualDisk->members + UINTN{keys[i].position} * virtualDisk->spanMembers);
    }
  }
  return true;
}

static bool readVirtualDisk(const DDF_SET &set, const SET_INDEX &index, const RECORD_KEY *keys, UINTN count,
                            DDF_VIRTUAL_DISK *virtualDisk) {
  readName(*virtualDisk->entry, virtualDisk->name);
  virtualDisk->state = DDF_VD_FAILED;
  UINTN from = countBefore(
      keys, count, [&](const RECORD_KEY &key) { return compareGuids(key.record->guid, virtualDisk->entry->guid) < 0; });
  UINTN end = from;
  while (end < count && ddfSameGuid(keys[end].record->guid, virtualDisk->entry->guid)) {
    end++;
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
static bool readAll(const DDF_COPY &newest, DDF_SET *set, const SET_INDEX &index, const RECORD_KEY *keys, UINTN count) {
  set->sound = true;
  for (UINT32 i = 0; i < set->virtualDiskCount; i++) {
    DDF_VIRTUAL_DISK *virtualDisk = &set->virtualDisks[i];
    if (findVirtualDisk(*set, index, virtualDisk->entry->guid) != i) {
      readName(*virtualDisk->entry, virtualDisk->name);
      virtualDisk->state = DDF_VD_FAILED;
      virtualDisk->fault = {"another entry has its identity", nullptr};
      set->sound = false;
    } else if (!readVirtualDisk(*set, index, keys, count, virtualDisk)) {
      return false;
    }
    set->sound = set->sound && (virtualDisk->record == nullptr || virtualDisk->fault.what == nullptr);
  }
  for (UINTN i = 0; i < count; i++) {
    bool isKnown = findVirtualDisk(*set, index, keys[i].record->guid) != DDF_NONE;
    set->orphans += isKnown || ddfIsDeleted(newest, keys[i].record->guid) ? 0 : 1;
  }
  set->sound = set->sound && set->orphans == 0;
  return true;
}

bool listVirtualDisks(const DDF_MODEL &model, DDF_SET *set, SET_INDEX *index) {
  return collectVirtualDisks(model.disks[set->newest].copy, set) && indexVirtualDisks(*set, index);
}

bool readVirtualDisks(const DDF_MODEL &model, DDF_SET *set, const SET_INDEX &index) {
  RECORD_KEY *keys = poolNew<RECORD_KEY>(countRecords(model, *set) + 1);
  if (keys == nullptr) {
    return false;
  }
  bool done = readAll(model.disks[set->newest].copy, set, index, keys, collectRecords(model, *set, keys));
  poolFree(keys);
  return done;
}
