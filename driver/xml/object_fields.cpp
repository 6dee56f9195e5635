#include "driver/xml/object_fields.h"

namespace xyl::driver {

// The pieces of a row that one member gives: element name, place. FIELD_AS is for an element with another name.
#define FIELD(record, member) #member, PLACE(record, member)
#define FIELD_AS(element, record, member) element, PLACE(record, member)
#define PLACE(record, member) placeOf(offsetof(record, member), sizeof(record::member))

static consteval FieldPlace placeOf(UINTN offset, UINTN width) {
  return {static_cast<UINT16>(offset), static_cast<UINT16>(width)};
}

// Row builders, so that a table shows only what matters for each element.

static consteval FieldRow row(const CHAR8 *element, FieldPlace place, FieldFormat format, UINT16 flags = 0) {
  FieldRow result = {};
  result.element = element;
  result.place = place;
  result.format = format;
  result.flags = flags;
  return result;
}

static constexpr UINT8 allDigits = 20;
static constexpr UINT8 lengthBits = 0x7F;

static consteval FieldRow decimal(const CHAR8 *element, FieldPlace place, UINT8 digits, UINT16 flags = 0) {
  FieldRow result = row(element, place, FieldFormat::decimal, flags);
  result.length = digits & lengthBits;
  return result;
}

// A decimal that shares its field with the boolean in bit 0.
static consteval FieldRow decimalAboveBit0(const CHAR8 *element, FieldPlace place) {
  FieldRow result = decimal(element, place, 7);
  result.mask = 0xFFFFFFFEU;
  result.shift = 1;
  return result;
}

static consteval FieldRow hex(const CHAR8 *element, FieldPlace place, UINT8 digits) {
  FieldRow result = row(element, place, FieldFormat::hex);
  result.length = digits & lengthBits;
  return result;
}

static consteval FieldRow bit0(const CHAR8 *element, FieldPlace place, UINT16 flags = 0) {
  FieldRow result = row(element, place, FieldFormat::boolean, flags);
  result.mask = 1;
  return result;
}

static consteval FieldRow name(const CHAR8 *element, FieldPlace place, UINT8 length, const VALUE_NAME_TABLE *names,
                               UINT16 flags = 0) {
  FieldRow result = row(element, place, FieldFormat::name, flags);
  result.length = length & lengthBits;
  result.names = names;
  return result;
}

static consteval FieldRow mode(const CHAR8 *element, FieldPlace place, UINT8 length, const VALUE_NAME_TABLE *names,
                               UINT32 mask = 0x7F, UINT16 flags = 0) {
  FieldRow result = name(element, place, length, names, static_cast<UINT16>(fieldMode | fieldStrict | flags));
  result.mask = mask;
  return result;
}

static consteval FieldRow mask(const CHAR8 *element, FieldPlace place, const CHAR8 *item, UINT8 length,
                               const VALUE_NAME_TABLE *names, UINT16 flags = 0) {
  FieldRow result = row(element, place, FieldFormat::mask, flags);
  result.length = length & lengthBits;
  result.names = names;
  result.item = item;
  return result;
}

static consteval FieldRow counted(FieldRow result, FieldPlace count) {
  result.count = count;
  return result;
}

static consteval FieldRow inside(FieldRow result, const FieldTable *fields) {
  result.fields = fields;
  return result;
}

static consteval FieldRow cachePolicy(const CHAR8 *element, FieldPlace place) {
  return inside(row(element, place, FieldFormat::cachePolicy), &g_cachePolicyGroups);
}

static consteval FieldRow levelParams(const CHAR8 *element, FieldPlace place, const CHAR8 *item) {
  FieldRow result = inside(row(element, place, FieldFormat::raidLevelParams), &g_levelDescFields);
  result.item = item;
  return result;
}

// Objects inside an object are read by its table and written by the document's assembler.
static consteval FieldRow object(const CHAR8 *element, FieldFormat format, const FieldTable *fields) {
  return inside(row(element, {}, format, fieldReadOnly), fields);
}

static consteval FieldRow idList(const CHAR8 *element, FieldPlace place, FieldPlace count) {
  FieldRow result = counted(row(element, place, FieldFormat::idList), count);
  result.length = 7;
  return result;
}

static consteval FieldRow logged(FieldRow result) {
  result.flags |= fieldLogged;
  return result;
}

static consteval FieldRow mark(const CHAR8 *element, FieldPlace place, UINT32 bit) {
  FieldRow result = row(element, place, FieldFormat::mark, fieldMode);
  result.mask = bit;
  return result;
}

static consteval FieldRow group(const CHAR8 *item, UINT32 bits, const VALUE_NAME_TABLE *names) {
  FieldRow result = mask(item, {0, sizeof(UINT32)}, item, 24, names);
  result.mask = bits;
  return result;
}

static constexpr UINT16 versionedText = fieldWhenVersioned | fieldWhenNotZero;

static constexpr FieldRow g_headerRows[] = {
    name(FIELD(RAID_RECORD_HEADER, ObjectType), 19, g_objectTypeTable),
    decimal(FIELD(RAID_RECORD_HEADER, ObjectID), 7, fieldShared),
    row(FIELD(RAID_RECORD_HEADER, Name), FieldFormat::wideText, fieldNullNoText),
    decimal(FIELD(RAID_RECORD_HEADER, ObjVersion), 1, fieldWhenVersioned),
    row(FIELD(RAID_RECORD_HEADER, FQDD), FieldFormat::wideText, fieldWhenVersioned),
};

static constexpr FieldRow g_adapterRows[] = {
    hex(FIELD(RAID_ADAPTER_RECORD, WWN), 16),
    inside(row(FIELD(RAID_ADAPTER_RECORD, PCIID), FieldFormat::pciIdentity), &g_pciIdentityFields),
    mask(FIELD(RAID_ADAPTER_RECORD, SupportedRAIDLevels), "RaidLevel", 14, g_raidLevelTable, fieldItemAlias),
    mask(FIELD(RAID_ADAPTER_RECORD, SupportedDiskProtocols), "Protocol", 14, g_protocolTable),
    mask(FIELD(RAID_ADAPTER_RECORD, Attributes), "Attrib", 24, g_adapterAttribTable),
    decimal(FIELD(RAID_ADAPTER_RECORD, MaxLDs), 7),
    decimal(FIELD(RAID_ADAPTER_RECORD, MaxPDsPerSpan), 7),
    decimal(FIELD(RAID_ADAPTER_RECORD, MaxSpansPerLD), 7),
    row(FIELD(RAID_ADAPTER_RECORD, FirmwareVersion), FieldFormat::wideText),
    levelParams(FIELD(RAID_ADAPTER_RECORD, RAIDLevelParams), "RAIDLevelDesc"),
    mode(FIELD(RAID_ADAPTER_RECORD, SecurityMode), 14, g_securityModeTable, 0x7F, fieldReadOr),
    mode(FIELD(RAID_ADAPTER_RECORD, CheckConsistencyMode), 24, g_ccModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, LearnMode), 24, g_learnModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, LoadBalanceMode), 24, g_loadBalanceModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, UncertifiedMode), 24, g_uncertifiedModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, CopyBackMode), 24, g_copyBackModeTable),
    mark(FIELD_AS("CorrectUnconfiguredAreas", RAID_ADAPTER_RECORD, PatrolReadMode),
         RAID_PATROL_READ_MODE_CORRECT_AREAS),
    mode(FIELD(RAID_ADAPTER_RECORD, PatrolReadMode), 24, g_patrolReadModeTable, RAID_PATROL_READ_MODE_MASK,
         fieldReadOr),
    inside(row(FIELD_AS("Rate", RAID_ADAPTER_RECORD, Rates), FieldFormat::rates), &g_rateFields),
    mask(FIELD(RAID_ADAPTER_RECORD, CapableSpeeds), "Speed", 24, g_speedTable),
    object("Enclosure", FieldFormat::enclosure, &g_enclosureFields),
    object("PD", FieldFormat::physicalDisk, &g_pdFields),
    object("VD", FieldFormat::virtualDisk, &g_vdFields),
    row("Keyid", {}, FieldFormat::keyId, fieldReadOnly),
};

