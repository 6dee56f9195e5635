// A list of packages as firmware reads it: byte for byte, with every rule that it has to keep.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct ScreenLine {
  uint8_t code = 0; // of the operation
  uint16_t prompt = 0, help = 0, second = 0;
  uint16_t question = 0, store = 0, offset = 0, form = 0;
  uint8_t flags = 0;
  uint8_t size = 0; // of the value
  uint64_t least = 0, most = 0;
  bool hasDefault = false;
  uint64_t byDefault = 0;
  std::vector<std::pair<uint16_t, uint64_t>> options; // text, value
  uint16_t grayUnless = 0;                            // a question that has to be other than 0
};

struct ScreenForm {
  uint16_t title = 0;
  std::vector<ScreenLine> lines;
};

struct Screens {
  std::map<std::string, std::vector<std::string>> texts; // UTF-8, by language; the first of each is number 1
  std::string firstLanguage;
  uint16_t title = 0;
  std::map<uint16_t, ScreenForm> forms;
  std::vector<std::string> mistakes;

  std::string text(uint16_t id, const std::string &language = "en-US") const;
};

// Reads a list; what is against the rules is among the mistakes, of texts only on request.
Screens readScreens(const uint8_t *list, size_t size, bool checksTexts);
