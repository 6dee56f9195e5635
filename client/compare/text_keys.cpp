#include "client/compare/text_keys.h"

#include "base/pool.h"
#include "base/sort.h"
#include "base/text.h"

// Between the parts of a key; no XML text has it.
static constexpr CHAR8 PART_SEPARATOR[] = "\x1F";

static bool makeRoom(TEXT_KEYS *keys) {
  if (keys->Count < keys->Capacity) {
    return true;
  }
  UINT32 capacity = 2 * keys->Capacity + 16;
  TEXT_KEY *items = poolNew<TEXT_KEY>(capacity);
  if (items == nullptr) {
    keys->Texts.Failed = true;
    return false;
  }
  if (keys->Count != 0) {
    copyBytes(items, keys->Items, keys->Count * sizeof(TEXT_KEY));
  }
  poolFree(keys->Items);
  keys->Items = items;
  keys->Capacity = capacity;
  return true;
}

void addKey(TEXT_KEYS *keys, const void *thing, const CHAR8 *text) {
  if (makeRoom(keys)) {
    UINTN start = keys->Texts.Length;
    putText(&keys->Texts, text);
    keys->Items[keys->Count] = {start, keys->Texts.Length - start, thing, keys->Count, 0};
    ++keys->Count;
  }
}

void addKeyPart(TEXT_KEYS *keys, const CHAR8 *text) {
  if (keys->Count != 0) {
    TEXT_KEY *key = &keys->Items[keys->Count - 1];
    putText(&keys->Texts, PART_SEPARATOR);
    putText(&keys->Texts, text);
    key->Length = keys->Texts.Length - key->Start;
  }
}

void dropKey(TEXT_KEYS *keys) {
  keys->Count -= keys->Count != 0 ? 1 : 0;
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
  sortArray(keys->Items, keys->Count, [keys](const TEXT_KEY &a, const TEXT_KEY &b) {
    int order = compareTexts(textOfKey(*keys, a), textOfKey(*keys, b));
    return order != 0 ? order < 0 : a.Order < b.Order;
  });
  for (UINT32 i = 0; i < keys->Count; ++i) {
    keys->Items[i].Next = i;
  }
}

void freeKeys(TEXT_KEYS *keys) {
  freeText(&keys->Texts);
  poolFree(keys->Items);
  *keys = {};
}

static UINT32 firstEqual(const TEXT_KEYS &keys, const KEY_TEXT &text) {
  UINTN place = countBefore(keys.Items, keys.Count,
                            [&](const TEXT_KEY &key) { return compareTexts(textOfKey(keys, key), text) < 0; });
  bool isFound = place < keys.Count && compareTexts(textOfKey(keys, keys.Items[place]), text) == 0;
  return isFound ? static_cast<UINT32>(place) : keys.Count;
}

UINT32 firstEqualKey(const TEXT_KEYS &keys, const TEXT_KEYS &others, const TEXT_KEY &key) {
  return firstEqual(keys, textOfKey(others, key));
}

bool equalKeys(const TEXT_KEYS &keys, UINT32 a, UINT32 b) {
  return compareTexts(textOfKey(keys, keys.Items[a]), textOfKey(keys, keys.Items[b])) == 0;
}

const void *thingNamed(const TEXT_KEYS &keys, const CHAR8 *text) {
  UINT32 place = firstEqual(keys, {text, textLength(text)});
  return place < keys.Count ? keys.Items[place].Thing : nullptr;
}

const void *takeNamed(TEXT_KEYS *keys, const CHAR8 *text) {
  UINT32 first = firstEqual(*keys, {text, textLength(text)});
  if (first == keys->Count) {
    return nullptr;
  }
  UINT32 &next = keys->Items[first].Next;
  return next < keys->Count && equalKeys(*keys, next, first) ? keys->Items[next++].Thing : nullptr;
}