static constexpr FieldRow g_enclosureRows[] = {
    decimal(FIELD(RAID_ENCLOSURE_RECORD, DeviceID), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, SlotCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, Position), 7),
    bit0(FIELD_AS("Multipath", RAID_ENCLOSURE_RECORD, MultipathPort), fieldFirstLetter),
    decimalAboveBit0(FIELD_AS("Port", RAID_ENCLOSURE_RECORD, MultipathPort)),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, EMMCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, FanCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, PSUCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, TempProbeCount), 7),
    row(FIELD(RAID_ENCLOSURE_RECORD, Revision), FieldFormat::fixedText, versionedText),
    row(FIELD(RAID_ENCLOSURE_RECORD, AssetTag), FieldFormat::fixedText, versionedText),
    row(FIELD(RAID_ENCLOSURE_RECORD, ServiceTag), FieldFormat::fixedText, versionedText),
    counted(object("PD", FieldFormat::physicalDisk, &g_pdFields), PLACE(RAID_ENCLOSURE_RECORD, PDCount)),
};

static constexpr FieldRow g_pdRows[] = {
    // A document's disk is addressed by its object id, whatever its device id was.
    decimal(FIELD_AS("ObjectID", RAID_PD_RECORD, DeviceID), 7, fieldReadOnly | fieldShared),
    decimal(FIELD(RAID_PD_RECORD, DeviceID), 7, fieldWriteOnly),
    decimal(FIELD(RAID_PD_RECORD, EnclosureObjectID), 7),
    decimal(FIELD(RAID_PD_RECORD, EnclosureDeviceID), 7),
    decimal(FIELD(RAID_PD_RECORD, Size), allDigits),
    decimal(FIELD(RAID_PD_RECORD, FreeSize), allDigits),
    decimal(FIELD(RAID_PD_RECORD, UsedSize), allDigits),
    name(FIELD(RAID_PD_RECORD, State), 24, g_stateTable),
    hex(FIELD(RAID_PD_RECORD, WWN), 16),
    name(FIELD(RAID_PD_RECORD, Protocol), 24, g_protocolTable, fieldStrict),
    decimal(FIELD(RAID_PD_RECORD, Port), 7),
    decimal(FIELD(RAID_PD_RECORD, Slot), 7),
    name(FIELD(RAID_PD_RECORD, Hotspare), 24, g_hotspareTable, fieldWhenNotZero),
    mask(FIELD(RAID_PD_RECORD, Attributes), "Attrib", 24, g_pdAttribTable, fieldOpenMask),
    mask(FIELD(RAID_PD_RECORD, CapableSpeeds), "Speed", 24, g_speedTable),
    name(FIELD(RAID_PD_RECORD, SecureState), 24, g_secureStateTable, fieldWhenNotZero),
    decimal(FIELD(RAID_PD_RECORD, ManufactureDay), 4, fieldWhenVersioned | fieldWhenNotZero),
    decimal(FIELD(RAID_PD_RECORD, ManufactureWeek), 4, fieldWhenVersioned | fieldWhenNotZero),
    decimal(FIELD(RAID_PD_RECORD, ManufactureYear), 4, fieldWhenVersioned | fieldWhenNotZero),
    row(FIELD(RAID_PD_RECORD, SerialNumber), FieldFormat::fixedText, versionedText | fieldToBlank),
    row(FIELD(RAID_PD_RECORD, Revision), FieldFormat::fixedText, versionedText),
    row(FIELD(RAID_PD_RECORD, ModelName), FieldFormat::fixedText, versionedText | fieldTrimmed),
    row(FIELD(RAID_PD_RECORD, ManufactureName), FieldFormat::fixedText, versionedText | fieldToBlank),
    idList(FIELD_AS("VD", RAID_PD_RECORD, VDs), PLACE(RAID_PD_RECORD, VDCount)),
};

