// What reads and writes single values, and print formats: against the C library, or there and back. As fast as can be.

#include <algorithm>
#include <cstring>

#include "base/format.h"
#include "base/text.h"
#include "client/output/output.h"
#include "driver/xml/xml.h"
#include "fuzz/pure.h"
#include "tests/support/bounded.h"

using namespace xyl;
using namespace xyl::driver;

constexpr size_t roomSize = 256; // longer texts are cut

static void readBase64(const CHAR8 *text, size_t length) {
  static const CHAR8 alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  UINT64 size = Base64DecodedLength(text), written = 0, groups = (length + 3) / 4;
  auto *bytes = static_cast<UINT8 *>(poolAllocate(size + 1)); // whose end the pool watches
  Base64Decode(text, bytes, &written);
  mustHold(size == written && size >= groups && size <= 3 * groups, "Base64: length");
  bool isPlain = length % 4 == 0 && std::strspn(text, alphabet) == length;
  for (size_t i = 0; isPlain && i < length; ++i) {
    size_t at = i * 6 / 8;
    unsigned pair = static_cast<unsigned>(bytes[at]) << 8 | (at + 1 < size ? bytes[at + 1] : 0U);
    mustHold(alphabet[pair >> (10 - i * 6 % 8) & 63] == text[i], "Base64: other bytes");
  }
  poolFree(bytes);
}

static void readNumbers(const CHAR8 *text) {
  UINT64 decimal = decimalOf(text);
  mustHold(parseDecimal(text) == decimal, "decimal number");
  mustHold(parseHex(text) == hexOf(text), "hex number");
  CHAR8 buffer[21];
  formatDecimal(buffer, decimal);
  mustHold(parseDecimal(buffer) == decimal, "a number that is read otherwise than it was written");
}

static void readName(const CHAR8 *text, const VALUE_NAME_TABLE *table) {
  const VALUE_NAME_TABLE *row = table;
  while (row->Name != nullptr && std::strcmp(row->Name, text) != 0) {
    ++row;
  }
  UINT64 value = GetValueFromName(text, table);
  mustHold(value == (row->Name != nullptr ? row->Value : valueNotFound), "value of a name");
  mustHold(row->Name == nullptr || GetValueFromName(GetNameFromValue(value, table), table) == value, "name of a value");
}

// What is shown of a size is the size but for less than a hundredth of its unit.
static void readSize(const CHAR8 *text, UINT64 number) {
  constexpr UINT64 limit = 1000000000000000000;
  for (UINT64 size : {client::parseSize(text), number % limit}) {
    CHAR8 shown[client::sizeTextCapacity];
    client::formatSize(shown, size);
    UINT64 again = client::parseSize(shown), unit = size < 1000000000      ? 1000000
                                                    : size < 1000000000000 ? 1000000000
                                                                           : 1000000000000;
    mustHold(size < limit && again <= size && size - again < unit / 100, "a size that is read otherwise");
  }
}

static void readUtf8(const CHAR8 *text, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    UINT32 character = 0;
    CHAR8 again[4];
    UINTN size = client::utf8Decode(text + i, length - i, &character);
    mustHold(size <= length - i, "UTF-8: a sequence beyond the end");
    mustHold(size == 0 || (client::utf8Encode(again, character) == size && std::memcmp(again, text + i, size) == 0),
             "UTF-8");
  }
}

// --- Formats ---

constexpr size_t argumentsMax = 16;

static UINTN EFIAPI format(CHAR16 *buffer, UINTN capacity, const CHAR16 *text, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, text);
  UINTN length = formatText(buffer, capacity, text, arguments);
  EFI_VA_END(arguments);
  mustHold(length < capacity && buffer[length] == 0, "a text without its end");
  return length;
}

// Numbers, or what may be looked at as a text of either width, a GUID and a time. Less room cuts the same text.
static void printFormat(const CHAR8 *text, UINT64 number, size_t room) {
  static UINT64 memory[8];
  CHAR16 wide[roomSize], buffer[roomSize], shorter[roomSize];
  textWiden(wide, text, roomSize - 1);
  size_t wanted = 0;
  for (const CHAR8 *at = text; (at = std::strpbrk(at, "%*")) != nullptr; ++at) {
    ++wanted;
  }
  if (wanted > argumentsMax) {
    return;
  }
  memory[0] = number;
  UINT64 value = std::strpbrk(text, "asSgt") != nullptr ? reinterpret_cast<UINTN>(memory) : number;
  auto print = [&](CHAR16 *to, UINTN capacity) {
    return format(to, capacity, wide, value, value, value, value, value, value, value, value, value, value, value,
                  value, value, value, value, value);
  };
  room = 1 + room % (roomSize - 1);
  UINTN whole = print(buffer, roomSize), cut = print(shorter, room);
  mustHold(cut == std::min<UINTN>(whole, room - 1), "length of a cut text");
  mustHold(std::memcmp(buffer, shorter, cut * sizeof(CHAR16)) == 0, "a cut text that begins otherwise");
}

FUZZ_PURE_TARGET(readers) {
  uint8_t kind = input.byte();
  uint64_t number = input.number(8);
  CHAR8 text[roomSize];
  size_t length = 0;
  for (; !input.atEnd() && length < roomSize - 1 && (text[length] = static_cast<CHAR8>(input.byte())) != 0; ++length) {
  }
  text[length] = 0;
  switch (kind % 6) {
  case 0:
    return readBase64(text, length);
  case 1:
    return readNumbers(text);
  case 2:
    return readName(text, g_valueTables[number % g_valueTableCount].rows);
  case 3:
    return readSize(text, number);
  case 4:
    return readUtf8(text, length);
  default:
    return printFormat(text, number, kind);
  }
}
