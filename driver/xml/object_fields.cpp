#include "driver/xml/object_fields.h"

// The pieces of a row that one member gives: element name, place. FIELD_AS is for an element with another name.
#define FIELD(record, member) #member, PLACE(record, member)
#define FIELD_AS(element, record, member) element, PLACE(record, member)
#define PLACE(record, member) placeOf(offsetof(record, member), sizeof(record::member))

static consteval FIELD_PLACE placeOf(UINTN offset, UINTN width) {
  return {static_cast<UINT16>(offset), static_cast<UINT16>(width)};
}

// Row builders, so that a table shows only what matters for each element.

static consteval FIELD_ROW row(const CHAR8 *element, FIELD_PLACE place, FIELD_FORMAT format, UINT16 flags = 0) {
  FIELD_ROW result = {};
  result.Element = element;
  result.Place = place;
  result.Format = format;
  result.Flags = flags;
  return result;
}

static constexpr UINT8 ALL_DIGITS = 20;
static constexpr UINT8 LENGTH_BITS = 0x7F;

static consteval FIELD_ROW decimal(const CHAR8 *element, FIELD_PLACE place, UINT8 digits, UINT16 flags = 0) {
  FIELD_ROW result = row(element, place, FORMAT_DECIMAL, flags);
  result.Length = digits & LENGTH_BITS;
  return result;
}

// A decimal that shares its field with the boolean in bit 0.
static consteval FIELD_ROW decimalAboveBit0(const CHAR8 *element, FIELD_PLACE place) {
  FIELD_ROW result = decimal(element, place, 7);
  result.Mask = 0xFFFFFFFEU;
  result.Shift = 1;
  return result;
}

static consteval FIELD_ROW hex(const CHAR8 *element, FIELD_PLACE place, UINT8 digits) {
  FIELD_ROW result = row(element, place, FORMAT_HEX);
  result.Length = digits & LENGTH_BITS;
  return result;
}

static consteval FIELD_ROW bit0(const CHAR8 *element, FIELD_PLACE place, UINT16 flags = 0) {
  FIELD_ROW result = row(element, place, FORMAT_BOOLEAN, flags);
  result.Mask = 1;
  return result;
}

static consteval FIELD_ROW name(const CHAR8 *element, FIELD_PLACE place, UINT8 length, const VALUE_NAME_TABLE *names,
                                UINT16 flags = 0) {
  FIELD_ROW result = row(element, place, FORMAT_NAME, flags);
  result.Length = length & LENGTH_BITS;
  result.Names = names;
  return result;
}

static consteval FIELD_ROW mode(const CHAR8 *element, FIELD_PLACE place, UINT8 length, const VALUE_NAME_TABLE *names,
                                UINT32 mask = 0x7F, UINT16 flags = 0) {
  FIELD_ROW result = name(element, place, length, names, static_cast<UINT16>(FIELD_MODE | FIELD_STRICT | flags));
  result.Mask = mask;
  return result;
}

static consteval FIELD_ROW mask(const CHAR8 *element, FIELD_PLACE place, const CHAR8 *item, UINT8 length,
                                const VALUE_NAME_TABLE *names, UINT16 flags = 0) {
  FIELD_ROW result = row(element, place, FORMAT_MASK, flags);
  result.Length = length & LENGTH_BITS;
  result.Names = names;
  result.Item = item;
  return result;
}

static consteval FIELD_ROW counted(FIELD_ROW result, FIELD_PLACE count) {
  result.Count = count;
  return result;
}

static consteval FIELD_ROW inside(FIELD_ROW result, const FIELD_TABLE *fields) {
  result.Fields = fields;
  return result;
}

static consteval FIELD_ROW cachePolicy(const CHAR8 *element, FIELD_PLACE place) {
  return inside(row(element, place, FORMAT_CACHE_POLICY), &g_cachePolicyGroups);
}

static consteval FIELD_ROW levelParams(const CHAR8 *element, FIELD_PLACE place, const CHAR8 *item) {
  FIELD_ROW result = inside(row(element, place, FORMAT_RAID_LEVEL_PARAMS), &g_levelDescFields);
  result.Item = item;
  return result;
}

// Objects inside an object are read by its table and written by the document's assembler.
static consteval FIELD_ROW object(const CHAR8 *element, FIELD_FORMAT format, const FIELD_TABLE *fields) {
  return inside(row(element, {}, format, FIELD_READ_ONLY), fields);
}