static constexpr FieldRow g_vdRows[] = {
    decimal(FIELD(RAID_VD_RECORD, TargetID), 7),
    name(FIELD(RAID_VD_RECORD, RAIDLevel), 24, g_raidLevelTable, fieldStrict),
    name(FIELD(RAID_VD_RECORD, RLQ), 8, g_rlqTable),
    name(FIELD(RAID_VD_RECORD, SRL), 8, g_srlTable),
    decimal(FIELD(RAID_VD_RECORD, Size), allDigits),
    name(FIELD(RAID_VD_RECORD, State), 24, g_stateTable),
    name(FIELD(RAID_VD_RECORD, StripeSize), 24, g_stripeSizeTable),
    logged(cachePolicy(FIELD(RAID_VD_RECORD, CurrentCachePolicy))),
    logged(inside(row(FIELD(RAID_VD_RECORD, RAIDLevelDesc), FieldFormat::raidLevelDesc), &g_levelDescFields)),
    logged(mask(FIELD(RAID_VD_RECORD, Attributes), "Attrib", 24, g_vdAttribTable, fieldOpenMask)),
    name(FIELD(RAID_VD_RECORD, AccessPolicy), 24, g_accessPolicyTable),
    name(FIELD(RAID_VD_RECORD, DiskCachePolicy), 24, g_diskCachePolicyTable),
    decimal(FIELD(RAID_VD_RECORD, SpanDepth), 7),
    decimal(FIELD(RAID_VD_RECORD, PDsPerSpan), 7),
    decimal(FIELD(RAID_VD_RECORD, StartingLba), allDigits),
    idList(FIELD_AS("PD", RAID_VD_RECORD, PDs), PLACE(RAID_VD_RECORD, PDCount)),
};

