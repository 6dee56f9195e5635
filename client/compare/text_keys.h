// Finding by text: things under the texts that they have, so that no two documents are compared each with each.
#pragma once

#include "base/array.h"
#include "client/output/output.h"

struct TEXT_KEY {
  UINTN Start; // in Texts
  UINTN Length;
  const void *Thing; // what has the text; not owned
  UINT32 Order;      // of the adding
  UINT32 Next;       // of the first of equal keys: the first of them that is still looked at
};

// Starts empty ({}); Texts.Failed tells that memory ran out.
struct TEXT_KEYS {
  TEXT Texts;
  POOL_ARRAY<TEXT_KEY> All; // sorted by sortTextKeys: equal ones in the order of the adding
};

// Begins a key of the thing with a text; more parts follow. Keys are equal when all their parts are.
void addKey(TEXT_KEYS *keys, const void *thing, const CHAR8 *text);
void addKeyPart(TEXT_KEYS *keys, const CHAR8 *text);
// Takes the last key back.
void dropKey(TEXT_KEYS *keys);

void sortTextKeys(TEXT_KEYS *keys);
void freeKeys(TEXT_KEYS *keys);

// The number of the first sorted key that equals key, one of others; keys.All.count without one.
UINT32 firstEqualKey(const TEXT_KEYS &keys, const TEXT_KEYS &others, const TEXT_KEY &key);

// Whether two keys of the set, by number, are equal.
bool equalKeys(const TEXT_KEYS &keys, UINT32 a, UINT32 b);

// The thing whose key of one part, the first added of equal ones, is text; or null.
const void *thingNamed(const TEXT_KEYS &keys, const CHAR8 *text);

// The same, but each call takes the next of equal ones; null behind the last.
const void *takeNamed(TEXT_KEYS *keys, const CHAR8 *text);
