#include "tests/request/model.h"

#include <algorithm>
#include <cstring>

static std::deque<std::vector<UINT8>> g_kept;

void *keep(const void *bytes, size_t size) {
  auto from = static_cast<const UINT8 *>(bytes);
  return g_kept.emplace_back(from, from + size).data();
}

MODEL MODEL::copy() const {
  MODEL model = *this;
  if (adapter.RAIDLevelParams != nullptr) {
    UINTN count = static_cast<UINTN>(__builtin_popcount(adapter.SupportedRAIDLevels));
    void *params = keep(adapter.RAIDLevelParams, count * sizeof(RAID_LEVEL_PARAMS));
    model.adapter.RAIDLevelParams = static_cast<RAID_LEVEL_PARAMS *>(params);
  }
  return model;
}

RAID_CONFIG MODEL::config() {
  RAID_CONFIG config = {};
  config.adapter = &adapter;
  config.enclosureCount = static_cast<UINT32>(enclosures.size());
  config.enclosures = enclosures.data();
  config.physicalDiskCount = static_cast<UINT32>(disks.size());
  config.physicalDisks = disks.data();
  config.logicalDiskCount = static_cast<UINT32>(volumes.size());
  config.logicalDisks = volumes.data();
  config.keyId = hasKey ? keyId.data() : nullptr;
  return config;
}

MODEL modelOf(const RAID_CONFIG &config) {
  MODEL model;
  model.adapter = *config.adapter;
  model.enclosures.assign(config.enclosures, config.enclosures + config.enclosureCount);
  model.disks.assign(config.physicalDisks, config.physicalDisks + config.physicalDiskCount);
  model.volumes.assign(config.logicalDisks, config.logicalDisks + config.logicalDiskCount);
  model.hasKey = config.keyId != nullptr;
  model.keyId = model.hasKey ? config.keyId : "";
  return model;
}

namespace {

class Filler {
public:
  explicit Filler(std::mt19937_64 &random) : random_(random) {}

  UINT64 below(UINT64 limit) { return random_() % limit; }
  bool oneIn(UINT64 n) { return below(n) == 0; }

  void fill(const VISIT &at) {
    switch (at.row->Format) {
    case FORMAT_DECIMAL:
      return at.setValue(oneIn(20) ? random_() : below(number(at.row->Length)));
    case FORMAT_HEX:
    case FORMAT_BOOLEAN:
    case FORMAT_MARK:
      return at.setValue(random_());
    case FORMAT_WIDE_TEXT:
      return fillWideText(at);
    case FORMAT_FIXED_TEXT:
      return fillFixedText(at);
    case FORMAT_NAME:
      return fillName(at);
    case FORMAT_MASK:
      return at.setField(subset(at.row->Names));
    case FORMAT_CACHE_POLICY:
      return at.setField(subset(g_cachePolicyTable) | subset(g_writePolicyTable) | subset(g_readPolicyTable) |
                         subset(g_diskCachePolicyTable));
    case FORMAT_RAID_LEVEL_PARAMS: {
      const RAID_LEVEL_PARAMS params[32] = {};
      return fieldStorePointer(at.base, at.row->Place, oneIn(16) ? nullptr : keep(params, sizeof(params)));
    }
    case FORMAT_ID_LIST:
      return fillIds(at);
    default:
      return; // what is inside gets its own visits
    }
  }

private:
  static UINT64 number(unsigned digits) { return std::stoull("1" + std::string(std::min(digits, 19U), '0')); }

  void fillWideText(const VISIT &at) {
    if (oneIn(6)) {
      return fieldStorePointer(at.base, at.row->Place, nullptr);
    }
    std::u16string text;
    for (UINT64 length = oneIn(8) ? 0 : 1 + below(20); text.size() < length;) {
      text += static_cast<CHAR16>(oneIn(6) ? 0xFF80 + below(0x80) : 0x20 + below(0x5F));
      text.back() = oneIn(20) ? u"\t\n\r&<\u0141\u0100"[below(7)] : text.back();
    }
    at.setText(text);
  }

  void fillFixedText(const VISIT &at) {
    UINT64 length = below(at.row->Place.Width + 1);
    UINT8 padding = oneIn(2) ? ' ' : 0;
    for (UINT64 i = 0; i < at.row->Place.Width; ++i) {
      UINT8 character = static_cast<UINT8>(oneIn(4) ? ' ' : (oneIn(8) ? 0x80 + below(0x80) : 0x21 + below(0x5E)));
      at.bytes()[i] = i < length ? character : padding;
    }
  }

