// Modes and rates: a form whose values firmware keeps until they are saved, and which programs reach by keywords.
#include "images/setup/act.h"
#include "images/setup/draw.h"

#include "base/text.h"

namespace xyl::images::setup {

namespace {

struct ModeOption {
  UINT8 value;
  Text word;
};

// A mode with options, or a mark without.
struct ModeRow {
  UINT16 offset; // in the adapter's record
  UINT8 mask;
  UINT8 optionCount;
  Text name;
  Text help;
  ModeOption options[4];
};

} // namespace

#define MODE_AT(member) offsetof(RAID_ADAPTER_RECORD, member)
constexpr UINT8 wholeMode = 0x7F;

static constexpr ModeRow g_modes[modeCount] = {
    {MODE_AT(UncertifiedMode),
     wholeMode,
     3,
     Text::uncertified,
     Text::uncertifiedHelp,
     {{RAID_UNCERTIFIED_MODE_BLOCK, Text::block},
      {RAID_UNCERTIFIED_MODE_ALLOW, Text::allow},
      {RAID_UNCERTIFIED_MODE_WARN, Text::warn}}},
    {MODE_AT(LoadBalanceMode),
     wholeMode,
     2,
     Text::loadBalance,
     Text::loadBalanceHelp,
     {{RAID_LOAD_BALANCE_MODE_AUTO, Text::automatic}, {RAID_LOAD_BALANCE_MODE_NONE, Text::never}}},
    {MODE_AT(LearnMode),
     wholeMode,
     3,
     Text::learn,
     Text::learnHelp,
     {{RAID_LEARN_MODE_AUTO, Text::automatic},
      {RAID_LEARN_MODE_DISABLED, Text::never},
      {RAID_LEARN_MODE_WARN, Text::warnWhenDue}}},
    {MODE_AT(CheckConsistencyMode),
     wholeMode,
     2,
     Text::checkConsistency,
     Text::checkConsistencyHelp,
     {{RAID_CHECK_CONSISTENCY_MODE_NORMAL, Text::goesOn}, {RAID_CHECK_CONSISTENCY_MODE_STOP_ON_ERROR, Text::stops}}},
    {MODE_AT(PatrolReadMode),
     RAID_PATROL_READ_MODE_MASK,
     3,
     Text::patrolRead,
     Text::patrolReadHelp,
     {{RAID_PATROL_READ_MODE_DISABLED, Text::never},
      {RAID_PATROL_READ_MODE_MANUAL, Text::onRequest},
      {RAID_PATROL_READ_MODE_AUTO, Text::automatic}}},
    {MODE_AT(PatrolReadMode), RAID_PATROL_READ_MODE_CORRECT_AREAS, 0, Text::correctAreas, Text::correctAreasHelp, {}},
    {MODE_AT(CopyBackMode),
     wholeMode,
     4,
     Text::copyBack,
     Text::copyBackHelp,
     {{RAID_COPY_BACK_MODE_OFF, Text::never},
      {RAID_COPY_BACK_MODE_ON, Text::whenReplaced},
      {RAID_COPY_BACK_MODE_SMART, Text::whenPredicted},
      {RAID_COPY_BACK_MODE_ON_SMART, Text::whenBoth}}},
};

#undef MODE_AT

// Rates that the standard has a property for.
static constexpr struct {
  const CHAR16 *name;
  const CHAR8 *property;
} g_properties[] = {
    {u"Rebuild", "RebuildRatePercent"},
    {u"Check Consistency", "ConsistencyCheckRatePercent"},
    {u"Reconstruct", "TransformationRatePercent"},
};

static UINT8 byteOf(const RAID_ADAPTER_RECORD &adapter, const ModeRow &row) {
  return reinterpret_cast<const UINT8 *>(&adapter)[row.offset];
}

static bool isThere(const RAID_ADAPTER_RECORD &adapter, const ModeRow &row) {
  return (byteOf(adapter, row) & RAID_MODE_PRESENT) != 0;
}

static bool isNamed(const RAID_RATE &rate) {
  return rate.Name != nullptr && rate.Name[0] != 0;
}

static bool isEditable(const RAID_RATE &rate) {
  return isNamed(rate) && (rate.EditableValue & RAID_RATE_EDITABLE) != 0;
}

static Settings settingsOf(const RAID_ADAPTER_RECORD &adapter) {
  Settings settings = {};
  for (UINTN i = 0; i < modeCount; ++i) {
    UINT8 bits = byteOf(adapter, g_modes[i]) & g_modes[i].mask;
    settings.modes[i] = g_modes[i].optionCount != 0 ? bits : static_cast<UINT8>(bits != 0 ? 1 : 0);
  }
  for (UINTN i = 0; i < RAID_RATE_COUNT; ++i) {
    settings.rates[i] = adapter.Rates[i].EditableValue >> RAID_RATE_VALUE_SHIFT;
  }
  return settings;
}

// --- The form ---

static constexpr EFI_GUID g_storeId = {0x3899e971, 0x1dfb, 0x4d2e, {0x84, 0x54, 0x52, 0xa0, 0x2b, 0x13, 0x83, 0xa8}};
static constexpr CHAR8 storeName[] = "RaidSettings";
constexpr UINT16 storeNumber = 1;
constexpr UINT8 rateMax = 100;

void storeSettings(Draw &draw) {
  draw.forms.store(g_storeId, storeNumber, sizeof(Settings), storeName);
}

static void drawMode(Draw &draw, UINTN number, UINT8 value) {
  const ModeRow &row = g_modes[number];
  Question question = {.prompt = draw.strings.word(row.name),
                       .help = draw.strings.word(row.help),
                       .id = static_cast<EFI_QUESTION_ID>(static_cast<UINTN>(Ask::mode) + number),
                       .store = storeNumber,
                       .offset = static_cast<UINT16>(offsetof(Settings, modes) + number),
                       .flags = 0};
  if (row.optionCount == 0) {
    draw.forms.keepOpen();
    draw.forms.checkbox(question);
    draw.forms.defaultValue(EFI_IFR_TYPE_BOOLEAN, sizeof(UINT8), value);
  } else {
    draw.forms.oneOf(question, sizeof(UINT8));
    for (UINTN i = 0; i < row.optionCount; ++i) {
      draw.forms.option(draw.strings.word(row.options[i].word), sizeof(UINT8), row.options[i].value,
                        row.options[i].value == value);
    }
  }
  draw.forms.end();
}

static void putKeyword(Draw &draw, EFI_STRING_ID prompt, const CHAR16 *name) {
  for (const auto &row : g_properties) {
    if (textEqual(row.name, name)) {
      Phrase keyword(Text::keyword, number(draw.page.number + UINT64{1}), plain(row.property));
      draw.strings.keyword(prompt, keyword);
    }
  }
}

static void drawRate(Draw &draw, UINTN number, const RAID_RATE &rate) {
  UINT8 value = rate.EditableValue >> RAID_RATE_VALUE_SHIFT;
  EFI_STRING_ID prompt = draw.strings.line({Text::asIs, wide(rate.Name)});
  if (!isEditable(rate)) {
    draw.forms.text(prompt, draw.strings.word(Text::rateHelp),
                    draw.strings.line({Text::fixedRate, setup::number(value)}));
    return;
  }
  putKeyword(draw, prompt, rate.Name);
  Question question = {.prompt = prompt,
                       .help = draw.strings.word(Text::rateHelp),
                       .id = static_cast<EFI_QUESTION_ID>(static_cast<UINTN>(Ask::rate) + number),
                       .store = storeNumber,
                       .offset = static_cast<UINT16>(offsetof(Settings, rates) + number),
                       .flags = 0};
  draw.forms.keepOpen();
  draw.forms.number(question, sizeof(UINT8), 0, value > rateMax ? value : rateMax);
  draw.forms.defaultValue(EFI_IFR_TYPE_NUM_SIZE_8, sizeof(UINT8), value);
  draw.forms.end();
}

void drawSettings(Draw &draw) {
  draw.begin(FormId::settings, Text::settings);
  draw.note();
  const RAID_ADAPTER_RECORD *adapter = draw.all.adapter();
  if (adapter == nullptr) {
    draw.line(Text::noSettings, Text::settingsHelp);
    return;
  }
  Settings settings = settingsOf(*adapter);
  draw.heading(Text::modes);
  for (UINTN i = 0; i < modeCount; ++i) {
    if (isThere(*adapter, g_modes[i])) {
      drawMode(draw, i, settings.modes[i]);
    }
  }
  draw.heading(Text::rates);
  for (UINTN i = 0; i < RAID_RATE_COUNT; ++i) {
    if (isNamed(adapter->Rates[i])) {
      drawRate(draw, i, adapter->Rates[i]);
    }
  }
}

// --- What differs, as the controller takes it ---

static bool isOption(const ModeRow &row, UINT8 value) {
  for (UINTN i = 0; i < row.optionCount; ++i) {
    if (row.options[i].value == value) {
      return true;
    }
  }
  return row.optionCount == 0 && value <= 1;
}

static UINT8 bitsOf(const ModeRow &row, UINT8 value) {
  return row.optionCount != 0 ? value : static_cast<UINT8>(value != 0 ? row.mask : 0);
}

// Modes that share a byte go together.
static EFI_STATUS changeModes(const RAID_ADAPTER_RECORD &adapter, const Settings &wanted, RAID_ADAPTER_RECORD *change,
                              bool *isAny) {
  Settings current = settingsOf(adapter);
  for (UINTN i = 0; i < modeCount; ++i) {
    const ModeRow &row = g_modes[i];
    if (!isThere(adapter, row) || wanted.modes[i] == current.modes[i]) {
      continue;
    }
    if (!isOption(row, wanted.modes[i])) {
      return EFI_INVALID_PARAMETER;
    }
    UINT8 *byte = reinterpret_cast<UINT8 *>(change) + row.offset;
    UINT8 before = *byte != 0 ? *byte : byteOf(adapter, row);
    *byte = static_cast<UINT8>((before & ~row.mask) | bitsOf(row, wanted.modes[i]) | RAID_MODE_PRESENT);
    *isAny = true;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS changeRates(const RAID_ADAPTER_RECORD &adapter, const Settings &wanted, RAID_ADAPTER_RECORD *change,
                              bool *isAny) {
  for (UINTN i = 0; i < RAID_RATE_COUNT; ++i) {
    const RAID_RATE &rate = adapter.Rates[i];
    if (!isEditable(rate) || wanted.rates[i] == rate.EditableValue >> RAID_RATE_VALUE_SHIFT) {
      continue;
    }
    if (wanted.rates[i] > rateMax) {
      return EFI_INVALID_PARAMETER;
    }
    change->Rates[i].Name = rate.Name;
    change->Rates[i].EditableValue = static_cast<UINT8>(wanted.rates[i] << RAID_RATE_VALUE_SHIFT | RAID_RATE_EDITABLE);
    *isAny = true;
  }
  return EFI_SUCCESS;
}

static EFI_STATUS save(const Snapshot &all, const Settings &wanted) {
  ObjectData data = {};
  RAID_ADAPTER_RECORD *change = data.as<RAID_ADAPTER_RECORD>(RAID_OBJECT_ADAPTER);
  bool isAny = false;
  EFI_STATUS status = changeModes(*all.adapter(), wanted, change, &isAny);
  if (!EFI_ERROR(status)) {
    status = changeRates(*all.adapter(), wanted, change, &isAny);
  }
  if (EFI_ERROR(status) || !isAny) {
    return status;
  }
  return send(all.mgmt(), {.command = RAID_COMMAND_CHANGE, .objectType = RAID_OBJECT_ADAPTER, .data = change});
}

// --- What firmware asks and brings ---

static constexpr EFI_GUID g_routingGuid = EFI_HII_CONFIG_ROUTING_PROTOCOL_GUID;

namespace {

// How requests about our store begin: "GUID=..&NAME=..&", in small letters.
struct StorePrefix {
  CHAR8 text[5 + 2 * sizeof(EFI_GUID) + 6 + 4 * (sizeof(storeName) - 1) + 2];
};

} // namespace

static consteval void addHex(StorePrefix &prefix, UINTN &at, UINT32 value, UINTN digits) {
  for (UINTN i = digits; i-- > 0;) {
    prefix.text[at++] = "0123456789abcdef"[value >> 4 * i & 0xF];
  }
}

static consteval StorePrefix storePrefix() {
  StorePrefix prefix = {};
  UINTN at = 0;
  for (const CHAR8 *word = "GUID="; *word != 0; ++word) {
    prefix.text[at++] = *word;
  }
  const UINT32 first[] = {g_storeId.Data1, g_storeId.Data2, g_storeId.Data3};
  for (UINTN i = 0; i < 3; ++i) {
    for (UINTN byte = 0; byte < (i == 0 ? 4U : 2U); ++byte) {
      addHex(prefix, at, first[i] >> 8 * byte, 2);
    }
  }
  for (UINT8 byte : g_storeId.Data4) {
    addHex(prefix, at, byte, 2);
  }
  for (const CHAR8 *word = "&NAME="; *word != 0; ++word) {
    prefix.text[at++] = *word;
  }
  for (const CHAR8 *letter = storeName; *letter != 0; ++letter) {
    addHex(prefix, at, static_cast<UINT8>(*letter), 4);
  }
  prefix.text[at] = '&';
  return prefix;
}

static constexpr StorePrefix g_storePrefix = storePrefix();

// Firmware has looked at the path behind.
static bool isOurs(const CHAR16 *request) {
  for (const CHAR8 *wanted = g_storePrefix.text; *wanted != 0; ++wanted, ++request) {
    bool isCapital = *request >= u'A' && *request <= u'F' && *wanted >= 'a';
    if ((isCapital ? *request + 0x20 : *request) != *wanted) {
      return false;
    }
  }
  return true;
}

EFI_STATUS EFIAPI extractConfig(EFI_HII_CONFIG_ACCESS_PROTOCOL *access, const CHAR16 *request, const CHAR16 **progress,
                                CHAR16 **results) {
  if (progress == nullptr || results == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *progress = request;
  *results = nullptr;
  Page *page = reinterpret_cast<Page *>(access);
  RAID_MGMT_PROTOCOL *mgmt = request != nullptr && isOurs(request) ? managementOf(*page) : nullptr;
  auto *routing = locate<EFI_HII_CONFIG_ROUTING_PROTOCOL>(g_routingGuid);
  if (mgmt == nullptr || routing == nullptr) {
    return EFI_NOT_FOUND; // a request for all without a name firmware then makes itself
  }
  Busy busy(page);
  Snapshot all(mgmt, Extent::adapter);
  if (all.adapter() == nullptr) {
    return EFI_ERROR(all.status()) ? all.status() : EFI_NOT_FOUND;
  }
  Settings settings = settingsOf(*all.adapter());
  return routing->BlockToConfig(routing, request, reinterpret_cast<const UINT8 *>(&settings), sizeof(settings), results,
                                progress);
}

EFI_STATUS EFIAPI routeConfig(EFI_HII_CONFIG_ACCESS_PROTOCOL *access, const CHAR16 *configuration,
                              const CHAR16 **progress) {
  if (progress == nullptr || configuration == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  *progress = configuration;
  Page *page = reinterpret_cast<Page *>(access);
  RAID_MGMT_PROTOCOL *mgmt = isOurs(configuration) ? managementOf(*page) : nullptr;
  auto *routing = locate<EFI_HII_CONFIG_ROUTING_PROTOCOL>(g_routingGuid);
  if (mgmt == nullptr || routing == nullptr) {
    return EFI_NOT_FOUND;
  }
  Busy busy(page);
  Snapshot all(mgmt, Extent::adapter);
  if (all.adapter() == nullptr) {
    return EFI_ERROR(all.status()) ? all.status() : EFI_NOT_FOUND;
  }
  // One question may come alone: the others stay what the controller has.
  Settings wanted = settingsOf(*all.adapter());
  UINTN size = sizeof(wanted);
  EFI_STATUS status =
      routing->ConfigToBlock(routing, configuration, reinterpret_cast<UINT8 *>(&wanted), &size, progress);
  if (!EFI_ERROR(status)) {
    status = save(all, wanted);
    page->isFresh = false;
  }
  *progress = EFI_ERROR(status) ? configuration : *progress;
  return status;
}

} // namespace xyl::images::setup
