#include "tests/images/setup/screens.h"

#include <cstring>
#include <set>

std::string Screens::text(uint16_t id, const std::string &language) const {
  auto found = texts.find(language);
  bool isThere = id != 0 && found != texts.end() && id <= found->second.size();
  return isThere ? found->second[id - 1U] : "";
}

template <class T> static T load(const uint8_t *at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

static uint64_t loadValue(const uint8_t *at, size_t size) {
  uint64_t value = 0;
  std::memcpy(&value, at, size);
  return value;
}

static size_t valueSize(uint8_t type) {
  return type == 4 ? 1 : size_t{1} << (type & 3);
}

// --- Texts ---

static void readTexts(const uint8_t *package, size_t size, Screens &screens) {
  std::string language = reinterpret_cast<const char *>(package + 46);
  bool isFirst = screens.texts.empty();
  screens.firstLanguage = isFirst ? language : screens.firstLanguage;
  std::vector<std::string> &texts = screens.texts[language];
  size_t at = load<uint32_t>(package + 8);
  if (load<uint32_t>(package + 4) != at || at != 46 + language.size() + 1) {
    screens.mistakes.push_back("the header of " + language);
  }
  while (at < size && package[at] != 0) {
    if (package[at] == 0x21) {
      texts.resize(texts.size() + load<uint16_t>(package + at + 1));
      at += 3;
      continue;
    }
    std::string text;
    if (package[at++] != 0x14) {
      screens.mistakes.push_back("a block in " + language);
      return;
    }
    for (; at + 1 < size && load<uint16_t>(package + at) != 0; at += 2) {
      uint16_t unit = load<uint16_t>(package + at);
      if (unit >= 0x80) {
        text += static_cast<char>(0xC0 | unit >> 6);
        unit = 0x80 | (unit & 0x3F);
      }
      text += static_cast<char>(unit);
    }
    at += 2;
    texts.push_back(text);
  }
  if (at + 1 != size) {
    screens.mistakes.push_back("the end of " + language);
  }
}

// --- Forms ---

namespace {

class FormReader {
public:
  explicit FormReader(Screens &screens) : screens_(screens) {}

  void read(const uint8_t *package, size_t size) {
    size_t at = 4;
    for (size_t length = 0; at < size; at += length) {
      length = package[at + 1] & 0x7F;
      if (length < 2 || at + length > size) {
        return wrong("a length");
      }
      operation(package + at, length);
    }
    if (!scopes_.empty()) {
      wrong("a scope is open");
    }
    finish();
  }

private:
  void wrong(const std::string &what) { screens_.mistakes.push_back(what); }

  void operation(const uint8_t *at, size_t length) {
    uint8_t code = at[0];
    if (code == 0x29) {
      return scopes_.empty() ? wrong("an end too many") : close();
    }
    static const std::map<uint8_t, std::vector<size_t>> lengths = {
        {0x0E, {39}}, {0x01, {6}},  {0x02, {7}},      {0x03, {8}},          {0x0F, {15}},
        {0x0C, {15}}, {0x06, {14}}, {0x07, {17, 38}}, {0x05, {17, 26, 38}}, {0x09, {7, 10, 14}},
        {0x1C, {16}}, {0x19, {2}},  {0x12, {6}},      {0x5C, {6}},          {0x5B, {6}}};
    auto known = lengths.find(code);
    bool fits = code == 0x24 ? length > 23 : known != lengths.end();
    for (size_t i = 0; fits && code != 0x24; ++i) {
      if (i == known->second.size()) {
        return wrong("length " + std::to_string(length) + " of operation " + std::to_string(code));
      }
      if (known->second[i] == length) {
        break;
      }
    }
    if (!fits) {
      return wrong("operation " + std::to_string(code));
    }
    read(code, at);
    if ((at[1] & 0x80) != 0) {
      scopes_.push_back(code);
    }
  }

  void read(uint8_t code, const uint8_t *at) {
    switch (code) {
    case 0x0E:
      screens_.title = load<uint16_t>(at + 18);
      return;
    case 0x24:
      store_ = load<uint16_t>(at + 18);
      storeSize_ = load<uint16_t>(at + 20);
      return;
    case 0x01:
      form_ = &screens_.forms[load<uint16_t>(at + 2)];
      if (form_->title != 0) {
        wrong("a form twice");
      }
      form_->title = load<uint16_t>(at + 4);
      return;
    case 0x5C:
      return;
    case 0x19:
      return;
    case 0x12:
      gray_ = load<uint16_t>(at + 2);
      return;
    case 0x09:
      return option(at);
    case 0x5B:
      lines().back().hasDefault = true;
      lines().back().byDefault = loadValue(at + 5, valueSize(at[4]));
      return;
    default:
      return line(code, at);
    }
  }

  void line(uint8_t code, const uint8_t *at) {
    ScreenLine line;
    line.code = code;
    line.prompt = load<uint16_t>(at + 2);
    line.help = load<uint16_t>(at + 4);
    line.grayUnless = gray_;
    if (code == 0x03) {
      line.second = load<uint16_t>(at + 6);
    } else if (code != 0x02) {
      question(at, line);
    }
    lines().push_back(line);
  }

  void question(const uint8_t *at, ScreenLine &line) {
    line.question = load<uint16_t>(at + 6);
    line.store = load<uint16_t>(at + 8);
    line.offset = load<uint16_t>(at + 10);
    line.flags = at[12];
    line.form = line.code == 0x0F ? load<uint16_t>(at + 13) : 0;
    line.size = line.code == 0x06 ? 1 : 0;
    if (line.code == 0x05 || line.code == 0x07) {
      line.size = static_cast<uint8_t>(valueSize(at[13]));
      line.least = loadValue(at + 14, line.size);
      line.most = loadValue(at + 14 + line.size, line.size);
    }
    if (line.question == 0 || !questions_.insert(line.question).second) {
      wrong("question " + std::to_string(line.question) + " twice");
    }
    bool isStored = line.store != 0;
    if (isStored && (line.store != store_ || line.offset + line.size > storeSize_ || line.flags != 0)) {
      wrong("where question " + std::to_string(line.question) + " is stored");
    }
    if (!isStored && (line.flags != 4 || line.offset != 0xFFFF)) {
      wrong("question " + std::to_string(line.question) + " has nobody who keeps it");
    }
  }

  void option(const uint8_t *at) {
    ScreenLine &line = lines().back();
    uint64_t value = loadValue(at + 6, valueSize(at[5]));
    line.options.emplace_back(load<uint16_t>(at + 2), value);
    if (valueSize(at[5]) != line.size) {
      wrong("the size of an option");
    }
    if ((at[4] & 0x10) != 0) {
      line.hasDefault = true;
      line.byDefault = value;
    }
  }

  void close() {
    gray_ = scopes_.back() == 0x19 ? 0 : gray_;
    scopes_.pop_back();
  }

  std::vector<ScreenLine> &lines() {
    static std::vector<ScreenLine> nowhere(1);
    if (form_ == nullptr) {
      wrong("a line outside forms");
      return nowhere;
    }
    return form_->lines;
  }

  void finish() {
    for (auto &[id, form] : screens_.forms) {
      for (const ScreenLine &line : form.lines) {
        if (line.form != 0 && screens_.forms.count(line.form) == 0) {
          wrong("a way to form " + std::to_string(line.form));
        }
        if (line.grayUnless != 0 && questions_.count(line.grayUnless) == 0) {
          wrong("an expression over " + std::to_string(line.grayUnless));
        }
        if (line.store != 0 && !line.hasDefault) {
          wrong("question " + std::to_string(line.question) + " has no default");
        }
      }
    }
  }

  Screens &screens_;
  ScreenForm *form_ = nullptr;
  std::vector<uint8_t> scopes_;
  std::set<uint16_t> questions_;
  uint16_t store_ = 0, storeSize_ = 0, gray_ = 0;
};

} // namespace

// --- All of it ---

static void checkTexts(Screens &screens) {
  for (const char *language : {"en-US", "de-DE"}) {
    if (screens.texts[language].size() != screens.texts["en-US"].size()) {
      screens.mistakes.push_back(std::string("texts are missing in ") + language);
    }
    auto want = [&](uint16_t id, const std::string &what, bool mayBeEmpty) {
      if (id == 0 || id > screens.texts[language].size() || (!mayBeEmpty && screens.text(id, language).empty())) {
        screens.mistakes.push_back(what + " without a text in " + language);
      }
    };
    for (auto &[id, form] : screens.forms) {
      std::string where = "form " + std::to_string(id);
      want(form.title, where, false);
      for (const ScreenLine &line : form.lines) {
        bool isHeading = line.code == 0x02;
        want(line.prompt, where + ": a line", isHeading);
        want(line.help, where + ": the help of " + screens.text(line.prompt), isHeading);
        for (auto &[text, value] : line.options) {
          want(text, where + ": an option", false);
        }
      }
    }
  }
}

Screens readScreens(const uint8_t *list, size_t size, bool checksTexts) {
  Screens screens;
  if (load<uint32_t>(list + 16) != size) {
    screens.mistakes.push_back("the length of the list");
  }
  size_t at = 20;
  uint32_t type = 0;
  for (size_t length = 0; at + 4 <= size; at += length) {
    uint32_t word = load<uint32_t>(list + at);
    length = word & 0xFFFFFF;
    type = word >> 24;
    if (length < 4 || at + length > size) {
      screens.mistakes.push_back("the length of a package");
      return screens;
    }
    if (type == 0x02) {
      FormReader(screens).read(list + at, length);
    } else if (type == 0x04) {
      readTexts(list + at, length, screens);
    }
  }
  if (type != 0xDF || at != size) {
    screens.mistakes.push_back("the end of the list");
  }
  if (screens.firstLanguage != "en-US") {
    screens.mistakes.push_back("English is not first");
  }
  if (checksTexts) {
    checkTexts(screens);
  }
  return screens;
}
