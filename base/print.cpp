#include "base/print.h"

#include "base/pool.h"
#include "base/text.h"

static constexpr UINTN PRINT_CAPACITY = 320;

struct STATUS_TEXT {
  EFI_STATUS Status;
  const CHAR8 *Text;
};

static constexpr STATUS_TEXT g_statusTexts[] = {
    {EFI_SUCCESS, "Success"},
    {EFI_LOAD_ERROR, "Load Error"},
    {EFI_INVALID_PARAMETER, "Invalid Parameter"},
    {EFI_UNSUPPORTED, "Unsupported"},
    {EFI_BAD_BUFFER_SIZE, "Bad Buffer Size"},
    {EFI_BUFFER_TOO_SMALL, "Buffer Too Small"},
    {EFI_NOT_READY, "Not Ready"},
    {EFI_DEVICE_ERROR, "Device Error"},
    {EFI_WRITE_PROTECTED, "Write Protected"},
    {EFI_OUT_OF_RESOURCES, "Out of Resources"},
    {EFI_VOLUME_CORRUPTED, "Volume Corrupt"},
    {EFI_VOLUME_FULL, "Volume Full"},
    {EFI_NO_MEDIA, "No Media"},
    {EFI_ERROR_CODE(13), "Media changed"},
    {EFI_NOT_FOUND, "Not Found"},
    {EFI_ACCESS_DENIED, "Access Denied"},
    {EFI_ERROR_CODE(16), "No Response"},
    {EFI_ERROR_CODE(17), "No mapping"},
    {EFI_TIMEOUT, "Time out"},
    {EFI_NOT_STARTED, "Not started"},
    {EFI_ALREADY_STARTED, "Already started"},
    {EFI_ABORTED, "Aborted"},
    {EFI_ERROR_CODE(22), "ICMP Error"},
    {EFI_ERROR_CODE(23), "TFTP Error"},
    {EFI_ERROR_CODE(24), "Protocol Error"},
    {EFI_ERROR_CODE(25), "Incompatible Version"},
    {EFI_SECURITY_VIOLATION, "Security Violation"},
    {EFI_ERROR_CODE(27), "CRC Error"},
    {EFI_ERROR_CODE(28), "End of Media"},
    {EFI_END_OF_FILE, "End of File"},
    {EFI_ERROR_CODE(32), "Invalid Language"},
    {EFI_ERROR_CODE(33), "Compromised Data"},
    {EFI_ERROR_CODE(34), "IP Address Conflict"},
    {EFI_ERROR_CODE(35), "HTTP Error"},
    {1, "Warning Unknown Glyph"},
    {2, "Warning Delete Failure"},
    {3, "Warning Write Failure"},
    {4, "Warning Buffer Too Small"},
    {5, "Warning Stale Data"},
    {6, "Warning File System"},
    {7, "Warning Reset Required"},
};

struct OUTPUT {
  CHAR16 *Buffer;
  UINTN Capacity; // units that still fit, without the NUL
  UINTN Length;
};

struct CONVERSION {
  bool Left;
  bool Zero;
  bool Long;
  bool HasPrecision;
  UINTN Width;
  UINTN Precision;
};

static void put(OUTPUT &out, CHAR16 unit) {
  if (out.Length < out.Capacity) {
    out.Buffer[out.Length++] = unit;
  }
}

// Writes length units of text (of 8 or 16 bits each), padded to the conversion's width.
template <class T> static void putField(OUTPUT &out, const CONVERSION &conversion, const T *text, UINTN length) {
  UINTN padding = conversion.Width > length ? conversion.Width - length : 0;
  CHAR16 fill = conversion.Zero && !conversion.Left ? u'0' : u' ';
  for (UINTN i = 0; !conversion.Left && i < padding; ++i) {
    put(out, fill);
  }
  for (UINTN i = 0; i < length; ++i) {
    put(out, sizeof(T) == 1 ? static_cast<CHAR16>(static_cast<UINT8>(text[i])) : static_cast<CHAR16>(text[i]));
  }
  for (UINTN i = 0; conversion.Left && i < padding; ++i) {
    put(out, u' ');
  }
}

