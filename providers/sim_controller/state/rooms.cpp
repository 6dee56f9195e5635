#include "providers/sim_controller/rooms.h"

#include "providers/sim_controller/state.h"
#include "records/pointers.h"

template <UINT32 COUNT> struct ROOM_TABLE { SIM_ROOM rows[COUNT]; };

#define ROOM(record, object, member)                                                                                   \
  { offsetof(record, member), offsetof(object, member), true }
#define LIST_ROOM(record, object, member)                                                                              \
  { offsetof(record, member), offsetof(object, member), false }

static consteval ROOM_TABLE<4 + RAID_RATE_COUNT> adapterRooms() {
  ROOM_TABLE<4 + RAID_RATE_COUNT> table = {{
      ROOM(RAID_ADAPTER_RECORD, SIM_ADAPTER, Name),
      ROOM(RAID_ADAPTER_RECORD, SIM_ADAPTER, FQDD),
      ROOM(RAID_ADAPTER_RECORD, SIM_ADAPTER, FirmwareVersion),
      LIST_ROOM(RAID_ADAPTER_RECORD, SIM_ADAPTER, RAIDLevelParams),
  }};
  for (UINT16 i = 0; i < RAID_RATE_COUNT; i++) {
    table.rows[4 + i] = {g_adapterPointers.Rows[4 + i].Offset,
                         static_cast<UINT16>(offsetof(SIM_ADAPTER, Rates) + i * sizeof(SIM_RATE_ROOM)), true};
  }
  return table;
}

static constexpr auto g_adapterRooms = adapterRooms();
static constexpr ROOM_TABLE<2> g_enclosureRooms = {{
    ROOM(RAID_ENCLOSURE_RECORD, SIM_ENCLOSURE, Name),
    ROOM(RAID_ENCLOSURE_RECORD, SIM_ENCLOSURE, FQDD),
}};
static constexpr ROOM_TABLE<3> g_diskRooms = {{
    ROOM(RAID_PD_RECORD, SIM_DISK, Name),
    ROOM(RAID_PD_RECORD, SIM_DISK, FQDD),
    LIST_ROOM(RAID_PD_RECORD, SIM_DISK, VDs),
}};
static constexpr ROOM_TABLE<3> g_virtualDiskRooms = {{
    ROOM(RAID_VD_RECORD, SIM_VIRTUAL_DISK, Name),
    ROOM(RAID_VD_RECORD, SIM_VIRTUAL_DISK, FQDD),
    LIST_ROOM(RAID_VD_RECORD, SIM_VIRTUAL_DISK, PDs),
}};

// Every pointer of the record has its room.
template <UINT32 COUNT>
static consteval bool match(const ROOM_TABLE<COUNT> &rooms, const RECORD_POINTER_TABLE<COUNT> &pointers) {
  for (UINT32 i = 0; i < COUNT; i++) {
    if (rooms.rows[i].pointer != pointers.Rows[i].Offset ||
        rooms.rows[i].isText != (pointers.Rows[i].Kind == POINTER_TEXT)) {
      return false;
    }
  }
  return true;
}
static_assert(match(g_adapterRooms, g_adapterPointers) && match(g_enclosureRooms, g_enclosurePointers));
static_assert(match(g_diskRooms, g_pdPointers) && match(g_virtualDiskRooms, g_vdPointers));

template <UINT32 COUNT> static SIM_ROOMS rowsOf(const ROOM_TABLE<COUNT> &table) {
  return {table.rows, COUNT};
}

SIM_ROOMS simRooms(UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return rowsOf(g_adapterRooms);
  case RAID_OBJECT_ENCLOSURE:
    return rowsOf(g_enclosureRooms);
  case RAID_OBJECT_PHYSICAL_DISK:
    return rowsOf(g_diskRooms);
  case RAID_OBJECT_VIRTUAL_DISK:
    return rowsOf(g_virtualDiskRooms);
  default:
    return {nullptr, 0};
  }
}

void *simRoomOf(UINT32 objectType, void *object, UINTN pointer) {
  SIM_ROOMS list = simRooms(objectType);
  for (UINT32 i = 0; i < list.count; i++) {
    if (list.rows[i].pointer == pointer) {
      return static_cast<UINT8 *>(object) + list.rows[i].room;
    }
  }
  return nullptr;
}
