// What is out, and what comes back.
#include "records/answers.h"

EFI_STATUS booksOpen(RAID_BOOKS *books) {
  bool complete = arrayStart(books->out, 16) && arrayStart(books->justReturned, 64);
  return complete ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

void booksClose(RAID_BOOKS *books) {
  for (UINT32 i = 0; i < books->out.count; i++) {
    answerRelease(&books->out.items[i]);
  }
  poolRelease(books->out.items);
  poolRelease(books->justReturned.items);
}

UINT64 booksPoolBytes(const RAID_BOOKS *books) {
  return sizeof(RAID_ANSWER) * books->out.capacity + sizeof(void *) * books->justReturned.capacity;
}

EFI_STATUS booksBegin(RAID_BOOKS *books) {
  books->justReturned.count = 0; // its memory may be handed out again
  return arrayReserve(books->out, 1) ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

void booksHandOut(RAID_BOOKS *books, const RAID_ANSWER *answer, RAID_CMD_RESULT *result) {
  result->Data = answer->data;
  result->DataSize = answer->dataSize;
  if (answer->data != nullptr) {
    *arrayAppend(books->out) = *answer;
    books->handedOut += 1;
  }
}

static EFI_STATUS noteMistake(RAID_BOOKS *books, const CHAR8 *reason, UINT32 wanted, UINT32 given) {
  if (books->mistakeCount < RAID_MISTAKE_CAPACITY) {
    books->mistakes[books->mistakeCount] = {reason, wanted, given};
  }
  books->mistakeCount += 1;
  return EFI_INVALID_PARAMETER;
}

static void noteReturned(RAID_BOOKS *books, void *data) {
  if (books->justReturned.count < books->justReturned.capacity) {
    *arrayAppend(books->justReturned) = data;
  }
}

static bool wasJustReturned(const RAID_BOOKS *books, const void *data) {
  for (UINT32 i = 0; i < books->justReturned.count; i++) {
    if (books->justReturned.items[i] == data) {
      return true;
    }
  }
  return false;
}

static EFI_STATUS takeAnswer(RAID_BOOKS *books, UINT32 index, UINT32 count) {
  RAID_ANSWER *answer = &books->out.items[index];
  UINT32 wanted = answer->dataSize >> RAID_RECORD_SHIFT;
  bool isSingle = !answer->isText && (wanted == 0 || answer->objectType == RAID_OBJECT_ADAPTER);
  if (count != wanted && !(isSingle && count == 1)) {
    return noteMistake(books, "an answer came back with another record count", wanted, count);
  }
  noteReturned(books, answer->data);
  answerRelease(answer);
  arrayRemove(books->out, index);
  books->returned += 1;
  return EFI_SUCCESS;
}

static EFI_STATUS takeDriverCopy(RAID_BOOKS *books, void *data) {
  const RAID_PD_RECORD *record = static_cast<const RAID_PD_RECORD *>(data);
  if (record->ObjectType != RAID_OBJECT_PHYSICAL_DISK) {
    return noteMistake(books, "neither an answer nor a disk record", 0, 1);
  }
  if (record->VDs != nullptr) {
    return noteMistake(books, "a disk record of the driver still holds a list", 0, 1);
  }
  noteReturned(books, data);
  RAID_ANSWER copy = {data, RAID_RECORD_SIZE, RAID_OBJECT_PHYSICAL_DISK, false, static_cast<UINT8 *>(data), 1};
  answerRelease(&copy);
  books->driverCopies += 1;
  return EFI_SUCCESS;
}

EFI_STATUS booksTakeBack(RAID_BOOKS *books, void *data, UINT32 count) {
  if (data == nullptr) {
    return noteMistake(books, "a null pointer", 0, count);
  }
  for (UINT32 i = 0; i < books->out.count; i++) {
    if (books->out.items[i].data == data) {
      return takeAnswer(books, i, count);
    }
  }
  if (wasJustReturned(books, data)) {
    return noteMistake(books, "given back twice", 0, count);
  }
  if (count != 1) {
    return noteMistake(books, "not an answer", 1, count);
  }
  return takeDriverCopy(books, data);
}

bool booksBalanced(const RAID_BOOKS *books) {
  return books->out.count == 0 && books->mistakeCount == 0 && books->handedOut == books->returned;
}
