// Configurations in the test's own memory, and a walk over their fields by the tables.
#pragma once

#include <deque>
#include <random>
#include <string>
#include <vector>

#include "raid_records.h"
#include "xml/object_fields.h"

struct MODEL {
  RAID_ADAPTER_RECORD adapter;
  std::vector<RAID_ENCLOSURE_RECORD> enclosures;
  std::vector<RAID_PD_RECORD> disks;
  std::vector<RAID_VD_RECORD> volumes;
  bool hasKey = false;
  std::string keyId;

  RAID_CONFIG config();
  // Texts and lists are shared; the level descriptors, which are changed in place, are not.
  MODEL copy() const;
};

// Copies the records of config; what hangs from them stays where it is.
MODEL modelOf(const RAID_CONFIG &config);

// Records whose values lie inside the value tables, with everything around them as unusual as the formats allow.
MODEL randomModel(std::mt19937_64 &random);

// Memory for what hangs from records; lives until the next randomModel.
void *keep(const void *bytes, size_t size);

// One row of a record. Places are relative to base: the record, or a structure in it or behind it.
struct VISIT {
  void *record;
  void *base;
  const FIELD_ROW *row;

  bool versioned() const { return static_cast<RAID_RECORD_HEADER *>(record)->ObjVersion != 0; }
  UINT64 field() const { return fieldLoad(base, row->Place); }
  void setField(UINT64 value) const { fieldStore(base, row->Place, value); }
  // The element's value, within Mask and Shift.
  UINT64 value() const { return fieldValue(base, *row); }
  void setValue(UINT64 value) const {
    UINT64 mask = row->Mask == 0 ? ~0ULL : row->Mask;
    setField((field() & ~mask) | ((value << row->Shift) & mask));
  }
  CHAR16 *text() const { return static_cast<CHAR16 *>(fieldPointer(base, row->Place)); }
  void setText(const std::u16string &text) const {
    fieldStorePointer(base, row->Place, keep(text.c_str(), 2 * text.size() + 2));
  }
  UINT8 *bytes() const { return static_cast<UINT8 *>(base) + row->Place.Offset; }
};

// Visits each row that is written, containers before what is inside them.
template <class F> void walkRows(void *record, void *base, const FIELD_TABLE &fields, const F &visit) {
  for (UINT32 i = 0; i < fields.RowCount; ++i) {
    const FIELD_ROW &row = fields.Rows[i];
    if ((row.Flags & FIELD_READ_ONLY) != 0) {
      continue;
    }
    visit(VISIT{record, base, &row});
    UINT8 *at = static_cast<UINT8 *>(base) + row.Place.Offset;
    if (row.Format == FORMAT_PCI_IDENTITY) {
      walkRows(record, at, g_pciIdentityFields, visit);
      walkRows(record, at, g_pciLocationFields, visit);
    } else if (row.Format == FORMAT_RAID_LEVEL_DESC) {
      walkRows(record, at, g_levelDescFields, visit);
    } else if (row.Format == FORMAT_RATES) {
      for (int slot = 0; slot < RAID_RATE_COUNT; ++slot) {
        walkRows(record, at + slot * sizeof(RAID_RATE), g_rateFields, visit);
      }
    } else if (row.Format == FORMAT_RAID_LEVEL_PARAMS) {
      auto *params = static_cast<RAID_LEVEL_PARAMS *>(fieldPointer(base, row.Place));
      int count = __builtin_popcount(static_cast<RAID_ADAPTER_RECORD *>(record)->SupportedRAIDLevels);
      for (int level = 0; params != nullptr && level < count; ++level) {
        walkRows(record, params + level, g_levelDescFields, visit);
      }
    }
  }
}

// Calls visit(record, fields) for every record.
template <class F> void forRecords(MODEL &model, const F &visit) {
  auto each = [&](auto &records, const FIELD_TABLE &fields) {
    for (auto &record : records) {
      visit(static_cast<void *>(&record), fields);
    }
  };
  visit(static_cast<void *>(&model.adapter), g_adapterFields);
  each(model.enclosures, g_enclosureFields);
  each(model.disks, g_pdFields);
  each(model.volumes, g_vdFields);
}

template <class F> void forRows(MODEL &model, const F &visit) {
  forRecords(model, [&](void *record, const FIELD_TABLE &fields) {
    walkRows(record, record, g_headerFields, visit);
    walkRows(record, record, fields, visit);
  });
}

// The records field by field, one line each, for comparing.
std::string describe(MODEL &model);