  void fillName(const VISIT &at) {
    const VALUE_NAME_TABLE *names = at.row->Names;
    UINT64 count = 0;
    while (names[count].Name != nullptr) {
      ++count;
    }
    UINT64 value = names[below(count)].Value;
    if ((at.row->Flags & FIELD_MODE) == 0) {
      return at.setField(value);
    }
    // A mode that is not there may have any bits. The patrol read byte's other bits have no element or their own.
    UINT64 others = at.field() & RAID_PATROL_CORRECT_AREAS;
    UINT64 noise = at.row->Mask == RAID_PATROL_READ_MASK ? others | below(4) : 0;
    at.setField(oneIn(4) ? below(RAID_MODE_PRESENT) : RAID_MODE_PRESENT | value | noise);
  }

  UINT64 subset(const VALUE_NAME_TABLE *names) {
    UINT64 mask = 0;
    for (; names->Name != nullptr; ++names) {
      mask |= oneIn(3) ? names->Value : 0;
    }
    return mask;
  }

  void fillIds(const VISIT &at) {
    std::vector<UINT32> ids(oneIn(100) ? 255 : below(6));
    for (UINT32 &id : ids) {
      id = static_cast<UINT32>(oneIn(20) ? random_() : below(500));
    }
    fieldStore(at.base, at.row->Count, ids.size());
    fieldStorePointer(at.base, at.row->Place, ids.empty() ? nullptr : keep(ids.data(), 4 * ids.size()));
  }

  std::mt19937_64 &random_;
};

} // namespace

MODEL randomModel(std::mt19937_64 &random) {
  g_kept.clear();
  Filler filler(random);
  MODEL model;
  model.enclosures.resize(filler.below(4));
  model.disks.resize(filler.below(7));
  model.volumes.resize(filler.below(4));
  const FIELD_TABLE *tables[] = {&g_adapterFields, nullptr, &g_enclosureFields, &g_pdFields, &g_vdFields}; // by type
  forRecords(model, [](void *record, const FIELD_TABLE &) { memset(record, 0xEE, RAID_RECORD_SIZE); });
  forRows(model, [&](const VISIT &at) { filler.fill(at); });
  forRecords(model, [&](void *record, const FIELD_TABLE &fields) {
    auto *header = static_cast<RAID_RECORD_HEADER *>(record);
    header->ObjectType = static_cast<UINT32>(std::find(tables, std::end(tables), &fields) - tables);
    header->ObjVersion = filler.oneIn(3) ? 0 : static_cast<UINT32>(header->ObjVersion);
  });
  for (auto &enclosure : model.enclosures) {
    enclosure.DeviceID = static_cast<UINT32>(100 + (&enclosure - model.enclosures.data()));
  }
  for (auto &disk : model.disks) {
    disk.EnclosureDeviceID = filler.oneIn(4) ? RAID_ENCLOSURE_NONE : static_cast<UINT32>(100 + filler.below(4));
  }
  model.hasKey = filler.oneIn(2);
  model.keyId.assign(filler.oneIn(8) ? 250 + filler.below(20) : filler.below(30), 'k');
  return model;
}

static std::string hexOf(const void *bytes, UINTN count) {
  std::string text;
  for (UINTN i = 0; i < count; ++i) {
    char digits[4];
    snprintf(digits, sizeof(digits), "%02X ", static_cast<const UINT8 *>(bytes)[i]);
    text += digits;
  }
  return text;
}

static std::string describeField(const VISIT &at) {
  bool isPointer = at.row->Format == FORMAT_WIDE_TEXT || at.row->Format == FORMAT_ID_LIST;
  if (isPointer && fieldPointer(at.base, at.row->Place) == nullptr) {
    return "null";
  }
  switch (at.row->Format) {
  case FORMAT_WIDE_TEXT:
    return "text " + hexOf(at.text(), 2 * std::u16string(at.text()).size());
  case FORMAT_ID_LIST:
    return "ids " + hexOf(fieldPointer(at.base, at.row->Place), 4 * fieldLoad(at.base, at.row->Count));
  case FORMAT_PCI_IDENTITY:
  case FORMAT_RATES:
  case FORMAT_RAID_LEVEL_PARAMS:
  case FORMAT_RAID_LEVEL_DESC:
    return "has";
  default:
    return hexOf(at.bytes(), at.row->Place.Width);
  }
}

std::string describe(MODEL &model) {
  std::string text;
  void *last = nullptr;
  forRows(model, [&](const VISIT &at) {
    text += at.record == last ? "" : "---\n";
    last = at.record;
    text += std::string(at.row->Element) + " " + describeField(at) + "\n";
  });
  return text + (model.hasKey ? "key " + model.keyId : "no key") + "\n";
}
