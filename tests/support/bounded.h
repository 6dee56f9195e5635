// For tests over all inputs up to a bound, and the numbers of documents said in the C library's words.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

// Calls test with every text of up to longest characters of the alphabet, until one fails. Behind the NUL of each ends
// its memory.
template <class Test> void forAllTexts(std::string_view alphabet, size_t longest, Test test) {
  std::vector<char> memory(longest + 1);
  auto extend = [&](auto &self, size_t at) -> void {
    test(std::string_view(&memory[at], longest - at));
    for (size_t i = 0; at != 0 && i < alphabet.size() && !testing::Test::HasFailure(); ++i) {
      memory[at - 1] = alphabet[i];
      self(self, at - 1);
    }
  };
  extend(extend, longest);
}

inline uint64_t decimalOf(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  return std::strtoull(std::string(text.substr(0, text.find_first_not_of("0123456789"))).c_str(), nullptr, 10);
}

inline uint64_t hexOf(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  text.remove_prefix(text.starts_with('x') || text.starts_with('X') ? 1 : 0);
  std::string digits(text.substr(0, text.find_first_not_of("0123456789abcdefABCDEF")));
  return std::strtoull(digits.c_str(), nullptr, 16);
}
