// Modes and rates of the adapter. Nothing acts on them: they are kept for who asks, in the part of a set's metadata
// that is its maker's own, which Linux keeps as it is.
#pragma once

#include "providers/ddf/ddf.h"
#include "raid_records.h"

#define SETTINGS_MODES 6
#define SETTINGS_RATE_NAME 31

// As the metadata has it. A mode's byte is that of the record.
struct SETTINGS {
  CHAR8 Signature[8];
  UINT8 Version;
  UINT8 Modes[SETTINGS_MODES];
  UINT8 Pad;
  struct RATE {
    CHAR8 Name[SETTINGS_RATE_NAME]; // plain ASCII, padded with zeros; empty: no rate
    UINT8 Value;                    // EditableValue
  } Rates[RAID_RATE_COUNT];
};
static_assert(sizeof(SETTINGS) == 16 + 32 * RAID_RATE_COUNT && sizeof(SETTINGS) <= 448);

// What holds as long as nobody has set anything: what the controller does.
extern const SETTINGS g_defaultSettings;

// Takes over what a set's maker data keep; false for data that are none of these.
bool readSettings(const ddf::ControllerData &data, SETTINGS *settings);

// Changes what the record carries: modes with RAID_MODE_PRESENT, rates by their names. EFI_INVALID_PARAMETER for a
// value without a meaning or a rate's name that cannot be kept, EFI_VOLUME_FULL for too many rates; nothing is changed
// then.
EFI_STATUS changeSettings(const RAID_ADAPTER_RECORD &wanted, SETTINGS *settings);

// Texts that a record's rates point to.
struct RATE_NAMES {
  CHAR16 Texts[RAID_RATE_COUNT][SETTINGS_RATE_NAME + 1];
};
void showSettings(const SETTINGS &settings, RAID_ADAPTER_RECORD *record, RATE_NAMES *names);
