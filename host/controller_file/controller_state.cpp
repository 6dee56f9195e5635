#include "host/controller_file/controller_state.h"

#include "host/common/common.h"
#include "providers/sim_controller/buffers.h"

namespace xyl::host {

static constexpr UINT64 objectsLimit = 100000;

// A record or a part of one: where it is, and where in the record of which object of the state.
struct RecordPart {
  UINT32 objectType;
  void *object;
  UINT8 *start;
  UINTN offset;

  RecordPart inside(UINTN at) const { return {objectType, object, start + at, offset + at}; }
  void *buffer(const driver::FieldRow &row) const {
    return sim::bufferOf(objectType, object, offset + row.place.offset);
  }
};

// What the controller itself fills in.
static bool isAnswered(const RecordPart &part, const driver::FieldRow &row) {
  UINTN offset = part.offset + row.place.offset;
  return offset == offsetof(RAID_RECORD_HEADER, ObjectType) ||
         (part.objectType == RAID_OBJECT_PHYSICAL_DISK && offset == offsetof(RAID_PD_RECORD, FreeSize));
}

static UINT64 limitOf(const driver::FieldRow &row) {
  UINT64 limit = row.place.width >= sizeof(UINT64) ? ~0ULL : (1ULL << row.place.width * 8) - 1;
  return (row.mask == 0 ? limit : limit & row.mask) >> row.shift;
}

static void setValue(const RecordPart &part, const driver::FieldRow &row, UINT64 value) {
  UINT64 mask = row.mask == 0 ? ~0ULL : row.mask;
  UINT64 kept = driver::fieldLoad(part.start, row.place) & ~mask;
  driver::fieldStore(part.start, row.place, kept | (value << row.shift & mask));
}

static void visitTable(StateVisitor &v, const RecordPart &part, const driver::FieldTable &table);

// A value that the row holds in its bits of the field.
static void visitValue(StateVisitor &v, const RecordPart &part, const driver::FieldRow &row) {
  UINT64 value = driver::fieldValue(part.start, row);
  bool isSet = value != 0;
  switch (row.format) {
  case driver::FieldFormat::hex:
    v.hex(row.element, value, row.length);
    break;
  case driver::FieldFormat::boolean:
  case driver::FieldFormat::mark:
    v.flag(row.element, isSet);
    value = isSet ? limitOf(row) : 0;
    break;
  case driver::FieldFormat::name:
    if ((row.flags & driver::fieldMode) != 0) {
      isSet = (driver::fieldLoad(part.start, row.place) & RAID_MODE_PRESENT) != 0;
      v.namedOrNone(row.element, isSet, value, row.names, limitOf(row));
      UINT64 bits = driver::fieldLoad(part.start, row.place) & ~static_cast<UINT64>(RAID_MODE_PRESENT);
      driver::fieldStore(part.start, row.place, isSet ? bits | RAID_MODE_PRESENT : bits);
    } else {
      v.named(row.element, value, row.names, limitOf(row));
    }
    break;
  case driver::FieldFormat::mask:
    v.mask(row.element, value, {&row, 1}, limitOf(row));
    break;
  case driver::FieldFormat::cachePolicy:
    v.mask(row.element, value, driver::g_cachePolicyGroups, limitOf(row));
    break;
  default:
    v.number(row.element, value, limitOf(row));
  }
  setValue(part, row, value);
}

// A list in a buffer beside the record; count is kept in the record.
static void visitIds(StateVisitor &v, const RecordPart &part, const driver::FieldRow &row) {
  UINT64 count = driver::fieldLoad(part.start, row.count);
  UINT64 limit = part.objectType == RAID_OBJECT_PHYSICAL_DISK ? sim::diskVds : sim::vdPds;
  v.numbers(row.element, static_cast<UINT32 *>(part.buffer(row)), count, limit);
  driver::fieldStore(part.start, row.count, count);
}

static void visitLevels(StateVisitor &v, const RecordPart &part, const driver::FieldRow &row) {
  sim::Adapter *adapter = static_cast<sim::Adapter *>(part.object);
  UINT64 count = adapter->levelCount;
  v.list(row.element, count, sim::levelCapacity, [&](StateVisitor &inner, size_t index) {
    UINT8 *level = reinterpret_cast<UINT8 *>(&adapter->RAIDLevelParams[index]);
    visitTable(inner, {part.objectType, adapter, level, sizeof(RAID_ADAPTER_RECORD)}, driver::g_levelDescFields);
  });
  adapter->levelCount = static_cast<UINT32>(count);
}

static void visitRates(StateVisitor &v, const RecordPart &part, const driver::FieldRow &row) {
  UINT64 count = RAID_RATE_COUNT;
  v.list(row.element, count, RAID_RATE_COUNT, [&](StateVisitor &inner, size_t index) {
    visitTable(inner, part.inside(row.place.offset + index * sizeof(RAID_RATE)), driver::g_rateFields);
  });
}

static void visitField(StateVisitor &v, const RecordPart &part, const driver::FieldRow &row) {
  switch (row.format) {
  case driver::FieldFormat::decimal:
  case driver::FieldFormat::hex:
  case driver::FieldFormat::name:
  case driver::FieldFormat::boolean:
  case driver::FieldFormat::mark:
  case driver::FieldFormat::mask:
  case driver::FieldFormat::cachePolicy:
    return visitValue(v, part, row);
  case driver::FieldFormat::wideText:
    return v.text(row.element, static_cast<CHAR16 *>(part.buffer(row)), sim::textUnits);
  case driver::FieldFormat::fixedText:
    return v.fixed(row.element, reinterpret_cast<CHAR8 *>(part.start + row.place.offset), row.place.width);
  case driver::FieldFormat::pciIdentity:
    return v.object(row.element, [&](StateVisitor &inner) {
      visitTable(inner, part.inside(row.place.offset), driver::g_pciIdentityFields);
      visitTable(inner, part.inside(row.place.offset), driver::g_pciLocationFields);
    });
  case driver::FieldFormat::rates:
    return visitRates(v, part, row);
  case driver::FieldFormat::raidLevelDesc:
    return v.object(row.element, [&](StateVisitor &inner) {
      visitTable(inner, part.inside(row.place.offset), driver::g_levelDescFields);
    });
  case driver::FieldFormat::raidLevelParams:
    return visitLevels(v, part, row);
  case driver::FieldFormat::idList:
    return visitIds(v, part, row);
  case driver::FieldFormat::enclosure:
  case driver::FieldFormat::physicalDisk:
  case driver::FieldFormat::virtualDisk:
  case driver::FieldFormat::keyId:
    return; // lists of their own, and the key
  }
}

static void visitTable(StateVisitor &v, const RecordPart &part, const driver::FieldTable &table) {
  for (UINT32 i = 0; i < table.rowCount; ++i) {
    const driver::FieldRow &row = table.rows[i];
    // A row that is only read repeats one that is written.
    if ((row.flags & driver::fieldReadOnly) == 0 && !isAnswered(part, row)) {
      visitField(v, part, row);
    }
  }
}

template <class Object>
static void visitRecord(StateVisitor &v, UINT32 objectType, Object &object, const driver::FieldTable &table) {
  RecordPart whole = {objectType, &object, reinterpret_cast<UINT8 *>(&object.record), 0};
  visitTable(v, whole, driver::g_headerFields);
  visitTable(v, whole, table);
}

static void visit(StateVisitor &v, sim::Enclosure &enclosure) {
  visitRecord(v, RAID_OBJECT_ENCLOSURE, enclosure, driver::g_enclosureFields);
}

static void visit(StateVisitor &v, sim::Disk &disk) {
  visitRecord(v, RAID_OBJECT_PHYSICAL_DISK, disk, driver::g_pdFields);
}

static void visit(StateVisitor &v, sim::VirtualDisk &virtualDisk) {
  visitRecord(v, RAID_OBJECT_VIRTUAL_DISK, virtualDisk, driver::g_vdFields);
  v.number("memberSize", virtualDisk.memberSize, ~0ULL);
}

template <class T> static StateVisitor::Items itemsOf(PoolArray<T> &array) {
  return [&array](StateVisitor &v, size_t index) {
    if (index == array.count && arrayAppend(array) == nullptr) {
      throw ClientError(EFI_OUT_OF_RESOURCES, "there is no memory for the controller");
    }
    visit(v, array.items[index]);
  };
}

template <class T> static void visitArray(StateVisitor &v, const char *name, PoolArray<T> &array) {
  UINT64 count = array.count;
  v.list(name, count, objectsLimit, itemsOf(array));
}

// --- What no record tells ---

static void visitKey(StateVisitor &v, sim::Key &key) {
  UINT64 mode = key.mode;
  v.flag("present", key.present);
  v.text("keyId", key.keyId, sizeof(key.keyId));
  v.bytes("passphrase", key.passphrase, sizeof(key.passphrase));
  v.number("mode", mode, 0xFFFF);
  key.mode = static_cast<UINT16>(mode);
}

static constexpr driver::VALUE_NAME_TABLE g_faultKinds[] = {
    {"fails with status", sim::faultStatus},
    {"answers nothing", sim::faultNoData},
    {"answers nothing of a size", sim::faultNullData},
    {"answers with a size", sim::faultSize},
    {"answers more", sim::faultExtra},
    {nullptr, 0},
};

static void visitFault(StateVisitor &v, sim::Fault &fault) {
  UINT64 kind = fault.kind;
  UINT64 bytes = fault.bytes;
  v.named("kind", kind, g_faultKinds, 0xFFFFFFFF);
  v.numberOrAny("command", fault.command, driver::g_commandTable);
  v.numberOrAny("objectType", fault.objectType, driver::g_objectTypeTable);
  v.number("nth", fault.nth, ~0ULL);
  v.flag("once", fault.once);
  v.status("status", fault.status);
  v.number("bytes", bytes, 0xFFFFFFFF);
  fault.kind = static_cast<sim::FaultKind>(kind);
  fault.bytes = static_cast<UINT32>(bytes);
}

static void visitNumber(StateVisitor &v, const char *name, UINT32 &member) {
  UINT64 value = member;
  v.number(name, value, 0xFFFFFFFF);
  member = static_cast<UINT32>(value);
}

void visitController(StateVisitor &v, sim::Controller &sim) {
  v.object("adapter",
           [&](StateVisitor &inner) { visitRecord(inner, RAID_OBJECT_ADAPTER, sim.adapter, driver::g_adapterFields); });
  visitArray(v, "enclosures", sim.enclosures);
  visitArray(v, "disks", sim.disks);
  visitArray(v, "virtualDisks", sim.virtualDisks);
  visitArray(v, "foreignVirtualDisks", sim.foreignDisks);
  visitArray(v, "pulledDisks", sim.pulledDisks);
  UINT64 faults = sim.faultCount;
  v.list("pendingFaults", faults, sim::faultCapacity,
         [&](StateVisitor &inner, size_t index) { visitFault(inner, sim.faults[index]); });
  sim.faultCount = static_cast<UINT32>(faults);
  v.object("key", [&](StateVisitor &inner) { visitKey(inner, sim.key); });
  visitNumber(v, "nextDiskId", sim.nextDiskId);
  visitNumber(v, "firstVirtualDiskId", sim.firstVirtualDiskId);
}

} // namespace xyl::host
