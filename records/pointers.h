// The owned pointers of a record, for whoever copies, releases or keeps one.
#pragma once

#include "raid_records.h"

#include <stddef.h>

enum RECORD_POINTER_KIND : UINT8 {
  POINTER_TEXT,  // a UTF-16 text
  POINTER_IDS,   // as many ids as the count says
  POINTER_LEVELS // a level descriptor for each bit of the count
};

struct RECORD_POINTER {
  RECORD_POINTER_KIND Kind;
  UINT16 Offset;      // of the pointer
  UINT16 CountOffset; // of the member that tells how much is behind it; texts have none
  UINT16 CountWidth;
};

// The pointers of one record.
template <UINT32 COUNT> struct RECORD_POINTER_TABLE { RECORD_POINTER Rows[COUNT]; };

#define POINTER_OF(record, member)                                                                                     \
  { POINTER_TEXT, offsetof(record, member), 0, 0 }
#define COUNTED_POINTER_OF(kind, record, member, count)                                                                \
  { kind, offsetof(record, member), offsetof(record, count), sizeof(record::count) }

consteval RECORD_POINTER_TABLE<4 + RAID_RATE_COUNT> adapterPointers() {
  RECORD_POINTER_TABLE<4 + RAID_RATE_COUNT> table = {{
      POINTER_OF(RAID_ADAPTER_RECORD, Name),
      POINTER_OF(RAID_ADAPTER_RECORD, FQDD),
      POINTER_OF(RAID_ADAPTER_RECORD, FirmwareVersion),
      COUNTED_POINTER_OF(POINTER_LEVELS, RAID_ADAPTER_RECORD, RAIDLevelParams, SupportedRAIDLevels),
  }};
  for (UINT16 i = 0; i < RAID_RATE_COUNT; ++i) {
    UINT16 name = static_cast<UINT16>(offsetof(RAID_ADAPTER_RECORD, Rates) + i * sizeof(RAID_RATE));
    table.Rows[4 + i] = {POINTER_TEXT, static_cast<UINT16>(name + offsetof(RAID_RATE, Name)), 0, 0};
  }
  return table;
}

inline constexpr auto g_adapterPointers = adapterPointers();
inline constexpr RECORD_POINTER_TABLE<2> g_enclosurePointers = {{
    POINTER_OF(RAID_ENCLOSURE_RECORD, Name),
    POINTER_OF(RAID_ENCLOSURE_RECORD, FQDD),
}};
inline constexpr RECORD_POINTER_TABLE<3> g_pdPointers = {{
    POINTER_OF(RAID_PD_RECORD, Name),
    POINTER_OF(RAID_PD_RECORD, FQDD),
    COUNTED_POINTER_OF(POINTER_IDS, RAID_PD_RECORD, VDs, VDCount),
}};
inline constexpr RECORD_POINTER_TABLE<3> g_vdPointers = {{
    POINTER_OF(RAID_VD_RECORD, Name),
    POINTER_OF(RAID_VD_RECORD, FQDD),
    COUNTED_POINTER_OF(POINTER_IDS, RAID_VD_RECORD, PDs, PDCount),
}};

#undef COUNTED_POINTER_OF
#undef POINTER_OF
