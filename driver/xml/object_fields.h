// One table per object element, in document order. The inventory writers walk a table from its last row to its first
// and push; the request readers look a child's name up in the same table, and apply every row that carries it; release
// and copies of a record (records.cpp) walk the rows whose members point to memory. Where reading and writing differ,
// the row says so.
#pragma once

#include "driver/xml/value_names.h"
#include "raid_records.h"

namespace xyl::driver {

enum class FieldFormat : UINT8 {
  decimal,         // at most Length digits are written; reading has no limit
  hex,             // exactly Length digits are written
  wideText,        // UTF-16 text behind a pointer; reading makes a pool copy
  fixedText,       // Width characters inside the record
  name,            // one value of Names, at most Length characters
  boolean,         // "true" or "false" for the bit Mask
  mark,            // "True" when the bit Mask is set, absent otherwise; any text sets that bit alone
  mask,            // container of one Item element per bit
  cachePolicy,     // container of the items of g_cachePolicyGroups
  pciIdentity,     // container of g_pciIdentityFields, read by position
  rates,           // one container of g_rateFields per named slot
  raidLevelDesc,   // container of g_levelDescFields
  raidLevelParams, // container of one level descriptor per bit of SupportedRAIDLevels
  idList,          // one element per id, written last id first; Count counts them
  enclosure,       // the formats from here on are read only: nested objects and the key identifier
  physicalDisk,
  virtualDisk,
  keyId
};

enum FieldFlag : UINT16 {
  fieldWhenVersioned = 0x001, // written only when ObjVersion is not 0
  fieldWhenNotZero = 0x002,   // written only when the field (of a fixed text, the first byte) is not 0
  fieldMode = 0x004,          // mode byte: written only with its presence bit, which reading sets
  fieldReadOr = 0x008,        // reading ORs the value into the field instead of storing it
  fieldStrict = 0x010,        // reading a text without a row in Names fails with EFI_NOT_FOUND
  fieldOpenMask = 0x020,      // reading compares no item names, and a text without a row ORs in all ones
  fieldFirstLetter = 0x040,   // reading a boolean: F or f is 0, all else 1; otherwise only "false" is 0
  fieldNullNoText = 0x080,    // a null text leaves the element without content instead of with an empty one
  fieldToBlank = 0x100,       // a fixed text is written up to its first blank
  fieldTrimmed = 0x200,       // a fixed text is written without white space around it
  fieldWriteOnly = 0x400,
  fieldReadOnly = 0x800,
  fieldItemAlias = 0x1000, // reading takes levelAlias for Item, too
  fieldLogged = 0x2000,    // a log line is written before the element
  fieldShared = 0x4000     // the element has a row in the header and in an object, and reading applies both
};

inline constexpr CHAR8 levelAlias[] = "RAIDLevel";

struct FieldTable;

// A stretch of a record.
struct FieldPlace {
  UINT16 offset;
  UINT16 width; // bytes
};

struct FieldRow {
  const CHAR8 *element;
  FieldPlace place;
  FieldPlace count;  // of FieldFormat::idList and of nested disks that the record counts itself
  const CHAR8 *item; // of FieldFormat::mask and FieldFormat::raidLevelParams: the element name of what is inside
  union {
    const VALUE_NAME_TABLE *names; // of FieldFormat::name and FieldFormat::mask
    const FieldTable *fields;      // of an element or items with fields of their own
  };
  UINT32 mask;  // the element's bits within the field; 0: all of them
  UINT16 flags; // FieldFlag
  FieldFormat format;
  UINT8 length : 7;
  UINT8 shift : 1; // the value is the field shifted right by this
};

struct FieldTable {
  const FieldRow *rows;
  UINT32 rowCount;
};

// ObjectType, ObjectID, Name, ObjVersion and FQDD, with which every object begins.
extern const FieldTable g_headerFields;

extern const FieldTable g_adapterFields;
extern const FieldTable g_enclosureFields;
extern const FieldTable g_pdFields;
extern const FieldTable g_vdFields;

// Children of "RAIDLevelDesc" (RAID_LEVEL_PARAMS), "PCIID" and "PCILocation" (RAID_PCI_IDENTITY), "Rate" (RAID_RATE).
extern const FieldTable g_levelDescFields;
extern const FieldTable g_pciIdentityFields;
extern const FieldTable g_pciLocationFields;
extern const FieldTable g_rateFields;

// The groups of a cache policy word in document order; each row's Mask are the group's bits.
extern const FieldTable g_cachePolicyGroups;

// The texts of an adapter that stand in the document's inventory section.
extern const FieldTable g_inventoryFields;

// The object's own fields, without the header; null for a kind that has no table.
const FieldTable *objectFields(UINT32 objectType);

// The adapter's row of a format that only one of its rows has: so each nested element has its name from there.
const FieldRow &adapterRow(FieldFormat format);

// Gives back the texts and lists that the record owns by its ObjectType, and clears their pointers. Of a kind without a
// table these are the header's texts.
void releaseRecordMembers(void *record);

// A pool copy of a record of that kind, with texts of its own and without lists (null; their counts stay). The caller
// owns it. Null without memory.
void *copyRecord(const void *record, UINT32 objectType);

// The field's bytes as a number (1, 2, 4 or 8 bytes wide), before Mask and Shift.
UINT64 fieldLoad(const void *record, FieldPlace place);

// Whether all bits of the field are set: a count that can go no further.
bool fieldIsFull(const void *record, FieldPlace place);

// Stores the low bits of value into the field.
void fieldStore(void *record, FieldPlace place, UINT64 value);

// The element's value: the field with Mask and Shift applied.
UINT64 fieldValue(const void *record, const FieldRow &row);

// The pointer member at the place, and storing one there.
void *fieldPointer(const void *record, FieldPlace place);
void fieldStorePointer(void *record, FieldPlace place, void *pointer);

} // namespace xyl::driver
