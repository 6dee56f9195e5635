#include "client/verbs/methods.h"

#include "base/text.h"

// --- Virtual disks ---

UINT32 completedCache(UINT32 cache, UINT32 others) {
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    UINT32 group = g_cachePolicyGroups.Rows[i].Mask;
    cache |= (cache & group) == 0 ? others & group : 0;
  }
  return cache;
}

void putCache(CHANGE_WRITER *writer, UINT32 cache) {
  openElement(writer, "CurrentCachePolicy");
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    const FIELD_ROW &row = g_cachePolicyGroups.Rows[i];
    if ((cache & row.Mask) != 0) {
      putElement(writer, row.Element, GetNameFromValue(cache & row.Mask, row.Names));
    }
  }
  closeElement(writer);
}

void putCreate(CHANGE_WRITER *writer, const RAID_CONFIG &config, const NEW_VIRTUAL_DISK_REQUEST &request) {
  openMethod(writer, "Create", "Virtual Disk");
  for (UINT32 i = 0; i < request.MemberCount; ++i) {
    putElement(writer, "OID", config.physicalDisks[request.Members[i]].ObjectID);
  }
  openObject(writer, "VD", "Virtual Disk");
  if (request.Name != nullptr) {
    putElement(writer, "Name", request.Name);
  }
  putElement(writer, "TargetID", request.Reference);
  putElement(writer, "RAIDLevel", GetNameFromValue(request.Level, g_raidLevelTable));
  if (request.Size != 0) {
    putElement(writer, "Size", request.Size);
  }
  if (request.Stripe != 0) {
    putElement(writer, "StripeSize", GetNameFromValue(request.Stripe, g_stripeSizeTable));
  }
  if (request.Cache != 0) {
    putCache(writer, request.Cache);
  }
  closeMethod(writer);
}

// --- Hot spares ---

static void putSpare(CHANGE_WRITER *writer, const RAID_PD_RECORD &disk, const SPARE_CHANGE &change) {
  openMethod(writer, "Change", "Physical Disk");
  putElement(writer, "OID", disk.ObjectID);
  openObject(writer, "PD", "Physical Disk");
  putElement(writer, "Hotspare", GetNameFromValue(change.Kind, g_hotspareTable));
  for (UINT32 i = 0; i < change.VirtualDiskCount; ++i) {
    putElement(writer, "VD", change.VirtualDisks[i]);
  }
  closeMethod(writer);
}

// A method for each disk, since a step of a log names one.
void putSpareChange(CHANGE_WRITER *writer, const RAID_CONFIG &config, const SPARE_CHANGE &change) {
  for (UINT32 i = 0; i < change.Disks->Count; ++i) {
    putSpare(writer, config.physicalDisks[change.Disks->Places[i]], change);
  }
}

// --- The adapter ---

bool isModeRow(const FIELD_ROW &row) {
  return (row.Flags & FIELD_MODE) != 0 && row.Names != g_securityModeTable;
}

bool hasMode(const RAID_ADAPTER_RECORD &adapter, const FIELD_ROW &row) {
  return (fieldLoad(&adapter, row.Place) & RAID_MODE_PRESENT) != 0;
}

void nameOfRate(CHAR8 (&name)[64], const RAID_RATE &rate) {
  textNarrow(name, rate.Name, sizeof(name) - 1);
}

bool isEditable(const RAID_RATE &rate) {
  return rate.Name != nullptr && (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
}

// Modes that share a byte go together, since the controller takes it as a whole.
static bool goesWithNamed(const SETTINGS &settings, const FIELD_ROW &row) {
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    if ((settings.Rows >> i & 1) != 0 && g_adapterFields.Rows[i].Place.Offset == row.Place.Offset) {
      return true;
    }
  }
  return false;
}

void putSettings(CHANGE_WRITER *writer, const SETTINGS &settings) {
  openMethod(writer, "Change", "Adapter");
  openObject(writer, "Adapter", "Adapter");
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (!isModeRow(row) || !goesWithNamed(settings, row)) {
      continue;
    }
    UINT64 bits = fieldLoad(&settings.Adapter, row.Place) & row.Mask;
    if (row.Format != FORMAT_MARK) {
      putElement(writer, row.Element, GetNameFromValue(bits, row.Names));
    } else if (bits != 0) {
      putElement(writer, row.Element, "True");
    }
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const RAID_RATE &rate = settings.Adapter.Rates[i];
    if ((settings.Rates >> i & 1) != 0) {
      CHAR8 name[64];
      nameOfRate(name, rate);
      openElement(writer, "Rate");
      putElement(writer, "Name", name);
      putElement(writer, "Editable", "true");
      putElement(writer, "Value", UINT64{rate.EditableValue} >> RAID_RATE_VALUE_SHIFT);
      closeElement(writer);
    }
  }
  closeMethod(writer);
}
