#include "providers/sim_controller/buffers.h"

#include "providers/sim_controller/state.h"
#include "records/pointers.h"

namespace xyl::sim {

template <UINT32 count> struct BufferTable { Buffer rows[count]; };

#define BUFFER(record, object, member)                                                                                 \
  { offsetof(record, member), offsetof(object, member), true }
#define LIST_BUFFER(record, object, member)                                                                            \
  { offsetof(record, member), offsetof(object, member), false }

static consteval BufferTable<4 + RAID_RATE_COUNT> adapterBuffers() {
  BufferTable<4 + RAID_RATE_COUNT> table = {{
      BUFFER(RAID_ADAPTER_RECORD, Adapter, Name),
      BUFFER(RAID_ADAPTER_RECORD, Adapter, FQDD),
      BUFFER(RAID_ADAPTER_RECORD, Adapter, FirmwareVersion),
      LIST_BUFFER(RAID_ADAPTER_RECORD, Adapter, RAIDLevelParams),
  }};
  for (UINT16 i = 0; i < RAID_RATE_COUNT; ++i) {
    table.rows[4 + i] = {records::g_adapterPointers.rows[4 + i].offset,
                         static_cast<UINT16>(offsetof(Adapter, Rates) + i * sizeof(RateName)), true};
  }
  return table;
}

static constexpr auto g_adapterBuffers = adapterBuffers();
static constexpr BufferTable<2> g_enclosureBuffers = {{
    BUFFER(RAID_ENCLOSURE_RECORD, Enclosure, Name),
    BUFFER(RAID_ENCLOSURE_RECORD, Enclosure, FQDD),
}};
static constexpr BufferTable<3> g_diskBuffers = {{
    BUFFER(RAID_PD_RECORD, Disk, Name),
    BUFFER(RAID_PD_RECORD, Disk, FQDD),
    LIST_BUFFER(RAID_PD_RECORD, Disk, VDs),
}};
static constexpr BufferTable<3> g_virtualDiskBuffers = {{
    BUFFER(RAID_VD_RECORD, VirtualDisk, Name),
    BUFFER(RAID_VD_RECORD, VirtualDisk, FQDD),
    LIST_BUFFER(RAID_VD_RECORD, VirtualDisk, PDs),
}};

// Every pointer of the record has its buffer.
template <UINT32 count>
static consteval bool match(const BufferTable<count> &buffers, const records::RecordPointerTable<count> &pointers) {
  for (UINT32 i = 0; i < count; ++i) {
    if (buffers.rows[i].pointer != pointers.rows[i].offset ||
        buffers.rows[i].isText != (pointers.rows[i].kind == records::RecordPointerKind::text)) {
      return false;
    }
  }
  return true;
}
static_assert(match(g_adapterBuffers, records::g_adapterPointers) &&
              match(g_enclosureBuffers, records::g_enclosurePointers));
static_assert(match(g_diskBuffers, records::g_pdPointers) && match(g_virtualDiskBuffers, records::g_vdPointers));

template <UINT32 count> static Buffers rowsOf(const BufferTable<count> &table) {
  return {table.rows, count};
}

Buffers buffersOf(UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return rowsOf(g_adapterBuffers);
  case RAID_OBJECT_ENCLOSURE:
    return rowsOf(g_enclosureBuffers);
  case RAID_OBJECT_PHYSICAL_DISK:
    return rowsOf(g_diskBuffers);
  case RAID_OBJECT_VIRTUAL_DISK:
    return rowsOf(g_virtualDiskBuffers);
  default:
    return {nullptr, 0};
  }
}

void *bufferOf(UINT32 objectType, void *object, UINTN pointer) {
  Buffers list = buffersOf(objectType);
  for (UINT32 i = 0; i < list.count; ++i) {
    if (list.rows[i].pointer == pointer) {
      return static_cast<UINT8 *>(object) + list.rows[i].buffer;
    }
  }
  return nullptr;
}

} // namespace xyl::sim
