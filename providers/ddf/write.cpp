// The parts of which a writer puts new metadata together: headers, checksums, places, new copies.

#include "providers/ddf/bytes.h"

namespace xyl::ddf {

void seal(Copy *copy) {
  for (UINT32 i = 0; i < sectionCount; ++i) {
    if (i != sectionRecords) {
      ListHead *head = reinterpret_cast<ListHead *>(copy->sections[i]); // all begin alike
      head->crc = checksum(head, sectionSize(copy->header, i));
    }
  }
  UINT32 slots = recordCapacity(*copy);
  for (UINT32 at = 0; at < slots; ++at) {
    Record *slot = recordAt(*copy, at);
    if (slot->signature == recordSignature || slot->signature == spareSignature) {
      slot->crc = checksum(slot, recordSize(copy->header));
    }
  }
}

void makeHeader(const Copy &copy, HeaderType type, OpenFlag open, UINT32 sequence, UINT32 time, Header *header) {
  *header = copy.header;
  header->type = type;
  header->openFlag = type == headerAnchor ? openFlagAnchor : open;
  header->sequence = type == headerAnchor ? 0xFFFFFFFF : sequence;
  header->time = time;
  header->crc = checksum(header, sizeof(*header));
}

Extent extentOf(const Copy &copy, HeaderType type, Section section) {
  UINT64 lba = type == headerPrimary ? copy.header.primaryLba : copy.header.secondaryLba;
  const SectionPlace &place = copy.header.sections[section];
  return {lba + place.offset, place.length};
}

// --- New copies ---

constexpr UINT32 primaryFromEnd = 32768; // as Linux has it; the secondary begins the reserve

struct Lengths {
  UINT32 sections[sectionCount];
  UINT32 record;
};

static Lengths lengthsFor(const Limits &limits) {
  UINT32 record = 1 + (limits.elements * elementSize + sectorSize - 1) / sectorSize;
  UINT32 entriesPerSector = sectorSize / sizeof(PdEntry);
  return {{1, (limits.pds + 1U) / entriesPerSector, (limits.vds + 1U) / entriesPerSector,
           (limits.partitions + 1U) * record, 1},
          record};
}

static bool hasRoom(const Lengths &lengths) {
  for (UINT32 length : lengths.sections) {
    if (length == 0 || length > mostSectors) {
      return false;
    }
  }
  return true;
}

static void fillHeader(const NewCopy &wanted, const Lengths &lengths, Header *header) {
  __builtin_memset(header, 0xFF, sizeof(*header));
  header->signature = headerSignature;
  header->guid = wanted.set;
  copyBytes(header->revision, "01.02.00", sizeof(header->revision));
  header->foreignFlag = 0;
  header->grouping = 0;
  header->primaryLba = wanted.sectors - primaryFromEnd;
  header->secondaryLba = wanted.sectors - reserveSectors;
  header->workspaceLength = primaryFromEnd;
  header->workspaceLba = wanted.sectors - reserveSectors;
  header->maxPds = wanted.limits.pds;
  header->maxVds = wanted.limits.vds;
  header->maxPartitions = wanted.limits.partitions;
  header->recordLength = static_cast<UINT16>(lengths.record);
  header->maxElements = wanted.limits.elements;
  UINT32 offset = 1;
  for (UINT32 i = 0; i < listedSections; ++i) {
    UINT32 length = i < sectionCount ? lengths.sections[i] : 0;
    header->sections[i].offset = length != 0 ? offset : absent;
    header->sections[i].length = length;
    offset += length;
  }
}

static bool allocateSections(Copy *copy) {
  for (UINT32 i = 0; i < sectionCount; ++i) {
    copy->sections[i] = static_cast<UINT8 *>(poolAllocate(sectionSize(copy->header, i)));
    if (copy->sections[i] == nullptr) {
      freeCopy(copy);
      return false;
    }
  }
  return true;
}

static void fillList(UINT8 *bytes, Signature signature, UINT16 maximum) {
  ListHead *head = reinterpret_cast<ListHead *>(bytes);
  head->signature = signature;
  head->used = 0;
  head->maximum = maximum;
}

static void fillSections(const NewCopy &wanted, Copy *copy) {
  for (UINT32 i = 0; i < sectionCount; ++i) {
    __builtin_memset(copy->sections[i], 0xFF, sectionSize(copy->header, i));
  }
  fillList(copy->sections[sectionPds], pdSignature, wanted.limits.pds);
  fillList(copy->sections[sectionVds], vdSignature, wanted.limits.vds);
  ControllerData *controller = controllerDataOf(*copy);
  controller->signature = controllerSignature;
  controller->guid = wanted.controller;
  for (UINT32 i = 0; i < 4; ++i) {
    controller->type[i] = wanted.type[i];
  }
  copyBytes(controller->product, wanted.product, sizeof(controller->product));
  DiskData *disk = diskDataOf(*copy);
  disk->signature = pdDataSignature;
  disk->guid = wanted.disk;
  disk->reference = wanted.reference;
  disk->forcedReference = 0;
  disk->forcedGuid = 0;
}

EFI_STATUS makeNewCopy(const NewCopy &wanted, Copy *copy) {
  *copy = {};
  Lengths lengths = lengthsFor(wanted.limits);
  if (wanted.sectors <= reserveSectors || !hasRoom(lengths)) {
    return EFI_INVALID_PARAMETER;
  }
  fillHeader(wanted, lengths, &copy->header);
  if (!allocateSections(copy)) {
    return EFI_OUT_OF_RESOURCES;
  }
  fillSections(wanted, copy);
  seal(copy);
  return EFI_SUCCESS;
}

EFI_STATUS duplicateCopy(const Copy &from, Copy *copy) {
  *copy = {from.header, {}};
  if (!allocateSections(copy)) {
    return EFI_OUT_OF_RESOURCES;
  }
  for (UINT32 i = 0; i < sectionCount; ++i) {
    copyBytes(copy->sections[i], from.sections[i], sectionSize(from.header, i));
  }
  return EFI_SUCCESS;
}

} // namespace xyl::ddf
