// One copy of a disk's metadata: read section by section, each checked before anything in it is used.

#include "providers/ddf/copy.h"

constexpr UINT32 MOST_SECTORS = 1024; // of a section; Linux takes no longer ones either
constexpr UINT32 ELEMENT_SIZE = sizeof(DDF_U32) + sizeof(DDF_U64);

struct SECTION_ROW {
  const CHAR8 *name;
  UINT32 signature; // 0: the section is judged slot by slot
};

static constexpr SECTION_ROW g_sections[DDF_SECTIONS] = {
    {"controller data", DDF_CONTROLLER_SIGNATURE}, {"physical disk records", DDF_PD_SIGNATURE},
    {"virtual disk records", DDF_VD_SIGNATURE},    {"configuration records", 0},
    {"disk data", DDF_PD_DATA_SIGNATURE},
};

// --- Headers ---

static bool isRevision(const CHAR8 (&revision)[8]) {
  return __builtin_memcmp(revision, "01.02.00", 8) == 0 || __builtin_memcmp(revision, "01.00.00", 8) == 0;
}

DDF_FAULT headerFault(const DDF_HEADER &header, DDF_HEADER_TYPE type) {
  constexpr const CHAR8 *NAMES[] = {"anchor", "primary header", "secondary header"};
  const CHAR8 *where = NAMES[type];
  if (header.signature != DDF_HEADER_SIGNATURE) {
    return {"no signature", where};
  }
  if (header.crc != ddfChecksum(&header, sizeof(header))) {
    return {"wrong checksum", where};
  }
  if (!isRevision(header.revision)) {
    return {"unknown revision", where};
  }
  if (header.type != type || ddfIsFree(header.guid)) {
    return {"header of another kind", where};
  }
  return {};
}

static UINT64 headerLba(const DDF_HEADER &header, DDF_HEADER_TYPE type) {
  return type == DDF_PRIMARY ? header.primaryLba : header.secondaryLba;
}

static bool matchesAnchor(const DDF_HEADER &header, const DDF_HEADER &anchor) {
  constexpr UINTN EQUAL_FROM = offsetof(DDF_HEADER, pad2);
  const UINT8 *a = reinterpret_cast<const UINT8 *>(&header);
  const UINT8 *b = reinterpret_cast<const UINT8 *>(&anchor);
  return ddfSameGuid(header.guid, anchor.guid) &&
         __builtin_memcmp(header.revision, anchor.revision, sizeof(header.revision)) == 0 &&
         header.primaryLba == anchor.primaryLba && header.secondaryLba == anchor.secondaryLba &&
         __builtin_memcmp(a + EQUAL_FROM, b + EQUAL_FROM, sizeof(DDF_HEADER) - EQUAL_FROM) == 0;
}

UINT64 copyLength(const DDF_HEADER &header) {
  UINT64 length = 1;
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    UINT64 end = UINT64{header.sections[i].offset} + header.sections[i].length;
    length = end > length ? end : length;
  }
  return length;
}

// --- Where the sections lie ---

static bool overlap(const DDF_SECTION_PLACE &a, const DDF_SECTION_PLACE &b) {
  return UINT64{a.offset} < UINT64{b.offset} + b.length && UINT64{b.offset} < UINT64{a.offset} + a.length;
}

// The lengths must also have room for what the header promises.
static const CHAR8 *layoutFault(const DDF_HEADER &header, UINT64 lba, UINT64 lastLba) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    const DDF_SECTION_PLACE &place = header.sections[i];
    if (place.offset == 0 || place.length == 0 || place.length > MOST_SECTORS ||
        !fits(place.offset, place.length, lastLba - lba)) {
      return "section in an impossible place";
    }
    for (UINT32 j = 0; j < i; j++) {
      if (overlap(place, header.sections[j])) {
        return "sections that overlap";
      }
    }
  }
  UINT32 length = header.recordLength;
  if (length < 2 || length > header.sections[DDF_RECORDS].length ||
      header.maxElements > (length - 1) * DDF_SECTOR / ELEMENT_SIZE) {
    return "record length without room";
  }
  return nullptr;
}

// --- Sections ---

