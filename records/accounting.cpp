// What is out, and what comes back.
#include "records/answers.h"

namespace xyl::records {

EFI_STATUS accountingOpen(Accounting *accounting) {
  bool complete = arrayStart(accounting->out, 16) && arrayStart(accounting->justReturned, 64);
  return complete ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

void accountingClose(Accounting *accounting) {
  for (UINT32 i = 0; i < accounting->out.count; i++) {
    answerRelease(&accounting->out.items[i]);
  }
  poolRelease(accounting->out.items);
  poolRelease(accounting->justReturned.items);
}

UINT64 accountingPoolBytes(const Accounting *accounting) {
  return sizeof(Answer) * accounting->out.capacity + sizeof(void *) * accounting->justReturned.capacity;
}

EFI_STATUS accountingBegin(Accounting *accounting) {
  accounting->justReturned.count = 0; // its memory may be handed out again
  return arrayReserve(accounting->out, 1) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

void accountingHandOut(Accounting *accounting, const Answer *answer, RAID_CMD_RESULT *result) {
  result->Data = answer->data;
  result->DataSize = answer->dataSize;
  if (answer->data != nullptr) {
    *arrayAppend(accounting->out) = *answer;
    accounting->handedOut += 1;
  }
}

static EFI_STATUS noteMistake(Accounting *accounting, const CHAR8 *reason, UINT32 wanted, UINT32 given) {
  if (accounting->mistakeCount < mistakeCapacity) {
    accounting->mistakes[accounting->mistakeCount] = {reason, wanted, given};
  }
  accounting->mistakeCount += 1;
  return EFI_INVALID_PARAMETER;
}

static void noteReturned(Accounting *accounting, void *data) {
  if (accounting->justReturned.count < accounting->justReturned.capacity) {
    *arrayAppend(accounting->justReturned) = data;
  }
}

static bool wasJustReturned(const Accounting *accounting, const void *data) {
  for (UINT32 i = 0; i < accounting->justReturned.count; i++) {
    if (accounting->justReturned.items[i] == data) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS takeAnswer(Accounting *accounting, UINT32 index, UINT32 count) {
  Answer *answer = &accounting->out.items[index];
  UINT32 wanted = answer->dataSize >> RAID_RECORD_SHIFT;
  bool isSingle = !answer->isText && (wanted == 0 || answer->objectType == RAID_OBJECT_ADAPTER);
  if (count != wanted && !(isSingle && count == 1)) {
    return noteMistake(accounting, "an answer came back with another record count", wanted, count);
  }
  noteReturned(accounting, answer->data);
  answerRelease(answer);
  arrayRemove(accounting->out, index);
  accounting->returned += 1;
  return EFI_SUCCESS;
}

static EFI_STATUS takeDriverCopy(Accounting *accounting, void *data) {
  const RAID_PD_RECORD *record = static_cast<const RAID_PD_RECORD *>(data);
  if (record->ObjectType != RAID_OBJECT_PHYSICAL_DISK) {
    return noteMistake(accounting, "neither an answer nor a disk record", 0, 1);
  }
  if (record->VDs != nullptr) {
    return noteMistake(accounting, "a disk record of the driver still holds a list", 0, 1);
  }
  noteReturned(accounting, data);
  Answer copy = {data, RAID_RECORD_SIZE, RAID_OBJECT_PHYSICAL_DISK, false, static_cast<UINT8 *>(data), 1};
  answerRelease(&copy);
  accounting->driverCopies += 1;
  return EFI_SUCCESS;
}

EFI_STATUS accountingTakeBack(Accounting *accounting, void *data, UINT32 count) {
  if (data == nullptr) {
    return noteMistake(accounting, "a null pointer", 0, count);
  }
  for (UINT32 i = 0; i < accounting->out.count; i++) {
    if (accounting->out.items[i].data == data) {
      return takeAnswer(accounting, i, count);
    }
  }
  if (wasJustReturned(accounting, data)) {
    return noteMistake(accounting, "given back twice", 0, count);
  }
  if (count != 1) {
    return noteMistake(accounting, "not an answer", 1, count);
  }
  return takeDriverCopy(accounting, data);
}

bool accountingBalanced(const Accounting *accounting) {
  return accounting->out.count == 0 && accounting->mistakeCount == 0 && accounting->handedOut == accounting->returned;
}

} // namespace xyl::records
