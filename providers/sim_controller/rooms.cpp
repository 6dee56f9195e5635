// Where the state keeps what does not fit into a record.
#include "base/text.h"
#include "providers/sim_controller/sim_controller.h"

// A rate's text has a room of its own under the same path, so that one offset stands for both.
#define ROOM(member) {offsetof(RECORD, member), offsetof(OBJECT, member), true},
#define COUNTED_ROOM(member, count) {offsetof(RECORD, member), offsetof(OBJECT, member), false},
#define RATE_ROOMS(member) RAID_EACH_RATE(ROOM, member)

template <class OBJECT> struct ROOMS_OF;
template <> struct ROOMS_OF<SIM_ADAPTER> {
  using OBJECT = SIM_ADAPTER;
  using RECORD = RAID_ADAPTER_RECORD;
  static constexpr SIM_ROOM rows[] = {RAID_ADAPTER_LEADS(ROOM, COUNTED_ROOM, COUNTED_ROOM, RATE_ROOMS)};
};
template <> struct ROOMS_OF<SIM_ENCLOSURE> {
  using OBJECT = SIM_ENCLOSURE;
  using RECORD = RAID_ENCLOSURE_RECORD;
  static constexpr SIM_ROOM rows[] = {RAID_ENCLOSURE_LEADS(ROOM, COUNTED_ROOM, COUNTED_ROOM, RATE_ROOMS)};
};
template <> struct ROOMS_OF<SIM_DISK> {
  using OBJECT = SIM_DISK;
  using RECORD = RAID_PD_RECORD;
  static constexpr SIM_ROOM rows[] = {RAID_PD_LEADS(ROOM, COUNTED_ROOM, COUNTED_ROOM, RATE_ROOMS)};
};
template <> struct ROOMS_OF<SIM_VIRTUAL_DISK> {
  using OBJECT = SIM_VIRTUAL_DISK;
  using RECORD = RAID_VD_RECORD;
  static constexpr SIM_ROOM rows[] = {RAID_VD_LEADS(ROOM, COUNTED_ROOM, COUNTED_ROOM, RATE_ROOMS)};
};

template <class OBJECT> static SIM_ROOMS rooms() {
  return {ROOMS_OF<OBJECT>::rows, sizeof(ROOMS_OF<OBJECT>::rows) / sizeof(SIM_ROOM)};
}

SIM_ROOMS simRooms(UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return rooms<SIM_ADAPTER>();
  case RAID_OBJECT_ENCLOSURE:
    return rooms<SIM_ENCLOSURE>();
  case RAID_OBJECT_PHYSICAL_DISK:
    return rooms<SIM_DISK>();
  case RAID_OBJECT_VIRTUAL_DISK:
    return rooms<SIM_VIRTUAL_DISK>();
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

bool simSetFixed(CHAR8 *member, UINTN width, const CHAR8 *text) {
  UINTN length = textLength(text);
  if (length > width) {
    return false;
  }
  __builtin_memset(member, length == 0 ? 0 : ' ', width);
  copyBytes(member, text, length);
  return true;
}

UINTN simFixedLength(const CHAR8 *member, UINTN width) {
  UINTN length = 0;
  for (UINTN i = 0; i < width && member[i] != 0; i++) {
    length = member[i] == ' ' ? length : i + 1;
  }
  return length;
}
