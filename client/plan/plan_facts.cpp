#include "client/plan/plan_facts.h"

#include "base/pool.h"
#include "base/text.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

const PLAN_COMMAND *findCommand(const RESTORE_PLAN &plan, UINT32 command, UINT32 objectType, const void *data) {
  for (UINT32 i = 0; i < plan.Commands.count; ++i) {
    const PLAN_COMMAND &planned = plan.Commands.items[i];
    if (planned.Command == command && planned.ObjectType == objectType && (data == nullptr || planned.Data == data)) {
      return &planned;
    }
  }
  return nullptr;
}

// --- Disks ---

// Indexed by DISK_FIT.
static constexpr const CHAR8 *g_fitWords[DISK_FIT_COUNT] = {"taken", "too small", "of the other medium",
                                                            "with another protocol", "without encryption"};

// Why no disk in the saved disk's place stands in for it.
static void putWhyNotInPlace(TEXT *text, const RESTORE_PLAN &plan, const RAID_PD_RECORD &saved) {
  UINT32 place = firstInPlace(plan.Fits, saved);
  if (place == plan.Fits.Count) {
    putText(text, "its place is empty");
    return;
  }
  const RAID_PD_RECORD &current = plan.Fits.Disks[place];
  putText(text, "disk ");
  putNumber(text, current.ObjectID);
  putText(text, " in its place is ");
  putText(text, g_fitWords[diskFit(saved, current)]);
}

// Why no disk elsewhere does.
static void putWhyNotElsewhere(TEXT *text, const RESTORE_PLAN &plan, const RAID_PD_RECORD &saved) {
  UINT32 counts[DISK_FIT_COUNT];
  countElsewhere(plan.Fits, saved, counts);
  putText(text, "; of the others ");
  const CHAR8 *separator = "";
  for (UINTN fit = 0; fit < DISK_FIT_COUNT; ++fit) {
    if (counts[fit] != 0) {
      putText(text, separator);
      putNumber(text, counts[fit]);
      putText(text, counts[fit] == 1 ? " is " : " are ");
      putText(text, g_fitWords[fit]);
      separator = ", ";
    }
  }
  putText(text, *separator == 0 ? "there are none" : "");
}

void putDiskReason(TEXT *text, const RESTORE_PLAN &plan, UINT32 index) {
  const RAID_PD_RECORD &saved = plan.Saved->physicalDisks[index];
  UINT32 entry = plan.Map != nullptr ? plan.Map[index] : 0;
  const RAID_PD_RECORD *current = entry != 0 ? findCurrent(plan, entry - 1) : nullptr;
  if (current == nullptr) {
    putWhyNotInPlace(text, plan, saved);
    putWhyNotElsewhere(text, plan, saved);
    return;
  }
  bool isSame = plan.DiskPlans[index].Twin == static_cast<UINT32>(current - currentDisks(plan)) + 1;
  if (samePlace(saved, *current)) {
    putText(text, isSame                                ? "the same disk in the same place"
                  : isKnown(saved) || isKnown(*current) ? "another disk in the same place"
                                                        : "a disk in the same place, nothing tells whether the same");
  } else {
    putText(text, isSame ? "the same disk in another place; " : "the first that fits; ");
    putWhyNotInPlace(text, plan, saved);
  }
  // The mapping does not look at states, the controller does.
  if (isLost(*current)) {
    putText(text, "; BUT IT IS ");
    putText(text, GetNameFromValue(current->State, g_stateTable));
  }
}

// --- Settings ---

static bool isCompared(const FIELD_ROW &row) {
  for (UINT16 offset : g_comparedModes) {
    if (row.Place.Offset == offset) {
      return true;
    }
  }
  return false;
}

bool isSetting(const CHAR8 *element) {
  if (textEqual(element, "Rate")) {
    return true;
  }
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (row.Place.Width == 1 && isCompared(row) && textEqual(row.Element, element)) {
      return true;
    }
  }
  return false;
}

static const CHAR8 *modeText(const RAID_ADAPTER_RECORD *adapter, const FIELD_ROW &row) {
  if ((fieldLoad(adapter, row.Place) & RAID_MODE_PRESENT) == 0) {
    return "-";
  }
  UINT64 value = fieldValue(adapter, row);
  return row.Format == FORMAT_MARK ? (value != 0 ? "True" : "False") : GetNameFromValue(value, row.Names);
}

template <UINTN size> static void copyText(CHAR8 (&to)[size], const CHAR8 *text) {
  UINTN length = textLength(text);
  copyBytes(to, text, length < size ? length : size - 1);
}

static void findModes(const RESTORE_PLAN &plan, RESTORED_SETTINGS *settings) {
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (row.Place.Width != 1 || !isCompared(row)) {
      continue;
    }
    const CHAR8 *current = modeText(currentAdapter(plan), row);
    const CHAR8 *saved = modeText(plan.Saved->adapter, row);
    if (!textEqual(current, saved)) {
      RESTORED_SETTING *setting = &settings->Items[settings->Count++];
      setting->Element = row.Element;
      copyText(setting->Current, current);
      copyText(setting->Saved, saved);
      setting->IsFixed = textEqual(current, "-");
    }
  }
}

static void findRates(const RESTORE_PLAN &plan, RESTORED_SETTINGS *settings) {
  for (UINTN i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE rate = currentAdapter(plan)->Rates[i];
    if (rate.Name == nullptr || !rateDiffers(rate, plan.Saved->adapter)) {
      continue;
    }
    RESTORED_SETTING *setting = &settings->Items[settings->Count++];
    setting->Element = "Rate";
    textNarrow(setting->Rate, rate.Name, sizeof(setting->Rate) - 1);
    formatDecimal(setting->Current, rate.EditableValue >> 1);
    copyText(setting->Saved, "-");
    setting->IsFixed = (rate.EditableValue & RAID_RATE_EDITABLE) == 0;
    for (UINTN j = 0; j < RAID_RATE_COUNT; ++j) {
      RAID_RATE saved = plan.Saved->adapter->Rates[j];
      if (saved.Name != nullptr && textEqual(saved.Name, rate.Name)) {
        formatDecimal(setting->Saved, saved.EditableValue >> 1);
        break;
      }
    }
  }
}

void findSettings(const RESTORE_PLAN &plan, RESTORED_SETTINGS *settings) {
  *settings = {};
  findModes(plan, settings);
  findRates(plan, settings);
}
