// One table per object element, in document order. The inventory writers walk a table from its last row to its first
// and push; the request readers look a child's name up in the same table, and apply every row that carries it; release
// and copies of a record (records.cpp) walk the rows whose members point to memory. Where reading and writing differ,
// the row says so.
#pragma once

#include "driver/xml/value_names.h"
#include "raid_records.h"

enum FIELD_FORMAT : UINT8 {
  FORMAT_DECIMAL,           // at most Length digits are written; reading has no limit
  FORMAT_HEX,               // exactly Length digits are written
  FORMAT_WIDE_TEXT,         // UTF-16 text behind a pointer; reading makes a pool copy
  FORMAT_FIXED_TEXT,        // Width characters inside the record
  FORMAT_NAME,              // one value of Names, at most Length characters
  FORMAT_BOOLEAN,           // "true" or "false" for the bit Mask
  FORMAT_MARK,              // "True" when the bit Mask is set, absent otherwise; any text sets that bit alone
  FORMAT_MASK,              // container of one Item element per bit
  FORMAT_CACHE_POLICY,      // container of the items of g_cachePolicyGroups
  FORMAT_PCI_IDENTITY,      // container of g_pciIdentityFields, read by position
  FORMAT_RATES,             // one container of g_rateFields per named slot
  FORMAT_RAID_LEVEL_DESC,   // container of g_levelDescFields
  FORMAT_RAID_LEVEL_PARAMS, // container of one level descriptor per bit of SupportedRAIDLevels
  FORMAT_ID_LIST,           // one element per id, written last id first; Count counts them
  FORMAT_ENCLOSURE,         // the formats from here on are read only: nested objects and the key identifier
  FORMAT_PHYSICAL_DISK,
  FORMAT_VIRTUAL_DISK,
  FORMAT_KEY_ID
};

enum FIELD_FLAG : UINT16 {
  FIELD_WHEN_VERSIONED = 0x001, // written only when ObjVersion is not 0
  FIELD_WHEN_NOT_ZERO = 0x002,  // written only when the field (of a fixed text, the first byte) is not 0
  FIELD_MODE = 0x004,           // mode byte: written only with its presence bit, which reading sets
  FIELD_READ_OR = 0x008,        // reading ORs the value into the field instead of storing it
  FIELD_STRICT = 0x010,         // reading a text without a row in Names fails with EFI_NOT_FOUND
  FIELD_OPEN_MASK = 0x020,      // reading compares no item names, and a text without a row ORs in all ones
  FIELD_FIRST_LETTER = 0x040,   // reading a boolean: F or f is 0, all else 1; otherwise only "false" is 0
  FIELD_NULL_NO_TEXT = 0x080,   // a null text leaves the element without content instead of with an empty one
  FIELD_TO_BLANK = 0x100,       // a fixed text is written up to its first blank
  FIELD_TRIMMED = 0x200,        // a fixed text is written without white space around it
  FIELD_WRITE_ONLY = 0x400,
  FIELD_READ_ONLY = 0x800,
  FIELD_ITEM_ALIAS = 0x1000, // reading takes RAID_LEVEL_ALIAS for Item, too
  FIELD_LOGGED = 0x2000,     // a log line is written before the element
  FIELD_SHARED = 0x4000      // the element has a row in the header and in an object, and reading applies both
};

#define RAID_LEVEL_ALIAS "RAIDLevel"

typedef struct FIELD_TABLE FIELD_TABLE;

// A stretch of a record.
typedef struct FIELD_PLACE {
  UINT16 Offset;
  UINT16 Width; // bytes
} FIELD_PLACE;

typedef struct FIELD_ROW {
  const CHAR8 *Element;
  FIELD_PLACE Place;
  FIELD_PLACE Count; // of FORMAT_ID_LIST and of nested disks that the record counts itself
  const CHAR8 *Item; // of FORMAT_MASK and FORMAT_RAID_LEVEL_PARAMS: the element name of what is inside
  union {
    const VALUE_NAME_TABLE *Names; // of FORMAT_NAME and FORMAT_MASK
    const FIELD_TABLE *Fields;     // of an element or items with fields of their own
  };
  UINT32 Mask;  // the element's bits within the field; 0: all of them
  UINT16 Flags; // FIELD_FLAG
  FIELD_FORMAT Format;
  UINT8 Length : 7;
  UINT8 Shift : 1; // the value is the field shifted right by this
} FIELD_ROW;

struct FIELD_TABLE {
  const FIELD_ROW *Rows;
  UINT32 RowCount;
};

// ObjectType, ObjectID, Name, ObjVersion and FQDD, with which every object begins.
extern const FIELD_TABLE g_headerFields;

extern const FIELD_TABLE g_adapterFields;
extern const FIELD_TABLE g_enclosureFields;
extern const FIELD_TABLE g_pdFields;
extern const FIELD_TABLE g_vdFields;

// Children of "RAIDLevelDesc" (RAID_LEVEL_PARAMS), "PCIID" and "PCILocation" (RAID_PCI_IDENTITY), "Rate" (RAID_RATE).
extern const FIELD_TABLE g_levelDescFields;
extern const FIELD_TABLE g_pciIdentityFields;
extern const FIELD_TABLE g_pciLocationFields;
extern const FIELD_TABLE g_rateFields;

// The groups of a cache policy word in document order; each row's Mask are the group's bits.
extern const FIELD_TABLE g_cachePolicyGroups;

// The texts of an adapter that stand in the document's inventory section.
extern const FIELD_TABLE g_inventoryFields;

// The object's own fields, without the header; null for a kind that has no table.
const FIELD_TABLE *objectFields(UINT32 objectType);

// The adapter's row of a format that only one of its rows has: so each nested element has its name from there.
const FIELD_ROW &adapterRow(FIELD_FORMAT format);

// Gives back the texts and lists that the record owns by its ObjectType, and clears their pointers. Of a kind without a
// table these are the header's texts.
void releaseRecordMembers(void *record);

// A pool copy of a record of that kind, with texts of its own and without lists (null; their counts stay). The caller
// owns it. Null without memory.
void *copyRecord(const void *record, UINT32 objectType);

// The field's bytes as a number (1, 2, 4 or 8 bytes wide), before Mask and Shift.
UINT64 fieldLoad(const void *record, FIELD_PLACE place);

// Whether all bits of the field are set: a count that can go no further.
bool fieldIsFull(const void *record, FIELD_PLACE place);

// Stores the low bits of value into the field.
void fieldStore(void *record, FIELD_PLACE place, UINT64 value);

// The element's value: the field with Mask and Shift applied.
UINT64 fieldValue(const void *record, const FIELD_ROW &row);

// The pointer member at the place, and storing one there.
void *fieldPointer(const void *record, FIELD_PLACE place);
void fieldStorePointer(void *record, FIELD_PLACE place, void *pointer);