template <class T> static void putText(OUTPUT &out, CONVERSION conversion, const T *text) {
  conversion.Zero = false;
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

static void putHex(OUTPUT &out, const CONVERSION &conversion, UINT64 value) {
  unsigned digits = 1;
  while (digits < 16 && value >> (4 * digits) != 0) {
    ++digits;
  }
  CHAR8 text[17];
  formatHex(text, value, digits);
  putField(out, conversion, text, digits);
}

static void putDecimal(OUTPUT &out, CONVERSION conversion, UINT64 value, bool isSigned) {
  CHAR8 text[22];
  CHAR8 *digits = text;
  if (isSigned && static_cast<INT64>(value) < 0) {
    *digits++ = '-';
    value = 0 - value;
  }
  UINTN length = formatDecimal(digits, value) + static_cast<UINTN>(digits - text);
  if (digits != text && conversion.Zero && !conversion.Left) {
    // Zeros go between the sign and the digits.
    put(out, u'-');
    conversion.Width -= conversion.Width > 0 ? 1 : 0;
    putField(out, conversion, digits, length - 1);
    return;
  }
  putField(out, conversion, text, length);
}

static void putStatus(OUTPUT &out, const CONVERSION &conversion, EFI_STATUS status) {
  const CHAR8 *text = statusText(status);
  if (text != nullptr) {
    putText(out, conversion, text);
    return;
  }
  CHAR8 digits[9];
  formatHex(digits, status & 0xFFFFFFFFU, 8);
  putField(out, conversion, digits, 8);
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

static UINTN readNumber(const CHAR16 *&at) {
  UINTN value = 0;
  for (; *at >= u'0' && *at <= u'9'; ++at) {
    value = value < 100000 ? value * 10 + (*at - u'0') : value;
  }
  return value;
}

static CONVERSION readConversion(const CHAR16 *&at) {
  CONVERSION conversion = {};
  for (; *at == u'-' || *at == u'0'; ++at) {
    conversion.Left |= *at == u'-';
    conversion.Zero |= *at == u'0';
  }
  conversion.Width = readNumber(at);
  if (*at == u'.') {
    ++at;
    conversion.HasPrecision = true;
    conversion.Precision = readNumber(at);
  }
  for (; *at == u'l' || *at == u'L'; ++at) {
    conversion.Long = true;
  }
  return conversion;
}

const CHAR8 *statusText(EFI_STATUS status) {
  for (const STATUS_TEXT &row : g_statusTexts) {
    if (row.Status == status) {
      return row.Text;
    }
  }
  return nullptr;
}

UINTN formatText(CHAR16 *buffer, UINTN capacity, const CHAR16 *format, EFI_VA_LIST arguments) {
  OUTPUT out = {buffer, capacity - 1, 0};
  for (const CHAR16 *at = format; *at != 0;) {
    if (*at != u'%') {
      put(out, *at++);
      continue;
    }
    ++at;
    CONVERSION conversion = readConversion(at);
    CHAR16 type = *at;
    if (type == 0) {
      break;
    }
    ++at;
    switch (type) {
    case u'd':
      putDecimal(out, conversion,
                 conversion.Long ? EFI_VA_ARG(arguments, UINT64)
                                 : static_cast<UINT64>(static_cast<INT64>(EFI_VA_ARG(arguments, INT32))),
                 true);
      break;
    case u'u':
      putDecimal(out, conversion, conversion.Long ? EFI_VA_ARG(arguments, UINT64) : EFI_VA_ARG(arguments, UINT32),
                 false);
      break;
    case u'X':
      conversion.Zero = true;
      [[fallthrough]];
    case u'x':
      putHex(out, conversion, conversion.Long ? EFI_VA_ARG(arguments, UINT64) : EFI_VA_ARG(arguments, UINT32));
      break;
    case u'p':
      conversion.Zero = true;
      putHex(out, conversion, EFI_VA_ARG(arguments, UINT64));
      break;
    case u'a':
      putText(out, conversion, EFI_VA_ARG(arguments, const CHAR8 *));
      break;
    case u's':
    case u'S':
      putText(out, conversion, EFI_VA_ARG(arguments, const CHAR16 *));
      break;
    case u'c': {
      CHAR16 unit = static_cast<CHAR16>(EFI_VA_ARG(arguments, UINTN));
      putField(out, conversion, &unit, 1);
      break;
    }
    case u'r':
      putStatus(out, conversion, EFI_VA_ARG(arguments, EFI_STATUS));
      break;
    case u'g':
      putGuid(out, conversion, EFI_VA_ARG(arguments, const EFI_GUID *));
      break;
    default:
      put(out, type);
      break;
    }
  }
  buffer[out.Length] = 0;
  return out.Length;
}

UINTN EFIAPI Print(const CHAR16 *format, ...) {
  CHAR16 buffer[PRINT_CAPACITY];
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN length = formatText(buffer, PRINT_CAPACITY, format, arguments);
  EFI_VA_END(arguments);
  if (g_systemTable != nullptr && g_systemTable->ConOut != nullptr) {
    g_systemTable->ConOut->OutputString(g_systemTable->ConOut, buffer);
  }
  return length;
}
