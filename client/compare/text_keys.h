// Finding by text: things under the texts that they have, so that no two documents are compared each with each.
#pragma once

#include "base/array.h"
#include "client/output/output.h"

namespace xyl::client {

struct TextKey {
  UINTN start; // in Texts
  UINTN length;
  const void *thing; // what has the text; not owned
  UINT32 order;      // of the adding
  UINT32 next;       // of the first of equal keys: the first of them that is still looked at
};

// Starts empty ({}); Texts.Failed tells that memory ran out.
struct TextKeys {
  Text texts;
  PoolArray<TextKey> all; // sorted by sortTextKeys: equal ones in the order of the adding
};

// Begins a key of the thing with a text; more parts follow. Keys are equal when all their parts are.
void addKey(TextKeys *keys, const void *thing, const CHAR8 *text);
void addKeyPart(TextKeys *keys, const CHAR8 *text);
// Takes the last key back.
void dropKey(TextKeys *keys);

void sortTextKeys(TextKeys *keys);
void freeKeys(TextKeys *keys);

// The number of the first sorted key that equals key, one of others; keys.All.count without one.
UINT32 firstEqualKey(const TextKeys &keys, const TextKeys &others, const TextKey &key);

// Whether two keys of the set, by number, are equal.
bool equalKeys(const TextKeys &keys, UINT32 a, UINT32 b);

// The thing whose key of one part, the first added of equal ones, is text; or null.
const void *thingNamed(const TextKeys &keys, const CHAR8 *text);

// The same, but each call takes the next of equal ones; null behind the last.
const void *takeNamed(TextKeys *keys, const CHAR8 *text);

} // namespace xyl::client
