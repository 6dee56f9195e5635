#include "providers/sim_controller/buffers.h"

#include "providers/sim_controller/state.h"
#include "records/pointers.h"

template <UINT32 COUNT> struct BUFFER_TABLE { SIM_BUFFER rows[COUNT]; };

#define BUFFER(record, object, member)                                                                                 \
  { offsetof(record, member), offsetof(object, member), true }
#define LIST_BUFFER(record, object, member)                                                                            \
  { offsetof(record, member), offsetof(object, member), false }

static consteval BUFFER_TABLE<4 + RAID_RATE_COUNT> adapterBuffers() {
  BUFFER_TABLE<4 + RAID_RATE_COUNT> table = {{
      BUFFER(RAID_ADAPTER_RECORD, SIM_ADAPTER, Name),
      BUFFER(RAID_ADAPTER_RECORD, SIM_ADAPTER, FQDD),
      BUFFER(RAID_ADAPTER_RECORD, SIM_ADAPTER, FirmwareVersion),
      LIST_BUFFER(RAID_ADAPTER_RECORD, SIM_ADAPTER, RAIDLevelParams),
  }};
  for (UINT16 i = 0; i < RAID_RATE_COUNT; i++) {
    table.rows[4 + i] = {g_adapterPointers.Rows[4 + i].Offset,
                         static_cast<UINT16>(offsetof(SIM_ADAPTER, Rates) + i * sizeof(SIM_RATE_NAME)), true};
  }
  return table;
}

static constexpr auto g_adapterBuffers = adapterBuffers();
static constexpr BUFFER_TABLE<2> g_enclosureBuffers = {{
    BUFFER(RAID_ENCLOSURE_RECORD, SIM_ENCLOSURE, Name),
    BUFFER(RAID_ENCLOSURE_RECORD, SIM_ENCLOSURE, FQDD),
}};
static constexpr BUFFER_TABLE<3> g_diskBuffers = {{
    BUFFER(RAID_PD_RECORD, SIM_DISK, Name),
    BUFFER(RAID_PD_RECORD, SIM_DISK, FQDD),
    LIST_BUFFER(RAID_PD_RECORD, SIM_DISK, VDs),
}};
static constexpr BUFFER_TABLE<3> g_virtualDiskBuffers = {{
    BUFFER(RAID_VD_RECORD, SIM_VIRTUAL_DISK, Name),
    BUFFER(RAID_VD_RECORD, SIM_VIRTUAL_DISK, FQDD),
    LIST_BUFFER(RAID_VD_RECORD, SIM_VIRTUAL_DISK, PDs),
}};

// Every pointer of the record has its buffer.
template <UINT32 COUNT>
static consteval bool match(const BUFFER_TABLE<COUNT> &buffers, const RECORD_POINTER_TABLE<COUNT> &pointers) {
  for (UINT32 i = 0; i < COUNT; i++) {
    if (buffers.rows[i].pointer != pointers.Rows[i].Offset ||
        buffers.rows[i].isText != (pointers.Rows[i].Kind == POINTER_TEXT)) {
      return false;
    }
  }
  return true;
}
static_assert(match(g_adapterBuffers, g_adapterPointers) && match(g_enclosureBuffers, g_enclosurePointers));
static_assert(match(g_diskBuffers, g_pdPointers) && match(g_virtualDiskBuffers, g_vdPointers));

template <UINT32 COUNT> static SIM_BUFFERS rowsOf(const BUFFER_TABLE<COUNT> &table) {
  return {table.rows, COUNT};
}

SIM_BUFFERS simBuffers(UINT32 objectType) {
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

void *simBufferOf(UINT32 objectType, void *object, UINTN pointer) {
  SIM_BUFFERS list = simBuffers(objectType);
  for (UINT32 i = 0; i < list.count; i++) {
    if (list.rows[i].pointer == pointer) {
      return static_cast<UINT8 *>(object) + list.rows[i].buffer;
    }
  }
  return nullptr;
}
