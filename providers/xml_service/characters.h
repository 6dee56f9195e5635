// Character classes of 8-bit XML. Bytes above 0x7F belong to some longer encoding: they pass through and may stand in
// names.
#pragma once

#include "uefi/types.h"

namespace xyl::xml_service {

enum CharacterClass : UINT8 {
  classBlank = 0x01,     // white space
  classNameStart = 0x02, // may begin a name
  className = 0x04,      // may continue a name
  classAllowed = 0x08,   // may stand in a document at all
  classText = 0x10,      // means itself in character data
  classValue = 0x20,     // means itself in an attribute value, whatever the quotes
  // Written as it is into a text or an attribute value; all others are written as references.
  classPlainText = 0x40,
  classPlainValue = 0x80,
};

struct CharacterTable {
  UINT8 classes[256];
};

consteval bool isOneOf(unsigned character, const char *characters) {
  while (*characters != 0 && static_cast<unsigned char>(*characters) != character) {
    ++characters;
  }
  return *characters != 0;
}

consteval unsigned classIf(bool member, CharacterClass wanted) {
  return member ? static_cast<unsigned>(wanted) : 0U;
}

consteval UINT8 classesOf(unsigned character) {
  bool blank = isOneOf(character, " \t\n\r");
  bool high = character > 0x7F;
  bool letter = (character | 0x20) >= 'a' && (character | 0x20) <= 'z' && !high;
  bool nameStart = letter || high || isOneOf(character, "_:");
  bool name = nameStart || (character >= '0' && character <= '9') || isOneOf(character, "-.");
  bool allowed = character >= 0x20 || blank;
  unsigned classes = 0;
  classes |= classIf(blank, classBlank);
  classes |= classIf(nameStart, classNameStart);
  classes |= classIf(name, className);
  classes |= classIf(allowed, classAllowed);
  classes |= classIf(allowed && !isOneOf(character, "<&]\r"), classText);
  classes |= classIf(allowed && !isOneOf(character, "<&\"'\t\n\r"), classValue);
  classes |= classIf(allowed && !high && !isOneOf(character, "&<>\"\r"), classPlainText);
  classes |= classIf(allowed && !high && !isOneOf(character, "&<>\"\r\t\n"), classPlainValue);
  return static_cast<UINT8>(classes);
}

consteval CharacterTable makeCharacterTable() {
  CharacterTable table = {};
  for (unsigned character = 0; character < 256; ++character) {
    table.classes[character] = classesOf(character);
  }
  return table;
}

inline constexpr CharacterTable g_characters = makeCharacterTable();

inline bool isClass(CHAR8 character, CharacterClass wanted) {
  return (g_characters.classes[static_cast<UINT8>(character)] & wanted) != 0;
}

// The first place from at on whose character is not of the class. No class holds the NUL, so nothing behind it is read;
// four characters a turn, since parsing and serialising spend most of their time here.
template <class T> inline T *skipClass(T *at, CharacterClass wanted) {
  for (;; at += 4) {
    if (!isClass(at[0], wanted)) {
      return at;
    }
    if (!isClass(at[1], wanted)) {
      return at + 1;
    }
    if (!isClass(at[2], wanted)) {
      return at + 2;
    }
    if (!isClass(at[3], wanted)) {
      return at + 3;
    }
  }
}

} // namespace xyl::xml_service
