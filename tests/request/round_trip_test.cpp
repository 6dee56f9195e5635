// Random configurations, written as a document, read and written again: nothing gets lost on the way.
#include <deque>
#include <random>

#include "driver/xml/xml.h"
#include "tests/request/parsed.h"

// Calls visit(base, row) for each row that is written.
template <class F> static void walk(void *record, const FIELD_TABLE &fields, const F &visit) {
  for (UINT32 i = 0; i < fields.RowCount; ++i) {
    const FIELD_ROW &row = fields.Rows[i];
    if ((row.Flags & FIELD_READ_ONLY) != 0) {
      continue;
    }
    visit(record, row);
    UINT8 *at = static_cast<UINT8 *>(record) + row.Place.Offset;
    if (row.Format == FORMAT_PCI_IDENTITY) {
      walk(at, g_pciIdentityFields, visit);
      walk(at, g_pciLocationFields, visit);
    } else if (row.Format == FORMAT_RAID_LEVEL_DESC) {
      walk(at, g_levelDescFields, visit);
    } else if (row.Format == FORMAT_RATES) {
      for (size_t slot = 0; slot < RAID_RATE_COUNT; ++slot) {
        walk(at + slot * sizeof(RAID_RATE), g_rateFields, visit);
      }
    } else if (row.Format == FORMAT_RAID_LEVEL_PARAMS) {
      auto *params = static_cast<RAID_LEVEL_PARAMS *>(fieldPointer(record, row.Place));
      for (; params->RAIDLevel != 0; ++params) {
        walk(params, g_levelDescFields, visit);
      }
    }
  }
}

// Fills rows with values that a document can show: inside the value tables, the digits and the field.
struct FILLER {
  std::mt19937_64 random;
  std::deque<std::vector<UINT8>> kept = {}; // what hangs from records

  UINT64 below(UINT64 limit) { return random() % limit; }

  void *keep(const void *bytes, size_t size) {
    auto from = static_cast<const UINT8 *>(bytes);
    return kept.emplace_back(from, from + size).data();
  }

  UINT64 subset(const VALUE_NAME_TABLE *names) {
    UINT64 mask = 0;
    for (; names->Name != nullptr; ++names) {
      mask |= below(3) == 0 ? names->Value : 0;
    }
    return mask;
  }

  UINT64 oneOf(const VALUE_NAME_TABLE *names) {
    UINT64 count = 0;
    while (names[count].Name != nullptr) {
      ++count;
    }
    return names[below(count)].Value;
  }

  void number(void *base, const FIELD_ROW &row, UINT64 limit) {
    UINT64 mask = row.Mask == 0 ? ~0ULL >> (64 - 8 * row.Place.Width) : row.Mask;
    UINT64 most = mask >> row.Shift;
    UINT64 value = limit == 0 || limit > most ? random() & most : below(limit);
    fieldStore(base, row.Place, (fieldLoad(base, row.Place) & ~mask) | (value << row.Shift));
  }

  void wideText(void *base, const FIELD_ROW &row) {
    std::u16string text(1 + below(20), u' '); // the low bytes are written, and are read with their sign
    for (CHAR16 &unit : text) {
      unit = static_cast<CHAR16>(below(6) == 0 ? 0xFF80 + below(0x80) : 0x20 + below(0x5F));
    }
    fieldStorePointer(base, row.Place, keep(text.c_str(), 2 * text.size() + 2));
  }

  void fixedText(void *base, const FIELD_ROW &row) {
    UINT64 length = 1 + below(row.Place.Width);
    for (UINT64 i = 0; i < row.Place.Width; ++i) {
      UINT8 *to = static_cast<UINT8 *>(base) + row.Place.Offset + i;
      *to = static_cast<UINT8>(i < length ? (below(4) == 0 ? 0x80 : 0x21) + below(0x5E) : 0);
    }
  }

  void ids(void *base, const FIELD_ROW &row) {
    std::vector<UINT32> ids(1 + below(6));
    for (UINT32 &id : ids) {
      id = static_cast<UINT32>(below(10000000));
    }
    fieldStore(base, row.Count, ids.size());
    fieldStorePointer(base, row.Place, keep(ids.data(), 4 * ids.size()));
  }

