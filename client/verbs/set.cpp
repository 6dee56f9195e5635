// set: modes and rates of the adapter by their names.
#include "client/verbs/builders.h"

#include "base/text.h"

namespace {

// What the words of the command line have made of the adapter so far.
struct SETTINGS {
  RAID_ADAPTER_RECORD Adapter;
  UINT64 Rows;  // of g_adapterFields that are named, a bit each
  UINT32 Rates; // likewise
};

} // namespace

// Security modes come and go with the key.
static bool isSetting(const FIELD_ROW &row) {
  return (row.Flags & FIELD_MODE) != 0 && row.Names != g_securityModeTable;
}

static bool isThere(const RAID_ADAPTER_RECORD &adapter, const FIELD_ROW &row) {
  return (fieldLoad(&adapter, row.Place) & RAID_MODE_PRESENT) != 0;
}

static void nameOfRate(CHAR8 (&name)[64], const RAID_RATE &rate) {
  textNarrow(name, rate.Name, sizeof(name) - 1);
}

static bool isEditable(const RAID_RATE &rate) {
  return rate.Name != nullptr && (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
}

static XYL_RESULT complainOfName(const XYL_CONTEXT &context, const RAID_ADAPTER_RECORD &adapter, const CHAR8 *name,
                                 bool isRate) {
  WORD_LIST names = {};
  for (UINT32 i = 0; !isRate && i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (isSetting(row) && isThere(adapter, row)) {
      append(names, ", ", row.Element);
    }
  }
  for (UINT32 i = 0; isRate && i < RAID_RATE_COUNT; ++i) {
    if (isEditable(adapter.Rates[i])) {
      CHAR8 rate[64];
      nameOfRate(rate, adapter.Rates[i]);
      append(names, ", ", rate);
    }
  }
  complain(context.Front, "the adapter has no %a '%a' to set; it has %a", isRate ? "rate" : "mode", name,
           orNone(names.Text));
  return refused();
}

static XYL_RESULT setRate(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *value, SETTINGS *settings) {
  MEANING meaning = {name, 0, 0, false};
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    if (isEditable(settings->Adapter.Rates[i])) {
      CHAR8 rate[64];
      nameOfRate(rate, settings->Adapter.Rates[i]);
      offerName(&meaning, rate, i);
    }
  }
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    return complainOfName(context, settings->Adapter, name, /* isRate= */ true);
  }
  UINT64 number = parseDecimal(value);
  if (number > 100) {
    complain(context.Front, "a rate is a percentage from 0 to 100, not %a", value);
    return wrongUsage();
  }
  settings->Adapter.Rates[meaning.Value].EditableValue =
      static_cast<UINT8>(number << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE);
  settings->Rates |= 1U << meaning.Value;
  return succeeded();
}

static XYL_RESULT setMode(const XYL_CONTEXT &context, const CHAR8 *name, const CHAR8 *value, SETTINGS *settings) {
  MEANING meaning = {name, 0, 0, false};
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (isSetting(row) && isThere(settings->Adapter, row)) {
      offerName(&meaning, row.Element, i);
    }
  }
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    return complainOfName(context, settings->Adapter, name, /* isRate= */ false);
  }
  const FIELD_ROW &row = g_adapterFields.Rows[meaning.Value];
  const VALUE_NAME_TABLE *table = row.Format == FORMAT_MARK ? g_boolTable : row.Names;
  MEANING meant = {value, 0, 0, false};
  offerTable(&meant, table);
  if (isAmbiguous(meant)) {
    return refuseAmbiguous(context, meant);
  }
  if (!isClear(meant)) {
    WORD_LIST names = {};
    appendNames(names, table);
    complain(context.Front, "%a cannot be '%a'; it is one of %a", row.Element, value, names.Text);
    return wrongUsage();
  }
  UINT64 bits = row.Format == FORMAT_MARK && meant.Value != 0 ? row.Mask : meant.Value;
  UINT64 others = fieldLoad(&settings->Adapter, row.Place) & ~UINT64{row.Mask};
  fieldStore(&settings->Adapter, row.Place, others | bits);
  settings->Rows |= 1ULL << meaning.Value;
  return succeeded();
}

// "40" or "40%"
static bool isRate(const CHAR8 *value) {
  ITEM number = {};
  UINTN length = textLength(value);
  bool hasSign = length != 0 && value[length - 1] == '%';
  length -= hasSign ? 1 : 0;
  copyBytes(number.Text, value, length < sizeof(number.Text) ? length : 0);
  return isNumber(number.Text);
}

// "NAME=VALUE": a number sets a rate, anything else a mode.
static XYL_RESULT readSetting(const XYL_CONTEXT &context, const CHAR8 *word, SETTINGS *settings) {
  ITEM name = {};
  UINTN length = 0;
  while (word[length] != 0 && word[length] != '=' && length < sizeof(name.Text) - 1) {
    name.Text[length] = word[length];
    ++length;
  }
  if (word[length] != '=' || length == 0) {
    complain(context.Front, "'%a' is no setting; write NAME=VALUE", word);
    return wrongUsage();
  }
  const CHAR8 *value = word + length + 1;
  return isRate(value) ? setRate(context, name.Text, value, settings) : setMode(context, name.Text, value, settings);
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

static void putSettings(CHANGE_WRITER *writer, const SETTINGS &settings) {
  openMethod(writer, "Change", "Adapter");
  openObject(writer, "Adapter", "Adapter");
  for (UINT32 i = 0; i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (!isSetting(row) || !goesWithNamed(settings, row)) {
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

XYL_RESULT buildSet(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  SETTINGS settings;
  zeroBytes(&settings, sizeof(settings));
  copyBytes(&settings.Adapter, config.adapter, sizeof(settings.Adapter));
  XYL_RESULT result = succeeded();
  for (UINTN i = 0; i < context.Request->OperandCount && !isFailure(result); ++i) {
    result = readSetting(context, context.Request->Operands[i], &settings);
  }
  if (!isFailure(result)) {
    putSettings(writer, settings);
  }
  return result;
}
