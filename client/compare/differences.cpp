#include "client/compare/differences.h"

#include "base/text.h"

const CHAR8 *differenceKindName(DIFFERENCE_KIND kind) {
  static constexpr const CHAR8 *names[DIFFERENCE_KIND_COUNT] = {"changed", "added", "removed", "moved", "replaced"};
  return names[kind];
}

const CHAR8 *differenceObjectName(DIFFERENCE_OBJECT object) {
  static constexpr const CHAR8 *names[DIFFERENCE_OBJECT_COUNT] = {"adapter", "enclosure", "disk", "virtual disk"};
  return names[object];
}

static void freeDifference(DIFFERENCE *difference) {
  freeText(&difference->Name);
  freeText(&difference->What);
  freeText(&difference->Old);
  freeText(&difference->New);
}

void addDifference(DIFFERENCES *differences, const DIFFERENCE &difference) {
  DIFFERENCE taken = difference;
  bool complete = !taken.Name.Failed && !taken.What.Failed && !taken.Old.Failed && !taken.New.Failed;
  DIFFERENCE *added = complete ? arrayAppend(differences->All) : nullptr;
  if (added == nullptr) {
    freeDifference(&taken);
    differences->Status = EFI_OUT_OF_RESOURCES;
    return;
  }
  *added = taken;
}

void freeDifferences(DIFFERENCES *differences) {
  for (UINT32 i = 0; i < differences->All.count; ++i) {
    freeDifference(&differences->All.items[i]);
  }
  poolFree(differences->All.items);
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

void putElementWords(TEXT *text, const CHAR8 *element) {
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
