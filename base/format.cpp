#include "base/format.h"

#include "base/status_text.h"
#include "base/text.h"

namespace xyl {

namespace {

struct Output {
  CHAR16 *buffer;
  UINTN capacity; // units that fit, without the NUL
  UINTN length;
};

} // namespace

struct Conversion {
  bool left;
  bool zero;
  bool comma;
  bool hasPrecision;
  CHAR8 positiveSign; // 0: none
  UINT8 integerBytes;
  UINTN width;
  UINTN precision;
};

static void putUnit(Output &out, CHAR16 unit) {
  if (out.length < out.capacity) {
    out.buffer[out.length++] = unit;
  }
}

// A width may be far beyond the buffer.
static void putRepeated(Output &out, CHAR16 unit, UINTN count) {
  UINTN room = out.capacity - out.length;
  for (UINTN i = 0; i < count && i < room; ++i) {
    putUnit(out, unit);
  }
}

// Writes length units of text (of 8 or 16 bits each), padded with blanks to the conversion's width.
template <class T> static void putField(Output &out, const Conversion &conversion, const T *text, UINTN length) {
  UINTN padding = conversion.width > length ? conversion.width - length : 0;
  putRepeated(out, u' ', conversion.left ? 0 : padding);
  for (UINTN i = 0; i < length; ++i) {
    putUnit(out, sizeof(T) == 1 ? static_cast<CHAR16>(static_cast<UINT8>(text[i])) : static_cast<CHAR16>(text[i]));
  }
  putRepeated(out, u' ', conversion.left ? padding : 0);
}

template <class T> static void putText(Output &out, const Conversion &conversion, const T *text) {
  if (text == nullptr) {
    constexpr CHAR8 null[] = "<null string>";
    putField(out, conversion, null, sizeof(null) - 1);
    return;
  }
  UINTN length = 0;
  while ((!conversion.hasPrecision || length < conversion.precision) && text[length] != 0) {
    ++length;
  }
  putField(out, conversion, text, length);
}

// Blanks, a sign unless it is 0, zeros, digits: in this order.
static void putNumber(Output &out, const Conversion &conversion, CHAR8 sign, const CHAR8 *digits, UINTN length) {
  UINTN signLength = sign != 0 ? 1 : 0;
  UINTN wanted = conversion.hasPrecision ? conversion.precision : 0;
  if (conversion.zero && !conversion.left && !conversion.hasPrecision && conversion.width > signLength) {
    wanted = conversion.width - signLength;
  }
  UINTN zeros = wanted > length ? wanted - length : 0;
  UINTN whole = signLength + zeros + length;
  UINTN padding = conversion.width > whole ? conversion.width - whole : 0;
  putRepeated(out, u' ', conversion.left ? 0 : padding);
  putRepeated(out, static_cast<CHAR16>(sign), signLength);
  putRepeated(out, u'0', zeros);
  for (UINTN i = 0; i < length; ++i) {
    putUnit(out, static_cast<CHAR16>(digits[i]));
  }
  putRepeated(out, u' ', conversion.left ? padding : 0);
}

static void putHex(Output &out, const Conversion &conversion, UINT64 value) {
  CHAR8 text[17];
  UINTN digits = formatShortHex(text, value);
  putNumber(out, conversion, /* sign= */ 0, text, digits);
}

static void putUnsigned(Output &out, const Conversion &conversion, CHAR8 sign, UINT64 value) {
  CHAR8 text[21];
  UINTN length = formatDecimal(text, value);
  putNumber(out, conversion, sign, text, length);
}

static void putSigned(Output &out, Conversion conversion, INT64 value) {
  UINT64 magnitude = value < 0 ? 0 - static_cast<UINT64>(value) : static_cast<UINT64>(value);
  CHAR8 sign = value < 0 ? '-' : conversion.positiveSign;
  if (!conversion.comma) {
    putUnsigned(out, conversion, sign, magnitude);
    return;
  }
  CHAR8 digits[21];
  CHAR8 grouped[27];
  UINTN length = 0;
  UINTN left = formatDecimal(digits, magnitude);
  for (const CHAR8 *at = digits; left != 0; --left) {
    grouped[length++] = *at++;
    if (left % 3 == 1 && left != 1) {
      grouped[length++] = ',';
    }
  }
  conversion.zero = false;
  putNumber(out, conversion, sign, grouped, length);
}

static void putStatusWords(Output &out, const Conversion &conversion, EFI_STATUS status) {
  const CHAR8 *text = statusText(status);
  if (text != nullptr) {
    putText(out, conversion, text);
    return;
  }
  CHAR8 digits[17];
  formatHex(digits, status, 16);
  putField(out, conversion, digits, 16);
}

static void putGuid(Output &out, const Conversion &conversion, const EFI_GUID *guid) {
  if (guid == nullptr) {
    putText(out, conversion, "<null guid>");
    return;
  }
  CHAR8 text[37];
  formatHex(text, guid->Data1, 8);
  text[8] = '-';
  formatHex(text + 9, guid->Data2, 4);
  text[13] = '-';
  formatHex(text + 14, guid->Data3, 4);
  text[18] = '-';
  CHAR8 *at = text + 19;
  for (unsigned i = 0; i < 8; ++i) {
    if (i == 2) {
      *at++ = '-';
    }
    formatHex(at, guid->Data4[i], 2);
    at += 2;
  }
  putField(out, conversion, text, 36);
}

// "mm/dd/yyyy  hh:mm"; parts of a time that cannot be are longer.
static void putTime(Output &out, const Conversion &conversion, const EFI_TIME *time) {
  if (time == nullptr) {
    putText(out, conversion, "<null time>");
    return;
  }
  const struct {
    UINT16 value;
    UINT8 digits;
    const CHAR8 *behind;
  } parts[] = {
      {time->Month, 2, "/"}, {time->Day, 2, "/"}, {time->Year, 4, "  "}, {time->Hour, 2, ":"}, {time->Minute, 2, ""},
  };
  CHAR16 text[32];
  Output whole = {text, sizeof(text) / sizeof(*text), 0};
  for (const auto &part : parts) {
    Conversion digits = {};
    digits.hasPrecision = true;
    digits.precision = part.digits;
    putUnsigned(whole, digits, /* sign= */ 0, part.value);
    putText(whole, Conversion{}, part.behind);
  }
  putField(out, conversion, text, whole.length);
}

// A width or precision: digits, or "*" for one from the arguments, which callers may take for an int as in C.
static INT64 readNumber(const CHAR16 *&at, EFI_VA_LIST &arguments) {
  if (*at == u'*') {
    ++at;
    return static_cast<INT32>(EFI_VA_ARG(arguments, UINTN));
  }
  INT64 value = 0;
  for (; *at >= u'0' && *at <= u'9'; ++at) {
    value = value < 100000 ? value * 10 + (*at - u'0') : value;
  }
  return value;
}

static void readFlags(Conversion &conversion, const CHAR16 *&at) {
  for (; *at == u'-' || *at == u'0' || *at == u'+' || *at == u' ' || *at == u','; ++at) {
    conversion.left |= *at == u'-';
    conversion.zero |= *at == u'0';
    conversion.comma |= *at == u',';
    if (*at == u'+' || (*at == u' ' && conversion.positiveSign == 0)) {
      conversion.positiveSign = static_cast<CHAR8>(*at);
    }
  }
}

static Conversion readConversion(const CHAR16 *&at, EFI_VA_LIST &arguments) {
  Conversion conversion = {};
  readFlags(conversion, at);
  INT64 width = readNumber(at, arguments);
  conversion.left |= width < 0;
  conversion.width = static_cast<UINTN>(width < 0 ? -width : width);
  if (*at == u'.') {
    ++at;
    INT64 precision = readNumber(at, arguments);
    conversion.hasPrecision = precision >= 0;
    conversion.precision = static_cast<UINTN>(precision);
  }
  conversion.integerBytes = 4;
  for (; *at == u'l' || *at == u'L' || *at == u'z' || *at == u'h'; ++at) {
    conversion.integerBytes = *at != u'h' ? 8 : conversion.integerBytes == 2 ? 1 : 2;
  }
  return conversion;
}

static INT64 signedArgument(const Conversion &conversion, EFI_VA_LIST &arguments) {
  if (conversion.integerBytes == 8) {
    return EFI_VA_ARG(arguments, INT64);
  }
  INT32 value = EFI_VA_ARG(arguments, INT32);
  return conversion.integerBytes == 4   ? value
         : conversion.integerBytes == 2 ? static_cast<INT16>(value)
                                        : static_cast<signed char>(value);
}

static UINT64 unsignedArgument(const Conversion &conversion, EFI_VA_LIST &arguments) {
  if (conversion.integerBytes == 8) {
    return EFI_VA_ARG(arguments, UINT64);
  }
  return EFI_VA_ARG(arguments, UINT32) & (0xFFFFFFFFU >> (32 - 8 * conversion.integerBytes));
}

static void putConversion(Output &out, Conversion conversion, CHAR16 type, EFI_VA_LIST &arguments) {
  switch (type) {
  case u'd':
  case u'i':
    putSigned(out, conversion, signedArgument(conversion, arguments));
    return;
  case u'u':
    putUnsigned(out, conversion, /* sign= */ 0, unsignedArgument(conversion, arguments));
    return;
  case u'p':
    conversion.integerBytes = 8;
    [[fallthrough]];
  case u'X':
    conversion.zero = true;
    [[fallthrough]];
  case u'x':
    putHex(out, conversion, unsignedArgument(conversion, arguments));
    return;
  case u'a':
    putText(out, conversion, EFI_VA_ARG(arguments, const CHAR8 *));
    return;
  case u's':
  case u'S':
    putText(out, conversion, EFI_VA_ARG(arguments, const CHAR16 *));
    return;
  case u'c': {
    CHAR16 unit = static_cast<CHAR16>(EFI_VA_ARG(arguments, UINTN));
    putField(out, conversion, &unit, 1);
    return;
  }
  case u'r':
    putStatusWords(out, conversion, EFI_VA_ARG(arguments, EFI_STATUS));
    return;
  case u'g':
    putGuid(out, conversion, EFI_VA_ARG(arguments, const EFI_GUID *));
    return;
  case u't':
    putTime(out, conversion, EFI_VA_ARG(arguments, const EFI_TIME *));
    return;
  case u'%':
    putUnit(out, type);
    return;
  default:
    // Its argument is passed over, so that the others stay with their conversions.
    (void)EFI_VA_ARG(arguments, UINT64);
    putUnit(out, type);
    return;
  }
}

UINTN formatText(CHAR16 *buffer, UINTN capacity, const CHAR16 *format, EFI_VA_LIST arguments) {
  Output out = {buffer, capacity - 1, 0};
  for (const CHAR16 *at = format; *at != 0;) {
    CHAR16 unit = *at++;
    if (unit != u'%') {
      putUnit(out, unit);
      continue;
    }
    Conversion conversion = readConversion(at, arguments);
    if (*at != 0) {
      putConversion(out, conversion, *at++, arguments);
    }
  }
  buffer[out.length] = 0;
  return out.length;
}

} // namespace xyl
