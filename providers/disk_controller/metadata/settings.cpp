#include "providers/disk_controller/metadata/settings.h"

#include "base/pool.h"
#include "base/text.h"

namespace xyl::disk_controller {

constexpr UINT8 settingsVersion = 1;

const Settings g_defaultSettings = {
    {'X', 'Y', 'L', 'M', 'O', 'D', 'E', 'S'},
    settingsVersion,
    {RAID_MODE_PRESENT | RAID_UNCERTIFIED_MODE_ALLOW, RAID_MODE_PRESENT | RAID_LOAD_BALANCE_MODE_NONE,
     RAID_MODE_PRESENT | RAID_LEARN_MODE_DISABLED, RAID_MODE_PRESENT | RAID_CHECK_CONSISTENCY_MODE_NORMAL,
     RAID_MODE_PRESENT | RAID_PATROL_READ_MODE_DISABLED, RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_OFF},
    0,
    {}};

// Where the record has a mode, which values have a meaning, a bit each, and bits that may stand beside them.
struct ModeRow {
  UINT16 offset;
  UINT16 values;
  UINT8 freeBits;
};

static constexpr ModeRow g_modes[settingsModes] = {
    {offsetof(RAID_ADAPTER_RECORD, UncertifiedMode), 0x7, 0},
    {offsetof(RAID_ADAPTER_RECORD, LoadBalanceMode), 0x3, 0},
    {offsetof(RAID_ADAPTER_RECORD, LearnMode), 0x7, 0},
    {offsetof(RAID_ADAPTER_RECORD, CheckConsistencyMode), 0x3, 0},
    {offsetof(RAID_ADAPTER_RECORD, PatrolReadMode),
     1 << RAID_PATROL_READ_MODE_DISABLED | 1 << RAID_PATROL_READ_MODE_MANUAL | 1 << RAID_PATROL_READ_MODE_AUTO,
     RAID_PATROL_READ_MODE_CORRECT_AREAS},
    {offsetof(RAID_ADAPTER_RECORD, CopyBackMode), 0xF, 0},
};

static bool isMode(const ModeRow &row, UINT8 value) {
  UINT32 bare = value & ~(RAID_MODE_PRESENT | row.freeBits) & 0xFFU;
  return (value & RAID_MODE_PRESENT) != 0 && bare < 16 && (row.values >> bare & 1) != 0;
}

static bool isPrintable(UINT32 unit) {
  return unit >= ' ' && unit <= '~';
}

// Metadata may hold anything: a mode without a meaning is as it was, and a rate without a name that can be shown is
// none.
bool readSettings(const ddf::ControllerData &data, Settings *settings) {
  Settings found;
  copyBytes(&found, data.vendorData, sizeof(found));
  if (__builtin_memcmp(found.signature, g_defaultSettings.signature, sizeof(found.signature)) != 0 ||
      found.version != settingsVersion) {
    return false;
  }
  for (UINT32 i = 0; i < settingsModes; ++i) {
    settings->modes[i] = isMode(g_modes[i], found.modes[i]) ? found.modes[i] : settings->modes[i];
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const Settings::Rate &rate = found.rates[i];
    UINTN length = 0;
    while (length < sizeof(rate.name) && isPrintable(static_cast<UINT8>(rate.name[length]))) {
      ++length;
    }
    settings->rates[i] = {};
    copyBytes(settings->rates[i].name, rate.name, length);
    settings->rates[i].value = length == 0 ? 0 : rate.value;
  }
  return true;
}

// The slot of the rate of that name, else the first empty one, else RAID_RATE_COUNT.
static UINT32 slotOf(const Settings &settings, const Settings::Rate &wanted) {
  UINT32 slot = RAID_RATE_COUNT;
  for (UINT32 i = RAID_RATE_COUNT; i > 0; --i) {
    const Settings::Rate &rate = settings.rates[i - 1];
    if (__builtin_memcmp(rate.name, wanted.name, sizeof(rate.name)) == 0) {
      return i - 1;
    }
    slot = rate.name[0] == 0 ? i - 1 : slot;
  }
  return slot;
}

static EFI_STATUS changeRate(const RAID_RATE &wanted, Settings *settings) {
  Settings::Rate rate = {};
  UINTN length = textLength(wanted.Name);
  if (length > sizeof(rate.name)) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINTN i = 0; i < length; ++i) {
    if (!isPrintable(wanted.Name[i])) {
      return EFI_INVALID_PARAMETER;
    }
    rate.name[i] = static_cast<CHAR8>(wanted.Name[i]);
  }
  UINT32 slot = slotOf(*settings, rate);
  if (slot == RAID_RATE_COUNT) {
    return EFI_VOLUME_FULL;
  }
  rate.value = wanted.EditableValue | RAID_RATE_EDITABLE;
  settings->rates[slot] = rate;
  return EFI_SUCCESS;
}

EFI_STATUS changeSettings(const RAID_ADAPTER_RECORD &wanted, Settings *settings) {
  Settings changed = *settings;
  for (UINT32 i = 0; i < settingsModes; ++i) {
    UINT8 value = reinterpret_cast<const UINT8 *>(&wanted)[g_modes[i].offset];
    if ((value & RAID_MODE_PRESENT) != 0 && !isMode(g_modes[i], value)) {
      return EFI_INVALID_PARAMETER;
    }
    changed.modes[i] = (value & RAID_MODE_PRESENT) != 0 ? value : changed.modes[i];
  }
  for (const RAID_RATE &rate : wanted.Rates) {
    bool isNamed = rate.Name != nullptr && rate.Name[0] != 0;
    EFI_STATUS status = isNamed ? changeRate(rate, &changed) : EFI_SUCCESS;
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  *settings = changed;
  return EFI_SUCCESS;
}

void showSettings(const Settings &settings, RAID_ADAPTER_RECORD *record, RateNames *names) {
  for (UINT32 i = 0; i < settingsModes; ++i) {
    reinterpret_cast<UINT8 *>(record)[g_modes[i].offset] = settings.modes[i];
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const Settings::Rate &rate = settings.rates[i];
    CHAR16 *text = names->texts[i];
    UINTN length = 0;
    for (; length < sizeof(rate.name) && rate.name[length] != 0; ++length) {
      text[length] = static_cast<CHAR16>(rate.name[length]);
    }
    text[length] = 0;
    record->Rates[i].Name = length == 0 ? nullptr : text;
    record->Rates[i].EditableValue = rate.value;
  }
}

} // namespace xyl::disk_controller
