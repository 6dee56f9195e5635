#include "client/verbs/words.h"

// The next letter or digit, in lower case; 0 at the end.
static CHAR8 nextLetter(const CHAR8 **text) {
  for (; **text != 0; ++*text) {
    CHAR8 c = **text;
    c = c >= 'A' && c <= 'Z' ? static_cast<CHAR8>(c - 'A' + 'a') : c;
    if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      ++*text;
      return c;
    }
  }
  return 0;
}

enum LIKENESS { LIKENESS_NONE, LIKENESS_BEGINS, LIKENESS_SAME };

static LIKENESS compareWords(const CHAR8 *text, const CHAR8 *name) {
  CHAR8 letter = nextLetter(&text);
  if (letter == 0) {
    return LIKENESS_NONE;
  }
  for (; letter != 0; letter = nextLetter(&text)) {
    if (letter != nextLetter(&name)) {
      return LIKENESS_NONE;
    }
  }
  return nextLetter(&name) == 0 ? LIKENESS_SAME : LIKENESS_BEGINS;
}

void offerName(MEANING *meaning, const CHAR8 *name, UINT64 value) {
  LIKENESS likeness = compareWords(meaning->Text, name);
  bool isKnown = meaning->Count != 0 && meaning->Value == value;
  if (likeness == LIKENESS_SAME && !meaning->IsSame) {
    *meaning = {meaning->Text, value, 1, true};
    append(meaning->Names, "", name);
  } else if (likeness != LIKENESS_NONE && !isKnown && (!meaning->IsSame || likeness == LIKENESS_SAME)) {
    meaning->Value = value;
    ++meaning->Count;
    append(meaning->Names, ", ", name);
  }
}

void offerTable(MEANING *meaning, const VALUE_NAME_TABLE *table, UINT64 mask) {
  for (; table->Name != nullptr; ++table) {
    if (mask != ~0ULL && (table->Value & mask) == 0) {
      continue;
    }
    offerName(meaning, table->Name, table->Value);
    static constexpr UINTN PREFIX = sizeof("RAID ") - 1;
    if (compareWords("RAID", table->Name) == LIKENESS_BEGINS) {
      offerName(meaning, table->Name + PREFIX, table->Value);
    }
  }
}

XYL_RESULT refuseAmbiguous(const XYL_CONTEXT &context, const MEANING &meaning) {
  complain(context.Front, "'%a' may be %a; write more of it", meaning.Text, meaning.Names.Text);
  return wrongUsage();
}

void appendNames(WORD_LIST &list, const VALUE_NAME_TABLE *table, UINT64 mask) {
  for (; table->Name != nullptr; ++table) {
    if (mask == ~0ULL || (table->Value & mask) != 0) {
      append(list, ", ", table->Name);
    }
  }
}

bool isNumber(const CHAR8 *text) {
  if (*text == 0) {
    return false;
  }
  while (*text >= '0' && *text <= '9') {
    ++text;
  }
  return *text == 0;
}

bool nextItem(const CHAR8 **list, ITEM *item) {
  if (*list == nullptr || **list == 0) {
    return false;
  }
  UINTN length = 0;
  for (; **list != 0 && **list != ','; ++*list) {
    if (length < sizeof(item->Text) - 1) {
      item->Text[length++] = **list;
    }
  }
  item->Text[length] = 0;
  *list += **list == ',' ? 1 : 0;
  return true;
}
