#include "host/controller_file/controller_state.h"

#include "host/common/common.h"
#include "providers/sim_controller/buffers.h"

static constexpr UINT64 OBJECTS_LIMIT = 100000;

// A record or a part of one: where it is, and where in the record of which object of the state.
struct RECORD_PART {
  UINT32 objectType;
  void *object;
  UINT8 *start;
  UINTN offset;

  RECORD_PART inside(UINTN at) const { return {objectType, object, start + at, offset + at}; }
  void *buffer(const FIELD_ROW &row) const { return sim::bufferOf(objectType, object, offset + row.Place.Offset); }
};

// What the controller itself fills in.
static bool isAnswered(const RECORD_PART &part, const FIELD_ROW &row) {
  UINTN offset = part.offset + row.Place.Offset;
  return offset == offsetof(RAID_RECORD_HEADER, ObjectType) ||
         (part.objectType == RAID_OBJECT_PHYSICAL_DISK && offset == offsetof(RAID_PD_RECORD, FreeSize));
}

static UINT64 limitOf(const FIELD_ROW &row) {
  UINT64 limit = row.Place.Width >= sizeof(UINT64) ? ~0ULL : (1ULL << row.Place.Width * 8) - 1;
  return (row.Mask == 0 ? limit : limit & row.Mask) >> row.Shift;
}

static void setValue(const RECORD_PART &part, const FIELD_ROW &row, UINT64 value) {
  UINT64 mask = row.Mask == 0 ? ~0ULL : row.Mask;
  UINT64 kept = fieldLoad(part.start, row.Place) & ~mask;
  fieldStore(part.start, row.Place, kept | (value << row.Shift & mask));
}

static void visitTable(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_TABLE &table);

// A value that the row holds in its bits of the field.
static void visitValue(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_ROW &row) {
  UINT64 value = fieldValue(part.start, row);
  bool isSet = value != 0;
  switch (row.Format) {
  case FORMAT_HEX:
    v.hex(row.Element, value, row.Length);
    break;
  case FORMAT_BOOLEAN:
  case FORMAT_MARK:
    v.flag(row.Element, isSet);
    value = isSet ? limitOf(row) : 0;
    break;
  case FORMAT_NAME:
    if ((row.Flags & FIELD_MODE) != 0) {
      isSet = (fieldLoad(part.start, row.Place) & RAID_MODE_PRESENT) != 0;
      v.namedOrNone(row.Element, isSet, value, row.Names, limitOf(row));
      UINT64 bits = fieldLoad(part.start, row.Place) & ~static_cast<UINT64>(RAID_MODE_PRESENT);
      fieldStore(part.start, row.Place, isSet ? bits | RAID_MODE_PRESENT : bits);
    } else {
      v.named(row.Element, value, row.Names, limitOf(row));
    }
    break;
  case FORMAT_MASK:
    v.mask(row.Element, value, {&row, 1}, limitOf(row));
    break;
  case FORMAT_CACHE_POLICY:
    v.mask(row.Element, value, g_cachePolicyGroups, limitOf(row));
    break;
  default:
    v.number(row.Element, value, limitOf(row));
  }
  setValue(part, row, value);
}

// A list in a buffer beside the record; count is kept in the record.
static void visitIds(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_ROW &row) {
  UINT64 count = fieldLoad(part.start, row.Count);
  UINT64 limit = part.objectType == RAID_OBJECT_PHYSICAL_DISK ? sim::diskVds : sim::vdPds;
  v.numbers(row.Element, static_cast<UINT32 *>(part.buffer(row)), count, limit);
  fieldStore(part.start, row.Count, count);
}

static void visitLevels(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_ROW &row) {
  sim::Adapter *adapter = static_cast<sim::Adapter *>(part.object);
  UINT64 count = adapter->levelCount;
  v.list(row.Element, count, sim::levelCapacity, [&](STATE_VISITOR &inner, size_t index) {
    UINT8 *level = reinterpret_cast<UINT8 *>(&adapter->RAIDLevelParams[index]);
    visitTable(inner, {part.objectType, adapter, level, sizeof(RAID_ADAPTER_RECORD)}, g_levelDescFields);
  });
  adapter->levelCount = static_cast<UINT32>(count);
}

static void visitRates(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_ROW &row) {
  UINT64 count = RAID_RATE_COUNT;
  v.list(row.Element, count, RAID_RATE_COUNT, [&](STATE_VISITOR &inner, size_t index) {
    visitTable(inner, part.inside(row.Place.Offset + index * sizeof(RAID_RATE)), g_rateFields);
  });
}

static void visitField(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_ROW &row) {
  switch (row.Format) {
  case FORMAT_DECIMAL:
  case FORMAT_HEX:
  case FORMAT_NAME:
  case FORMAT_BOOLEAN:
  case FORMAT_MARK:
  case FORMAT_MASK:
  case FORMAT_CACHE_POLICY:
    return visitValue(v, part, row);
  case FORMAT_WIDE_TEXT:
    return v.text(row.Element, static_cast<CHAR16 *>(part.buffer(row)), sim::textUnits);
  case FORMAT_FIXED_TEXT:
    return v.fixed(row.Element, reinterpret_cast<CHAR8 *>(part.start + row.Place.Offset), row.Place.Width);
  case FORMAT_PCI_IDENTITY:
    return v.object(row.Element, [&](STATE_VISITOR &inner) {
      visitTable(inner, part.inside(row.Place.Offset), g_pciIdentityFields);
      visitTable(inner, part.inside(row.Place.Offset), g_pciLocationFields);
    });
  case FORMAT_RATES:
    return visitRates(v, part, row);
  case FORMAT_RAID_LEVEL_DESC:
    return v.object(row.Element,
                    [&](STATE_VISITOR &inner) { visitTable(inner, part.inside(row.Place.Offset), g_levelDescFields); });
  case FORMAT_RAID_LEVEL_PARAMS:
    return visitLevels(v, part, row);
  case FORMAT_ID_LIST:
    return visitIds(v, part, row);
  case FORMAT_ENCLOSURE:
  case FORMAT_PHYSICAL_DISK:
  case FORMAT_VIRTUAL_DISK:
  case FORMAT_KEY_ID:
    return; // lists of their own, and the key
  }
}

