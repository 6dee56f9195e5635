#include "providers/disk_controller/metadata/settings.h"

#include "base/pool.h"
#include "base/text.h"

#define SETTINGS_VERSION 1

const SETTINGS g_defaultSettings = {
    {'X', 'Y', 'L', 'M', 'O', 'D', 'E', 'S'},
    SETTINGS_VERSION,
    {RAID_MODE_PRESENT | RAID_UNCERTIFIED_MODE_ALLOW, RAID_MODE_PRESENT | RAID_LOAD_BALANCE_MODE_NONE,
     RAID_MODE_PRESENT | RAID_LEARN_MODE_DISABLED, RAID_MODE_PRESENT | RAID_CHECK_CONSISTENCY_MODE_NORMAL,
     RAID_MODE_PRESENT | RAID_PATROL_READ_MODE_DISABLED, RAID_MODE_PRESENT | RAID_COPY_BACK_MODE_OFF},
    0,
    {}};

// Where the record has a mode, which values have a meaning, a bit each, and bits that may stand beside them.
struct MODE_ROW {
  UINT16 Offset;
  UINT16 Values;
  UINT8 FreeBits;
};

static constexpr MODE_ROW g_modes[SETTINGS_MODES] = {
    {offsetof(RAID_ADAPTER_RECORD, UncertifiedMode), 0x7, 0},
    {offsetof(RAID_ADAPTER_RECORD, LoadBalanceMode), 0x3, 0},
    {offsetof(RAID_ADAPTER_RECORD, LearnMode), 0x7, 0},
    {offsetof(RAID_ADAPTER_RECORD, CheckConsistencyMode), 0x3, 0},
    {offsetof(RAID_ADAPTER_RECORD, PatrolReadMode),
     1 << RAID_PATROL_READ_MODE_DISABLED | 1 << RAID_PATROL_READ_MODE_MANUAL | 1 << RAID_PATROL_READ_MODE_AUTO,
     RAID_PATROL_READ_MODE_CORRECT_AREAS},
    {offsetof(RAID_ADAPTER_RECORD, CopyBackMode), 0xF, 0},
};

static bool isMode(const MODE_ROW &row, UINT8 value) {
  UINT32 bare = value & ~(RAID_MODE_PRESENT | row.FreeBits) & 0xFFU;
  return (value & RAID_MODE_PRESENT) != 0 && bare < 16 && (row.Values >> bare & 1) != 0;
}

static bool isPrintable(UINT32 unit) {
  return unit >= ' ' && unit <= '~';
}

// Metadata may hold anything: a mode without a meaning is as it was, and a rate without a name that can be shown is
// none.
bool readSettings(const ddf::ControllerData &data, SETTINGS *settings) {
  SETTINGS found;
  copyBytes(&found, data.vendorData, sizeof(found));
  if (__builtin_memcmp(found.Signature, g_defaultSettings.Signature, sizeof(found.Signature)) != 0 ||
      found.Version != SETTINGS_VERSION) {
    return false;
  }
  for (UINT32 i = 0; i < SETTINGS_MODES; ++i) {
    settings->Modes[i] = isMode(g_modes[i], found.Modes[i]) ? found.Modes[i] : settings->Modes[i];
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const SETTINGS::RATE &rate = found.Rates[i];
    UINTN length = 0;
    while (length < sizeof(rate.Name) && isPrintable(static_cast<UINT8>(rate.Name[length]))) {
      ++length;
    }
    settings->Rates[i] = {};
    copyBytes(settings->Rates[i].Name, rate.Name, length);
    settings->Rates[i].Value = length == 0 ? 0 : rate.Value;
  }
  return true;
}

// The slot of the rate of that name, else the first empty one, else RAID_RATE_COUNT.
static UINT32 slotOf(const SETTINGS &settings, const SETTINGS::RATE &wanted) {
  UINT32 slot = RAID_RATE_COUNT;
  for (UINT32 i = RAID_RATE_COUNT; i > 0; --i) {
    const SETTINGS::RATE &rate = settings.Rates[i - 1];
    if (__builtin_memcmp(rate.Name, wanted.Name, sizeof(rate.Name)) == 0) {
      return i - 1;
    }
    slot = rate.Name[0] == 0 ? i - 1 : slot;
  }
  return slot;
}

static EFI_STATUS changeRate(const RAID_RATE &wanted, SETTINGS *settings) {
  SETTINGS::RATE rate = {};
  UINTN length = textLength(wanted.Name);
  if (length > sizeof(rate.Name)) {
    return EFI_INVALID_PARAMETER;
  }
  for (UINTN i = 0; i < length; ++i) {
    if (!isPrintable(wanted.Name[i])) {
      return EFI_INVALID_PARAMETER;
    }
    rate.Name[i] = static_cast<CHAR8>(wanted.Name[i]);
  }
  UINT32 slot = slotOf(*settings, rate);
  if (slot == RAID_RATE_COUNT) {
    return EFI_VOLUME_FULL;
  }
  rate.Value = wanted.EditableValue | RAID_RATE_EDITABLE;
  settings->Rates[slot] = rate;
  return EFI_SUCCESS;
}

EFI_STATUS changeSettings(const RAID_ADAPTER_RECORD &wanted, SETTINGS *settings) {
  SETTINGS changed = *settings;
  for (UINT32 i = 0; i < SETTINGS_MODES; ++i) {
    UINT8 value = reinterpret_cast<const UINT8 *>(&wanted)[g_modes[i].Offset];
    if ((value & RAID_MODE_PRESENT) != 0 && !isMode(g_modes[i], value)) {
      return EFI_INVALID_PARAMETER;
    }
    changed.Modes[i] = (value & RAID_MODE_PRESENT) != 0 ? value : changed.Modes[i];
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

void showSettings(const SETTINGS &settings, RAID_ADAPTER_RECORD *record, RATE_NAMES *names) {
  for (UINT32 i = 0; i < SETTINGS_MODES; ++i) {
    reinterpret_cast<UINT8 *>(record)[g_modes[i].Offset] = settings.Modes[i];
  }
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    const SETTINGS::RATE &rate = settings.Rates[i];
    CHAR16 *text = names->Texts[i];
    UINTN length = 0;
    for (; length < sizeof(rate.Name) && rate.Name[length] != 0; ++length) {
      text[length] = static_cast<CHAR16>(rate.Name[length]);
    }
    text[length] = 0;
    record->Rates[i].Name = length == 0 ? nullptr : text;
    record->Rates[i].EditableValue = rate.Value;
  }
}
