#include "base/format.h"

#include "base/status_text.h"
#include "base/text.h"

namespace {

struct OUTPUT {
  CHAR16 *Buffer;
  UINTN Capacity; // units that fit, without the NUL
  UINTN Length;
};

} // namespace

struct CONVERSION {
  bool Left;
  bool Zero;
  bool Comma;
  bool HasPrecision;
  CHAR8 PositiveSign; // 0: none
  UINT8 IntegerBytes;
  UINTN Width;
  UINTN Precision;
};

static void putUnit(OUTPUT &out, CHAR16 unit) {
  if (out.Length < out.Capacity) {
    out.Buffer[out.Length++] = unit;
  }
}

// A width may be far beyond the buffer.
static void putRepeated(OUTPUT &out, CHAR16 unit, UINTN count) {
  UINTN room = out.Capacity - out.Length;
  for (UINTN i = 0; i < count && i < room; ++i) {
    putUnit(out, unit);
  }
}

// Writes length units of text (of 8 or 16 bits each), padded with blanks to the conversion's width.
template <class T> static void putField(OUTPUT &out, const CONVERSION &conversion, const T *text, UINTN length) {
  UINTN padding = conversion.Width > length ? conversion.Width - length : 0;
  putRepeated(out, u' ', conversion.Left ? 0 : padding);
  for (UINTN i = 0; i < length; ++i) {
    putUnit(out, sizeof(T) == 1 ? static_cast<CHAR16>(static_cast<UINT8>(text[i])) : static_cast<CHAR16>(text[i]));
  }
  putRepeated(out, u' ', conversion.Left ? padding : 0);
}

template <class T> static void putText(OUTPUT &out, const CONVERSION &conversion, const T *text) {
  if (text == nullptr) {
    constexpr CHAR8 null[] = "<null string>";
    putField(out, conversion, null, sizeof(null) - 1);
    return;
  }
  UINTN length = 0;
  while ((!conversion.HasPrecision || length < conversion.Precision) && text[length] != 0) {
    ++length;
  }
  putField(out, conversion, text, length);
}

// Blanks, a sign unless it is 0, zeros, digits: in this order.
static void putNumber(OUTPUT &out, const CONVERSION &conversion, CHAR8 sign, const CHAR8 *digits, UINTN length) {
  UINTN signLength = sign != 0 ? 1 : 0;
  UINTN wanted = conversion.HasPrecision ? conversion.Precision : 0;
  if (conversion.Zero && !conversion.Left && !conversion.HasPrecision && conversion.Width > signLength) {
    wanted = conversion.Width - signLength;
  }
  UINTN zeros = wanted > length ? wanted - length : 0;
  UINTN whole = signLength + zeros + length;
  UINTN padding = conversion.Width > whole ? conversion.Width - whole : 0;
  putRepeated(out, u' ', conversion.Left ? 0 : padding);
  putRepeated(out, static_cast<CHAR16>(sign), signLength);
  putRepeated(out, u'0', zeros);
  for (UINTN i = 0; i < length; ++i) {
    putUnit(out, static_cast<CHAR16>(digits[i]));
  }
  putRepeated(out, u' ', conversion.Left ? padding : 0);
}

static void putHex(OUTPUT &out, const CONVERSION &conversion, UINT64 value) {
  CHAR8 text[17];
  UINTN digits = formatShortHex(text, value);
  putNumber(out, conversion, /* sign= */ 0, text, digits);
}

static void putUnsigned(OUTPUT &out, const CONVERSION &conversion, CHAR8 sign, UINT64 value) {
  CHAR8 text[21];
  UINTN length = formatDecimal(text, value);
  putNumber(out, conversion, sign, text, length);
}

