#include "client/compare/differences.h"

#include "base/text.h"

namespace xyl::client {

const CHAR8 *differenceKindName(DifferenceKind kind) {
  static constexpr const CHAR8 *names[differenceKindCount] = {"changed", "added", "removed", "moved", "replaced"};
  return names[kind];
}

const CHAR8 *differenceObjectName(DifferenceObject object) {
  static constexpr const CHAR8 *names[differenceObjectCount] = {"adapter", "enclosure", "disk", "virtual disk"};
  return names[object];
}

static void freeDifference(Difference *difference) {
  freeText(&difference->name);
  freeText(&difference->what);
  freeText(&difference->older);
  freeText(&difference->newer);
}

void addDifference(Differences *differences, const Difference &difference) {
  Difference taken = difference;
  bool complete = !taken.name.failed && !taken.what.failed && !taken.older.failed && !taken.newer.failed;
  Difference *added = complete ? arrayAppend(differences->all) : nullptr;
  if (added == nullptr) {
    freeDifference(&taken);
    differences->status = EFI_OUT_OF_RESOURCES;
    return;
  }
  *added = taken;
}

void freeDifferences(Differences *differences) {
  for (UINT32 i = 0; i < differences->all.count; ++i) {
    freeDifference(&differences->all.items[i]);
  }
  poolFree(differences->all.items);
  *differences = {};
}

// --- Words for elements ---

static bool isUpper(CHAR8 c) {
  return c >= 'A' && c <= 'Z';
}

static bool isLower(CHAR8 c) {
  return c >= 'a' && c <= 'z';
}

// Whether at is a lower-case letter that goes on with a word, not the plural of an abbreviation.
static bool continuesWord(const CHAR8 *at) {
  return isLower(*at) && !(*at == 's' && !isLower(at[1]));
}

void putElementWords(Text *text, const CHAR8 *element) {
  for (const CHAR8 *at = element; *at != 0; ++at) {
    bool begins = at == element || (isUpper(*at) && (isLower(at[-1]) || continuesWord(at + 1)));
    CHAR8 letter[2] = {*at, 0};
    if (begins && isUpper(*at) && continuesWord(at + 1)) {
      letter[0] = static_cast<CHAR8>(*at - 'A' + 'a');
    }
    putText(text, begins && at != element ? " " : "");
    putText(text, letter);
  }
}

} // namespace xyl::client