static consteval FIELD_ROW idList(const CHAR8 *element, FIELD_PLACE place, FIELD_PLACE count) {
  FIELD_ROW result = counted(row(element, place, FORMAT_ID_LIST), count);
  result.Length = 7;
  return result;
}

static consteval FIELD_ROW logged(FIELD_ROW result) {
  result.Flags |= FIELD_LOGGED;
  return result;
}

static consteval FIELD_ROW mark(const CHAR8 *element, FIELD_PLACE place, UINT32 bit) {
  FIELD_ROW result = row(element, place, FORMAT_MARK, FIELD_MODE);
  result.Mask = bit;
  return result;
}

static consteval FIELD_ROW group(const CHAR8 *item, UINT32 bits, const VALUE_NAME_TABLE *names) {
  FIELD_ROW result = mask(item, {0, sizeof(UINT32)}, item, 24, names);
  result.Mask = bits;
  return result;
}

static constexpr UINT16 VERSIONED_TEXT = FIELD_WHEN_VERSIONED | FIELD_WHEN_NOT_ZERO;

static constexpr FIELD_ROW g_headerRows[] = {
    name(FIELD(RAID_RECORD_HEADER, ObjectType), 19, g_objectTypeTable),
    decimal(FIELD(RAID_RECORD_HEADER, ObjectID), 7, FIELD_SHARED),
    row(FIELD(RAID_RECORD_HEADER, Name), FORMAT_WIDE_TEXT, FIELD_NULL_NO_TEXT),
    decimal(FIELD(RAID_RECORD_HEADER, ObjVersion), 1, FIELD_WHEN_VERSIONED),
    row(FIELD(RAID_RECORD_HEADER, FQDD), FORMAT_WIDE_TEXT, FIELD_WHEN_VERSIONED),
};

static constexpr FIELD_ROW g_adapterRows[] = {
    hex(FIELD(RAID_ADAPTER_RECORD, WWN), 16),
    inside(row(FIELD(RAID_ADAPTER_RECORD, PCIID), FORMAT_PCI_IDENTITY), &g_pciIdentityFields),
    mask(FIELD(RAID_ADAPTER_RECORD, SupportedRAIDLevels), "RaidLevel", 14, g_raidLevelTable, FIELD_ITEM_ALIAS),
    mask(FIELD(RAID_ADAPTER_RECORD, SupportedDiskProtocols), "Protocol", 14, g_protocolTable),
    mask(FIELD(RAID_ADAPTER_RECORD, Attributes), "Attrib", 24, g_adapterAttribTable),
    decimal(FIELD(RAID_ADAPTER_RECORD, MaxLDs), 7),
    decimal(FIELD(RAID_ADAPTER_RECORD, MaxPDsPerSpan), 7),
    decimal(FIELD(RAID_ADAPTER_RECORD, MaxSpansPerLD), 7),
    row(FIELD(RAID_ADAPTER_RECORD, FirmwareVersion), FORMAT_WIDE_TEXT),
    levelParams(FIELD(RAID_ADAPTER_RECORD, RAIDLevelParams), "RAIDLevelDesc"),
    mode(FIELD(RAID_ADAPTER_RECORD, SecurityMode), 14, g_securityModeTable, 0x7F, FIELD_READ_OR),
    mode(FIELD(RAID_ADAPTER_RECORD, CheckConsistencyMode), 24, g_ccModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, LearnMode), 24, g_learnModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, LoadBalanceMode), 24, g_loadBalanceModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, UncertifiedMode), 24, g_uncertifiedModeTable),
    mode(FIELD(RAID_ADAPTER_RECORD, CopyBackMode), 24, g_copyBackModeTable),
    mark(FIELD_AS("CorrectUnconfiguredAreas", RAID_ADAPTER_RECORD, PatrolReadMode),
         RAID_PATROL_READ_MODE_CORRECT_AREAS),
    mode(FIELD(RAID_ADAPTER_RECORD, PatrolReadMode), 24, g_patrolReadModeTable, RAID_PATROL_READ_MODE_MASK,
         FIELD_READ_OR),
    inside(row(FIELD_AS("Rate", RAID_ADAPTER_RECORD, Rates), FORMAT_RATES), &g_rateFields),
    mask(FIELD(RAID_ADAPTER_RECORD, CapableSpeeds), "Speed", 24, g_speedTable),
    object("Enclosure", FORMAT_ENCLOSURE, &g_enclosureFields),
    object("PD", FORMAT_PHYSICAL_DISK, &g_pdFields),
    object("VD", FORMAT_VIRTUAL_DISK, &g_vdFields),
    row("Keyid", {}, FORMAT_KEY_ID, FIELD_READ_ONLY),
};

