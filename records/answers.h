// What every provider of RAID_MGMT_PROTOCOL does with its answers: records are deep copies in pool memory, what is out
// is accounted for, and FreeRecords takes back only that.
#pragma once

#include "base/array.h"
#include "raid_records.h"

namespace xyl::records {

// --- An answer ---

// Starts zero-filled. data may be a cut or stretched copy of records.
struct Answer {
  void *data; // null: an answer without data
  UINT32 dataSize;
  UINT32 objectType;
  bool isText;
  UINT8 *records; // recordCount records whose pointers are released with it; data itself, or what it was copied from
  UINT32 recordCount;
};

// Makes room for count records of a type. EFI_NOT_FOUND for none, EFI_INVALID_PARAMETER for more than DataSize can
// tell, EFI_OUT_OF_RESOURCES.
EFI_STATUS answerStart(Answer *answer, UINT32 objectType, UINT32 count);

// Adds a deep copy of a record: of all that its pointers own, where an empty text or list becomes null. There is
// room for it. EFI_OUT_OF_RESOURCES leaves the answer to be released.
EFI_STATUS answerAdd(Answer *answer, const void *record);

// Makes an answer of a copy of text. EFI_OUT_OF_RESOURCES.
EFI_STATUS answerText(Answer *answer, const CHAR8 *text);

// Cuts or stretches data to size bytes, 0 for none. EFI_OUT_OF_RESOURCES releases the answer.
EFI_STATUS answerResize(Answer *answer, UINT64 size);

// Gives back what an answer holds and leaves it zero-filled.
void answerRelease(Answer *answer);

// --- Accounting ---

// Something given to FreeRecords that should not have been. It is left as it was.
struct Mistake {
  const CHAR8 *reason;
  UINT32 wantedCount;
  UINT32 givenCount;
};

inline constexpr UINT32 mistakeCapacity = 16;

// What was handed out, and what came back.
struct Accounting {
  UINT64 handedOut;    // answers with data
  UINT64 returned;     // of those
  UINT64 driverCopies; // disk records that the driver assembled and gave to FreeRecords
  UINT32 mistakeCount; // may exceed mistakeCapacity
  Mistake mistakes[mistakeCapacity];
  PoolArray<Answer> out;
  PoolArray<void *> justReturned; // since the last command, to notice what is given back twice; never grows
};

// Opens a zero-filled one; EFI_OUT_OF_RESOURCES leaves it to be closed. Closing gives back every answer that is
// out.
EFI_STATUS accountingOpen(Accounting *accounting);
void accountingClose(Accounting *accounting);

// Bytes of pool memory that the accounting holds for itself.
UINT64 accountingPoolBytes(const Accounting *accounting);

// Before a command: makes room for its answer, since one that has changed something must not fail for want of it.
// EFI_OUT_OF_RESOURCES.
EFI_STATUS accountingBegin(Accounting *accounting);

// After it: sets *result to the answer and, where that has data, enters it. The accounting takes the answer over.
void accountingHandOut(Accounting *accounting, const Answer *answer, RAID_CMD_RESULT *result);

// FreeRecords. It takes an answer with its record count, DataSize >> 9 (0 for a text); an answer of less than one
// record and an adapter answer also with 1. Any other pointer with the count 1 is taken for a disk record that the
// driver assembled (pool memory of 512 bytes, Name and FQDD pool texts or null, VDs null), as the contract says, and is
// freed with its texts. What is given back once more before the next command is noticed by its address. Mistakes return
// EFI_INVALID_PARAMETER, are noted and change nothing else.
EFI_STATUS accountingTakeBack(Accounting *accounting, void *data, UINT32 count);

// Whether every answer came back and nothing wrong was given to FreeRecords.
bool accountingBalanced(const Accounting *accounting);

} // namespace xyl::records
