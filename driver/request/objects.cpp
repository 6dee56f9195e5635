// Object elements into records: enclosures, disks and virtual disks, and the walk that the adapter shares.
#include "base/log.h"
#include "base/pool.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"

namespace xyl::driver {

// parseEnclosure when the configuration has room for its disks.
static EFI_STATUS parseNestedEnclosure(const XML_NODE *element, RAID_ENCLOSURE_RECORD *record, RAID_CONFIG *config);

static UINT32 objectType(const void *record) {
  return static_cast<const RAID_RECORD_HEADER *>(record)->ObjectType;
}

// --- Nested objects, for which there is room; a record that fails counts, since it has members to give back ---

static EFI_STATUS readEnclosure(const XML_NODE *element, RAID_CONFIG *config) {
  return parseNestedEnclosure(element, &config->enclosures[config->enclosureCount++], config);
}

static EFI_STATUS readDisk(const XML_NODE *element, RAID_CONFIG *config) {
  return parsePD(element, &config->physicalDisks[config->physicalDiskCount++]);
}

// Counts the disk in its enclosure at once, up to what the count can hold, among the configuration's disks only when it
// could be read.
static EFI_STATUS readEnclosureDisk(const XML_NODE *element, const FieldRow &row, ObjectReading &reading) {
  RAID_CONFIG *config = reading.config;
  if (!fieldIsFull(reading.record, row.count)) {
    fieldStore(reading.record, row.count, fieldLoad(reading.record, row.count) + 1);
  }
  RAID_PD_RECORD *record = &config->physicalDisks[config->physicalDiskCount];
  EFI_STATUS status = parsePD(element, record);
  if (EFI_ERROR(status)) {
    releaseRecordMembers(record);
    return status;
  }
  ++config->physicalDiskCount;
  return EFI_SUCCESS;
}

static EFI_STATUS readVirtualDisk(const XML_NODE *element, RAID_CONFIG *config) {
  return parseVD(element, &config->logicalDisks[config->logicalDiskCount++]);
}

static EFI_STATUS readRow(const XML_NODE *element, const FieldRow &row, ObjectReading &reading) {
  switch (row.format) { // not taken: every format is a case
  case FieldFormat::decimal:
  case FieldFormat::hex:
  case FieldFormat::wideText:
  case FieldFormat::fixedText:
  case FieldFormat::name:
  case FieldFormat::boolean:
  case FieldFormat::mark:
  case FieldFormat::mask:
  case FieldFormat::cachePolicy:
  case FieldFormat::pciIdentity:
  case FieldFormat::raidLevelDesc:
  case FieldFormat::idList:
    break;
  case FieldFormat::rates:
    return readRate(element, row, reading);
  case FieldFormat::raidLevelParams:
    return readLevelParams(element, row, reading);
  case FieldFormat::enclosure:
    return readEnclosure(element, reading.config);
  case FieldFormat::physicalDisk:
    return row.count.width != 0 ? readEnclosureDisk(element, row, reading) : readDisk(element, reading.config);
  case FieldFormat::virtualDisk:
    return readVirtualDisk(element, reading.config);
  case FieldFormat::keyId:
    return readKeyId(element, reading.config);
  }
  return readField(element, row, reading.record);
}

LoggableText g_unreadElement;

// Elements around it come later.
static void noteUnread(const XML_NODE *element) {
  if (g_unreadElement.text[0] == 0) {
    loggableText(element->Name, g_unreadElement);
  }
}

EFI_STATUS readObject(const XML_NODE *element, ObjectReading &reading) {
  const FieldTable *tables[] = {&g_headerFields, objectFields(reading.kind)};
  UINT32 expected[] = {0, 0};
  UINT32 first = 0;
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    // A disk's "ObjectID" gives two fields. All other elements have one row, most likely in the table that the one
    // before had its row in.
    bool wanted = true;
    for (UINT32 turn = 0, i = first; turn < 2 && wanted; ++turn, i ^= 1) {
      const FieldRow *row = readingRow(*tables[i], child->Name, &expected[i]);
      EFI_STATUS status = row == nullptr ? EFI_SUCCESS : readRow(child, *row, reading);
      if (EFI_ERROR(status)) {
        noteUnread(child);
        return status;
      }
      wanted = row == nullptr || (row->flags & fieldShared) != 0;
      first = wanted ? first : i;
    }
    if (objectType(reading.record) != reading.kind) {
      noteUnread(child);
      return EFI_INVALID_PARAMETER;
    }
  }
  return EFI_SUCCESS;
}

// Gives back what a record that failed must not keep: its name and its id list. It stays a record of its own kind, so
// that a later release finds the right members.
static void dropUnfinished(ObjectReading &reading) {
  RAID_RECORD_HEADER *header = static_cast<RAID_RECORD_HEADER *>(reading.record);
  poolFree(header->Name);
  header->Name = nullptr;
  header->ObjectType = reading.kind;
  const FieldTable *fields = objectFields(reading.kind);
  for (UINT32 i = 0; i < fields->rowCount; ++i) {
    const FieldRow &row = fields->rows[i];
    if (row.format == FieldFormat::idList) {
      poolFree(fieldPointer(reading.record, row.place));
      fieldStorePointer(reading.record, row.place, nullptr);
      fieldStore(reading.record, row.count, 0);
    }
  }
}

static EFI_STATUS parseObject(const CHAR8 *function, const XML_NODE *element, ObjectReading reading) {
  logEntered(function);
  if (element == nullptr || reading.record == nullptr) {
    return logExit(function, EFI_INVALID_PARAMETER);
  }
  zeroBytes(reading.record, RAID_RECORD_SIZE);
  static_cast<RAID_RECORD_HEADER *>(reading.record)->ObjectType = reading.kind;
  EFI_STATUS status = readObject(element, reading);
  if (EFI_ERROR(status)) {
    dropUnfinished(reading);
  }
  return logExit(function, status);
}

static EFI_STATUS parseNestedEnclosure(const XML_NODE *element, RAID_ENCLOSURE_RECORD *record, RAID_CONFIG *config) {
  ObjectReading reading = {};
  reading.kind = RAID_OBJECT_ENCLOSURE;
  reading.record = config == nullptr ? nullptr : record;
  reading.config = config;
  return parseObject("parseEnclosure", element, reading);
}

EFI_STATUS parseEnclosure(const XML_NODE *element, RAID_ENCLOSURE_RECORD *record, RAID_CONFIG *config) {
  bool isWhole = element != nullptr && record != nullptr && config != nullptr;
  if (isWhole && !makeRoomForDisks(element, config)) {
    logEntered("parseEnclosure");
    return logExit("parseEnclosure", EFI_OUT_OF_RESOURCES);
  }
  return parseNestedEnclosure(element, record, config);
}

EFI_STATUS parsePD(const XML_NODE *element, RAID_PD_RECORD *record) {
  ObjectReading reading = {};
  reading.kind = RAID_OBJECT_PHYSICAL_DISK;
  reading.record = record;
  return parseObject("parsePD", element, reading);
}

EFI_STATUS parseVD(const XML_NODE *element, RAID_VD_RECORD *record) {
  ObjectReading reading = {};
  reading.kind = RAID_OBJECT_VIRTUAL_DISK;
  reading.record = record;
  return parseObject("parseVD", element, reading);
}

} // namespace xyl::driver
