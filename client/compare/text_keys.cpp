#include "client/compare/text_keys.h"

#include "base/sort.h"
#include "base/text.h"

namespace xyl::client {

// Between the parts of a key; no XML text has it.
static constexpr CHAR8 partSeparator[] = "\x1F";

void addKey(TextKeys *keys, const void *thing, const CHAR8 *text) {
  TextKey *key = arrayAppend(keys->all);
  if (key == nullptr) {
    keys->texts.failed = true;
    return;
  }
  UINTN start = keys->texts.length;
  putText(&keys->texts, text);
  *key = {start, keys->texts.length - start, thing, keys->all.count - 1, 0};
}

void addKeyPart(TextKeys *keys, const CHAR8 *text) {
  if (keys->all.count != 0) {
    TextKey *key = &keys->all.items[keys->all.count - 1];
    putText(&keys->texts, partSeparator);
    putText(&keys->texts, text);
    key->length = keys->texts.length - key->start;
  }
}

void dropKey(TextKeys *keys) {
  keys->all.count -= keys->all.count != 0 ? 1 : 0;
}

// A text that is no part of a set.
struct KeyText {
  const CHAR8 *chars;
  UINTN length;
};

static KeyText textOfKey(const TextKeys &keys, const TextKey &key) {
  return {textOf(keys.texts) + key.start, key.length};
}

// Below, at or above zero; the shorter text is the lower one.
static int compareTexts(const KeyText &a, const KeyText &b) {
  if (a.length != b.length) {
    return a.length < b.length ? -1 : 1;
  }
  for (UINTN i = 0; i < a.length; ++i) {
    if (a.chars[i] != b.chars[i]) {
      return a.chars[i] < b.chars[i] ? -1 : 1;
    }
  }
  return 0;
}

void sortTextKeys(TextKeys *keys) {
  if (keys->texts.failed) {
    return;
  }
  sortArray(keys->all.items, keys->all.count, [keys](const TextKey &a, const TextKey &b) {
    int order = compareTexts(textOfKey(*keys, a), textOfKey(*keys, b));
    return order != 0 ? order < 0 : a.order < b.order;
  });
  for (UINT32 i = 0; i < keys->all.count; ++i) {
    keys->all.items[i].next = i;
  }
}

void freeKeys(TextKeys *keys) {
  freeText(&keys->texts);
  poolFree(keys->all.items);
  *keys = {};
}

static UINT32 firstEqual(const TextKeys &keys, const KeyText &text) {
  UINTN place = countBefore(keys.all.items, keys.all.count,
                            [&](const TextKey &key) { return compareTexts(textOfKey(keys, key), text) < 0; });
  bool isFound = place < keys.all.count && compareTexts(textOfKey(keys, keys.all.items[place]), text) == 0;
  return isFound ? static_cast<UINT32>(place) : keys.all.count;
}

UINT32 firstEqualKey(const TextKeys &keys, const TextKeys &others, const TextKey &key) {
  return firstEqual(keys, textOfKey(others, key));
}

bool equalKeys(const TextKeys &keys, UINT32 a, UINT32 b) {
  return compareTexts(textOfKey(keys, keys.all.items[a]), textOfKey(keys, keys.all.items[b])) == 0;
}

const void *thingNamed(const TextKeys &keys, const CHAR8 *text) {
  UINT32 place = firstEqual(keys, {text, textLength(text)});
  return place < keys.all.count ? keys.all.items[place].thing : nullptr;
}

const void *takeNamed(TextKeys *keys, const CHAR8 *text) {
  UINT32 first = firstEqual(*keys, {text, textLength(text)});
  if (first == keys->all.count) {
    return nullptr;
  }
  UINT32 &next = keys->all.items[first].next;
  return next < keys->all.count && equalKeys(*keys, next, first) ? keys->all.items[next++].thing : nullptr;
}

} // namespace xyl::client