  void fill(void *base, const FIELD_ROW &row) {
    static const RAID_LEVEL_PARAMS none[33] = {};
    UINT64 limit = 1;
    switch (row.Format) {
    case FORMAT_DECIMAL:
      for (int digit = 0; digit < row.Length && digit < 19; ++digit) {
        limit *= 10;
      }
      return number(base, row, row.Length < 20 ? limit : 0);
    case FORMAT_HEX:
    case FORMAT_BOOLEAN:
    case FORMAT_MARK:
      return number(base, row, 0);
    case FORMAT_WIDE_TEXT:
      return wideText(base, row);
    case FORMAT_FIXED_TEXT:
      return fixedText(base, row);
    case FORMAT_NAME: {
      UINT64 mode = (row.Flags & FIELD_MODE) == 0 ? 0 : RAID_MODE_PRESENT;
      UINT64 areas =
          row.Mask == RAID_PATROL_READ_MODE_MASK ? fieldLoad(base, row.Place) & RAID_PATROL_READ_MODE_CORRECT_AREAS : 0;
      return fieldStore(base, row.Place, oneOf(row.Names) | mode | areas);
    }
    case FORMAT_MASK:
      return fieldStore(base, row.Place, subset(row.Names));
    case FORMAT_CACHE_POLICY:
      return fieldStore(base, row.Place,
                        subset(g_cachePolicyTable) | subset(g_writePolicyTable) | subset(g_readPolicyTable) |
                            subset(g_diskCachePolicyTable));
    case FORMAT_RAID_LEVEL_PARAMS: {
      auto *params = static_cast<RAID_LEVEL_PARAMS *>(keep(none, sizeof none));
      int count = __builtin_popcount(static_cast<RAID_ADAPTER_RECORD *>(base)->SupportedRAIDLevels);
      for (int level = 0; level < count; ++level) {
        params[level].RAIDLevel = 1; // counts until it is filled
      }
      return fieldStorePointer(base, row.Place, params);
    }
    case FORMAT_ID_LIST:
      return ids(base, row);
    default:
      return; // what is inside has its own rows
    }
  }

  template <class T> std::vector<T> records(size_t count, UINT32 type, const FIELD_TABLE &fields) {
    std::vector<T> all(count);
    for (T &record : all) {
      auto visit = [&](void *base, const FIELD_ROW &row) { fill(base, row); };
      walk(&record, g_headerFields, visit);
      walk(&record, fields, visit);
      record.ObjectType = type;
      record.ObjVersion = static_cast<UINT32>(1 + below(9));
    }
    return all;
  }
};

// Disks stand inside their enclosure, which counts them; a disk's DeviceID is read from its ObjectID.
static void placeDisks(std::vector<RAID_ENCLOSURE_RECORD> &enclosures, std::vector<RAID_PD_RECORD> &disks) {
  for (size_t i = 0; i < disks.size(); ++i) {
    bool direct = i / 2 >= enclosures.size();
    disks[i].DeviceID = disks[i].ObjectID;
    disks[i].EnclosureDeviceID = direct ? RAID_ENCLOSURE_NONE : static_cast<UINT32>(enclosures[i / 2].DeviceID);
    enclosures[direct ? 0 : i / 2].PDCount = direct ? enclosures[0].PDCount : UINT8{2};
  }
}

static std::string readAndWritten(const std::string &document) {
  Parsed parsed(document);
  EXPECT_EQ(name(parsed.status), name(EFI_SUCCESS));
  for (UINT32 i = 0; i < parsed.config->physicalDiskCount; ++i) {
    RAID_PD_RECORD &disk = parsed.config->physicalDisks[i];
    bool direct = disk.EnclosureDeviceID == 4294967; // what the element's seven digits leave of the address of none
    disk.EnclosureDeviceID = direct ? RAID_ENCLOSURE_NONE : UINT32{disk.EnclosureDeviceID};
  }
  return written(*parsed.config);
}

TEST(RoundTrip, RandomConfigurationsAreReadAsWritten) {
  World world({.preset = nullptr, .debugLog = false, .connect = false});
  for (UINT64 seed = 1; seed <= 200 && !HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    FILLER filler = {std::mt19937_64(seed)};
    auto adapters = filler.records<RAID_ADAPTER_RECORD>(1, RAID_OBJECT_ADAPTER, g_adapterFields);
    auto enclosures = filler.records<RAID_ENCLOSURE_RECORD>(2, RAID_OBJECT_ENCLOSURE, g_enclosureFields);
    auto disks = filler.records<RAID_PD_RECORD>(6, RAID_OBJECT_PHYSICAL_DISK, g_pdFields);
    auto volumes = filler.records<RAID_VD_RECORD>(2, RAID_OBJECT_VIRTUAL_DISK, g_vdFields);
    placeDisks(enclosures, disks);
    std::string key(1 + filler.below(RAID_KEY_ID_SIZE), 'k');
    RAID_CONFIG config = {};
    config.adapter = adapters.data();
    config.enclosureCount = 2;
    config.enclosures = enclosures.data();
    config.physicalDiskCount = 6;
    config.physicalDisks = disks.data();
    config.logicalDiskCount = 2;
    config.logicalDisks = volumes.data();
    config.keyId = key.data();
    // Each turn reverses the lists.
    const std::string document = written(config), turned = readAndWritten(document);
    EXPECT_NE(turned, document);
    EXPECT_EQ(readAndWritten(turned), document);
    world.expectBalanced();
  }
}