static const CHAR8 *listFault(const UINT8 *bytes, UINTN size) {
  const DDF_LIST_HEAD *head = reinterpret_cast<const DDF_LIST_HEAD *>(bytes);
  return head->maximum > (size - sizeof(DDF_LIST_HEAD)) / sizeof(DDF_PD_ENTRY) ? "more entries than room" : nullptr;
}

// Slots with another signature are free, or a vendor's own, which has no checksum that we know of.
static const CHAR8 *slotsFault(const DDF_COPY &copy) {
  UINT32 slots = ddfRecordCapacity(copy);
  for (UINT32 i = 0; i < slots; i++) {
    const DDF_RECORD *slot = ddfRecordSlot(copy, i);
    bool used = slot->signature == DDF_RECORD_SIGNATURE || slot->signature == DDF_SPARE_SIGNATURE;
    if (used && slot->crc != ddfChecksum(slot, recordSize(copy.header))) {
      return "wrong checksum";
    }
  }
  return nullptr;
}

static const CHAR8 *sectionFault(const DDF_COPY &copy, UINT32 section) {
  const UINT8 *bytes = copy.sections[section];
  UINTN size = sectionSize(copy.header, section);
  if (section == DDF_RECORDS) {
    return slotsFault(copy);
  }
  const DDF_LIST_HEAD *head = reinterpret_cast<const DDF_LIST_HEAD *>(bytes); // all begin alike
  if (head->signature != g_sections[section].signature) {
    return "no signature";
  }
  if (head->crc != ddfChecksum(bytes, size)) {
    return "wrong checksum";
  }
  return section == DDF_PD_RECORDS || section == DDF_VD_RECORDS ? listFault(bytes, size) : nullptr;
}

static EFI_STATUS readSection(const DDF_SOURCE &source, UINT64 lba, DDF_COPY *copy, UINT32 section, DDF_FAULT *fault) {
  const DDF_SECTION_PLACE &place = copy->header.sections[section];
  UINT8 *bytes = static_cast<UINT8 *>(poolAllocate(sectionSize(copy->header, section)));
  if (bytes == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copy->sections[section] = bytes;
  if (EFI_ERROR(source.read(source.context, lba + place.offset, place.length, bytes))) {
    *fault = {"cannot be read", g_sections[section].name};
  } else if (const CHAR8 *what = sectionFault(*copy, section)) {
    *fault = {what, g_sections[section].name};
  }
  return EFI_SUCCESS;
}

// --- The copy ---

static DDF_FAULT readHeader(const DDF_SOURCE &source, const DDF_HEADER &anchor, DDF_HEADER_TYPE type,
                            DDF_HEADER *header) {
  UINT64 lba = headerLba(anchor, type);
  UINT64 lastLba = source.sectors - 1;
  if (lba >= lastLba) {
    return {"header outside the disk", nullptr};
  }
  if (EFI_ERROR(source.read(source.context, lba, 1, header))) {
    *header = {};
    return {"header cannot be read", nullptr};
  }
  DDF_FAULT fault = headerFault(*header, type);
  if (fault.what != nullptr) {
    return fault;
  }
  if (!matchesAnchor(*header, anchor)) {
    return {"header does not match the anchor", nullptr};
  }
  return {layoutFault(*header, lba, lastLba), nullptr};
}

EFI_STATUS readCopy(const DDF_SOURCE &source, const DDF_HEADER &anchor, DDF_HEADER_TYPE type, DDF_COPY *copy,
                    UINT32 *sequence, DDF_FAULT *fault) {
  *copy = {};
  *sequence = 0;
  if (type == DDF_SECONDARY && anchor.secondaryLba == DDF_NO_LBA) {
    *fault = {"there is none", nullptr};
    return EFI_SUCCESS;
  }
  *fault = readHeader(source, anchor, type, &copy->header);
  if (fault->what != nullptr) {
    return EFI_SUCCESS;
  }
  *sequence = copy->header.sequence;
  if (copy->header.openFlag != DDF_CLOSED) {
    *fault = {"left open by a writer", nullptr};
    return EFI_SUCCESS;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < DDF_SECTIONS && !EFI_ERROR(status) && fault->what == nullptr; i++) {
    status = readSection(source, headerLba(anchor, type), copy, i, fault);
  }
  if (EFI_ERROR(status) || fault->what != nullptr) {
    ddfFreeCopy(copy);
  }
  return status;
}
