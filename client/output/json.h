// One JSON document on the standard output, member by member and indented. Texts become valid UTF-8: a byte that begins
// no valid sequence counts as one character by itself.
#pragma once

#include "client/client.h"

#define JSON_DEPTH_MAX 16

struct JSON {
  const XYL_FRONT *Front;
  UINTN Depth;
  CHAR8 Closing[JSON_DEPTH_MAX]; // of the open objects and arrays
  bool HasMembers;               // the innermost open one
};

// Begin with {host} and jsonObject(json, null). In all of these name is null within an array and for the document
// itself.
void jsonObject(JSON *json, const CHAR8 *name);
void jsonArray(JSON *json, const CHAR8 *name);
// Ends the innermost object or array; the last one ends the document with a line feed.
void jsonEnd(JSON *json);

// Whether a document was begun since jsonForget.
bool jsonIsBegun();
void jsonForget();

void jsonText(JSON *json, const CHAR8 *name, const CHAR8 *text);
void jsonWide(JSON *json, const CHAR8 *name, const CHAR16 *text); // low bytes, as documents have them; null is ""
void jsonNumber(JSON *json, const CHAR8 *name, UINT64 number);
void jsonBool(JSON *json, const CHAR8 *name, bool value);
void jsonNull(JSON *json, const CHAR8 *name);