static void putSigned(OUTPUT &out, CONVERSION conversion, INT64 value) {
  UINT64 magnitude = value < 0 ? 0 - static_cast<UINT64>(value) : static_cast<UINT64>(value);
  CHAR8 sign = value < 0 ? '-' : conversion.PositiveSign;
  if (!conversion.Comma) {
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
  conversion.Zero = false;
  putNumber(out, conversion, sign, grouped, length);
}

static void putStatusWords(OUTPUT &out, const CONVERSION &conversion, EFI_STATUS status) {
  const CHAR8 *text = statusText(status);
  if (text != nullptr) {
    putText(out, conversion, text);
    return;
  }
  CHAR8 digits[17];
  formatHex(digits, status, 16);
  putField(out, conversion, digits, 16);
}

static void putGuid(OUTPUT &out, const CONVERSION &conversion, const EFI_GUID *guid) {
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
static void putTime(OUTPUT &out, const CONVERSION &conversion, const EFI_TIME *time) {
  if (time == nullptr) {
    putText(out, conversion, "<null time>");
    return;
  }
  const struct {
    UINT16 Value;
    UINT8 Digits;
    const CHAR8 *Behind;
  } parts[] = {
      {time->Month, 2, "/"}, {time->Day, 2, "/"}, {time->Year, 4, "  "}, {time->Hour, 2, ":"}, {time->Minute, 2, ""},
  };
  CHAR16 text[32];
  OUTPUT whole = {text, sizeof(text) / sizeof(*text), 0};
  for (const auto &part : parts) {
    CONVERSION digits = {};
    digits.HasPrecision = true;
    digits.Precision = part.Digits;
    putUnsigned(whole, digits, /* sign= */ 0, part.Value);
    putText(whole, CONVERSION{}, part.Behind);
  }
  putField(out, conversion, text, whole.Length);
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

static void readFlags(CONVERSION &conversion, const CHAR16 *&at) {
  for (; *at == u'-' || *at == u'0' || *at == u'+' || *at == u' ' || *at == u','; ++at) {
    conversion.Left |= *at == u'-';
    conversion.Zero |= *at == u'0';
    conversion.Comma |= *at == u',';
    if (*at == u'+' || (*at == u' ' && conversion.PositiveSign == 0)) {
      conversion.PositiveSign = static_cast<CHAR8>(*at);
    }
  }
}

static CONVERSION readConversion(const CHAR16 *&at, EFI_VA_LIST &arguments) {
  CONVERSION conversion = {};
  readFlags(conversion, at);
  INT64 width = readNumber(at, arguments);
  conversion.Left |= width < 0;
  conversion.Width = static_cast<UINTN>(width < 0 ? -width : width);
  if (*at == u'.') {
    ++at;
    INT64 precision = readNumber(at, arguments);
    conversion.HasPrecision = precision >= 0;
    conversion.Precision = static_cast<UINTN>(precision);
  }
  conversion.IntegerBytes = 4;
  for (; *at == u'l' || *at == u'L' || *at == u'z' || *at == u'h'; ++at) {
    conversion.IntegerBytes = *at != u'h' ? 8 : conversion.IntegerBytes == 2 ? 1 : 2;
  }
  return conversion;
}

static INT64 signedArgument(const CONVERSION &conversion, EFI_VA_LIST &arguments) {
  if (conversion.IntegerBytes == 8) {
    return EFI_VA_ARG(arguments, INT64);
  }
  INT32 value = EFI_VA_ARG(arguments, INT32);
  return conversion.IntegerBytes == 4   ? value
         : conversion.IntegerBytes == 2 ? static_cast<INT16>(value)
                                        : static_cast<signed char>(value);
}

static UINT64 unsignedArgument(const CONVERSION &conversion, EFI_VA_LIST &arguments) {
  if (conversion.IntegerBytes == 8) {
    return EFI_VA_ARG(arguments, UINT64);
  }
  return EFI_VA_ARG(arguments, UINT32) & (0xFFFFFFFFU >> (32 - 8 * conversion.IntegerBytes));
}

static void putConversion(OUTPUT &out, CONVERSION conversion, CHAR16 type, EFI_VA_LIST &arguments) {
  switch (type) {
  case u'd':
  case u'i':
    putSigned(out, conversion, signedArgument(conversion, arguments));
    return;
  case u'u':
    putUnsigned(out, conversion, /* sign= */ 0, unsignedArgument(conversion, arguments));
    return;
  case u'p':
    conversion.IntegerBytes = 8;
    [[fallthrough]];
  case u'X':
    conversion.Zero = true;
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
  OUTPUT out = {buffer, capacity - 1, 0};
  for (const CHAR16 *at = format; *at != 0;) {
    CHAR16 unit = *at++;
    if (unit != u'%') {
      putUnit(out, unit);
      continue;
    }
    CONVERSION conversion = readConversion(at, arguments);
    if (*at != 0) {
      putConversion(out, conversion, *at++, arguments);
    }
  }
  buffer[out.Length] = 0;
  return out.Length;
}
