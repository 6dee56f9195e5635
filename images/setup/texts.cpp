#include "images/setup/texts.h"

namespace xyl::images::setup {

// All words one behind the other, both languages of each: an image then has two bytes for where they are, not eight.
static constexpr CHAR8 g_words[] =
#define TEXT(name, english, german) english "\0" german "\0"
#include "images/setup/text_rows.h"
#undef TEXT
    ;

namespace {

struct Places {
  UINT16 at[static_cast<UINTN>(Text::count)];
};

} // namespace

static_assert(sizeof(g_words) < 0x10000);

static consteval Places findPlaces() {
  Places places = {};
  UINTN at = 0;
  for (UINT16 &place : places.at) {
    place = static_cast<UINT16>(at);
    for (UINTN ends = 0; ends < languageCount; ++at) {
      ends += g_words[at] == 0 ? 1 : 0;
    }
  }
  return places;
}

static constexpr Places g_places = findPlaces();

const CHAR8 *tagOf(Language language) {
  return language == Language::german ? "de-DE" : "en-US";
}

const CHAR8 *wordsOf(Text text, Language language) {
  const CHAR8 *words = g_words + g_places.at[static_cast<UINTN>(text)];
  return language == Language::german ? words + __builtin_strlen(words) + 1 : words;
}

} // namespace xyl::images::setup
