// The words of the page in its languages.
#pragma once

#include "uefi/types.h"

namespace xyl::images::setup {

enum class Text : UINT8 {
#define TEXT(name, english, german) name,
#include "images/setup/text_rows.h"
#undef TEXT
  count
};

enum class Language : UINT8 { english, german };
constexpr UINTN languageCount = 2;

// The tag by which firmware knows the language.
const CHAR8 *tagOf(Language language);

// In UTF-8, of characters below U+0100.
const CHAR8 *wordsOf(Text text, Language language);

} // namespace xyl::images::setup