static constexpr FIELD_ROW g_enclosureRows[] = {
    decimal(FIELD(RAID_ENCLOSURE_RECORD, DeviceID), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, SlotCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, Position), 7),
    bit0(FIELD_AS("Multipath", RAID_ENCLOSURE_RECORD, MultipathPort), FIELD_FIRST_LETTER),
    decimalAboveBit0(FIELD_AS("Port", RAID_ENCLOSURE_RECORD, MultipathPort)),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, EMMCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, FanCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, PSUCount), 7),
    decimal(FIELD(RAID_ENCLOSURE_RECORD, TempProbeCount), 7),
    row(FIELD(RAID_ENCLOSURE_RECORD, Revision), FORMAT_FIXED_TEXT, VERSIONED_TEXT),
    row(FIELD(RAID_ENCLOSURE_RECORD, AssetTag), FORMAT_FIXED_TEXT, VERSIONED_TEXT),
    row(FIELD(RAID_ENCLOSURE_RECORD, ServiceTag), FORMAT_FIXED_TEXT, VERSIONED_TEXT),
    counted(object("PD", FORMAT_PHYSICAL_DISK, &g_pdFields), PLACE(RAID_ENCLOSURE_RECORD, PDCount)),
};

static constexpr FIELD_ROW g_pdRows[] = {
    // A document's disk is addressed by its object id, whatever its device id was.
    decimal(FIELD_AS("ObjectID", RAID_PD_RECORD, DeviceID), 7, FIELD_READ_ONLY | FIELD_SHARED),
    decimal(FIELD(RAID_PD_RECORD, DeviceID), 7, FIELD_WRITE_ONLY),
    decimal(FIELD(RAID_PD_RECORD, EnclosureObjectID), 7),
    decimal(FIELD(RAID_PD_RECORD, EnclosureDeviceID), 7),
    decimal(FIELD(RAID_PD_RECORD, Size), ALL_DIGITS),
    decimal(FIELD(RAID_PD_RECORD, FreeSize), ALL_DIGITS),
    decimal(FIELD(RAID_PD_RECORD, UsedSize), ALL_DIGITS),
    name(FIELD(RAID_PD_RECORD, State), 24, g_stateTable),
    hex(FIELD(RAID_PD_RECORD, WWN), 16),
    name(FIELD(RAID_PD_RECORD, Protocol), 24, g_protocolTable, FIELD_STRICT),
    decimal(FIELD(RAID_PD_RECORD, Port), 7),
    decimal(FIELD(RAID_PD_RECORD, Slot), 7),
    name(FIELD(RAID_PD_RECORD, Hotspare), 24, g_hotspareTable, FIELD_WHEN_NOT_ZERO),
    mask(FIELD(RAID_PD_RECORD, Attributes), "Attrib", 24, g_pdAttribTable, FIELD_OPEN_MASK),
    mask(FIELD(RAID_PD_RECORD, CapableSpeeds), "Speed", 24, g_speedTable),
    name(FIELD(RAID_PD_RECORD, SecureState), 24, g_secureStateTable, FIELD_WHEN_NOT_ZERO),
    decimal(FIELD(RAID_PD_RECORD, ManufactureDay), 4, FIELD_WHEN_VERSIONED | FIELD_WHEN_NOT_ZERO),
    decimal(FIELD(RAID_PD_RECORD, ManufactureWeek), 4, FIELD_WHEN_VERSIONED | FIELD_WHEN_NOT_ZERO),
    decimal(FIELD(RAID_PD_RECORD, ManufactureYear), 4, FIELD_WHEN_VERSIONED | FIELD_WHEN_NOT_ZERO),
    row(FIELD(RAID_PD_RECORD, SerialNumber), FORMAT_FIXED_TEXT, VERSIONED_TEXT | FIELD_TO_BLANK),
    row(FIELD(RAID_PD_RECORD, Revision), FORMAT_FIXED_TEXT, VERSIONED_TEXT),
    row(FIELD(RAID_PD_RECORD, ModelName), FORMAT_FIXED_TEXT, VERSIONED_TEXT | FIELD_TRIMMED),
    row(FIELD(RAID_PD_RECORD, ManufactureName), FORMAT_FIXED_TEXT, VERSIONED_TEXT | FIELD_TO_BLANK),
    idList(FIELD_AS("VD", RAID_PD_RECORD, VDs), PLACE(RAID_PD_RECORD, VDCount)),
};

