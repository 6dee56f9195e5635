// Print formatting. The input makes a format piece by piece together with the arguments and, by the host's own printf,
// the text that must come out; or it is itself the format, and every argument is an address of readable memory.

#include "fuzz/support.h"

#include "base/print.h"

#include <cstdio>
#include <deque>
#include <vector>

constexpr size_t MAX_ARGUMENTS = 8;

// In the firmware's calling convention every argument takes eight bytes, whatever its width.
struct FORMATTED {
  std::u16string format;
  std::string wanted; // a character is one unit
  uint64_t arguments[MAX_ARGUMENTS];
  size_t count;
  std::deque<std::string> texts;
  std::deque<std::u16string> wideTexts;
};

static UINTN EFIAPI formatInto(CHAR16 *buffer, UINTN capacity, const CHAR16 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN length = formatText(buffer, capacity, format, arguments);
  EFI_VA_END(arguments);
  return length;
}

static std::u16string format(const std::u16string &format, const uint64_t (&arguments)[MAX_ARGUMENTS],
                             size_t capacity) {
  std::vector<CHAR16> buffer(capacity, u'#');
  const uint64_t(&a)[MAX_ARGUMENTS] = arguments;
  std::vector<CHAR16> exact(format.c_str(), format.c_str() + format.size() + 1);
  UINTN length = formatInto(buffer.data(), capacity, exact.data(), a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7]);
  mustHold(length < capacity && buffer[length] == 0, "length");
  return {buffer.data(), length};
}

// With every capacity the text is the beginning of the whole one.
static void judgeCut(const std::u16string &text, const std::u16string &whole, size_t capacity) {
  mustHold(text == whole.substr(0, capacity - 1), "cut otherwise");
}

template <class... A> static void wantPrinted(FORMATTED &made, const std::string &format, A... arguments) {
  char buffer[600];
  int length = std::snprintf(buffer, sizeof buffer, format.c_str(), arguments...);
  made.wanted.append(buffer, static_cast<size_t>(length));
}

// Text of readable characters, since what is printed is compared with the host's.
static std::string readableText(FuzzInput &input) {
  std::string text;
  for (uint8_t left = input.byte() % 40; left != 0; --left) {
    text += static_cast<char>(' ' + input.byte() % 95);
  }
  return text;
}

static void addText(FORMATTED &made, FuzzInput &input, const std::string &flags, bool wide) {
  std::string text = readableText(input);
  bool null = text == "~";
  made.texts.push_back(text);
  made.wideTexts.emplace_back(text.begin(), text.end());
  const void *address = wide ? static_cast<const void *>(made.wideTexts.back().c_str()) : made.texts.back().c_str();
  made.arguments[made.count++] = null ? 0 : reinterpret_cast<uint64_t>(address);
  // Null texts ignore the precision.
  std::string hostFlags = null ? flags.substr(0, flags.find('.')) : flags;
  wantPrinted(made, "%" + hostFlags + "s", null ? "<null string>" : text.c_str());
}

static void addNumber(FORMATTED &made, FuzzInput &input, const std::string &flags, char type, bool isLong) {
  uint64_t value = input.number(8);
  made.arguments[made.count++] = value;
  std::string host = "%" + std::string(type == 'X' ? "0" : "") + flags + (isLong ? "ll" : "");
  host += type == 'x' ? 'X' : type;
  if (isLong) {
    wantPrinted(made, host, static_cast<unsigned long long>(value));
  } else {
    wantPrinted(made, host, static_cast<unsigned>(value));
  }
}

static void addStatus(FORMATTED &made, FuzzInput &input, const std::string &flags) {
  uint64_t value = input.byte() | static_cast<uint64_t>(input.byte() % 2) << 63;
  const CHAR8 *text = statusText(value);
  made.arguments[made.count++] = value;
  if (text != nullptr) {
    wantPrinted(made, "%" + flags + "s", text);
    return;
  }
  char digits[9];
  std::snprintf(digits, sizeof digits, "%08X", static_cast<unsigned>(value));
  wantPrinted(made, "%" + flags + "s", digits);
}

static void addConversion(FORMATTED &made, FuzzInput &input) {
  static const std::string types = "duxXasSr";
  char type = types[input.byte() % types.size()];
  bool isNumber = types.find(type) < 4;
  uint8_t choices = input.byte();
  std::string flags = (choices & 1) != 0 ? "-" : "";
  flags += isNumber && (choices & 2) != 0 ? "0" : "";
  flags += (choices & 4) != 0 ? std::to_string(input.byte() + 1) : "";
  bool isLong = isNumber && (choices & 8) != 0;
  bool isText = type == 'a' || type == 's' || type == 'S';
  flags += isText && (choices & 16) != 0 ? "." + std::to_string(input.byte()) : "";
  std::string conversion = "%" + flags + (isLong ? "l" : "") + type;
  made.format.append(conversion.begin(), conversion.end());
  if (isNumber) {
    addNumber(made, input, flags, type, isLong);
  } else if (isText) {
    addText(made, input, flags, type != 'a');
  } else {
    addStatus(made, input, flags);
  }
}

static void judgeMade(FuzzInput &input) {
  FORMATTED made = {};
  size_t capacity = 1 + input.number(2) % 700;
  while (!input.atEnd() && made.count < MAX_ARGUMENTS) {
    addConversion(made, input);
    std::string between = readableText(input);
    for (char character : between) {
      made.format += static_cast<char16_t>(character);
      made.format += character == '%' ? u"%" : u"";
    }
    made.wanted += between;
  }
  std::u16string whole = format(made.format, made.arguments, 8192);
  mustHold(whole == std::u16string(made.wanted.begin(), made.wanted.end()), "printed otherwise: " + made.wanted);
  judgeCut(format(made.format, made.arguments, capacity), whole, capacity);
}

static void judgeAny(FuzzInput &input) {
  static const uint64_t memory[4] = {0x0041004200430044, 0x8041FF4200430044, 0, 0};
  size_t capacity = 1 + input.number(2) % 700;
  uint64_t arguments[MAX_ARGUMENTS];
  for (uint64_t &argument : arguments) {
    argument = reinterpret_cast<uint64_t>(memory);
  }
  std::u16string any;
  size_t conversions = 0;
  for (uint8_t unit = input.byte(); unit != 0; unit = input.byte()) {
    conversions += unit == '%' ? 1 : 0;
    if (conversions <= MAX_ARGUMENTS || unit != '%') {
      any += static_cast<char16_t>(unit < 0x80 ? unit : unit << 8);
    }
  }
  // A width may be large.
  std::u16string whole = format(any, arguments, 1 << 12);
  if (whole.size() < (1 << 12) - 1) {
    judgeCut(format(any, arguments, capacity), whole, capacity);
  }
}

FUZZ_TARGET(print_format) {
  if (input.byte() % 2 == 0) {
    judgeMade(input);
  } else {
    judgeAny(input);
  }
}
