// set: modes and rates of the adapter by their names.
#include "client/verbs/builders.h"
#include "client/verbs/methods.h"

#include "base/text.h"

static XYL_RESULT complainOfName(const XYL_CONTEXT &context, const RAID_ADAPTER_RECORD &adapter, const CHAR8 *name,
                                 bool isRate) {
  WORD_LIST names = {};
  for (UINT32 i = 0; !isRate && i < g_adapterFields.RowCount; ++i) {
    const FIELD_ROW &row = g_adapterFields.Rows[i];
    if (isModeRow(row) && hasMode(adapter, row)) {
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
    if (isModeRow(row) && hasMode(settings->Adapter, row)) {
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
