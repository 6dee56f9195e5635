#include "client/verbs/words.h"

namespace xyl::client {

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

enum class Likeness { none, begins, same };

static Likeness compareWords(const CHAR8 *text, const CHAR8 *name) {
  CHAR8 letter = nextLetter(&text);
  if (letter == 0) {
    return Likeness::none;
  }
  for (; letter != 0; letter = nextLetter(&text)) {
    if (letter != nextLetter(&name)) {
      return Likeness::none;
    }
  }
  return nextLetter(&name) == 0 ? Likeness::same : Likeness::begins;
}

void offerName(Meaning *meaning, const CHAR8 *name, UINT64 value) {
  Likeness likeness = compareWords(meaning->text, name);
  bool isKnown = meaning->count != 0 && meaning->value == value;
  if (likeness == Likeness::same && !meaning->isSame) {
    *meaning = {meaning->text, value, 1, true};
    append(meaning->names, "", name);
  } else if (likeness != Likeness::none && !isKnown && (!meaning->isSame || likeness == Likeness::same)) {
    meaning->value = value;
    ++meaning->count;
    append(meaning->names, ", ", name);
  }
}

void offerTable(Meaning *meaning, const driver::VALUE_NAME_TABLE *table, UINT64 mask) {
  for (; table->Name != nullptr; ++table) {
    if (mask != ~0ULL && (table->Value & mask) == 0) {
      continue;
    }
    offerName(meaning, table->Name, table->Value);
    static constexpr UINTN prefix = sizeof("RAID ") - 1;
    if (compareWords("RAID", table->Name) == Likeness::begins) {
      offerName(meaning, table->Name + prefix, table->Value);
    }
  }
}

Result refuseAmbiguous(const Context &context, const Meaning &meaning) {
  complain(context.front, "'%a' may be %a; write more of it", meaning.text, meaning.names.text);
  return wrongUsage();
}

void appendNames(WordList &list, const driver::VALUE_NAME_TABLE *table, UINT64 mask) {
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

bool nextItem(const CHAR8 **list, Item *item) {
  if (*list == nullptr || **list == 0) {
    return false;
  }
  UINTN length = 0;
  for (; **list != 0 && **list != ','; ++*list) {
    if (length < sizeof(item->text) - 1) {
      item->text[length++] = **list;
    }
  }
  item->text[length] = 0;
  *list += **list == ',' ? 1 : 0;
  return true;
}

} // namespace xyl::client
