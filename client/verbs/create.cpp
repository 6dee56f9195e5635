// create: a virtual disk, with spares of its own.
#include "client/verbs/create_disks.h"
#include "client/verbs/methods.h"

namespace xyl::client {

// Reads an option whose value is one of a table's, those in the mask; *value is 0 when it is not given.
static Result readValue(const Context &context, OptionId option, const driver::VALUE_NAME_TABLE *table, UINT32 mask,
                        UINT32 *value) {
  const CHAR8 *text = context.request->options[option];
  *value = 0;
  if (text == nullptr) {
    return succeeded();
  }
  Meaning meaning = {text, 0, 0, false};
  offerTable(&meaning, table, mask);
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    WordList names = {};
    appendNames(names, table, mask);
    complain(context.front, "%a cannot be '%a' here; it is one of %a", g_xylOptions[option].longName, text, names.text);
    return wrongUsage();
  }
  *value = static_cast<UINT32>(meaning.value);
  return succeeded();
}

static Result readLevel(const Context &context, const RAID_ADAPTER_RECORD &adapter, Creation *creation) {
  UINT32 level = 0;
  if (!hasOption(context, optionLevel)) {
    WordList names = {};
    appendNames(names, driver::g_raidLevelTable, adapter.SupportedRAIDLevels);
    complain(context.front, "give --level LEVEL, one of %a", orNone(names.text));
    return wrongUsage();
  }
  Result result = readValue(context, optionLevel, driver::g_raidLevelTable, adapter.SupportedRAIDLevels, &level);
  creation->level = isFailure(result) ? nullptr : fitting::levelOf(adapter, level);
  if (!isFailure(result) && creation->level == nullptr) {
    complain(context.front, "the controller does not describe %a",
             driver::GetNameFromValue(level, driver::g_raidLevelTable));
    return failed(EFI_UNSUPPORTED);
  }
  return result;
}

// One word of --cache, of any of the groups.
static Result readCacheWord(const Context &context, const CHAR8 *word, Creation *creation) {
  UINT32 available = creation->level->AvailableCachePolicy;
  Meaning meaning = {word, 0, 0, false};
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    offerTable(&meaning, driver::g_cachePolicyGroups.rows[i].names, available);
  }
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    WordList names = {};
    for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
      appendNames(names, driver::g_cachePolicyGroups.rows[i].names, available);
    }
    complain(context.front, "--cache cannot be '%a' here; there are %a", word, orNone(names.text));
    return wrongUsage();
  }
  for (UINT32 i = 0; i < driver::g_cachePolicyGroups.rowCount; ++i) {
    UINT32 group = driver::g_cachePolicyGroups.rows[i].mask;
    if ((meaning.value & group) != 0 && (creation->cache & group) != 0) {
      complain(context.front, "--cache has two words of one kind, of which the second is '%a'", word);
      return wrongUsage();
    }
  }
  creation->cache |= static_cast<UINT32>(meaning.value);
  return succeeded();
}

static Result readCache(const Context &context, Creation *creation) {
  const CHAR8 *words = context.request->options[optionCache];
  Item item;
  Result result = succeeded();
  while (!isFailure(result) && nextItem(&words, &item)) {
    result = readCacheWord(context, item.text, creation);
  }
  if (creation->cache != 0) {
    creation->cache = completedCache(creation->cache, creation->level->DefaultCachePolicy);
  }
  return result;
}

static Result readSize(const Context &context, Creation *creation) {
  const CHAR8 *text = context.request->options[optionSize];
  creation->size = text != nullptr ? parseSize(text) : 0;
  if (text != nullptr && creation->size == 0) {
    complain(context.front, "'%a' is no size; write it as 600GB, 1.2TB or in bytes", text);
    return wrongUsage();
  }
  if (text != nullptr && lacksUnit(text)) {
    complain(context.front, "'%a' is a number of bytes; write its unit, as %aGB", text, text);
    return wrongUsage();
  }
  return succeeded();
}

static Result readCreation(const Context &context, const RAID_CONFIG &config, Creation *creation) {
  const RAID_ADAPTER_RECORD &adapter = *config.adapter;
  if (config.logicalDiskCount >= adapter.MaxLDs) {
    complain(context.front, "the controller holds %d virtual disks, as many as it can; 'xyl delete' makes room",
             config.logicalDiskCount);
    return refused();
  }
  Result result = readLevel(context, adapter, creation);
  if (!isFailure(result)) {
    result = readValue(context, optionStripe, driver::g_stripeSizeTable, creation->level->AvailableStripeSize,
                       &creation->stripe);
  }
  if (!isFailure(result)) {
    result = readCache(context, creation);
  }
  return isFailure(result) ? result : readSize(context, creation);
}

static void putCreation(const Context &context, const RAID_CONFIG &config, const Creation &creation,
                        ChangeWriter *writer) {
  putCreate(writer, config,
            {.name = context.request->options[optionName],
             .reference = newVirtualDisk,
             .level = creation.level->RAIDLevel,
             .size = creation.size,
             .stripe = creation.stripe,
             .cache = creation.cache,
             .members = creation.members.places,
             .memberCount = creation.members.count});
  if (creation.spares.count != 0) {
    putSpareChange(writer, config, {RAID_HOTSPARE_DEDICATED, &creation.spares, &newVirtualDisk, 1});
  }
}

Result buildCreate(const Context &context, const RAID_CONFIG &config, ChangeWriter *writer) {
  Creation creation = {};
  Result result = readCreation(context, config, &creation);
  if (!isFailure(result)) {
    result = chooseMembers(context, config, &creation);
  }
  if (!isFailure(result)) {
    putCreation(context, config, creation, writer);
  }
  freeChoice(&creation.members);
  freeChoice(&creation.spares);
  return result;
}

} // namespace xyl::client