static constexpr FieldRow g_levelDescRows[] = {
    name(FIELD(RAID_LEVEL_PARAMS, RAIDLevel), 24, g_raidLevelTable, fieldStrict),
    decimal(FIELD(RAID_LEVEL_PARAMS, MinDisks), 6),
    decimal(FIELD(RAID_LEVEL_PARAMS, MaxDisks), 6),
    cachePolicy(FIELD(RAID_LEVEL_PARAMS, DefaultCachePolicy)),
    cachePolicy(FIELD(RAID_LEVEL_PARAMS, AvailableCachePolicy)),
    name(FIELD(RAID_LEVEL_PARAMS, StripeSize), 24, g_stripeSizeTable),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableStripeSize), "StripeSize", 24, g_stripeSizeTable, fieldOpenMask),
    mask(FIELD(RAID_LEVEL_PARAMS, BoundsMask), "Bound", 24, g_boundsTable, fieldOpenMask),
    name(FIELD(RAID_LEVEL_PARAMS, DefaultRLQ), 24, g_rlqTable),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableRLQ), "RLQ", 24, g_rlqTable, fieldOpenMask),
    name(FIELD(RAID_LEVEL_PARAMS, DefaultSRL), 24, g_srlTable),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableSRL), "SRL", 24, g_srlTable, fieldOpenMask),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableProtocols), "Protocol", 14, g_protocolTable),
    mask(FIELD(RAID_LEVEL_PARAMS, Attributes), "Attrib", 24, g_levelAttribTable, fieldOpenMask),
};

static constexpr FieldRow g_pciIdentityRows[] = {
    hex(FIELD(RAID_PCI_IDENTITY, VendorID), 4),
    hex(FIELD(RAID_PCI_IDENTITY, DeviceID), 4),
    hex(FIELD(RAID_PCI_IDENTITY, SubvendorID), 4),
    hex(FIELD(RAID_PCI_IDENTITY, SubdeviceID), 4),
    bit0(FIELD_AS("Embedded", RAID_PCI_IDENTITY, EmbeddedIndex)),
    decimalAboveBit0(FIELD_AS("Index", RAID_PCI_IDENTITY, EmbeddedIndex)),
};

static constexpr FieldRow g_pciLocationRows[] = {
    decimal(FIELD(RAID_PCI_IDENTITY, PCIBus), 7),
    decimal(FIELD(RAID_PCI_IDENTITY, PCIDevice), 7),
    decimal(FIELD(RAID_PCI_IDENTITY, PCIFunction), 7),
};

static constexpr FieldRow g_rateRows[] = {
    row(FIELD(RAID_RATE, Name), FieldFormat::wideText),
    bit0(FIELD_AS("Editable", RAID_RATE, EditableValue)),
    decimalAboveBit0(FIELD_AS("Value", RAID_RATE, EditableValue)),
};

static constexpr FieldRow g_cachePolicyRows[] = {
    group("CachePolicy", RAID_CACHE_IO_MASK, g_cachePolicyTable),
    group("WritePolicy", RAID_CACHE_WRITE_MASK, g_writePolicyTable),
    group("ReadPolicy", RAID_CACHE_READ_MASK, g_readPolicyTable),
    group("DiskPolicy", RAID_CACHE_DISK_MASK, g_diskCachePolicyTable),
};

static constexpr FieldRow g_inventoryRows[] = {
    row(FIELD_AS("MarketingName", RAID_ADAPTER_RECORD, Name), FieldFormat::wideText),
    hex(FIELD(RAID_ADAPTER_RECORD, WWN), 16),
};

