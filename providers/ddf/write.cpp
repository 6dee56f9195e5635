// The parts of which a writer puts new metadata together: headers, checksums, places, new copies.

#include "providers/ddf/bytes.h"

void ddfSeal(DDF_COPY *copy) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    if (i != DDF_RECORDS) {
      DDF_LIST_HEAD *head = reinterpret_cast<DDF_LIST_HEAD *>(copy->sections[i]); // all begin alike
      head->crc = ddfChecksum(head, sectionSize(copy->header, i));
    }
  }
  UINT32 slots = ddfRecordCapacity(*copy);
  for (UINT32 at = 0; at < slots; at++) {
    DDF_RECORD *slot = ddfRecordSlot(*copy, at);
    if (slot->signature == DDF_RECORD_SIGNATURE || slot->signature == DDF_SPARE_SIGNATURE) {
      slot->crc = ddfChecksum(slot, recordSize(copy->header));
    }
  }
}

void ddfMakeHeader(const DDF_COPY &copy, DDF_HEADER_TYPE type, DDF_OPEN_FLAG open, UINT32 sequence, UINT32 time,
                   DDF_HEADER *header) {
  *header = copy.header;
  header->type = type;
  header->openFlag = type == DDF_ANCHOR ? DDF_OPEN_ANCHOR : open;
  header->sequence = type == DDF_ANCHOR ? 0xFFFFFFFF : sequence;
  header->time = time;
  header->crc = ddfChecksum(header, sizeof(*header));
}

DDF_EXTENT ddfSectionExtent(const DDF_COPY &copy, DDF_HEADER_TYPE type, DDF_SECTION section) {
  UINT64 lba = type == DDF_PRIMARY ? copy.header.primaryLba : copy.header.secondaryLba;
  const DDF_SECTION_PLACE &place = copy.header.sections[section];
  return {lba + place.offset, place.length};
}

// --- New copies ---

constexpr UINT32 PRIMARY_FROM_END = 32768; // as Linux has it; the secondary begins the reserve
constexpr UINT32 ELEMENT_SIZE = sizeof(DDF_U32) + sizeof(DDF_U64);
constexpr UINT32 MOST_SECTORS = 1024; // of a section

struct LENGTHS {
  UINT32 sections[DDF_SECTIONS];
  UINT32 record;
};

static LENGTHS lengthsFor(const DDF_LIMITS &limits) {
  UINT32 record = 1 + (limits.elements * ELEMENT_SIZE + DDF_SECTOR - 1) / DDF_SECTOR;
  UINT32 entriesPerSector = DDF_SECTOR / sizeof(DDF_PD_ENTRY);
  return {{1, (limits.pds + 1U) / entriesPerSector, (limits.vds + 1U) / entriesPerSector,
           (limits.partitions + 1U) * record, 1},
          record};
}

static bool hasRoom(const LENGTHS &lengths) {
  for (UINT32 length : lengths.sections) {
    if (length == 0 || length > MOST_SECTORS) {
      return false;
    }
  }
  return true;
}

static void fillHeader(const DDF_NEW_COPY &wanted, const LENGTHS &lengths, DDF_HEADER *header) {
  __builtin_memset(header, 0xFF, sizeof(*header));
  header->signature = DDF_HEADER_SIGNATURE;
  header->guid = wanted.set;
  copyBytes(header->revision, "01.02.00", sizeof(header->revision));
  header->foreignFlag = 0;
  header->grouping = 0;
  header->primaryLba = wanted.sectors - PRIMARY_FROM_END;
  header->secondaryLba = wanted.sectors - DDF_RESERVE;
  header->workspaceLength = PRIMARY_FROM_END;
  header->workspaceLba = wanted.sectors - DDF_RESERVE;
  header->maxPds = wanted.limits.pds;
  header->maxVds = wanted.limits.vds;
  header->maxPartitions = wanted.limits.partitions;
  header->recordLength = static_cast<UINT16>(lengths.record);
  header->maxElements = wanted.limits.elements;
  UINT32 offset = 1;
  for (UINT32 i = 0; i < DDF_LISTED_SECTIONS; i++) {
    UINT32 length = i < DDF_SECTIONS ? lengths.sections[i] : 0;
    header->sections[i].offset = length != 0 ? offset : DDF_ABSENT;
    header->sections[i].length = length;
    offset += length;
  }
}

static bool allocateSections(DDF_COPY *copy) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    copy->sections[i] = static_cast<UINT8 *>(poolAllocate(sectionSize(copy->header, i)));
    if (copy->sections[i] == nullptr) {
      ddfFreeCopy(copy);
      return false;
    }
  }
  return true;
}

static void fillList(UINT8 *bytes, DDF_SIGNATURE signature, UINT16 maximum) {
  DDF_LIST_HEAD *head = reinterpret_cast<DDF_LIST_HEAD *>(bytes);
  head->signature = signature;
  head->used = 0;
  head->maximum = maximum;
}

static void fillSections(const DDF_NEW_COPY &wanted, DDF_COPY *copy) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    __builtin_memset(copy->sections[i], 0xFF, sectionSize(copy->header, i));
  }
  fillList(copy->sections[DDF_PD_RECORDS], DDF_PD_SIGNATURE, wanted.limits.pds);
  fillList(copy->sections[DDF_VD_RECORDS], DDF_VD_SIGNATURE, wanted.limits.vds);
  DDF_CONTROLLER_DATA *controller = ddfControllerData(*copy);
  controller->signature = DDF_CONTROLLER_SIGNATURE;
  controller->guid = wanted.controller;
  for (UINT32 i = 0; i < 4; i++) {
    controller->type[i] = wanted.type[i];
  }
  copyBytes(controller->product, wanted.product, sizeof(controller->product));
  DDF_DISK_DATA *disk = ddfDiskData(*copy);
  disk->signature = DDF_PD_DATA_SIGNATURE;
  disk->guid = wanted.disk;
  disk->reference = wanted.reference;
  disk->forcedReference = 0;
  disk->forcedGuid = 0;
}

EFI_STATUS ddfNewCopy(const DDF_NEW_COPY &wanted, DDF_COPY *copy) {
  *copy = {};
  LENGTHS lengths = lengthsFor(wanted.limits);
  if (wanted.sectors <= DDF_RESERVE || !hasRoom(lengths)) {
    return EFI_INVALID_PARAMETER;
  }
  fillHeader(wanted, lengths, &copy->header);
  if (!allocateSections(copy)) {
    return EFI_OUT_OF_RESOURCES;
  }
  fillSections(wanted, copy);
  ddfSeal(copy);
  return EFI_SUCCESS;
}

EFI_STATUS ddfDuplicateCopy(const DDF_COPY &from, DDF_COPY *copy) {
  *copy = {from.header, {}};
  if (!allocateSections(copy)) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    copyBytes(copy->sections[i], from.sections[i], sectionSize(from.header, i));
  }
  return EFI_SUCCESS;
}