static constexpr FIELD_ROW g_vdRows[] = {
    decimal(FIELD(RAID_VD_RECORD, TargetID), 7),
    name(FIELD(RAID_VD_RECORD, RAIDLevel), 24, g_raidLevelTable, FIELD_STRICT),
    name(FIELD(RAID_VD_RECORD, RLQ), 8, g_rlqTable),
    name(FIELD(RAID_VD_RECORD, SRL), 8, g_srlTable),
    decimal(FIELD(RAID_VD_RECORD, Size), ALL_DIGITS),
    name(FIELD(RAID_VD_RECORD, State), 24, g_stateTable),
    name(FIELD(RAID_VD_RECORD, StripeSize), 24, g_stripeSizeTable),
    logged(cachePolicy(FIELD(RAID_VD_RECORD, CurrentCachePolicy))),
    logged(inside(row(FIELD(RAID_VD_RECORD, RAIDLevelDesc), FORMAT_RAID_LEVEL_DESC), &g_levelDescFields)),
    logged(mask(FIELD(RAID_VD_RECORD, Attributes), "Attrib", 24, g_vdAttribTable, FIELD_OPEN_MASK)),
    name(FIELD(RAID_VD_RECORD, AccessPolicy), 24, g_accessPolicyTable),
    name(FIELD(RAID_VD_RECORD, DiskCachePolicy), 24, g_diskCachePolicyTable),
    decimal(FIELD(RAID_VD_RECORD, SpanDepth), 7),
    decimal(FIELD(RAID_VD_RECORD, PDsPerSpan), 7),
    decimal(FIELD(RAID_VD_RECORD, StartingLba), ALL_DIGITS),
    idList(FIELD_AS("PD", RAID_VD_RECORD, PDs), PLACE(RAID_VD_RECORD, PDCount)),
};

static constexpr FIELD_ROW g_levelDescRows[] = {
    name(FIELD(RAID_LEVEL_PARAMS, RAIDLevel), 24, g_raidLevelTable, FIELD_STRICT),
    decimal(FIELD(RAID_LEVEL_PARAMS, MinDisks), 6),
    decimal(FIELD(RAID_LEVEL_PARAMS, MaxDisks), 6),
    cachePolicy(FIELD(RAID_LEVEL_PARAMS, DefaultCachePolicy)),
    cachePolicy(FIELD(RAID_LEVEL_PARAMS, AvailableCachePolicy)),
    name(FIELD(RAID_LEVEL_PARAMS, StripeSize), 24, g_stripeSizeTable),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableStripeSize), "StripeSize", 24, g_stripeSizeTable, FIELD_OPEN_MASK),
    mask(FIELD(RAID_LEVEL_PARAMS, BoundsMask), "Bound", 24, g_boundsTable, FIELD_OPEN_MASK),
    name(FIELD(RAID_LEVEL_PARAMS, DefaultRLQ), 24, g_rlqTable),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableRLQ), "RLQ", 24, g_rlqTable, FIELD_OPEN_MASK),
    name(FIELD(RAID_LEVEL_PARAMS, DefaultSRL), 24, g_srlTable),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableSRL), "SRL", 24, g_srlTable, FIELD_OPEN_MASK),
    mask(FIELD(RAID_LEVEL_PARAMS, AvailableProtocols), "Protocol", 14, g_protocolTable),
    mask(FIELD(RAID_LEVEL_PARAMS, Attributes), "Attrib", 24, g_levelAttribTable, FIELD_OPEN_MASK),
};

static constexpr FIELD_ROW g_pciIdentityRows[] = {
    hex(FIELD(RAID_PCI_IDENTITY, VendorID), 4),
    hex(FIELD(RAID_PCI_IDENTITY, DeviceID), 4),
    hex(FIELD(RAID_PCI_IDENTITY, SubvendorID), 4),
    hex(FIELD(RAID_PCI_IDENTITY, SubdeviceID), 4),
    bit0(FIELD_AS("Embedded", RAID_PCI_IDENTITY, EmbeddedIndex)),
    decimalAboveBit0(FIELD_AS("Index", RAID_PCI_IDENTITY, EmbeddedIndex)),
};

static constexpr FIELD_ROW g_pciLocationRows[] = {
    decimal(FIELD(RAID_PCI_IDENTITY, PCIBus), 7),
    decimal(FIELD(RAID_PCI_IDENTITY, PCIDevice), 7),
    decimal(FIELD(RAID_PCI_IDENTITY, PCIFunction), 7),
};

