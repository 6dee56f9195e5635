// One JSON document on the standard output, member by member and indented. Texts become valid UTF-8: a byte that begins
// no valid sequence counts as one character by itself.
#pragma once

#include "client/client.h"

namespace xyl::client {

inline constexpr UINT32 jsonDepthMax = 16;

struct Json {
  const Front *front;
  UINTN depth;
  CHAR8 closing[jsonDepthMax]; // of the open objects and arrays
  bool hasMembers;             // the innermost open one
};

// Begin with {host} and jsonObject(json, null). In all of these name is null within an array and for the document
// itself.
void jsonObject(Json *json, const CHAR8 *name);
void jsonArray(Json *json, const CHAR8 *name);
// Ends the innermost object or array; the last one ends the document with a line feed.
void jsonEnd(Json *json);

// Whether a document was begun since jsonForget.
bool jsonIsBegun();
void jsonForget();

void jsonText(Json *json, const CHAR8 *name, const CHAR8 *text);
void jsonWide(Json *json, const CHAR8 *name, const CHAR16 *text); // low bytes, as documents have them; null is ""
void jsonNumber(Json *json, const CHAR8 *name, UINT64 number);
void jsonBool(Json *json, const CHAR8 *name, bool value);
void jsonNull(Json *json, const CHAR8 *name);

} // namespace xyl::client
