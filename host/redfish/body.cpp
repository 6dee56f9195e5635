#include "host/redfish/body.h"

#include <algorithm>
#include <set>

namespace xyl::host::redfish {

constexpr size_t givenMax = 100; // bytes of a value in a message
constexpr int depthMax = 16;     // of a body; a text is written, and a copy made, by routines that call themselves

const Want *Wants::find(const std::string &element) const {
  auto found = byElement.find(element);
  return found == byElement.end() ? nullptr : &found->second;
}

Json parseBody(const std::string &text) {
  bool isDeep = false;
  auto measure = [&](int depth, Json::parse_event_t, Json &) {
    isDeep = isDeep || depth > depthMax;
    return !isDeep;
  };
  Json body = Json::parse(text, measure, /* exceptions= */ false);
  if (body.is_discarded() && !isDeep) {
    refuse("MalformedJSON");
  }
  if (!body.is_object() || isDeep) {
    refuse("UnrecognizedRequestBody");
  }
  return body;
}

namespace {

struct Reader {
  const Model &model;
  const Takes &takes;
  Wants wants = {};
  Refusal refusal = {};

  void problem(const char *key, std::vector<std::string> arguments, const std::string &property) {
    refusal.problems->push_back({key, std::move(arguments), property});
  }
};

} // namespace

static std::string givenText(const Json &value) {
  std::string text = value.is_string() ? value.get<std::string>() : value.dump();
  if (text.size() <= givenMax) {
    return text;
  }
  size_t length = givenMax;
  while ((text[length] & 0xC0) == 0x80) { // not within a character
    --length;
  }
  return text.substr(0, length) + "...";
}

// A drive of this storage, by its URI.
static const Json *driveAt(const Model &model, const std::string &uri) {
  std::string id = uri.substr(uri.rfind('/') + 1);
  bool isNumber = !id.empty() && id.size() < 11 && id.find_first_not_of("0123456789") == std::string::npos;
  auto found = isNumber ? model.diskById.find(std::stoull(id)) : model.diskById.end();
  const Json *drive = found == model.diskById.end() ? nullptr : &model.disks[found->second].object;
  return drive != nullptr && driveUri(model, *drive) == uri ? drive : nullptr;
}

static Json readDrives(Reader *reader, const std::string &property, const Json &value) {
  Json ids = Json::array();
  std::set<UINT64> seen;
  for (const Json &link : value) {
    const Json *uri = link.is_object() ? memberAt(link, "@odata.id") : nullptr;
    const Json *drive = uri != nullptr && uri->is_string() ? driveAt(reader->model, uri->get<std::string>()) : nullptr;
    if (drive == nullptr || !seen.insert(idOf(*drive)).second) {
      reader->problem("PropertyValueNotInList", {givenText(link), property}, property);
      continue;
    }
    ids.push_back(idOf(*drive));
  }
  return ids;
}

// Documents are read byte by byte, so a text that is more than ASCII would not come back as it was.
static bool isPlainText(const std::string &text) {
  bool isPlain = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  return isPlain && !text.empty() && text.front() != ' ' && text.back() != ' ';
}

static bool hasType(const Field &field, const Json &value) {
  switch (field.form) {
  case Form::text:
    return value.is_string();
  case Form::amount:
  case Form::rate:
    return value.is_number();
  case Form::links:
    return value.is_array();
  default:
    Json sample = Json::parse(field.values[0].value);
    return sample.type() == value.type() || (sample.is_number() && value.is_number());
  }
}

// The key of the message that a value of the right type deserves, or null.
static const char *whyNot(const Field &field, const Json &value) {
  switch (field.form) {
  case Form::text:
    return isPlainText(value.get<std::string>()) ? nullptr : "PropertyValueFormatError";
  case Form::amount:
    return value.is_number_unsigned() && value > 0 ? nullptr : "PropertyValueOutOfRange";
  case Form::rate:
    return value.is_number_unsigned() && value <= 100 ? nullptr : "PropertyValueOutOfRange";
  case Form::links:
    return nullptr;
  default:
    return wordOf(field, value).is_null() ? "PropertyValueNotInList" : nullptr;
  }
}

static void readValue(Reader *reader, const Field &field, const Json &value) {
  std::string property = field.property;
  std::string given = givenText(value);
  const char *why = hasType(field, value) ? whyNot(field, value) : "PropertyValueTypeError";
  if (why != nullptr) {
    return reader->problem(why, {given, property}, property);
  }
  Json word = field.form == Form::links ? readDrives(reader, property, value) : value;
  word = field.values.empty() ? word : wordOf(field, value);
  const Want *other = reader->wants.find(field.element);
  if (other != nullptr && other->word != word) {
    return reader->problem("PropertyValueConflict", {property, other->property}, property);
  }
  Want &want = reader->wants.byElement[field.element];
  want.word = word;
  want.property = property;
  want.given = given;
}

// Wherever the time to do it at stands, it has to be now; other annotations tell nothing that is to be done.
static void readTimes(Reader *reader, const std::string &inside, const Json &value) {
  for (const auto &[name, member] : value.items()) {
    std::string path = inside + name;
    if (value.is_object() && name == "@Redfish.OperationApplyTime" && member != "Immediate") {
      reader->problem("PropertyValueNotInList", {givenText(member), name}, path);
    } else if (member.is_structured()) {
      readTimes(reader, path + "/", member);
    }
  }
}

static bool isAnnotation(const std::string &name) {
  return name.find("@odata.") != std::string::npos || name.find("@Redfish.") != std::string::npos ||
         name.find("@Message.") != std::string::npos;
}

static void readMembers(Reader *reader, const std::string &inside, const Json &members) {
  const Table &table = reader->takes.table;
  for (const auto &[name, value] : members.items()) {
    std::string path = inside + name;
    if (isAnnotation(name)) {
      continue;
    }
    auto leadsTo = [&](const Field &field) { return std::string(field.property).rfind(path + "/", 0) == 0; };
    auto field = std::find_if(table.begin(), table.end(), [&](const Field &row) { return row.property == path; });
    bool isKnown = field != table.end() || reader->takes.resource.contains(path);
    if (field == table.end() && value.is_object() && std::any_of(table.begin(), table.end(), leadsTo)) {
      readMembers(reader, path + "/", value);
    } else if (field != table.end() && (field->writable & reader->takes.when) != 0) {
      readValue(reader, *field, value);
    } else {
      reader->wants.notes.push_back({isKnown ? "PropertyNotWritable" : "PropertyUnknown", {path}, path});
    }
  }
}

Wants readBody(const Model &model, const Json &body, const Takes &takes) {
  Reader reader = {model, takes};
  if (body.empty()) {
    refuse("EmptyJSON");
  }
  readTimes(&reader, "", body);
  readMembers(&reader, "", body);
  std::vector<Problem> &problems = *reader.refusal.problems;
  bool changesNothing = takes.when != writeChange || reader.wants.byElement.empty();
  if (!problems.empty() || changesNothing) {
    problems.insert(problems.end(), reader.wants.notes.begin(), reader.wants.notes.end());
  }
  if (!problems.empty()) {
    throw reader.refusal;
  }
  return reader.wants;
}

} // namespace xyl::host::redfish
