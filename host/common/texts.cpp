#include "host/common/texts.h"

#include <cctype>
#include <cstdlib>

#include "base/status_text.h"
#include "client/output/output.h"
#include "providers/sim_controller/fixed_text.h"

namespace xyl::host {

static void appendUtf8(std::string &to, UINT32 unit) {
  char bytes[4];
  UINTN length = client::utf8Encode(bytes, unit);
  to.insert(to.end(), bytes, bytes + length);
}

std::u16string fromUtf8(const std::string &text) {
  std::u16string units;
  for (size_t i = 0; i < text.size();) {
    UINT32 character = 0;
    size_t bytes = client::utf8Decode(text.data() + i, text.size() - i, &character);
    units += static_cast<char16_t>(character <= 0xFFFF ? character : 0xFFFD);
    i += bytes == 0 ? 1 : bytes;
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
  return toUtf8(std::string(member, sim::fixedLength(member, width)).c_str());
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

UINT64 valueNamed(const std::string &name, const driver::VALUE_NAME_TABLE *table) {
  for (; table->Name != nullptr; ++table) {
    if (normalised(table->Name) == normalised(name)) {
      return table->Value;
    }
  }
  return driver::valueNotFound;
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
  CHAR8 text[client::sizeTextCapacity];
  client::formatSize(text, bytes);
  return text;
}

} // namespace xyl::host
