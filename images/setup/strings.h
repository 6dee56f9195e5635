// The texts of a page as firmware numbers them, in every language.
#pragma once

#include "images/setup/bytes.h"
#include "images/setup/texts.h"
#include "uefi/hii.h"

namespace xyl::images::setup {

class Phrase;

// What stands for a %1 of a phrase. What it leads to lives as long. It is two words, since images are full of them.
class Part {
public:
  enum class Kind : UINT8 { word, number, hex, size, room, wide, plain, fixed, phrase, byLanguage };

  Part() = default;
  constexpr Part(Kind kind, UINT16 count, UINT64 value) : head_(headOf(kind, count)), number_(value) {}
  constexpr Part(Kind kind, UINT16 count, const void *data) : head_(headOf(kind, count)), data_(data) {}

  Kind kind() const { return static_cast<Kind>(head_ & 0xFF); }
  // Digits of hex, characters of fixed, units from one language to the next.
  UINT16 count() const { return static_cast<UINT16>(head_ >> 16); }
  UINT64 number() const { return number_; }
  const void *data() const { return data_; }

private:
  static constexpr UINT64 headOf(Kind kind, UINT16 count) { return static_cast<UINT64>(kind) | UINT64{count} << 16; }

  UINT64 head_;
  union {
    UINT64 number_;
    const void *data_;
  };
};

inline Part word(Text text) {
  return {Part::Kind::word, 0, static_cast<UINT64>(text)};
}
inline Part number(UINT64 value) {
  return {Part::Kind::number, 0, value};
}
inline Part hex(UINT64 value, UINT16 digits) {
  return {Part::Kind::hex, digits, value};
}
// "1.20 TB": decimal units, as disks are sold.
inline Part sizeOf(UINT64 bytes) {
  return {Part::Kind::size, 0, bytes};
}
// "64 KiB": binary units, whole ones.
inline Part roomOf(UINT64 bytes) {
  return {Part::Kind::room, 0, bytes};
}
// A text of the controller, which may be null. What no console shows of it becomes "?", and it is cut where it is long.
inline Part wide(const CHAR16 *text) {
  return {Part::Kind::wide, 0, static_cast<const void *>(text)};
}
inline Part plain(const CHAR8 *text) {
  return {Part::Kind::plain, 0, static_cast<const void *>(text)};
}
// Characters padded with blanks.
template <UINT16 count> Part fixed(const CHAR8 (&text)[count]) {
  return {Part::Kind::fixed, count, static_cast<const void *>(text)};
}
inline Part phrase(const Phrase &inner) {
  return {Part::Kind::phrase, 0, static_cast<const void *>(&inner)};
}
// A text of each language, one behind the other, each with stride units.
inline Part byLanguage(const CHAR16 *texts, UINT16 stride) {
  return {Part::Kind::byLanguage, stride, static_cast<const void *>(texts)};
}

// A pattern with what stands in it.
class Phrase {
public:
  static constexpr UINTN capacity = 5;

  Phrase(Text pattern = Text::none) : head_(static_cast<UINT64>(pattern)) {}
  Phrase(const Part &part) : Phrase(Text::asIs, part) {}
  template <class... Parts>
  __attribute__((noinline)) Phrase(Text pattern, const Part &first, const Parts &...rest)
      : head_(static_cast<UINT64>(pattern) | (1 + sizeof...(rest)) << 8), parts_{first, rest...} {
    static_assert(1 + sizeof...(rest) <= capacity);
  }

  Text pattern() const { return static_cast<Text>(head_ & 0xFF); }
  bool hasParts() const { return head_ >> 8 != 0; }
  // Null for one that it does not have.
  const Part *part(UINTN at) const { return at < head_ >> 8 ? &parts_[at] : nullptr; }

private:
  UINT64 head_;
  Part parts_[capacity];
};

// Numbers texts from 2 on: 1 is the language's own name. Once memory has run out, or numbers, failed tells.
class Strings {
public:
  Strings();

  // The same number each time.
  EFI_STRING_ID word(Text text);
  EFI_STRING_ID line(const Phrase &phrase);
  // By which programs find the question with that prompt, the last one that line gave.
  void keyword(EFI_STRING_ID prompt, const Phrase &keyword);

  // Writes all of them as packages, English first and the keywords last.
  void finish(Bytes *list);
  bool failed() const;
  UINTN count() const { return last_; }

private:
  Bytes texts_[languageCount]; // blocks
  Bytes keywords_;
  EFI_STRING_ID keywordsUpTo_ = 0;
  EFI_STRING_ID last_ = 0;
  bool full_ = false;
  EFI_STRING_ID words_[static_cast<UINTN>(Text::count)] = {};
};

// Writes what the phrase says, as one text of at most capacity units with its NUL; returns its length. For what is
// kept.
UINTN writePhrase(const Phrase &phrase, Language language, CHAR16 *text, UINTN capacity);

// Programs know keywords under this language; those of one page begin with its number.
constexpr CHAR8 keywordLanguage[] = "x-UEFI-redfish-StorageController.v1_7_0";

} // namespace xyl::images::setup
