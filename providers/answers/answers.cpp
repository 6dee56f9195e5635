#include "providers/answers/answers.h"

#include "base/text.h"

// Whatever a stretched answer has behind its records.
#define FILLER 0xA5

enum LEAD_KIND : UINT8 { LEAD_TEXT, LEAD_IDS, LEAD_LEVELS };

// A pointer of a record, and the member that tells how much is behind it.
struct LEAD {
  LEAD_KIND kind;
  UINT16 offset;
  UINT16 countOffset;
  UINT16 countWidth;
};

struct LEADS {
  const LEAD *rows;
  UINT32 count;
};

#define TEXT(member) {LEAD_TEXT, offsetof(RECORD, member), 0, 0},
#define COUNTED(kind, member, count) {kind, offsetof(RECORD, member), offsetof(RECORD, count), sizeof(RECORD::count)},
#define IDS(member, count) COUNTED(LEAD_IDS, member, count)
#define LEVELS(member, mask) COUNTED(LEAD_LEVELS, member, mask)
#define RATES(member) RAID_EACH_RATE(TEXT, member)

template <class RECORD> struct LEADS_OF;
template <> struct LEADS_OF<RAID_ADAPTER_RECORD> {
  using RECORD = RAID_ADAPTER_RECORD;
  static constexpr LEAD rows[] = {RAID_ADAPTER_LEADS(TEXT, IDS, LEVELS, RATES)};
};
template <> struct LEADS_OF<RAID_ENCLOSURE_RECORD> {
  using RECORD = RAID_ENCLOSURE_RECORD;
  static constexpr LEAD rows[] = {RAID_ENCLOSURE_LEADS(TEXT, IDS, LEVELS, RATES)};
};
template <> struct LEADS_OF<RAID_PD_RECORD> {
  using RECORD = RAID_PD_RECORD;
  static constexpr LEAD rows[] = {RAID_PD_LEADS(TEXT, IDS, LEVELS, RATES)};
};
template <> struct LEADS_OF<RAID_VD_RECORD> {
  using RECORD = RAID_VD_RECORD;
  static constexpr LEAD rows[] = {RAID_VD_LEADS(TEXT, IDS, LEVELS, RATES)};
};

template <class RECORD> static LEADS leads() {
  return {LEADS_OF<RECORD>::rows, sizeof(LEADS_OF<RECORD>::rows) / sizeof(LEAD)};
}

static LEADS leadsOf(UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return leads<RAID_ADAPTER_RECORD>();
  case RAID_OBJECT_ENCLOSURE:
    return leads<RAID_ENCLOSURE_RECORD>();
  case RAID_OBJECT_PHYSICAL_DISK:
    return leads<RAID_PD_RECORD>();
  case RAID_OBJECT_VIRTUAL_DISK:
    return leads<RAID_VD_RECORD>();
  default:
    return {nullptr, 0};
  }
}

static UINTN bytesBehind(const UINT8 *record, const LEAD &lead, const void *pointer) {
  UINT32 count = 0;
  copyBytes(&count, record + lead.countOffset, lead.countWidth);
  switch (lead.kind) {
  case LEAD_TEXT: {
    UINTN length = textLength(static_cast<const CHAR16 *>(pointer));
    return length == 0 ? 0 : (length + 1) * sizeof(CHAR16);
  }
  case LEAD_IDS:
    return count * sizeof(UINT32);
  case LEAD_LEVELS:
    return static_cast<UINTN>(__builtin_popcount(count)) * sizeof(RAID_LEVEL_PARAMS);
  }
  return 0;
}

// Calls visit(lead, place of a pointer) for every pointer of a record; false as soon as one of them gives that.
template <class VISIT> static bool eachPointer(UINT32 objectType, UINT8 *record, VISIT visit) {
  LEADS list = leadsOf(objectType);
  for (UINT32 i = 0; i < list.count; i++) {
    if (!visit(list.rows[i], record + list.rows[i].offset)) {
      return false;
    }
  }
  return true;
}

EFI_STATUS answerStart(RAID_ANSWER *answer, UINT32 objectType, UINT32 count) {
  if (count == 0) {
    return EFI_NOT_FOUND;
  }
  if (count > 0xFFFFFFFFU >> RAID_RECORD_SHIFT) {
    return EFI_INVALID_PARAMETER;
  }
  answer->objectType = objectType;
  answer->records = poolNew<UINT8>(static_cast<UINTN>(count) * RAID_RECORD_SIZE);
  if (answer->records == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  answer->data = answer->records;
  answer->dataSize = count << RAID_RECORD_SHIFT;
  return EFI_SUCCESS;
}

EFI_STATUS answerAdd(RAID_ANSWER *answer, const void *record) {
  UINT8 *copy = answer->records + static_cast<UINTN>(answer->recordCount) * RAID_RECORD_SIZE;
  const UINT8 *from = static_cast<const UINT8 *>(record);
  copyBytes(copy, from, RAID_RECORD_SIZE);
  // What is released after a failure must not lead to what is the caller's.
  eachPointer(answer->objectType, copy, [](const LEAD &, UINT8 *place) {
    zeroBytes(place, sizeof(void *));
    return true;
  });
  answer->recordCount += 1;
  bool complete = eachPointer(answer->objectType, copy, [&](const LEAD &lead, UINT8 *place) {
    const void *behind = nullptr;
    copyBytes(&behind, from + (place - copy), sizeof(behind));
    UINTN size = behind == nullptr ? 0 : bytesBehind(from, lead, behind);
    void *mine = size == 0 ? nullptr : poolAllocate(size);
    if (mine != nullptr) {
      copyBytes(mine, behind, size);
      copyBytes(place, &mine, sizeof(mine));
    }
    return size == 0 || mine != nullptr;
  });
  return complete ? EFI_SUCCESS : EFI_OUT_OF_RESOURCES;
}

EFI_STATUS answerText(RAID_ANSWER *answer, const CHAR8 *text) {
  answer->data = textDuplicate(text);
  if (answer->data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  answer->isText = true;
  answer->dataSize = static_cast<UINT32>(textLength(text) + 1);
  return EFI_SUCCESS;
}

EFI_STATUS answerResize(RAID_ANSWER *answer, UINT64 size) {
  if (size == 0) {
    answerRelease(answer);
    return EFI_SUCCESS;
  }
  UINT8 *data = size > 0xFFFFFFFFU ? nullptr : poolNew<UINT8>(size);
  if (data == nullptr) {
    answerRelease(answer);
    return EFI_OUT_OF_RESOURCES;
  }
  __builtin_memset(data, FILLER, size);
  if (answer->data != nullptr) {
    copyBytes(data, answer->data, size < answer->dataSize ? size : answer->dataSize);
  }
  if (answer->data != answer->records) {
    poolFree(answer->data);
  }
  answer->data = data;
  answer->dataSize = static_cast<UINT32>(size);
  return EFI_SUCCESS;
}

void answerRelease(RAID_ANSWER *answer) {
  for (UINT32 i = 0; i < answer->recordCount; i++) {
    UINT8 *record = answer->records + static_cast<UINTN>(i) * RAID_RECORD_SIZE;
    eachPointer(answer->objectType, record, [](const LEAD &, const UINT8 *place) {
      void *behind = nullptr;
      copyBytes(&behind, place, sizeof(behind));
      poolFree(behind);
      return true;
    });
  }
  if (answer->records != answer->data) {
    poolFree(answer->records);
  }
  poolFree(answer->data);
  zeroBytes(answer, sizeof(*answer));
}
