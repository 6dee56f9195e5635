// The machine's name from the tables that firmware hands over (SMBIOS).
#include "base/pool.h"
#include "base/text.h"
#include "client/controllers/controllers.h"

namespace xyl::client {

static constexpr EFI_GUID g_smbiosGuid = {0xEB9D2D31, 0x2D88, 0x11D3, {0x9A, 0x16, 0x00, 0x90, 0x27, 0x3F, 0xC1, 0x4D}};
static constexpr EFI_GUID g_smbios3Guid = {
    0xF2FD1544, 0x9794, 0x4A2C, {0x99, 0x2E, 0xE5, 0xBB, 0xCF, 0x20, 0xE3, 0x94}};

constexpr UINT8 structureSystem = 1;
constexpr UINT8 structureEnd = 127;
constexpr UINTN structureHeader = 4U;

// The structures, one after the other.
struct Structures {
  const UINT8 *at;
  UINTN size;
};

static UINT64 littleEndian(const UINT8 *bytes, UINTN count) {
  UINT64 value = 0;
  while (count-- > 0) {
    value = value << 8 | bytes[count];
  }
  return value;
}

static const UINT8 *findTable(const EFI_SYSTEM_TABLE *system, const EFI_GUID &guid) {
  for (UINTN i = 0; system->ConfigurationTable != nullptr && i < system->NumberOfTableEntries; ++i) {
    if (__builtin_memcmp(&system->ConfigurationTable[i].VendorGuid, &guid, sizeof(guid)) == 0) {
      return static_cast<const UINT8 *>(system->ConfigurationTable[i].VendorTable);
    }
  }
  return nullptr;
}

// The entry points tell where the structures are: the newer one in 64 bits, the older one in 32.
static Structures findStructures(const EFI_SYSTEM_TABLE *system) {
  const UINT8 *entry = findTable(system, g_smbios3Guid);
  if (entry != nullptr && __builtin_memcmp(entry, "_SM3_", 5) == 0) {
    return {reinterpret_cast<const UINT8 *>(littleEndian(entry + 0x10, 8)), littleEndian(entry + 0x0C, 4)};
  }
  entry = findTable(system, g_smbiosGuid);
  if (entry != nullptr && __builtin_memcmp(entry, "_SM_", 4) == 0) {
    return {reinterpret_cast<const UINT8 *>(littleEndian(entry + 0x18, 4)), littleEndian(entry + 0x16, 2)};
  }
  return {nullptr, 0};
}

// The size of the structure at the beginning with the strings behind it, which end in two zeros; 0 when it is cut.
static UINTN structureSize(const Structures &rest) {
  if (rest.size < structureHeader || rest.at[1] < structureHeader) {
    return 0;
  }
  for (UINTN end = rest.at[1]; end + 2 <= rest.size; ++end) {
    if (rest.at[end] == 0 && rest.at[end + 1] == 0) {
      return end + 2;
    }
  }
  return 0;
}

// String number of a structure of that size, counted from 1; "" for none.
static const CHAR8 *stringOf(const UINT8 *structure, UINTN size, UINT8 number) {
  UINTN at = structure[1];
  for (; number > 1 && at < size && structure[at] != 0; --number) {
    at += textLength(reinterpret_cast<const CHAR8 *>(structure + at)) + 1;
  }
  return number == 0 || at >= size ? "" : reinterpret_cast<const CHAR8 *>(structure + at);
}

// --- What makers leave where nobody wrote anything: the same in many machines, so it names none ---

// Without blanks and signs, in small letters.
static constexpr const CHAR8 *g_placeholders[] = {"0123456789",
                                                  "1234567890",
                                                  "123456789",
                                                  "default",
                                                  "defaultstring",
                                                  "empty",
                                                  "invalid",
                                                  "na",
                                                  "none",
                                                  "notapplicable",
                                                  "notavailable",
                                                  "notdefined",
                                                  "notset",
                                                  "notspecified",
                                                  "null",
                                                  "oem",
                                                  "serialnumber",
                                                  "systemmanufacturer",
                                                  "systemname",
                                                  "systemproductname",
                                                  "systemserialnumber",
                                                  "tobefilled",
                                                  "tobefilledbyoem",
                                                  "undefined",
                                                  "unknown",
                                                  "unspecified"};
static constexpr const CHAR8 *g_placeholderUuids[] = {"03000200-0400-0500-0006-000700080009",
                                                      "00020003-0004-0005-0006-000700080009",
                                                      "12345678-1234-5678-90AB-CDDEEFAABBCC"};

static constexpr UINTN placeholderCapacity = 20; // a longer text is none of them

// Keeps letters and digits. A text of one letter or digit that programs fill memory with counts as empty.
static UINTN plainText(CHAR8 (&plain)[placeholderCapacity], const CHAR8 *text) {
  UINTN length = 0;
  bool isFilling = true;
  for (; *text != 0; ++text) {
    bool isLetter = (*text | 0x20) >= 'a' && (*text | 0x20) <= 'z';
    if (!isLetter && !(*text >= '0' && *text <= '9')) {
      continue;
    }
    CHAR8 unit = static_cast<CHAR8>(isLetter ? *text | 0x20 : *text);
    plain[length < placeholderCapacity - 1 ? length : placeholderCapacity - 1] = unit;
    isFilling = isFilling && (unit == '0' || unit == 'x' || unit == 'f') && unit == plain[0];
    ++length;
  }
  plain[length < placeholderCapacity ? length : 0] = 0;
  return isFilling ? 0 : length;
}

static bool isPlaceholder(const CHAR8 *text) {
  CHAR8 plain[placeholderCapacity];
  bool is = plainText(plain, text) == 0;
  for (const CHAR8 *placeholder : g_placeholders) {
    is = is || textEqual(plain, placeholder);
  }
  return is;
}

// The first three numbers of a UUID are little-endian. All ones and all zeros mean that it is not set.
static void formatUuid(CHAR8 (&text)[37], const UINT8 *uuid) {
  static constexpr UINT8 order[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  UINT8 ones = 0xFF;
  UINT8 any = 0;
  CHAR8 *at = text;
  for (UINTN i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) {
      *at++ = '-';
    }
    formatHex(at, uuid[order[i]], 2);
    at += 2;
    ones &= uuid[i];
    any |= uuid[i];
  }
  bool isSet = ones != 0xFF && any != 0;
  text[36] = 0;
  for (const CHAR8 *placeholder : g_placeholderUuids) {
    isSet = isSet && !textEqual(text, placeholder);
  }
  text[isSet ? 36 : 0] = 0;
}

static void readSystem(Server *server, const UINT8 *structure, UINTN size) {
  const CHAR8 **texts[] = {&server->maker, &server->product, nullptr, &server->serial};
  for (UINTN i = 0; i < 4; ++i) {
    if (texts[i] != nullptr && structure[1] > 4 + i) {
      const CHAR8 *text = stringOf(structure, size, structure[4 + i]);
      *texts[i] = isPlaceholder(text) ? "" : text;
    }
  }
  if (structure[1] >= 0x18) {
    formatUuid(server->uuid, structure + 8);
  }
}

void readServer(Server *server, const EFI_SYSTEM_TABLE *system) {
  *server = {"", "", "", ""};
  Structures rest = findStructures(system);
  for (UINTN size = 0; rest.at != nullptr && (size = structureSize(rest)) != 0 && *rest.at != structureEnd;) {
    if (*rest.at == structureSystem) {
      readSystem(server, rest.at, size);
      return;
    }
    rest = {rest.at + size, rest.size - size};
  }
}

void putServerName(Text *name, const Front *front) {
  if (front->serverName != nullptr) {
    putText(name, front->serverName);
    return;
  }
  Server server;
  readServer(&server, front->systemTable);
  putText(name, server.maker);
  putText(name, *server.maker != 0 && *server.product != 0 ? " " : "");
  putText(name, server.product);
  putText(name, *server.serial != 0 ? ", serial number " : "");
  putText(name, server.serial);
}

} // namespace xyl::client
