// Character classes of 8-bit XML. Bytes above 0x7F belong to some longer encoding: they pass through and may stand in
// names.
#pragma once

#include "uefi/types.h"

enum CHARACTER_CLASS : UINT8 {
  CLASS_BLANK = 0x01,      // white space
  CLASS_NAME_START = 0x02, // may begin a name
  CLASS_NAME = 0x04,       // may continue a name
  CLASS_ALLOWED = 0x08,    // may stand in a document at all
  CLASS_TEXT = 0x10,       // means itself in character data
  CLASS_VALUE = 0x20,      // means itself in an attribute value, whatever the quotes
  // Written as it is into a text or an attribute value; all others are written as references.
  CLASS_PLAIN_TEXT = 0x40,
  CLASS_PLAIN_VALUE = 0x80,
};

struct CHARACTER_TABLE {
  UINT8 classes[256];
};

consteval bool isOneOf(unsigned character, const char *characters) {
  while (*characters != 0 && static_cast<unsigned char>(*characters) != character) {
    characters++;
  }
  return *characters != 0;
}

consteval unsigned classIf(bool member, CHARACTER_CLASS wanted) {
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
  classes |= classIf(blank, CLASS_BLANK);
  classes |= classIf(nameStart, CLASS_NAME_START);
  classes |= classIf(name, CLASS_NAME);
  classes |= classIf(allowed, CLASS_ALLOWED);
  classes |= classIf(allowed && !isOneOf(character, "<&]\r"), CLASS_TEXT);
  classes |= classIf(allowed && !isOneOf(character, "<&\"'\t\n\r"), CLASS_VALUE);
  classes |= classIf(allowed && !high && !isOneOf(character, "&<>\"\r"), CLASS_PLAIN_TEXT);
  classes |= classIf(allowed && !high && !isOneOf(character, "&<>\"\r\t\n"), CLASS_PLAIN_VALUE);
  return static_cast<UINT8>(classes);
}

consteval CHARACTER_TABLE makeCharacterTable() {
  CHARACTER_TABLE table = {};
  for (unsigned character = 0; character < 256; character++) {
    table.classes[character] = classesOf(character);
  }
  return table;
}

inline constexpr CHARACTER_TABLE g_characters = makeCharacterTable();

inline bool isClass(CHAR8 character, CHARACTER_CLASS wanted) {
  return (g_characters.classes[static_cast<UINT8>(character)] & wanted) != 0;
}

// The first place from at on whose character is not of the class. No class holds the NUL, so nothing behind it is read;
// four characters a turn, since parsing and serialising spend most of their time here.
template <class T> inline T *skipClass(T *at, CHARACTER_CLASS wanted) {
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
