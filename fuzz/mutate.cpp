// Mutations of documents by their elements, for the targets that read some; half of the time the engine's own. A target
// may put anything before, between and behind its documents.

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "driver/xml/xml.h"

using namespace xyl;
using namespace xyl::driver;

extern "C" size_t LLVMFuzzerMutate(uint8_t *data, size_t size, size_t maxSize);

struct Element {
  size_t start, end; // with its tags
  size_t inside, insideEnd;
  std::string_view name;
  bool isLeaf;
};
using Elements = std::vector<Element>;
using Random = std::minstd_rand;

static constexpr size_t mostElements = 4096;

static size_t below(Random &random, size_t bound) {
  return bound == 0 ? 0 : random() % bound;
}

// All elements that have an end, whatever their end tags are called.
static Elements elementsOf(std::string_view text) {
  Elements found;
  std::vector<Element> open;
  for (size_t at = text.find('<'); at != text.npos && found.size() < mostElements; at = text.find('<', at + 1)) {
    size_t close = text.find('>', at);
    if (close == text.npos) {
      break;
    }
    char first = text[at + 1];
    if (first == '/' && !open.empty()) {
      open.back().insideEnd = at;
      open.back().end = close + 1;
      found.push_back(open.back());
      open.pop_back();
    } else if (first != '/' && first != '!' && first != '?') {
      size_t nameEnd = std::min(text.find_first_of(" \t\r\n/>", at + 1), close);
      if (!open.empty()) {
        open.back().isLeaf = false;
      }
      Element element = {at, close + 1, close + 1, close + 1, text.substr(at + 1, nameEnd - at - 1), true};
      if (text[close - 1] == '/') {
        found.push_back(element);
      } else if (open.size() < 64) {
        open.push_back(element);
      }
    }
  }
  return found;
}

static std::string contentOf(const std::string &text, const Element &element) {
  return text.substr(element.inside, element.insideEnd - element.inside);
}

// The element's row in one of the driver's tables, or null.
static const FieldRow *rowNamed(std::string_view name) {
  static const FieldTable *const tables[] = {
      &g_headerFields, &g_adapterFields,     &g_enclosureFields,   &g_pdFields,
      &g_vdFields,     &g_levelDescFields,   &g_pciIdentityFields, &g_pciLocationFields,
      &g_rateFields,   &g_cachePolicyGroups, &g_inventoryFields,
  };
  for (const FieldTable *table : tables) {
    for (UINT32 i = 0; i < table->rowCount; ++i) {
      const FieldRow &row = table->rows[i];
      if ((row.element != nullptr && name == row.element) || (row.item != nullptr && name == row.item)) {
        return &row;
      }
    }
  }
  return nullptr;
}

// A value of the documents: mostly one that the field knows, now and then a number at a bound or any other word.
static std::string someValue(std::string_view name, Random &random) {
  static const char *const others[] = {"0", "1", "255", "65536", "4294967295", "18446744073709551615",
                                       "",  " ", "-1",  "True",  "RAID_NAME",  "VGFybi1TZWNyZXQtMDgxNQ=="};
  const FieldRow *row = rowNamed(name);
  const VALUE_NAME_TABLE *values = nullptr;
  if (row != nullptr && (row->format == FieldFormat::name || row->format == FieldFormat::mask)) {
    values = row->names;
  }
  if (below(random, 8) == 0) {
    values = g_valueTables[below(random, g_valueTableCount)].rows;
  }
  size_t count = 0;
  while (values != nullptr && values[count].Name != nullptr) {
    ++count;
  }
  return count == 0 ? others[below(random, std::size(others))] : values[below(random, count)].Name;
}

// Another element's value, rather one of the same name: so references change their objects.
static std::string someonesValue(const std::string &text, const Elements &elements, const Element &element,
                                 Random &random) {
  for (int tries = 0; tries < 16; ++tries) {
    const Element &other = elements[below(random, elements.size())];
    bool isReference = other.name == "ObjectID" || other.name == "OID" || other.name == "TargetID";
    if (other.isLeaf && other.start != element.start && (other.name == element.name || isReference || tries > 8)) {
      return contentOf(text, other);
    }
  }
  return someValue(element.name, random);
}

static void exchange(std::string &text, const Element &first, const Element &second) {
  if (first.end <= second.start) {
    text = text.substr(0, first.start) + text.substr(second.start, second.end - second.start) +
           text.substr(first.end, second.start - first.end) + text.substr(first.start, first.end - first.start) +
           text.substr(second.end);
  }
}

static void changeElement(std::string &text, Random &random) {
  Elements elements = elementsOf(text);
  if (elements.empty()) {
    return;
  }
  const Element element = elements[below(random, elements.size())], other = elements[below(random, elements.size())];
  std::string whole = text.substr(element.start, element.end - element.start), content;
  switch (below(random, 8)) {
  case 0:
    text.erase(element.start, whole.size());
    break;
  case 1:
    text.insert(element.end, whole);
    break;
  case 2: { // copied or moved, beside another or into it
    size_t at = below(random, 2) == 0 ? other.start : other.insideEnd;
    bool outside = at <= element.start || at >= element.end;
    text.insert(at, whole);
    if (outside && below(random, 2) == 0) {
      text.erase(element.start + (at <= element.start ? whole.size() : 0), whole.size());
    }
    break;
  }
  case 3:
    exchange(text, element, other);
    break;
  case 4: {
    std::string name(other.name);
    text.insert(element.start, "<" + name + ">" + someValue(name, random) + "</" + name + ">");
    break;
  }
  default: // values, which most elements have
    content = below(random, 2) == 0 ? someValue(element.name, random) : someonesValue(text, elements, element, random);
    text.replace(element.inside, element.insideEnd - element.inside, content);
  }
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t *data, size_t size, size_t maxSize, unsigned seed) {
  Random random(seed);
  random.discard(2); // the first numbers of neighbouring seeds are neighbours
  if (below(random, 2) == 0) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  std::string text(reinterpret_cast<const char *>(data), size);
  for (size_t changes = 1 + below(random, 3); changes != 0; --changes) {
    changeElement(text, random);
  }
  if (text.empty() || text.size() > maxSize) {
    return LLVMFuzzerMutate(data, size, maxSize);
  }
  std::memcpy(data, text.data(), text.size());
  return text.size();
}
