#include "client/verbs/methods.h"

#include "base/text.h"

namespace xyl::client {

// --- Virtual disks ---

UINT32 completedCache(UINT32 cache, UINT32 others) {
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    UINT32 group = driver::g_cachePolicyGroups.rows[i].mask;
    cache |= (cache & group) == 0 ? others & group : 0;
  }
  return cache;
}

void putCache(ChangeWriter *writer, UINT32 cache) {
  openElement(writer, "CurrentCachePolicy");
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_cachePolicyGroups.rows[i];
    if ((cache & row.mask) != 0) {
      putElement(writer, row.element, driver::GetNameFromValue(cache & row.mask, row.names));
    }
  }
  closeElement(writer);
}

void putCreate(ChangeWriter *writer, const RAID_CONFIG &config, const NewVirtualDiskRequest &request) {
  openMethod(writer, "Create", "Virtual Disk");
  for (UINT32 i = 0; i < request.memberCount; ++i) {
    putElement(writer, "OID", config.physicalDisks[request.members[i]].ObjectID);
  }
  openObject(writer, "VD", "Virtual Disk");
  if (request.name != nullptr) {
    putElement(writer, "Name", request.name);
  }
  putElement(writer, "TargetID", request.reference);
  putElement(writer, "RAIDLevel", driver::GetNameFromValue(request.level, driver::g_raidLevelTable));
  if (request.size != 0) {
    putElement(writer, "Size", request.size);
  }
  if (request.stripe != 0) {
    putElement(writer, "StripeSize", driver::GetNameFromValue(request.stripe, driver::g_stripeSizeTable));
  }
  if (request.cache != 0) {
    putCache(writer, request.cache);
  }
  closeMethod(writer);
}

// --- Hot spares ---

static void putSpare(ChangeWriter *writer, const RAID_PD_RECORD &disk, const SpareChange &change) {
  openMethod(writer, "Change", "Physical Disk");
  putElement(writer, "OID", disk.ObjectID);
  openObject(writer, "PD", "Physical Disk");
  putElement(writer, "Hotspare", driver::GetNameFromValue(change.kind, driver::g_hotspareTable));
  for (UINT32 i = 0; i < change.virtualDiskCount; ++i) {
    putElement(writer, "VD", change.virtualDisks[i]);
  }
  closeMethod(writer);
}

// A method for each disk, since a step of a log names one.
void putSpareChange(ChangeWriter *writer, const RAID_CONFIG &config, const SpareChange &change) {
  for (UINT32 i = 0; i < change.disks->count; ++i) {
    putSpare(writer, config.physicalDisks[change.disks->places[i]], change);
  }
}

// --- The adapter ---

bool isModeRow(const driver::FieldRow &row) {
  return (row.flags & driver::fieldMode) != 0 && row.names != driver::g_securityModeTable;
}

bool hasMode(const RAID_ADAPTER_RECORD &adapter, const driver::FieldRow &row) {
  return (driver::fieldLoad(&adapter, row.place) & RAID_MODE_PRESENT) != 0;
}

void nameOfRate(CHAR8 (&name)[64], const RAID_RATE &rate) {
  textNarrow(name, rate.Name, sizeof(name) - 1);
}

bool isEditable(const RAID_RATE &rate) {
  return rate.Name != nullptr && (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
}

// Modes that share a byte go together, since the controller takes it as a whole.
static bool goesWithNamed(const Settings &settings, const driver::FieldRow &row) {
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    if ((settings.rows >> i & 1) != 0 && driver::g_adapterFields.rows[i].place.offset == row.place.offset) {
      return true;
    }
  }
  return false;
}

void putSettings(ChangeWriter *writer, const Settings &settings) {
  openMethod(writer, "Change", "Adapter");
  openObject(writer, "Adapter", "Adapter");
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_adapterFields.rows[i];
    if (!isModeRow(row) || !goesWithNamed(settings, row)) {
      continue;
    }
    UINT64 bits = driver::fieldLoad(&settings.adapter, row.place) & row.mask;
    if (row.format != driver::FieldFormat::mark) {
      putElement(writer, row.element, driver::GetNameFromValue(bits, row.names));
    } else if (bits != 0) {
      putElement(writer, row.element, "True");
    }
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const RAID_RATE &rate = settings.adapter.Rates[i];
    if ((settings.rates >> i & 1) != 0) {
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

} // namespace xyl::client
