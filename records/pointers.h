// The owned pointers of a record, for whoever copies, releases or keeps one.
#pragma once

#include "raid_records.h"

#include <stddef.h>

namespace xyl::records {

enum class RecordPointerKind : UINT8 {
  text,  // a UTF-16 text
  ids,   // as many ids as the count says
  levels // a level descriptor for each bit of the count
};

struct RecordPointer {
  RecordPointerKind kind;
  UINT16 offset;      // of the pointer
  UINT16 countOffset; // of the member that tells how much is behind it; texts have none
  UINT16 countWidth;
};

// The pointers of one record.
template <UINT32 count> struct RecordPointerTable { RecordPointer rows[count]; };

#define POINTER_OF(record, member)                                                                                     \
  { RecordPointerKind::text, offsetof(record, member), 0, 0 }
#define COUNTED_POINTER_OF(kind, record, member, count)                                                                \
  { kind, offsetof(record, member), offsetof(record, count), sizeof(record::count) }

consteval RecordPointerTable<4 + RAID_RATE_COUNT> adapterPointers() {
  RecordPointerTable<4 + RAID_RATE_COUNT> table = {{
      POINTER_OF(RAID_ADAPTER_RECORD, Name),
      POINTER_OF(RAID_ADAPTER_RECORD, FQDD),
      POINTER_OF(RAID_ADAPTER_RECORD, FirmwareVersion),
      COUNTED_POINTER_OF(RecordPointerKind::levels, RAID_ADAPTER_RECORD, RAIDLevelParams, SupportedRAIDLevels),
  }};
  for (UINT16 i = 0; i < RAID_RATE_COUNT; ++i) {
    UINT16 name = static_cast<UINT16>(offsetof(RAID_ADAPTER_RECORD, Rates) + i * sizeof(RAID_RATE));
    table.rows[4 + i] = {RecordPointerKind::text, static_cast<UINT16>(name + offsetof(RAID_RATE, Name)), 0, 0};
  }
  return table;
}

inline constexpr auto g_adapterPointers = adapterPointers();
inline constexpr RecordPointerTable<2> g_enclosurePointers = {{
    POINTER_OF(RAID_ENCLOSURE_RECORD, Name),
    POINTER_OF(RAID_ENCLOSURE_RECORD, FQDD),
}};
inline constexpr RecordPointerTable<3> g_pdPointers = {{
    POINTER_OF(RAID_PD_RECORD, Name),
    POINTER_OF(RAID_PD_RECORD, FQDD),
    COUNTED_POINTER_OF(RecordPointerKind::ids, RAID_PD_RECORD, VDs, VDCount),
}};
inline constexpr RecordPointerTable<3> g_vdPointers = {{
    POINTER_OF(RAID_VD_RECORD, Name),
    POINTER_OF(RAID_VD_RECORD, FQDD),
    COUNTED_POINTER_OF(RecordPointerKind::ids, RAID_VD_RECORD, PDs, PDCount),
}};

#undef COUNTED_POINTER_OF
#undef POINTER_OF

} // namespace xyl::records