static constexpr FIELD_ROW g_rateRows[] = {
    row(FIELD(RAID_RATE, Name), FORMAT_WIDE_TEXT),
    bit0(FIELD_AS("Editable", RAID_RATE, EditableValue)),
    decimalAboveBit0(FIELD_AS("Value", RAID_RATE, EditableValue)),
};

static constexpr FIELD_ROW g_cachePolicyRows[] = {
    group("CachePolicy", RAID_CACHE_IO_MASK, g_cachePolicyTable),
    group("WritePolicy", RAID_CACHE_WRITE_MASK, g_writePolicyTable),
    group("ReadPolicy", RAID_CACHE_READ_MASK, g_readPolicyTable),
    group("DiskPolicy", RAID_CACHE_DISK_MASK, g_diskCachePolicyTable),
};

static constexpr FIELD_ROW g_inventoryRows[] = {
    row(FIELD_AS("MarketingName", RAID_ADAPTER_RECORD, Name), FORMAT_WIDE_TEXT),
    hex(FIELD(RAID_ADAPTER_RECORD, WWN), 16),
};

static consteval bool sameText(const CHAR8 *a, const CHAR8 *b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b;
}

static consteval bool ownsMemory(const FIELD_ROW &row) {
  return row.Format == FORMAT_WIDE_TEXT || row.Format == FORMAT_ID_LIST || row.Format == FORMAT_RAID_LEVEL_PARAMS;
}

template <UINTN N> static consteval bool ownNoMemory(const FIELD_ROW (&rows)[N]) {
  for (const FIELD_ROW &row : rows) {
    if (ownsMemory(row)) {
      return false;
    }
  }
  return true;
}

// Every field lies inside its record, in each direction an element has one row, and what a record owns is given back
// once.
template <UINTN N> static consteval bool rowsFit(const FIELD_ROW (&rows)[N], UINTN recordSize) {
  for (UINTN i = 0; i < N; ++i) {
    if (rows[i].Place.Width > recordSize || rows[i].Place.Offset > recordSize - rows[i].Place.Width ||
        rows[i].Count.Offset + rows[i].Count.Width > recordSize) {
      return false;
    }
    for (UINTN j = 0; j < i; ++j) {
      UINT16 directions = (rows[i].Flags ^ rows[j].Flags) & (FIELD_READ_ONLY | FIELD_WRITE_ONLY);
      if (sameText(rows[i].Element, rows[j].Element) && directions != (FIELD_READ_ONLY | FIELD_WRITE_ONLY)) {
        return false;
      }
      if (ownsMemory(rows[i]) && ownsMemory(rows[j]) && rows[i].Place.Offset == rows[j].Place.Offset) {
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
template <UINTN N> static consteval bool sharedAreMarked(const FIELD_ROW (&rows)[N]) {
  for (const FIELD_ROW &header : g_headerRows) {
    for (const FIELD_ROW &row : rows) {
      if (sameText(header.Element, row.Element) && (header.Flags & row.Flags & FIELD_SHARED) == 0) {
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

const FIELD_TABLE g_headerFields = TABLE_OF(g_headerRows);
const FIELD_TABLE g_adapterFields = TABLE_OF(g_adapterRows);
const FIELD_TABLE g_enclosureFields = TABLE_OF(g_enclosureRows);
const FIELD_TABLE g_pdFields = TABLE_OF(g_pdRows);
const FIELD_TABLE g_vdFields = TABLE_OF(g_vdRows);
const FIELD_TABLE g_levelDescFields = TABLE_OF(g_levelDescRows);
const FIELD_TABLE g_pciIdentityFields = TABLE_OF(g_pciIdentityRows);
const FIELD_TABLE g_pciLocationFields = TABLE_OF(g_pciLocationRows);
const FIELD_TABLE g_rateFields = TABLE_OF(g_rateRows);
const FIELD_TABLE g_cachePolicyGroups = TABLE_OF(g_cachePolicyRows);
const FIELD_TABLE g_inventoryFields = TABLE_OF(g_inventoryRows);

const FIELD_TABLE *objectFields(UINT32 objectType) {
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

const FIELD_ROW &adapterRow(FIELD_FORMAT format) {
  const FIELD_ROW *row = g_adapterRows;
  while (row->Format != format) {
    ++row;
  }
  return *row;
}
