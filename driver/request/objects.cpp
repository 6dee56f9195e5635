// Object elements into records: enclosures, disks and virtual disks, and the walk that the adapter shares.
#include "base/log.h"
#include "base/pool.h"
#include "driver/request/reader.h"
#include "driver/request/request.h"

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
static EFI_STATUS readEnclosureDisk(const XML_NODE *element, const FIELD_ROW &row, OBJECT_READING &reading) {
  RAID_CONFIG *config = reading.Config;
  if (!fieldIsFull(reading.Record, row.Count)) {
    fieldStore(reading.Record, row.Count, fieldLoad(reading.Record, row.Count) + 1);
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

static EFI_STATUS readRow(const XML_NODE *element, const FIELD_ROW &row, OBJECT_READING &reading) {
  switch (row.Format) { // not taken: every format is a case
  case FORMAT_DECIMAL:
  case FORMAT_HEX:
  case FORMAT_WIDE_TEXT:
  case FORMAT_FIXED_TEXT:
  case FORMAT_NAME:
  case FORMAT_BOOLEAN:
  case FORMAT_MARK:
  case FORMAT_MASK:
  case FORMAT_CACHE_POLICY:
  case FORMAT_PCI_IDENTITY:
  case FORMAT_RAID_LEVEL_DESC:
  case FORMAT_ID_LIST:
    break;
  case FORMAT_RATES:
    return readRate(element, row, reading);
  case FORMAT_RAID_LEVEL_PARAMS:
    return readLevelParams(element, row, reading);
  case FORMAT_ENCLOSURE:
    return readEnclosure(element, reading.Config);
  case FORMAT_PHYSICAL_DISK:
    return row.Count.Width != 0 ? readEnclosureDisk(element, row, reading) : readDisk(element, reading.Config);
  case FORMAT_VIRTUAL_DISK:
    return readVirtualDisk(element, reading.Config);
  case FORMAT_KEY_ID:
    return readKeyId(element, reading.Config);
  }
  return readField(element, row, reading.Record);
}

LOGGABLE_TEXT g_unreadElement;

// Elements around it come later.
static void noteUnread(const XML_NODE *element) {
  if (g_unreadElement.Text[0] == 0) {
    loggableText(element->Name, g_unreadElement);
  }
}

EFI_STATUS readObject(const XML_NODE *element, OBJECT_READING &reading) {
  const FIELD_TABLE *tables[] = {&g_headerFields, objectFields(reading.Kind)};
  UINT32 expected[] = {0, 0};
  UINT32 first = 0;
  for (const XML_NODE *child = element->FirstChild; child != nullptr; child = child->NextSibling) {
    // A disk's "ObjectID" gives two fields. All other elements have one row, most likely in the table that the one
    // before had its row in.
    bool wanted = true;
    for (UINT32 turn = 0, i = first; turn < 2 && wanted; ++turn, i ^= 1) {
      const FIELD_ROW *row = readingRow(*tables[i], child->Name, &expected[i]);
      EFI_STATUS status = row == nullptr ? EFI_SUCCESS : readRow(child, *row, reading);
      if (EFI_ERROR(status)) {
        noteUnread(child);
        return status;
      }
      wanted = row == nullptr || (row->Flags & FIELD_SHARED) != 0;
      first = wanted ? first : i;
    }
    if (objectType(reading.Record) != reading.Kind) {
      noteUnread(child);
      return EFI_INVALID_PARAMETER;
    }
  }
  return EFI_SUCCESS;
}

// Gives back what a record that failed must not keep: its name and its id list. It stays a record of its own kind, so
// that a later release finds the right members.
static void dropUnfinished(OBJECT_READING &reading) {
  RAID_RECORD_HEADER *header = static_cast<RAID_RECORD_HEADER *>(reading.Record);
  poolFree(header->Name);
  header->Name = nullptr;
  header->ObjectType = reading.Kind;
  const FIELD_TABLE *fields = objectFields(reading.Kind);
  for (UINT32 i = 0; i < fields->RowCount; ++i) {
    const FIELD_ROW &row = fields->Rows[i];
    if (row.Format == FORMAT_ID_LIST) {
      poolFree(fieldPointer(reading.Record, row.Place));
      fieldStorePointer(reading.Record, row.Place, nullptr);
      fieldStore(reading.Record, row.Count, 0);
    }
  }
}

static EFI_STATUS parseObject(const CHAR8 *function, const XML_NODE *element, OBJECT_READING reading) {
  logEntered(function);
  if (element == nullptr || reading.Record == nullptr) {
    return logExit(function, EFI_INVALID_PARAMETER);
  }
  zeroBytes(reading.Record, RAID_RECORD_SIZE);
  static_cast<RAID_RECORD_HEADER *>(reading.Record)->ObjectType = reading.Kind;
  EFI_STATUS status = readObject(element, reading);
  if (EFI_ERROR(status)) {
    dropUnfinished(reading);
  }
  return logExit(function, status);
}

static EFI_STATUS parseNestedEnclosure(const XML_NODE *element, RAID_ENCLOSURE_RECORD *record, RAID_CONFIG *config) {
  OBJECT_READING reading = {};
  reading.Kind = RAID_OBJECT_ENCLOSURE;
  reading.Record = config == nullptr ? nullptr : record;
  reading.Config = config;
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
  OBJECT_READING reading = {};
  reading.Kind = RAID_OBJECT_PHYSICAL_DISK;
  reading.Record = record;
  return parseObject("parsePD", element, reading);
}

EFI_STATUS parseVD(const XML_NODE *element, RAID_VD_RECORD *record) {
  OBJECT_READING reading = {};
  reading.Kind = RAID_OBJECT_VIRTUAL_DISK;
  reading.Record = record;
  return parseObject("parseVD", element, reading);
}
