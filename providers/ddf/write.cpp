// The parts of which a writer puts new metadata together: headers, checksums, places, new copies.

#include "providers/ddf/parts.h"

void ddfSeal(DDF_COPY *copy) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    UINT32 length = copy->header.sections[i].length;
    if (i != DDF_RECORDS) {
      bool list = i == DDF_PD_RECORDS || i == DDF_VD_RECORDS;
      DDF_LIST_HEAD *head = reinterpret_cast<DDF_LIST_HEAD *>(copy->sections[i]); // all begin alike
      head->crc = ddfChecksum(head, (list ? UINTN{length} : 1) * DDF_SECTOR);
    }
  }
  UINT32 slots = ddfRecordCapacity(*copy);
  for (UINT32 at = 0; at < slots; at++) {
    DDF_RECORD *slot = ddfRecordSlot(*copy, at);
    if (slot->signature == DDF_RECORD_SIGNATURE || slot->signature == DDF_SPARE_SIGNATURE) {
      slot->crc = ddfChecksum(slot, UINTN{copy->header.recordLength} * DDF_SECTOR);
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

// What Linux writes, all of it: lengths, limits, and where the copies lie, from the end of the disk.
constexpr UINT32 LENGTHS[DDF_SECTIONS] = {1, 128, 32, 455, 1};
constexpr UINT16 MOST_PDS = 1023, MOST_VDS = 255, MOST_PARTITIONS = 64, RECORD_LENGTH = 7, MOST_ELEMENTS = 256;
constexpr UINT32 PRIMARY_FROM_END = 32768;
static_assert((MOST_PARTITIONS + 1) * RECORD_LENGTH == LENGTHS[DDF_RECORDS]);

static void fillHeader(const DDF_NEW_COPY &wanted, DDF_HEADER *header) {
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
  header->maxPds = MOST_PDS;
  header->maxVds = MOST_VDS;
  header->maxPartitions = MOST_PARTITIONS;
  header->recordLength = RECORD_LENGTH;
  header->maxElements = MOST_ELEMENTS;
  UINT32 offset = 1;
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    header->sections[i].offset = offset;
    header->sections[i].length = LENGTHS[i];
    offset += LENGTHS[i];
  }
  for (UINT32 i = DDF_SECTIONS; i < DDF_LISTED_SECTIONS; i++) {
    header->sections[i].offset = DDF_ABSENT;
    header->sections[i].length = 0;
  }
}

static bool allocateSections(DDF_COPY *copy) {
  for (UINT32 i = 0; i < DDF_SECTIONS; i++) {
    copy->sections[i] = static_cast<UINT8 *>(poolAllocate(UINTN{copy->header.sections[i].length} * DDF_SECTOR));
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
    __builtin_memset(copy->sections[i], 0xFF, UINTN{LENGTHS[i]} * DDF_SECTOR);
  }
  fillList(copy->sections[DDF_PD_RECORDS], DDF_PD_SIGNATURE, MOST_PDS);
  fillList(copy->sections[DDF_VD_RECORDS], DDF_VD_SIGNATURE, MOST_VDS);
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
  if (wanted.sectors <= DDF_RESERVE) {
    return EFI_INVALID_PARAMETER;
  }
  fillHeader(wanted, &copy->header);
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
    copyBytes(copy->sections[i], from.sections[i], UINTN{from.header.sections[i].length} * DDF_SECTOR);
  }
  return EFI_SUCCESS;
}

void ddfFreeCopy(DDF_COPY *copy) {
  for (UINT8 *&section : copy->sections) {
    poolRelease(section);
  }
  *copy = {};
}