static void visitTable(STATE_VISITOR &v, const RECORD_PART &part, const FIELD_TABLE &table) {
  for (UINT32 i = 0; i < table.RowCount; ++i) {
    const FIELD_ROW &row = table.Rows[i];
    // A row that is only read repeats one that is written.
    if ((row.Flags & FIELD_READ_ONLY) == 0 && !isAnswered(part, row)) {
      visitField(v, part, row);
    }
  }
}

template <class OBJECT>
static void visitRecord(STATE_VISITOR &v, UINT32 objectType, OBJECT &object, const FIELD_TABLE &table) {
  RECORD_PART whole = {objectType, &object, reinterpret_cast<UINT8 *>(&object.record), 0};
  visitTable(v, whole, g_headerFields);
  visitTable(v, whole, table);
}

static void visit(STATE_VISITOR &v, sim::Enclosure &enclosure) {
  visitRecord(v, RAID_OBJECT_ENCLOSURE, enclosure, g_enclosureFields);
}

static void visit(STATE_VISITOR &v, sim::Disk &disk) {
  visitRecord(v, RAID_OBJECT_PHYSICAL_DISK, disk, g_pdFields);
}

static void visit(STATE_VISITOR &v, sim::VirtualDisk &virtualDisk) {
  visitRecord(v, RAID_OBJECT_VIRTUAL_DISK, virtualDisk, g_vdFields);
  v.number("memberSize", virtualDisk.memberSize, ~0ULL);
}

template <class T> static STATE_VISITOR::ITEMS itemsOf(POOL_ARRAY<T> &array) {
  return [&array](STATE_VISITOR &v, size_t index) {
    if (index == array.count && arrayAppend(array) == nullptr) {
      throw CLIENT_ERROR(EFI_OUT_OF_RESOURCES, "there is no memory for the controller");
    }
    visit(v, array.items[index]);
  };
}

template <class T> static void visitArray(STATE_VISITOR &v, const char *name, POOL_ARRAY<T> &array) {
  UINT64 count = array.count;
  v.list(name, count, OBJECTS_LIMIT, itemsOf(array));
}

// --- What no record tells ---

static void visitKey(STATE_VISITOR &v, sim::Key &key) {
  UINT64 mode = key.mode;
  v.flag("present", key.present);
  v.text("keyId", key.keyId, sizeof(key.keyId));
  v.bytes("passphrase", key.passphrase, sizeof(key.passphrase));
  v.number("mode", mode, 0xFFFF);
  key.mode = static_cast<UINT16>(mode);
}

static constexpr VALUE_NAME_TABLE g_faultKinds[] = {
    {"fails with status", sim::faultStatus},
    {"answers nothing", sim::faultNoData},
    {"answers nothing of a size", sim::faultNullData},
    {"answers with a size", sim::faultSize},
    {"answers more", sim::faultExtra},
    {nullptr, 0},
};

static void visitFault(STATE_VISITOR &v, sim::Fault &fault) {
  UINT64 kind = fault.kind;
  UINT64 bytes = fault.bytes;
  v.named("kind", kind, g_faultKinds, 0xFFFFFFFF);
  v.numberOrAny("command", fault.command, g_commandTable);
  v.numberOrAny("objectType", fault.objectType, g_objectTypeTable);
  v.number("nth", fault.nth, ~0ULL);
  v.flag("once", fault.once);
  v.status("status", fault.status);
  v.number("bytes", bytes, 0xFFFFFFFF);
  fault.kind = static_cast<sim::FaultKind>(kind);
  fault.bytes = static_cast<UINT32>(bytes);
}

static void visitNumber(STATE_VISITOR &v, const char *name, UINT32 &member) {
  UINT64 value = member;
  v.number(name, value, 0xFFFFFFFF);
  member = static_cast<UINT32>(value);
}

void visitController(STATE_VISITOR &v, sim::Controller &sim) {
  v.object("adapter",
           [&](STATE_VISITOR &inner) { visitRecord(inner, RAID_OBJECT_ADAPTER, sim.adapter, g_adapterFields); });
  visitArray(v, "enclosures", sim.enclosures);
  visitArray(v, "disks", sim.disks);
  visitArray(v, "virtualDisks", sim.virtualDisks);
  visitArray(v, "foreignVirtualDisks", sim.foreignDisks);
  visitArray(v, "pulledDisks", sim.pulledDisks);
  UINT64 faults = sim.faultCount;
  v.list("pendingFaults", faults, sim::faultCapacity,
         [&](STATE_VISITOR &inner, size_t index) { visitFault(inner, sim.faults[index]); });
  sim.faultCount = static_cast<UINT32>(faults);
  v.object("key", [&](STATE_VISITOR &inner) { visitKey(inner, sim.key); });
  visitNumber(v, "nextDiskId", sim.nextDiskId);
  visitNumber(v, "firstVirtualDiskId", sim.firstVirtualDiskId);
}
