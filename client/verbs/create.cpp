// create: a virtual disk, with spares of its own.
#include "client/verbs/create_disks.h"
#include "client/verbs/methods.h"

// Reads an option whose value is one of a table's, those in the mask; *value is 0 when it is not given.
static XYL_RESULT readValue(const XYL_CONTEXT &context, XYL_OPTION_ID option, const VALUE_NAME_TABLE *table,
                            UINT32 mask, UINT32 *value) {
  const CHAR8 *text = context.Request->Options[option];
  *value = 0;
  if (text == nullptr) {
    return succeeded();
  }
  MEANING meaning = {text, 0, 0, false};
  offerTable(&meaning, table, mask);
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    WORD_LIST names = {};
    appendNames(names, table, mask);
    complain(context.Front, "%a cannot be '%a' here; it is one of %a", g_xylOptions[option].Long, text, names.Text);
    return wrongUsage();
  }
  *value = static_cast<UINT32>(meaning.Value);
  return succeeded();
}

static XYL_RESULT readLevel(const XYL_CONTEXT &context, const RAID_ADAPTER_RECORD &adapter, CREATION *creation) {
  UINT32 level = 0;
  if (!hasOption(context, XYL_OPTION_LEVEL)) {
    WORD_LIST names = {};
    appendNames(names, g_raidLevelTable, adapter.SupportedRAIDLevels);
    complain(context.Front, "give --level LEVEL, one of %a", orNone(names.Text));
    return wrongUsage();
  }
  XYL_RESULT result = readValue(context, XYL_OPTION_LEVEL, g_raidLevelTable, adapter.SupportedRAIDLevels, &level);
  creation->Level = isFailure(result) ? nullptr : fitting::levelOf(adapter, level);
  if (!isFailure(result) && creation->Level == nullptr) {
    complain(context.Front, "the controller does not describe %a", GetNameFromValue(level, g_raidLevelTable));
    return failed(EFI_UNSUPPORTED);
  }
  return result;
}

// One word of --cache, of any of the groups.
static XYL_RESULT readCacheWord(const XYL_CONTEXT &context, const CHAR8 *word, CREATION *creation) {
  UINT32 available = creation->Level->AvailableCachePolicy;
  MEANING meaning = {word, 0, 0, false};
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    offerTable(&meaning, g_cachePolicyGroups.Rows[i].Names, available);
  }
  if (isAmbiguous(meaning)) {
    return refuseAmbiguous(context, meaning);
  }
  if (!isClear(meaning)) {
    WORD_LIST names = {};
    for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
      appendNames(names, g_cachePolicyGroups.Rows[i].Names, available);
    }
    complain(context.Front, "--cache cannot be '%a' here; there are %a", word, orNone(names.Text));
    return wrongUsage();
  }
  for (UINT32 i = 0; i < g_cachePolicyGroups.RowCount; ++i) {
    UINT32 group = g_cachePolicyGroups.Rows[i].Mask;
    if ((meaning.Value & group) != 0 && (creation->Cache & group) != 0) {
      complain(context.Front, "--cache has two words of one kind, of which the second is '%a'", word);
      return wrongUsage();
    }
  }
  creation->Cache |= static_cast<UINT32>(meaning.Value);
  return succeeded();
}

static XYL_RESULT readCache(const XYL_CONTEXT &context, CREATION *creation) {
  const CHAR8 *words = context.Request->Options[XYL_OPTION_CACHE];
  ITEM item;
  XYL_RESULT result = succeeded();
  while (!isFailure(result) && nextItem(&words, &item)) {
    result = readCacheWord(context, item.Text, creation);
  }
  if (creation->Cache != 0) {
    creation->Cache = completedCache(creation->Cache, creation->Level->DefaultCachePolicy);
  }
  return result;
}

static XYL_RESULT readSize(const XYL_CONTEXT &context, CREATION *creation) {
  const CHAR8 *text = context.Request->Options[XYL_OPTION_SIZE];
  creation->Size = text != nullptr ? parseSize(text) : 0;
  if (text != nullptr && creation->Size == 0) {
    complain(context.Front, "'%a' is no size; write it as 600GB, 1.2TB or in bytes", text);
    return wrongUsage();
  }
  if (text != nullptr && lacksUnit(text)) {
    complain(context.Front, "'%a' is a number of bytes; write its unit, as %aGB", text, text);
    return wrongUsage();
  }
  return succeeded();
}

static XYL_RESULT readCreation(const XYL_CONTEXT &context, const RAID_CONFIG &config, CREATION *creation) {
  const RAID_ADAPTER_RECORD &adapter = *config.adapter;
  if (config.logicalDiskCount >= adapter.MaxLDs) {
    complain(context.Front, "the controller holds %d virtual disks, as many as it can; 'xyl delete' makes room",
             config.logicalDiskCount);
    return refused();
  }
  XYL_RESULT result = readLevel(context, adapter, creation);
  if (!isFailure(result)) {
    result = readValue(context, XYL_OPTION_STRIPE, g_stripeSizeTable, creation->Level->AvailableStripeSize,
                       &creation->Stripe);
  }
  if (!isFailure(result)) {
    result = readCache(context, creation);
  }
  return isFailure(result) ? result : readSize(context, creation);
}

static void putCreation(const XYL_CONTEXT &context, const RAID_CONFIG &config, const CREATION &creation,
                        CHANGE_WRITER *writer) {
  putCreate(writer, config,
            {.Name = context.Request->Options[XYL_OPTION_NAME],
             .Reference = NEW_VIRTUAL_DISK,
             .Level = creation.Level->RAIDLevel,
             .Size = creation.Size,
             .Stripe = creation.Stripe,
             .Cache = creation.Cache,
             .Members = creation.Members.Places,
             .MemberCount = creation.Members.Count});
  if (creation.Spares.Count != 0) {
    putSpareChange(writer, config, {RAID_HOTSPARE_DEDICATED, &creation.Spares, &NEW_VIRTUAL_DISK, 1});
  }
}

XYL_RESULT buildCreate(const XYL_CONTEXT &context, const RAID_CONFIG &config, CHANGE_WRITER *writer) {
  CREATION creation = {};
  XYL_RESULT result = readCreation(context, config, &creation);
  if (!isFailure(result)) {
    result = chooseMembers(context, config, &creation);
  }
  if (!isFailure(result)) {
    putCreation(context, config, creation, writer);
  }
  freeChoice(&creation.Members);
  freeChoice(&creation.Spares);
  return result;
}
