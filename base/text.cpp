#include "base/text.h"

#include "base/pool.h"

namespace xyl {

template <class T> static int compare(const T *a, const T *b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == *b ? 0 : (*a < *b ? -1 : 1);
}

template <class T> static T *duplicate(const T *text) {
  if (text == nullptr) {
    return nullptr;
  }
  UINTN size = (textLength(text) + 1) * sizeof(T);
  T *copy = static_cast<T *>(poolAllocate(size));
  if (copy != nullptr) {
    copyBytes(copy, text, size);
  }
  return copy;
}

static const CHAR8 *skipBlanks(const CHAR8 *text) {
  while (*text == ' ') {
    ++text;
  }
  return text;
}

// The value of a hexadecimal digit, or 16 for any other character.
static unsigned digitValue(CHAR8 character) {
  if (character >= '0' && character <= '9') {
    return static_cast<unsigned>(character - '0');
  }
  CHAR8 lower = static_cast<CHAR8>(character | 0x20);
  return lower >= 'a' && lower <= 'f' ? static_cast<unsigned>(lower - 'a') + 10U : 16U;
}

static UINT64 readDigits(const CHAR8 *text, unsigned base) {
  UINT64 value = 0;
  for (; digitValue(*text) < base; ++text) {
    if (__builtin_mul_overflow(value, base, &value) || __builtin_add_overflow(value, digitValue(*text), &value)) {
      return ~0ULL;
    }
  }
  return value;
}

UINTN textLength(const CHAR8 *text) {
  return __builtin_strlen(text);
}
UINTN textLength(const CHAR16 *text) {
  UINTN length = 0;
  while (text[length] != 0) {
    ++length;
  }
  return length;
}

bool textEqual(const CHAR16 *a, const CHAR16 *b) {
  return compare(a, b) == 0;
}

int textCompare(const CHAR16 *a, const CHAR16 *b) {
  return compare(a, b);
}

CHAR8 *textDuplicate(const CHAR8 *text) {
  return duplicate(text);
}
CHAR16 *textDuplicate(const CHAR16 *text) {
  return duplicate(text);
}

UINTN textNarrow(CHAR8 *to, const CHAR16 *from, UINTN limit) {
  UINTN length = 0;
  if (from != nullptr) {
    for (; length < limit && from[length] != 0; ++length) {
      to[length] = static_cast<CHAR8>(from[length]);
    }
  }
  to[length] = 0;
  return length;
}

UINTN textWiden(CHAR16 *to, const CHAR8 *from, UINTN limit) {
  UINTN length = 0;
  for (; length < limit && from[length] != 0; ++length) {
    to[length] = static_cast<UINT8>(from[length]);
  }
  to[length] = 0;
  return length;
}

CHAR8 *textNarrowDuplicate(const CHAR16 *from) {
  UINTN length = from == nullptr ? 0 : textLength(from);
  CHAR8 *text = static_cast<CHAR8 *>(poolAllocate(length + 1));
  if (text != nullptr) {
    textNarrow(text, from, length);
  }
  return text;
}

CHAR16 *textWidenDuplicate(const CHAR8 *from) {
  if (from == nullptr) {
    return nullptr;
  }
  UINTN length = textLength(from);
  CHAR16 *text = static_cast<CHAR16 *>(poolAllocate((length + 1) * sizeof(CHAR16)));
  if (text == nullptr) {
    return nullptr;
  }
  for (UINTN i = 0; i <= length; ++i) {
    text[i] = static_cast<CHAR16>(static_cast<signed char>(from[i]));
  }
  return text;
}

UINTN formatDecimal(CHAR8 *buffer, UINT64 value) {
  CHAR8 digits[20];
  UINTN count = 0;
  do {
    digits[count++] = static_cast<CHAR8>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  for (UINTN i = 0; i < count; ++i) {
    buffer[i] = digits[count - 1 - i];
  }
  buffer[count] = 0;
  return count;
}

void formatHex(CHAR8 *buffer, UINT64 value, unsigned digits) {
  for (unsigned i = digits; i-- > 0; value >>= 4) {
    buffer[i] = "0123456789ABCDEF"[value & 0xF];
  }
  buffer[digits] = 0;
}

UINTN formatShortHex(CHAR8 *buffer, UINT64 value) {
  unsigned digits = 1;
  while (digits < 16 && value >> (4 * digits) != 0) {
    ++digits;
  }
  formatHex(buffer, value, digits);
  return digits;
}

UINT64 parseDecimal(const CHAR8 *text) {
  return text == nullptr ? 0 : readDigits(skipBlanks(text), 10);
}

UINT64 parseHex(const CHAR8 *text) {
  if (text == nullptr) {
    return 0;
  }
  text = skipBlanks(text);
  while (*text == '0') {
    ++text;
  }
  if (*text == 'x' || *text == 'X') {
    ++text;
  }
  return readDigits(text, 16);
}

} // namespace xyl
