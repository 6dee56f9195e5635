// How the fields of documents and the properties of Redfish say the same: one table per resource, by which resources
// are made and requests are read.
#pragma once

#include <span>

#include <nlohmann/json.hpp>

namespace xyl::host::redfish {

using Json = nlohmann::ordered_json;

enum class Form {
  text,    // without the blanks that pad it; an empty one is absent
  amount,  // a number
  value,   // a word of the document, or a list of one word, is a value
  values,  // each word of a list is a value
  largest, // the largest of these, which are numbers
  has,     // the first value when a list has its word, else the second
  name,    // a world wide name, "Identifiers"
  slot,    // a slot's number, "PartLocation"
  rate,    // the adapter's rate of that name
  links    // drives; resources get them from the model
};

// When a property may be written.
enum Write : unsigned { writeNever = 0, writeCreate = 1, writeChange = 2 };

// A word of documents, and the JSON text of the value that it is in Redfish.
struct Value {
  const char *word;
  const char *value;
};

struct Field {
  const char *element;  // with "/" before an element inside it
  const char *property; // likewise
  Form form;
  unsigned writable = writeNever;
  std::span<const Value> values = {};
};

using Table = std::span<const Field>;

extern const Table g_storageFields; // of the adapter, also the next
extern const Table g_controllerFields;
extern const Table g_chassisFields;
extern const Table g_driveFields;
extern const Table g_volumeFields;
extern const Table g_systemFields;     // of no element: what may be asked for is there
extern const Table g_initializeFields; // of the action

// The elements of lists of links, as wanted by a request.
inline constexpr char elementMembers[] = "PD";
inline constexpr char elementSpares[] = "dedicated spares";

// The member at a path of names with "/" between them, or null.
const Json *memberAt(const Json &object, const std::string &path);

// Moves what the table has from the object, which has the members of 'show --json', to the resource. What has no value
// in Redfish stays.
void moveFields(Table table, Json *object, Json *resource);

// The values of those words that Redfish has values for.
Json knownValues(const Field &field, const Json &words);

// The word for a value of Redfish; null when the row has none.
Json wordOf(const Field &field, const Json &value);

} // namespace xyl::host::redfish
