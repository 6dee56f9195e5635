// What the readers of this room share, from the bottom up: fields.cpp reads what only needs its record,
// adapter_rows.cpp the adapter's further rows, objects.cpp walks an object's children, and adapter.cpp, method.cpp and
// document.cpp stand on top of it.
#pragma once

#include "base/pool.h"
#include "driver/xml/xml.h"
#include "raid_records.h"
#include "xml_protocol.h"

namespace xyl::driver {

bool isNamed(const XML_NODE *node, const CHAR8 *name);

// The row that reading applies to element, or null. The search begins at *expected, 0 for the first child, and leaves
// the row behind the one that it found there: most documents follow the tables.
const FieldRow *readingRow(const FieldTable &fields, const CHAR8 *element, UINT32 *expected);

// Applies the row to the element's text or children. Lists and texts that the record gets are its own, what it held at
// that place goes back. Formats that need more than the record are left alone.
//   EFI_NOT_FOUND          a strict field's text is not in its table
//   EFI_INVALID_PARAMETER  too few children, or a list is full
EFI_STATUS readField(const XML_NODE *element, const FieldRow &row, void *record);

// Applies the table's rows to the element's children; other children are skipped.
EFI_STATUS readFields(const XML_NODE *element, const FieldTable &fields, void *record);

// Copies the text with its NUL, at most size bytes; a null text copies nothing.
void copyFixedText(void *to, const CHAR8 *text, UINTN size);

// The room of a new array. Smaller ones would be outgrown at once, and each is an allocation of the pool.
inline constexpr UINT32 firstRoom = 4;

// An array with room for twice count elements (at least firstRoom) that starts with the old ones and is zero-filled
// behind them, or null without memory. The old array goes back on success only.
void *grownArray(void *old, UINT32 count, UINTN elementSize);

// Makes room for one more element behind count ones, a zero-filled one where none was before; false without memory, and
// array is as it was. The room of an array is always the next power of two of its count, at least firstRoom.
template <class T> inline bool growArray(T *&array, UINT32 count) {
  if (array != nullptr && (count < firstRoom || (count & (count - 1)) != 0)) {
    return true;
  }
  void *grown = grownArray(array, count, sizeof(T));
  if (grown == nullptr) {
    return false;
  }
  array = static_cast<T *>(grown);
  return true;
}

// Makes room in the configuration's arrays, behind the records that they hold, for those of all that is nested in an
// "Enclosure" or "Adapter" element; what is there is undefined until a record is read. False without memory.
bool makeRoomForDisks(const XML_NODE *enclosure, RAID_CONFIG *config);
bool makeRoomForAll(const XML_NODE *adapter, RAID_CONFIG *config);

// A zero-filled T for a command, or null without memory. A document may give any command any object, and a controller
// that goes by the command reads as much as it expects: so every object has room for the largest, the keys of a rekey.
inline constexpr UINTN commandObjectSize = 2 * sizeof(RAID_KEY_RECORD);
template <class T> inline T *newCommandObject() {
  static_assert(sizeof(T) <= commandObjectSize);
  return static_cast<T *>(poolAllocateZero(commandObjectSize));
}

// An object element on its way into a record.
struct ObjectReading {
  UINT32 kind; // RAID_OBJECT_TYPE that the object must have
  void *record;
  RAID_CONFIG *config; // receives nested objects and has room for them; null when the object has none
  UINT32 rateCount;    // "Rate" elements so far
  UINT32 levelCount;   // descriptors at RAIDLevelParams
  bool hasLevelParams; // whether the element came
};

// The adapter's rows that need what was read before, or the configuration.
EFI_STATUS readRate(const XML_NODE *element, const FieldRow &row, ObjectReading &reading);
EFI_STATUS readLevelParams(const XML_NODE *element, const FieldRow &row, ObjectReading &reading);
EFI_STATUS readKeyId(const XML_NODE *element, RAID_CONFIG *config);

// Brings the descriptors to the number of level bits: the mask may have come, or come again, after them.
EFI_STATUS finishLevelParams(ObjectReading &reading);

// Reads all children into the record, whose ObjectType is preset with Kind; another one fails with
// EFI_INVALID_PARAMETER and stands in the record then.
EFI_STATUS readObject(const XML_NODE *element, ObjectReading &reading);

// Overwrites size bytes of keys and gives them back; null is ignored.
void releaseKeys(void *keys, UINTN size);

// Gives back the command's ObjectData and clears it; see releaseCommandData.
void releaseCommandObject(RAID_CMD_BLOCK *command);

} // namespace xyl::driver
