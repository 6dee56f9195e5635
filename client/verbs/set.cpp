// set: modes and rates of the adapter by their names.
#include "client/verbs/builders.h"
#include "client/verbs/methods.h"

#include "base/text.h"

namespace xyl::client {

static Result complainOfName(const Context &context, const RAID_ADAPTER_RECORD &adapter, const CHAR8 *name,
                             bool isRate) {
  WordList names = {};
  for (UINT32 i = 0; !isRate && i < driver::g_adapterFields.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_adapterFields.rows[i];
    if (isModeRow(row) && hasMode(adapter, row)) {
      append(names, ", ", row.element);
    }
  }
  for (UINT32 i = 0; isRate && i < RAID_RATE_COUNT; ++i) {
    if (isEditable(adapter.Rates[i])) {
      CHAR8 rate[64];
      nameOfRate(rate, adapter.Rates[i]);
      append(names, ", ", rate);
    }
  }
  complain(context.front, "the adapter has no %a '%a' to set; it has %a", isRate ? "rate" : "mode", name,
           orNone(names.text));
  return refused();
}

static Result setRate(const Context &context, const CHAR8 *name, const CHAR8 *value, Settings *settings) {
  Meaning meaning = {name, 0, 0, false};
  for (UINT32 i = 0; i < RAID_RATE_COUNT; ++i) {
    if (isEditable(settings->adapter.Rates[i])) {
      CHAR8 rate[64];
      nameOfRate(rate, settings->adapter.Rates[i]);
      offerName(&meaning, rate, i);
    }
  }
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    return complainOfName(context, settings->adapter, name, /* isRate= */ true);
  }
  UINT64 number = parseDecimal(value);
  if (number > 100) {
    complain(context.front, "a rate is a percentage from 0 to 100, not %a", value);
    return wrongUsage();
  }
  settings->adapter.Rates[meaning.value].EditableValue =
      static_cast<UINT8>(number << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE);
  settings->rates |= 1U << meaning.value;
  return succeeded();
}

static Result setMode(const Context &context, const CHAR8 *name, const CHAR8 *value, Settings *settings) {
  Meaning meaning = {name, 0, 0, false};
  for (UINT32 i = 0; i < driver::g_adapterFields.rowCount; ++i) {
    const driver::FieldRow &row = driver::g_adapterFields.rows[i];
    if (isModeRow(row) && hasMode(settings->adapter, row)) {
      offerName(&meaning, row.element, i);
    }
  }
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    return complainOfName(context, settings->adapter, name, /* isRate= */ false);
  }
  const driver::FieldRow &row = driver::g_adapterFields.rows[meaning.value];
  const driver::VALUE_NAME_TABLE *table = row.format == driver::FieldFormat::mark ? driver::g_boolTable : row.names;
  Meaning meant = {value, 0, 0, false};
  offerTable(&meant, table);
  if (isAmbiguous(meant)) {
    return refuseAmbiguous(context, meant);
  }
  if (!isClear(meant)) {
    WordList names = {};
    appendNames(names, table);
    complain(context.front, "%a cannot be '%a'; it is one of %a", row.element, value, names.text);
    return wrongUsage();
  }
  UINT64 bits = row.format == driver::FieldFormat::mark && meant.value != 0 ? row.mask : meant.value;
  UINT64 others = driver::fieldLoad(&settings->adapter, row.place) & ~UINT64{row.mask};
  driver::fieldStore(&settings->adapter, row.place, others | bits);
  settings->rows |= 1ULL << meaning.value;
  return succeeded();
}

// "40" or "40%"
static bool isRate(const CHAR8 *value) {
  Item number = {};
  UINTN length = textLength(value);
  bool hasSign = length != 0 && value[length - 1] == '%';
  length -= hasSign ? 1 : 0;
  copyBytes(number.text, value, length < sizeof(number.text) ? length : 0);
  return isNumber(number.text);
}

// "NAME=VALUE": a number sets a rate, anything else a mode.
static Result readSetting(const Context &context, const CHAR8 *word, Settings *settings) {
  Item name = {};
  UINTN length = 0;
  while (word[length] != 0 && word[length] != '=' && length < sizeof(name.text) - 1) {
    name.text[length] = word[length];
    ++length;
  }
  if (word[length] != '=' || length == 0) {
    complain(context.front, "'%a' is no setting; write NAME=VALUE", word);
    return wrongUsage();
  }
  const CHAR8 *value = word + length + 1;
  return isRate(value) ? setRate(context, name.text, value, settings) : setMode(context, name.text, value, settings);
}

Result buildSet(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  Settings settings;
  zeroBytes(&settings, sizeof(settings));
  copyBytes(&settings.adapter, config.adapter, sizeof(settings.adapter));
  Result result = succeeded();
  for (UINTN i = 0; i < context.request->operandCount && !isFailure(result); ++i) {
    result = readSetting(context, context.request->operands[i], &settings);
  }
  if (!isFailure(result)) {
    putSettings(writer, settings);
  }
  return result;
}

} // namespace xyl::client
