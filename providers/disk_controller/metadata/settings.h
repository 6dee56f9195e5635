// Modes and rates of the adapter. Nothing acts on them: they are kept for who asks, in the part of a set's metadata
// that is its maker's own, which Linux keeps as it is.
#pragma once

#include "providers/ddf/ddf.h"
#include "raid_records.h"

namespace xyl::disk_controller {

constexpr UINTN settingsModes = 6;
constexpr UINTN rateNameSize = 31;

// As the metadata has it. A mode's byte is that of the record.
struct Settings {
  CHAR8 signature[8];
  UINT8 version;
  UINT8 modes[settingsModes];
  UINT8 pad;
  struct Rate {
    CHAR8 name[rateNameSize]; // plain ASCII, padded with zeros; empty: no rate
    UINT8 value;              // EditableValue
  } rates[RAID_RATE_COUNT];
};
static_assert(sizeof(Settings) == 16 + 32 * RAID_RATE_COUNT && sizeof(Settings) <= 448);

// What holds as long as nobody has set anything: what the controller does.
extern const Settings g_defaultSettings;

// Takes over what a set's maker data keep; false for data that are none of these.
bool readSettings(const ddf::ControllerData &data, Settings *settings);

// Changes what the record carries: modes with RAID_MODE_PRESENT, rates by their names. EFI_INVALID_PARAMETER for a
// value without a meaning or a rate's name that cannot be kept, EFI_VOLUME_FULL for too many rates; nothing is changed
// then.
EFI_STATUS changeSettings(const RAID_ADAPTER_RECORD &wanted, Settings *settings);

// Texts that a record's rates point to.
struct RateNames {
  CHAR16 texts[RAID_RATE_COUNT][rateNameSize + 1];
};
void showSettings(const Settings &settings, RAID_ADAPTER_RECORD *record, RateNames *names);

} // namespace xyl::disk_controller
