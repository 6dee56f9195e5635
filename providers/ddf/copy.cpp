// One copy of a disk's metadata: read section by section, each checked before anything in it is used.

#include "providers/ddf/copy.h"

namespace xyl::ddf {

struct SectionRow {
  const CHAR8 *name;
  UINT32 signature; // 0: the section is judged slot by slot
};

static constexpr SectionRow g_sections[sectionCount] = {
    {"controller data", controllerSignature}, {"physical disk records", pdSignature},
    {"virtual disk records", vdSignature},    {"configuration records", 0},
    {"disk data", pdDataSignature},
};

// --- Headers ---

static bool isRevision(const CHAR8 (&revision)[8]) {
  return __builtin_memcmp(revision, "01.02.00", 8) == 0 || __builtin_memcmp(revision, "01.00.00", 8) == 0;
}

Fault headerFault(const Header &header, HeaderType type) {
  constexpr const CHAR8 *names[] = {"anchor", "primary header", "secondary header"};
  const CHAR8 *where = names[type];
  if (header.signature != headerSignature) {
    return {"no signature", where};
  }
  if (header.crc != checksum(&header, sizeof(header))) {
    return {"wrong checksum", where};
  }
  if (!isRevision(header.revision)) {
    return {"unknown revision", where};
  }
  if (header.type != type || isFree(header.guid)) {
    return {"header of another kind", where};
  }
  return {};
}

static UINT64 headerLba(const Header &header, HeaderType type) {
  return type == headerPrimary ? header.primaryLba : header.secondaryLba;
}

static bool matchesAnchor(const Header &header, const Header &anchor) {
  constexpr UINTN equalFrom = offsetof(Header, pad2);
  const UINT8 *a = reinterpret_cast<const UINT8 *>(&header);
  const UINT8 *b = reinterpret_cast<const UINT8 *>(&anchor);
  return sameGuid(header.guid, anchor.guid) &&
         __builtin_memcmp(header.revision, anchor.revision, sizeof(header.revision)) == 0 &&
         header.primaryLba == anchor.primaryLba && header.secondaryLba == anchor.secondaryLba &&
         __builtin_memcmp(a + equalFrom, b + equalFrom, sizeof(Header) - equalFrom) == 0;
}

UINT64 copyLength(const Header &header) {
  UINT64 length = 1;
  for (UINT32 i = 0; i < sectionCount; ++i) {
    UINT64 end = UINT64{header.sections[i].offset} + header.sections[i].length;
    length = end > length ? end : length;
  }
  return length;
}

// --- Where the sections lie ---

static bool overlap(const SectionPlace &a, const SectionPlace &b) {
  return UINT64{a.offset} < UINT64{b.offset} + b.length && UINT64{b.offset} < UINT64{a.offset} + a.length;
}

// The lengths must also have room for what the header promises.
static const CHAR8 *layoutFault(const Header &header, UINT64 lba, UINT64 lastLba) {
  for (UINT32 i = 0; i < sectionCount; ++i) {
    const SectionPlace &place = header.sections[i];
    if (place.offset == 0 || place.length == 0 || place.length > mostSectors ||
        !fits(place.offset, place.length, lastLba - lba)) {
      return "section in an impossible place";
    }
    for (UINT32 j = 0; j < i; ++j) {
      if (overlap(place, header.sections[j])) {
        return "sections that overlap";
      }
    }
  }
  UINT32 length = header.recordLength;
  if (length < 2 || length > header.sections[sectionRecords].length ||
      header.maxElements > (length - 1) * sectorSize / elementSize) {
    return "record length without room";
  }
  return nullptr;
}

// --- Sections ---

static const CHAR8 *listFault(const UINT8 *bytes, UINTN size) {
  const ListHead *head = reinterpret_cast<const ListHead *>(bytes);
  return head->maximum > (size - sizeof(ListHead)) / sizeof(PdEntry) ? "more entries than room" : nullptr;
}

// Slots with another signature are free, or a vendor's own, which has no checksum that we know of.
static const CHAR8 *slotsFault(const Copy &copy) {
  UINT32 slots = recordCapacity(copy);
  for (UINT32 i = 0; i < slots; ++i) {
    const Record *slot = recordAt(copy, i);
    bool used = slot->signature == recordSignature || slot->signature == spareSignature;
    if (used && slot->crc != checksum(slot, recordSize(copy.header))) {
      return "wrong checksum";
    }
  }
  return nullptr;
}

static const CHAR8 *sectionFault(const Copy &copy, UINT32 section) {
  const UINT8 *bytes = copy.sections[section];
  UINTN size = sectionSize(copy.header, section);
  if (section == sectionRecords) {
    return slotsFault(copy);
  }
  const ListHead *head = reinterpret_cast<const ListHead *>(bytes); // all begin alike
  if (head->signature != g_sections[section].signature) {
    return "no signature";
  }
  if (head->crc != checksum(bytes, size)) {
    return "wrong checksum";
  }
  return section == sectionPds || section == sectionVds ? listFault(bytes, size) : nullptr;
}

static EFI_STATUS readSection(const Source &source, UINT64 lba, Copy *copy, UINT32 section, Fault *fault) {
  const SectionPlace &place = copy->header.sections[section];
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

static Fault readHeader(const Source &source, const Header &anchor, HeaderType type, Header *header) {
  UINT64 lba = headerLba(anchor, type);
  UINT64 lastLba = source.sectors - 1;
  if (lba >= lastLba) {
    return {"header outside the disk", nullptr};
  }
  if (EFI_ERROR(source.read(source.context, lba, 1, header))) {
    *header = {};
    return {"header cannot be read", nullptr};
  }
  Fault fault = headerFault(*header, type);
  if (fault.what != nullptr) {
    return fault;
  }
  if (!matchesAnchor(*header, anchor)) {
    return {"header does not match the anchor", nullptr};
  }
  return {layoutFault(*header, lba, lastLba), nullptr};
}

EFI_STATUS readCopy(const Source &source, const Header &anchor, HeaderType type, Copy *copy, UINT32 *sequence,
                    Fault *fault) {
  *copy = {};
  *sequence = 0;
  if (type == headerSecondary && anchor.secondaryLba == noLba) {
    *fault = {"there is none", nullptr};
    return EFI_SUCCESS;
  }
  *fault = readHeader(source, anchor, type, &copy->header);
  if (fault->what != nullptr) {
    return EFI_SUCCESS;
  }
  *sequence = copy->header.sequence;
  if (copy->header.openFlag != openFlagClosed) {
    *fault = {"left open by a writer", nullptr};
    return EFI_SUCCESS;
  }
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < sectionCount && !EFI_ERROR(status) && fault->what == nullptr; ++i) {
    status = readSection(source, headerLba(anchor, type), copy, i, fault);
  }
  if (EFI_ERROR(status) || fault->what != nullptr) {
    freeCopy(copy);
  }
  return status;
}

} // namespace xyl::ddf
