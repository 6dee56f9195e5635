#include "xyl/host/texts.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

#include "base/print.h"
#include "xyl/output/output.h"

static void appendUtf8(std::string &to, unsigned unit) {
  if (unit < 0x80) {
    to += static_cast<char>(unit);
  } else if (unit < 0x800) {
    to += static_cast<char>(0xC0 | unit >> 6);
    to += static_cast<char>(0x80 | (unit & 0x3F));
  } else {
    to += static_cast<char>(0xE0 | unit >> 12);
    to += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
    to += static_cast<char>(0x80 | (unit & 0x3F));
  }
}

std::u16string fromUtf8(const std::string &text) {
  std::u16string units;
  for (size_t i = 0; i < text.size();) {
    unsigned lead = static_cast<unsigned char>(text[i++]);
    unsigned more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    unsigned unit = lead < 0x80 ? lead : lead & (0x3FU >> more);
    for (; more != 0 && i < text.size(); --more) {
      unit = unit << 6 | (static_cast<unsigned char>(text[i++]) & 0x3FU);
    }
    units += static_cast<char16_t>(unit <= 0xFFFF ? unit : 0xFFFD);
  }
  return units;
}

std::string toUtf8(const CHAR16 *text) {
  std::string utf8;
  for (; *text != 0; ++text) {
    appendUtf8(utf8, *text);
  }
  return utf8;
}

std::string toUtf8(const CHAR8 *text) {
  std::string utf8;
  for (; *text != 0; ++text) {
    appendUtf8(utf8, static_cast<unsigned char>(*text));
  }
  return utf8;
}

std::string fixedText(const CHAR8 *member, size_t width) {
  return toUtf8(std::string(member, simFixedLength(member, width)).c_str());
}

std::string normalised(const std::string &text) {
  std::string plain;
  for (char c : text) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
      plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return plain;
}

UINT64 valueNamed(const std::string &name, const VALUE_NAME_TABLE *table) {
  for (; table->Name != nullptr; ++table) {
    if (normalised(table->Name) == normalised(name)) {
      return table->Value;
    }
  }
  return VALUE_NOT_FOUND;
}

EFI_STATUS errorNamed(const std::string &name) {
  for (UINT64 number = 1; number < 64; ++number) {
    const CHAR8 *text = statusText(EFI_ERROR_CODE(number));
    if (text != nullptr && normalised(text) == normalised(name)) {
      return EFI_ERROR_CODE(number);
    }
  }
  return EFI_SUCCESS;
}

std::string sizeText(UINT64 bytes) {
  CHAR8 text[SIZE_TEXT_CAPACITY];
  formatSize(text, bytes);
  return text;
}

UINT64 sizeFrom(const std::string &text) {
  static constexpr struct {
    const char *name;
    double bytes;
  } units[] = {{"", 1}, {"mb", 1e6}, {"gb", 1e9}, {"tb", 1e12}};
  size_t digits = text.find_first_not_of("0123456789.");
  std::string number = text.substr(0, digits);
  std::string unit = digits == std::string::npos ? "" : normalised(text.substr(digits));
  char *end = nullptr;
  double value = std::strtod(number.c_str(), &end);
  if (number.empty() || *end != 0) {
    return 0;
  }
  for (const auto &row : units) {
    if (unit == row.name) {
      double bytes = std::round(value * row.bytes);
      return bytes < 1e18 ? static_cast<UINT64>(bytes) : 0;
    }
  }
  return 0;
}
