#include "providers/health/messages.h"

#include "base/format.h"
#include "base/text.h"

namespace xyl::health {

static const EFI_GUID g_databaseGuid = EFI_HII_DATABASE_PROTOCOL_GUID;
// The lists' own, but for their number in the first part.
static const EFI_GUID g_listGuid = {0x6f1f6b52, 0x8d0c, 0x4a77, {0x9b, 0x1e, 0x53, 0x0a, 0xe4, 0x27, 0xc8, 0x90}};

// --- The languages ---

struct Language {
  const CHAR8 *tag;
  const CHAR16 *name;
  const CHAR16 *formats[findingKinds];
  const CHAR16 *states[4]; // failed, degraded, offline, foreign
  const CHAR16 *otherState;
};

static constexpr Language g_languages[] = {
    {"en-US",
     u"English",
     {u"The controller does not answer: %r", u"Virtual disk %s, %a: %s",
      u"Virtual disk %s, %a: %lu of %lu disks missing", u"%s: %s", u"Disk %s: %s",
      u"Foreign configuration on disks: %lu"},
     {u"Failed", u"Degraded", u"Offline", u"Foreign"},
     u"Not ready"},
    {"de-DE",
     u"Deutsch",
     {u"Der Controller antwortet nicht: %r", u"Virtuelles Laufwerk %s, %a: %s",
      u"Virtuelles Laufwerk %s, %a: %lu von %lu Platten fehlen", u"%s: %s", u"Platte %s: %s",
      u"Fremde Konfiguration auf Platten: %lu"},
     {u"ausgefallen", u"eingeschr\u00E4nkt", u"offline", u"fremd"},
     u"nicht bereit"},
};

static const CHAR16 *stateWord(const Language &language, UINT64 state) {
  static constexpr UINT64 states[] = {RAID_STATE_FAILED, RAID_STATE_DEGRADED, RAID_STATE_OFFLINE, RAID_STATE_FOREIGN};
  for (UINT32 i = 0; i < sizeof(states) / sizeof(states[0]); ++i) {
    if (states[i] == state) {
      return language.states[i];
    }
  }
  return language.otherState;
}

// By the bit of RAID_LEVEL_.
static constexpr const CHAR8 *g_levels[] = {"Volume",  "RAID 0",  "RAID 1",  "RAID 2",  "RAID 3", "RAID 4",
                                            "RAID 5",  "RAID 6",  "RAID 7",  "RAID 8",  "RAID 9", "RAID 10",
                                            "RAID 30", "RAID 50", "RAID 60", "RAID 1c", "RAID 5c"};
static_assert(1U << (sizeof(g_levels) / sizeof(g_levels[0]) - 1) == RAID_LEVEL_5C);

static const CHAR8 *levelWord(UINT32 level) {
  for (UINT32 bit = 0; bit < sizeof(g_levels) / sizeof(g_levels[0]); ++bit) {
    if (level == 1U << bit) {
      return g_levels[bit];
    }
  }
  return "RAID ?";
}

constexpr UINTN textCapacity = 160; // a subject, the longest words and numbers

static UINTN EFIAPI writeText(CHAR16 *buffer, const CHAR16 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN length = formatText(buffer, textCapacity, format, arguments);
  EFI_VA_END(arguments);
  return length;
}

static UINTN describe(const Language &language, const Finding &finding, CHAR16 *buffer) {
  const CHAR16 *format = language.formats[finding.kind];
  switch (finding.kind) {
  case findingVirtualDisk:
    return writeText(buffer, format, finding.subject, levelWord(finding.raidLevel), stateWord(language, finding.state));
  case findingMembers:
    return writeText(buffer, format, finding.subject, levelWord(finding.raidLevel), finding.number, finding.of);
  case findingDisk:
  case findingNamelessDisk:
    return writeText(buffer, format, finding.subject, stateWord(language, finding.state));
  default:
    return writeText(buffer, format, finding.number);
  }
}

// --- The list of packages: one of texts for each language ---

static void putText(UINT8 *&at, const CHAR16 *text, UINTN length) {
  *at++ = EFI_HII_SIBT_STRING_UCS2;
  copyBytes(at, text, (length + 1) * sizeof(CHAR16));
  at += (length + 1) * sizeof(CHAR16);
}

static UINTN headerSize(const Language &language) {
  return offsetof(EFI_HII_STRING_PACKAGE_HEADER, Language) + textLength(language.tag) + 1;
}

static UINTN mostBytes(UINT32 count) {
  UINTN size = sizeof(EFI_HII_PACKAGE_LIST_HEADER) + sizeof(EFI_HII_PACKAGE_HEADER);
  for (const Language &language : g_languages) {
    size += headerSize(language) + (count + UINTN{1}) * (1 + textCapacity * sizeof(CHAR16)) + 1;
  }
  return size;
}

static void putLanguage(UINT8 *&at, const Language &language, const PoolArray<Finding> &findings) {
  UINT8 *start = at;
  at += headerSize(language);
  putText(at, language.name, textLength(language.name));
  for (UINT32 i = 0; i < findings.count; ++i) {
    CHAR16 text[textCapacity];
    UINTN length = describe(language, findings.items[i], text);
    putText(at, text, length);
  }
  *at++ = EFI_HII_SIBT_END;
  EFI_HII_STRING_PACKAGE_HEADER header = {};
  header.Header.LengthAndType = static_cast<UINT32>(at - start) | EFI_HII_PACKAGE_STRINGS << 24;
  header.HeaderSize = static_cast<UINT32>(headerSize(language));
  header.BlocksOffset = header.HeaderSize;
  header.LanguageName = 1;
  copyBytes(start, &header, offsetof(EFI_HII_STRING_PACKAGE_HEADER, Language));
  copyBytes(start + offsetof(EFI_HII_STRING_PACKAGE_HEADER, Language), language.tag, textLength(language.tag) + 1);
}

static UINT8 *makeList(const PoolArray<Finding> &findings, UINT32 number) {
  UINT8 *list = static_cast<UINT8 *>(poolAllocate(mostBytes(findings.count)));
  if (list == nullptr) {
    return nullptr;
  }
  UINT8 *at = list + sizeof(EFI_HII_PACKAGE_LIST_HEADER);
  for (const Language &language : g_languages) {
    putLanguage(at, language, findings);
  }
  EFI_HII_PACKAGE_HEADER end = {sizeof(EFI_HII_PACKAGE_HEADER) | EFI_HII_PACKAGE_END << 24};
  copyBytes(at, &end, sizeof(end));
  at += sizeof(end);
  EFI_HII_PACKAGE_LIST_HEADER header = {g_listGuid, static_cast<UINT32>(at - list)};
  header.Guid.Data1 += number;
  copyBytes(list, &header, sizeof(header));
  return list;
}

static EFI_HII_DATABASE_PROTOCOL *database() {
  void *found = nullptr;
  EFI_STATUS status = g_bootServices->LocateProtocol(&g_databaseGuid, /* Registration= */ nullptr, &found);
  return EFI_ERROR(status) ? nullptr : static_cast<EFI_HII_DATABASE_PROTOCOL *>(found);
}

EFI_STATUS publishMessages(const PoolArray<Finding> &findings, EFI_HANDLE driver, UINT32 number,
                           EFI_HII_HANDLE *handle) {
  *handle = nullptr;
  EFI_HII_DATABASE_PROTOCOL *texts = database();
  if (texts == nullptr) {
    return EFI_SUCCESS;
  }
  constexpr UINT32 most = 0xFFFFFF / (1 + textCapacity * sizeof(CHAR16)) - 2; // a package's length has 24 bits
  static_assert(most < 0xFFFF - messageFirst);
  UINT8 *list = findings.count <= most ? makeList(findings, number) : nullptr;
  if (list == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  EFI_STATUS status =
      texts->NewPackageList(texts, reinterpret_cast<EFI_HII_PACKAGE_LIST_HEADER *>(list), driver, handle);
  poolFree(list);
  return status;
}

void removeMessages(EFI_HII_HANDLE handle) {
  EFI_HII_DATABASE_PROTOCOL *texts = handle == nullptr ? nullptr : database();
  if (texts != nullptr) {
    texts->RemovePackageList(texts, handle);
  }
}

} // namespace xyl::health
