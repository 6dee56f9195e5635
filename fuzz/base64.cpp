// Base64: a text against a plain reading of the rules, and bytes that are encoded and decoded again.

#include "fuzz/support.h"

#include "driver/xml/xml.h"

#include <vector>

static const std::string ALPHABET = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static unsigned valueOf(char character) {
  size_t at = ALPHABET.find(character);
  return at == std::string::npos ? 0 : static_cast<unsigned>(at);
}

static std::string decodeByRules(std::string text) {
  text.resize((text.size() + 3) / 4 * 4, '=');
  std::string bytes;
  for (size_t i = 0; i < text.size(); i += 4) {
    unsigned values[] = {valueOf(text[i]), valueOf(text[i + 1]), valueOf(text[i + 2]), valueOf(text[i + 3])};
    bytes += static_cast<char>(values[0] << 2 | values[1] >> 4);
    if (text[i + 2] != '=') {
      bytes += static_cast<char>(values[1] << 4 | values[2] >> 2);
      if (text[i + 3] != '=') {
        bytes += static_cast<char>(values[2] << 6 | values[3]);
      }
    }
  }
  return bytes;
}

static std::string encode(const std::string &bytes) {
  std::string text;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    unsigned bits = 0;
    for (size_t j = i; j < i + 3; ++j) {
      bits = bits << 8 | (j < bytes.size() ? static_cast<uint8_t>(bytes[j]) : 0);
    }
    for (size_t j = 0; j < 4; ++j) {
      text += i + j > bytes.size() ? '=' : ALPHABET[bits >> (18 - 6 * j) & 63];
    }
  }
  return text;
}

// Into memory of exactly the length that is told.
static std::string decode(const std::string &text) {
  std::vector<UINT8> out(Base64DecodedLength(text.c_str()));
  if (out.empty()) {
    mustHold(text.empty(), "no bytes of a text");
    return {};
  }
  UINT64 length = 0;
  Base64Decode(text.c_str(), out.data(), &length);
  mustHold(length == out.size(), "decoded length");
  return std::string(out.begin(), out.end());
}

FUZZ_TARGET(base64) {
  std::string text = input.text();
  mustHold(decode(text) == decodeByRules(text), "decoded otherwise");
  mustHold(decode(encode(text)) == text, "not the same again");
}