static consteval bool sameText(const CHAR8 *a, const CHAR8 *b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

static consteval bool ownsMemory(const FieldRow &row) {
  return row.format == FieldFormat::wideText || row.format == FieldFormat::idList ||
         row.format == FieldFormat::raidLevelParams;
}

template <UINTN N> static consteval bool ownNoMemory(const FieldRow (&rows)[N]) {
  for (const FieldRow &row : rows) {
    if (ownsMemory(row)) {
      return false;
    }
  }
  return true;
}

// Every field lies inside its record, in each direction an element has one row, and what a record owns is given back
// once.
template <UINTN N> static consteval bool rowsFit(const FieldRow (&rows)[N], UINTN recordSize) {
  for (UINTN i = 0; i < N; ++i) {
    if (rows[i].place.width > recordSize || rows[i].place.offset > recordSize - rows[i].place.width ||
        rows[i].count.offset + rows[i].count.width > recordSize) {
      return false;
    }
    for (UINTN j = 0; j < i; ++j) {
      UINT16 directions = (rows[i].flags ^ rows[j].flags) & (fieldReadOnly | fieldWriteOnly);
      if (sameText(rows[i].element, rows[j].element) && directions != (fieldReadOnly | fieldWriteOnly)) {
        return false;
      }
      if (ownsMemory(rows[i]) && ownsMemory(rows[j]) && rows[i].place.offset == rows[j].place.offset) {
        return false;
      }
    }
  }
  return true;
}

static_assert(rowsFit(g_headerRows, sizeof(RAID_RECORD_HEADER)));
static_assert(rowsFit(g_adapterRows, sizeof(RAID_ADAPTER_RECORD)));
static_assert(rowsFit(g_enclosureRows, sizeof(RAID_ENCLOSURE_RECORD)));
static_assert(rowsFit(g_pdRows, sizeof(RAID_PD_RECORD)));
static_assert(rowsFit(g_vdRows, sizeof(RAID_VD_RECORD)));
static_assert(rowsFit(g_levelDescRows, sizeof(RAID_LEVEL_PARAMS)));
static_assert(rowsFit(g_pciIdentityRows, sizeof(RAID_PCI_IDENTITY)));
static_assert(rowsFit(g_pciLocationRows, sizeof(RAID_PCI_IDENTITY)));
static_assert(rowsFit(g_rateRows, sizeof(RAID_RATE)));
static_assert(rowsFit(g_cachePolicyRows, sizeof(UINT32)));
static_assert(rowsFit(g_inventoryRows, sizeof(RAID_ADAPTER_RECORD)));
// Whether an element that has a row in both tables, in whatever direction, is marked as shared in both.
template <UINTN N> static consteval bool sharedAreMarked(const FieldRow (&rows)[N]) {
  for (const FieldRow &header : g_headerRows) {
    for (const FieldRow &row : rows) {
      if (sameText(header.element, row.element) && (header.flags & row.flags & fieldShared) == 0) {
        return false;
      }
    }
  }
  return true;
}

static_assert(sharedAreMarked(g_adapterRows) && sharedAreMarked(g_enclosureRows) && sharedAreMarked(g_pdRows) &&
              sharedAreMarked(g_vdRows));
static_assert(ownNoMemory(g_levelDescRows)); // how many descriptors an adapter has is not known to its release

#define TABLE_OF(rows)                                                                                                 \
  { rows, sizeof(rows) / sizeof(rows[0]) }

const FieldTable g_headerFields = TABLE_OF(g_headerRows);
const FieldTable g_adapterFields = TABLE_OF(g_adapterRows);
const FieldTable g_enclosureFields = TABLE_OF(g_enclosureRows);
const FieldTable g_pdFields = TABLE_OF(g_pdRows);
const FieldTable g_vdFields = TABLE_OF(g_vdRows);
const FieldTable g_levelDescFields = TABLE_OF(g_levelDescRows);
const FieldTable g_pciIdentityFields = TABLE_OF(g_pciIdentityRows);
const FieldTable g_pciLocationFields = TABLE_OF(g_pciLocationRows);
const FieldTable g_rateFields = TABLE_OF(g_rateRows);
const FieldTable g_cachePolicyGroups = TABLE_OF(g_cachePolicyRows);
const FieldTable g_inventoryFields = TABLE_OF(g_inventoryRows);

const FieldTable *objectFields(UINT32 objectType) {
  switch (objectType) {
  case RAID_OBJECT_ADAPTER:
    return &g_adapterFields;
  case RAID_OBJECT_ENCLOSURE:
    return &g_enclosureFields;
  case RAID_OBJECT_PHYSICAL_DISK:
    return &g_pdFields;
  case RAID_OBJECT_VIRTUAL_DISK:
    return &g_vdFields;
  default:
    return nullptr;
  }
}

const FieldRow &adapterRow(FieldFormat format) {
  const FieldRow *row = g_adapterRows;
  while (row->format != format) {
    ++row;
  }
  return *row;
}

} // namespace xyl::driver
