#include "images/setup/strings.h"

#include "base/text.h"

namespace xyl::images::setup {

constexpr UINTN nameLimit = 64;          // units of a controller's text
constexpr EFI_STRING_ID lastId = 0xFF00; // firmware adds texts of its own behind ours

// --- Phrases ---

static void putUnit(Bytes *out, CHAR16 unit) {
  out->put(unit);
}

static void putPlain(Bytes *out, const CHAR8 *text) {
  for (; *text != 0; ++text) {
    UINT8 byte = static_cast<UINT8>(*text);
    if (byte >= 0xC0) { // two bytes of UTF-8
      ++text;
      putUnit(out, static_cast<CHAR16>((byte & 0x1F) << 6 | (*text & 0x3F)));
    } else {
      putUnit(out, byte);
    }
  }
}

// Control characters, and those that tell firmware how wide others are.
static CHAR16 shown(CHAR16 unit) {
  bool isControl = unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit >= 0xFFF0;
  return isControl ? u'?' : unit;
}

static void putWide(Bytes *out, const CHAR16 *text) {
  for (UINTN i = 0; text != nullptr && text[i] != 0; ++i) {
    if (i == nameLimit) {
      putPlain(out, "...");
      return;
    }
    putUnit(out, shown(text[i]));
  }
}

static void putFixed(Bytes *out, const CHAR8 *text, UINTN length) {
  while (length != 0 && (text[length - 1] == ' ' || text[length - 1] == 0)) {
    --length;
  }
  UINTN start = 0;
  while (start < length && text[start] == ' ') {
    ++start;
  }
  for (; start < length; ++start) {
    putUnit(out, shown(static_cast<UINT8>(text[start])));
  }
}

static void putNumber(Bytes *out, UINT64 number) {
  CHAR8 digits[21];
  formatDecimal(digits, number);
  putPlain(out, digits);
}

static void putSize(Bytes *out, UINT64 bytes, Language language) {
  static constexpr struct {
    UINT64 bytes;
    const CHAR8 *name;
  } units[] = {{1000000000000, " TB"}, {1000000000, " GB"}, {1000000, " MB"}};
  const auto *unit = units;
  while (bytes < unit->bytes && unit != &units[2]) {
    ++unit;
  }
  UINT64 hundredths = bytes % unit->bytes * 100 / unit->bytes;
  putNumber(out, bytes / unit->bytes);
  putUnit(out, language == Language::german ? u',' : u'.');
  putUnit(out, static_cast<CHAR16>(u'0' + hundredths / 10));
  putUnit(out, static_cast<CHAR16>(u'0' + hundredths % 10));
  putPlain(out, unit->name);
}

static void putRoom(Bytes *out, UINT64 bytes) {
  static constexpr const CHAR8 *units[] = {" B", " KiB", " MiB"};
  UINTN unit = 0;
  for (; unit < 2 && bytes >= 1024 && bytes % 1024 == 0; ++unit) {
    bytes /= 1024;
  }
  putNumber(out, bytes);
  putPlain(out, units[unit]);
}

static void putHex(Bytes *out, UINT64 number, unsigned digits) {
  CHAR8 text[17];
  formatHex(text, number, digits);
  putPlain(out, text);
}

static void putPhrase(Bytes *out, const Phrase &phrase, Language language);

static void putPart(Bytes *out, const Part &part, Language language) {
  const void *data = part.data();
  switch (part.kind()) {
  case Part::Kind::word:
    return putPlain(out, wordsOf(static_cast<Text>(part.number()), language));
  case Part::Kind::number:
    return putNumber(out, part.number());
  case Part::Kind::hex:
    return putHex(out, part.number(), part.count());
  case Part::Kind::size:
    return putSize(out, part.number(), language);
  case Part::Kind::room:
    return putRoom(out, part.number());
  case Part::Kind::wide:
    return putWide(out, static_cast<const CHAR16 *>(data));
  case Part::Kind::plain:
    return putPlain(out, static_cast<const CHAR8 *>(data));
  case Part::Kind::fixed:
    return putFixed(out, static_cast<const CHAR8 *>(data), part.count());
  case Part::Kind::phrase:
    return putPhrase(out, *static_cast<const Phrase *>(data), language);
  case Part::Kind::byLanguage:
    for (auto text = static_cast<const CHAR16 *>(data) + part.count() * static_cast<UINTN>(language); *text != 0;
         ++text) {
      putUnit(out, shown(*text));
    }
    return;
  }
}

// Phrases are two deep.
static void putPhrase(Bytes *out, const Phrase &phrase, Language language) { // NOLINT(misc-no-recursion)
  for (const CHAR8 *at = wordsOf(phrase.pattern(), language); *at != 0; ++at) {
    CHAR8 piece[3] = {*at, 0, 0};
    if (*at == '%') {
      ++at;
      const Part *part = phrase.part(static_cast<UINTN>(*at - '1'));
      if (part != nullptr) {
        putPart(out, *part, language);
      }
      continue;
    }
    if (static_cast<UINT8>(*at) >= 0xC0) {
      piece[1] = *++at;
    }
    putPlain(out, piece);
  }
}

UINTN writePhrase(const Phrase &phrase, Language language, CHAR16 *text, UINTN capacity) {
  Bytes bytes;
  putPhrase(&bytes, phrase, language);
  UINTN length = bytes.failed() ? 0 : bytes.size() / sizeof(CHAR16);
  length = length < capacity ? length : capacity - 1;
  if (length != 0) {
    copyBytes(text, bytes.data(), length * sizeof(CHAR16));
  }
  text[length] = 0;
  return length;
}

// --- Numbers ---

Strings::Strings() {
  word(Text::languageName);
}

EFI_STRING_ID Strings::line(const Phrase &phrase) {
  if (last_ >= lastId) {
    full_ = true;
    return 0;
  }
  ++last_;
  for (UINTN i = 0; i < languageCount; ++i) {
    texts_[i].put(static_cast<UINT8>(EFI_HII_SIBT_STRING_UCS2));
    putPhrase(&texts_[i], phrase, static_cast<Language>(i));
    putUnit(&texts_[i], 0);
  }
  return last_;
}

EFI_STRING_ID Strings::word(Text text) {
  EFI_STRING_ID &id = words_[static_cast<UINTN>(text)];
  if (id == 0) {
    id = line(text);
  }
  return id;
}

void Strings::keyword(EFI_STRING_ID prompt, const Phrase &keyword) {
  if (prompt <= keywordsUpTo_) {
    return;
  }
  UINT16 skipped = static_cast<UINT16>(prompt - keywordsUpTo_ - 1);
  if (skipped != 0) {
    keywords_.put(static_cast<UINT8>(EFI_HII_SIBT_SKIP2));
    keywords_.put(skipped);
  }
  keywords_.put(static_cast<UINT8>(EFI_HII_SIBT_STRING_UCS2));
  putPhrase(&keywords_, keyword, Language::english);
  putUnit(&keywords_, 0);
  keywordsUpTo_ = prompt;
}

// --- Packages ---

bool Strings::failed() const {
  bool any = full_ || keywords_.failed();
  for (const Bytes &texts : texts_) {
    any = any || texts.failed();
  }
  return any;
}

static void putPackage(Bytes *list, const CHAR8 *tag, const Bytes &blocks) {
  UINTN tagSize = textLength(tag) + 1;
  UINTN headerSize = offsetof(EFI_HII_STRING_PACKAGE_HEADER, Language) + tagSize;
  UINTN size = headerSize + blocks.size() + 1;
  if (size > EFI_HII_PACKAGE_SIZE_MAX) {
    list->fail();
    return;
  }
  EFI_HII_STRING_PACKAGE_HEADER header = {};
  header.Header.LengthAndType = static_cast<UINT32>(size) | EFI_HII_PACKAGE_STRINGS << EFI_HII_PACKAGE_TYPE_SHIFT;
  header.HeaderSize = static_cast<UINT32>(headerSize);
  header.BlocksOffset = header.HeaderSize;
  header.LanguageName = 1;
  list->put(&header, offsetof(EFI_HII_STRING_PACKAGE_HEADER, Language));
  list->put(tag, tagSize);
  list->put(blocks.data(), blocks.size());
  list->put(static_cast<UINT8>(EFI_HII_SIBT_END));
}

void Strings::finish(Bytes *list) {
  for (UINTN i = 0; i < languageCount; ++i) {
    putPackage(list, tagOf(static_cast<Language>(i)), texts_[i]);
  }
  if (keywords_.size() != 0) {
    putPackage(list, keywordLanguage, keywords_);
  }
  if (failed()) {
    list->fail();
  }
}

} // namespace xyl::images::setup
