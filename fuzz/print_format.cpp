// Print formatting: one conversion between two texts against what the host's own printf makes of it; or the input is
// itself the format, and every argument is an address of readable memory.

#include "fuzz/support.h"

#include "base/print.h"

static UINTN EFIAPI formatInto(CHAR16 *buffer, UINTN capacity, const CHAR16 *format, ...) {
  EFI_VA_LIST arguments;
  EFI_VA_START(arguments, format);
  UINTN length = formatText(buffer, capacity, format, arguments);
  EFI_VA_END(arguments);
  return length;
}

// In the firmware's calling convention every argument takes eight bytes, whatever its width.
static std::u16string format(const std::u16string &format, uint64_t argument, size_t capacity) {
  std::vector<CHAR16> buffer(capacity, u'#');
  std::vector<CHAR16> exact(format.c_str(), format.c_str() + format.size() + 1);
  uint64_t a = argument;
  UINTN length = formatInto(buffer.data(), capacity, exact.data(), a, a, a, a, a, a, a, a);
  mustHold(length < capacity && buffer[length] == 0, "length");
  return {buffer.data(), length};
}

// With every capacity the text is the beginning of the whole one.
static std::u16string judgeCut(const std::u16string &text, uint64_t argument, size_t capacity) {
  std::u16string whole = format(text, argument, 1 << 12);
  if (whole.size() < (1 << 12) - 1) { // a width may be larger
    mustHold(format(text, argument, capacity) == whole.substr(0, capacity - 1), "cut otherwise");
  }
  return whole;
}

static std::u16string wide(const std::string &text) {
  return {text.begin(), text.end()};
}

// Text of readable characters, since what is printed is compared with the host's.
static std::string readableText(FuzzInput &input) {
  std::string text;
  for (uint8_t left = input.byte() % 40; left != 0; --left) {
    char character = static_cast<char>(' ' + input.byte() % 95);
    text += character == '%' ? '#' : character;
  }
  return text;
}

template <class T> static std::string printed(const std::string &format, T argument) {
  char buffer[600];
  std::snprintf(buffer, sizeof buffer, format.c_str(), argument);
  return buffer;
}

static std::string numberPrinted(std::string flags, char type, const std::string &size, uint64_t value) {
  flags = (type == 'X' ? "%0" : "%") + flags + (size == "l" ? "ll" : size) + (type == 'x' ? 'X' : type);
  return size == "l" ? printed(flags, value) : printed(flags, static_cast<unsigned>(value));
}

static std::string statusPrinted(const std::string &flags, EFI_STATUS status) {
  const CHAR8 *text = statusText(status);
  std::string digits = printed("%08X", static_cast<unsigned>(status));
  return printed("%" + flags + "s", text != nullptr ? text : digits.c_str());
}

static void judgeConversion(FuzzInput &input, size_t capacity) {
  static const std::string types = "duxXasSr";
  std::string before = readableText(input), text = readableText(input);
  std::u16string wideText = wide(text);
  char type = types[input.byte() % types.size()];
  bool isNumber = types.find(type) < 4, isText = !isNumber && type != 'r';
  uint8_t choices = input.byte();
  std::string size = !isNumber ? "" : (choices & 8) != 0 ? "l" : (choices & 32) != 0 ? "h" : "";
  std::string flags = (choices & 1) != 0 ? "-" : "";
  flags += isNumber && (choices & 2) != 0 ? "0" : "";
  flags += type == 'd' && (choices & 64) != 0 ? "+" : "";
  flags += type == 'd' && (choices & 128) != 0 ? " " : "";
  flags += (choices & 4) != 0 ? std::to_string(input.byte() + 1) : "";
  flags += (isText || isNumber) && (choices & 16) != 0 ? "." + std::to_string(input.byte() + isNumber) : "";
  uint64_t argument = input.number(8);
  argument = type == 'r' ? argument % 256 | argument >> 63 << 63 : argument;
  std::string wanted = isNumber ? numberPrinted(flags, type, size, argument) : statusPrinted(flags, argument);
  if (isText) {
    argument = reinterpret_cast<uint64_t>(type == 'a' ? static_cast<const void *>(text.c_str()) : wideText.c_str());
    wanted = printed("%" + flags + "s", text.c_str());
  }
  std::u16string whole = judgeCut(wide(before + "%" + flags + size + type + before), argument, capacity);
  mustHold(whole == wide(before + wanted + before), "printed otherwise: " + wanted);
}

static void judgeAny(FuzzInput &input, size_t capacity) {
  static const uint64_t memory[4] = {0x0041004200430044, 0x8041FF4200430044, 0, 0};
  std::u16string any;
  size_t conversions = 0;
  for (uint8_t unit = input.byte(); unit != 0 && conversions < 8; unit = input.byte()) {
    any += static_cast<char16_t>(unit < 0x80 ? unit : unit << 8);
    conversions += unit == '%' || unit == '*' ? 1 : 0; // each takes an argument
  }
  judgeCut(any, reinterpret_cast<uint64_t>(memory), capacity);
}

FUZZ_TARGET(print_format) {
  bool isAny = input.byte() % 2 != 0;
  size_t capacity = 1 + input.number(2) % 700;
  isAny ? judgeAny(input, capacity) : judgeConversion(input, capacity);
}
