#include "client/compare/text_keys.h"

#include "base/sort.h"
#include "base/text.h"

// Between the parts of a key; no XML text has it.
static constexpr CHAR8 PART_SEPARATOR[] = "\x1F";

void addKey(TEXT_KEYS *keys, const void *thing, const CHAR8 *text) {
  TEXT_KEY *key = arrayAppend(keys->All);
  if (key == nullptr) {
    keys->Texts.Failed = true;
    return;
  }
  UINTN start = keys->Texts.Length;
  putText(&keys->Texts, text);
  *key = {start, keys->Texts.Length - start, thing, keys->All.count - 1, 0};
}

void addKeyPart(TEXT_KEYS *keys, const CHAR8 *text) {
  if (keys->All.count != 0) {
    TEXT_KEY *key = &keys->All.items[keys->All.count - 1];
    putText(&keys->Texts, PART_SEPARATOR);
    putText(&keys->Texts, text);
    key->Length = keys->Texts.Length - key->Start;
  }
}

void dropKey(TEXT_KEYS *keys) {
  keys->All.count -= keys->All.count != 0 ? 1 : 0;
}

// A text that is no part of a set.
struct KEY_TEXT {
  const CHAR8 *Chars;
  UINTN Length;
};

static KEY_TEXT textOfKey(const TEXT_KEYS &keys, const TEXT_KEY &key) {
  return {textOf(keys.Texts) + key.Start, key.Length};
}

// Below, at or above zero; the shorter text is the lower one.
static int compareTexts(const KEY_TEXT &a, const KEY_TEXT &b) {
  if (a.Length != b.Length) {
    return a.Length < b.Length ? -1 : 1;
  }
  for (UINTN i = 0; i < a.Length; ++i) {
    if (a.Chars[i] != b.Chars[i]) {
      return a.Chars[i] < b.Chars[i] ? -1 : 1;
    }
  }
  return 0;
}

void sortTextKeys(TEXT_KEYS *keys) {
  if (keys->Texts.Failed) {
    return;
  }
  sortArray(keys->All.items, keys->All.count, [keys](const TEXT_KEY &a, const TEXT_KEY &b) {
    int order = compareTexts(textOfKey(*keys, a), textOfKey(*keys, b));
    return order != 0 ? order < 0 : a.Order < b.Order;
  });
  for (UINT32 i = 0; i < keys->All.count; ++i) {
    keys->All.items[i].Next = i;
  }
}

void freeKeys(TEXT_KEYS *keys) {
  freeText(&keys->Texts);
  poolFree(keys->All.items);
  *keys = {};
}

static UINT32 firstEqual(const TEXT_KEYS &keys, const KEY_TEXT &text) {
  UINTN place = countBefore(keys.All.items, keys.All.count,
                            [&](const TEXT_KEY &key) { return compareTexts(textOfKey(keys, key), text) < 0; });
  bool isFound = place < keys.All.count && compareTexts(textOfKey(keys, keys.All.items[place]), text) == 0;
  return isFound ? static_cast<UINT32>(place) : keys.All.count;
}

UINT32 firstEqualKey(const TEXT_KEYS &keys, const TEXT_KEYS &others, const TEXT_KEY &key) {
  return firstEqual(keys, textOfKey(others, key));
}

bool equalKeys(const TEXT_KEYS &keys, UINT32 a, UINT32 b) {
  return compareTexts(textOfKey(keys, keys.All.items[a]), textOfKey(keys, keys.All.items[b])) == 0;
}

const void *thingNamed(const TEXT_KEYS &keys, const CHAR8 *text) {
  UINT32 place = firstEqual(keys, {text, textLength(text)});
  return place < keys.All.count ? keys.All.items[place].Thing : nullptr;
}

const void *takeNamed(TEXT_KEYS *keys, const CHAR8 *text) {
  UINT32 first = firstEqual(*keys, {text, textLength(text)});
  if (first == keys->All.count) {
    return nullptr;
  }
  UINT32 &next = keys->All.items[first].Next;
  return next < keys->All.count && equalKeys(*keys, next, first) ? keys->All.items[next++].Thing : nullptr;
}
