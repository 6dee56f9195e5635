#include "client/plan/plan_facts.h"

#include "base/pool.h"
#include "base/text.h"
#include "driver/restore/restore.h"
#include "driver/xml/xml.h"

namespace xyl::client {

const PlanCommand *findCommand(const RestorePlan &plan, UINT32 command, UINT32 objectType, const void *data) {
  for (UINT32 i = 0; i < plan.commands.count; ++i) {
    const PlanCommand &planned = plan.commands.items[i];
    if (planned.command == command && planned.objectType == objectType && (data == nullptr || planned.data == data)) {
      return &planned;
    }
  }
  return nullptr;
}

// --- Disks ---

// Indexed by DiskFit.
static constexpr const CHAR8 *g_fitWords[diskFitCount] = {"taken", "too small", "of the other medium",
                                                          "with another protocol", "without encryption"};

// Why no disk in the saved disk's place stands in for it.
static void putWhyNotInPlace(Text *text, const RestorePlan &plan, const RAID_PD_RECORD &saved) {
  UINT32 place = firstInPlace(plan.fits, saved);
  if (place == plan.fits.count) {
    putText(text, "its place is empty");
    return;
  }
  const RAID_PD_RECORD &current = plan.fits.disks[place];
  putText(text, "disk ");
  putNumber(text, current.ObjectID);
  putText(text, " in its place is ");
  putText(text, g_fitWords[driver::diskFit(saved, current)]);
}

// Why no disk elsewhere does.
static void putWhyNotElsewhere(Text *text, const RestorePlan &plan, const RAID_PD_RECORD &saved) {
  UINT32 counts[diskFitCount];
  countElsewhere(plan.fits, saved, counts);
  putText(text, "; of the others ");
  const CHAR8 *separator = "";
  for (UINTN fit = 0; fit < diskFitCount; ++fit) {
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

void putDiskReason(Text *text, const RestorePlan &plan, UINT32 index) {
  const RAID_PD_RECORD &saved = plan.saved->physicalDisks[index];
  UINT32 entry = plan.map != nullptr ? plan.map[index] : 0;
  const RAID_PD_RECORD *current = entry != 0 ? findCurrent(plan, entry - 1) : nullptr;
  if (current == nullptr) {
    putWhyNotInPlace(text, plan, saved);
    putWhyNotElsewhere(text, plan, saved);
    return;
  }
  bool isSame = plan.diskPlans[index].twin == static_cast<UINT32>(current - currentDisks(plan)) + 1;
  if (driver::samePlace(saved, *current)) {
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
    putText(text, driver::GetNameFromValue(current->State, driver::g_stateTable));
  }
}

// --- Settings ---

static bool isCompared(const driver::FieldRow &row) {
  for (UINT16 offset : driver::g_comparedModes) {
    if (row.place.offset == offset) {
      return true;
    }
  }
  return false;
}

bool isSetting(const CHAR8 *element) {
  if (textEqual(element, "Rate")) {
    return true;
  }
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_adapterFields.rows[i];
    if (row.place.width == 1 && isCompared(row) && textEqual(row.element, element)) {
      return true;
    }
  }
  return false;
}

static const CHAR8 *modeText(const RAID_ADAPTER_RECORD *adapter, const driver::FieldRow &row) {
  if ((driver::fieldLoad(adapter, row.place) & RAID_MODE_PRESENT) == 0) {
    return "-";
  }
  UINT64 value = driver::fieldValue(adapter, row);
  return row.format == driver::FieldFormat::mark ? (value != 0 ? "True" : "False")
                                                 : driver::GetNameFromValue(value, row.names);
}

template <UINTN size> static void copyText(CHAR8 (&to)[size], const CHAR8 *text) {
  UINTN length = textLength(text);
  copyBytes(to, text, length < size ? length : size - 1);
}

static void findModes(const RestorePlan &plan, RestoredSettings *settings) {
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_adapterFields.rows[i];
    if (row.place.width != 1 || !isCompared(row)) {
      continue;
    }
    const CHAR8 *current = modeText(currentAdapter(plan), row);
    const CHAR8 *saved = modeText(plan.saved->adapter, row);
    if (!textEqual(current, saved)) {
      RestoredSetting *setting = &settings->items[settings->count++];
      setting->element = row.element;
      copyText(setting->current, current);
      copyText(setting->saved, saved);
      setting->isFixed = textEqual(current, "-");
    }
  }
}

static void findRates(const RestorePlan &plan, RestoredSettings *settings) {
  for (UINTN i = 0; i < RAID_RATE_COUNT; ++i) {
    RAID_RATE rate = currentAdapter(plan)->Rates[i];
    if (rate.Name == nullptr || !driver::rateDiffers(rate, plan.saved->adapter)) {
      continue;
    }
    RestoredSetting *setting = &settings->items[settings->count++];
    setting->element = "Rate";
    textNarrow(setting->rate, rate.Name, sizeof(setting->rate) - 1);
    formatDecimal(setting->current, rate.EditableValue >> 1);
    copyText(setting->saved, "-");
    setting->isFixed = (rate.EditableValue & RAID_RATE_EDITABLE) == 0;
    for (UINTN j = 0; j < RAID_RATE_COUNT; ++j) {
      RAID_RATE saved = plan.saved->adapter->Rates[j];
      if (saved.Name != nullptr && textEqual(saved.Name, rate.Name)) {
        formatDecimal(setting->saved, saved.EditableValue >> 1);
        break;
      }
    }
  }
}

void findSettings(const RestorePlan &plan, RestoredSettings *settings) {
  *settings = {};
  findModes(plan, settings);
  findRates(plan, settings);
}

} // namespace xyl::client
