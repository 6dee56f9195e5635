// How the fields of documents and the properties of Redfish say the same: one table per resource, by which resources
// are made and requests are read.
#pragma once

#include <span>

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

enum REDFISH_FORM {
  FORM_TEXT,    // without the blanks that pad it; an empty one is absent
  FORM_AMOUNT,  // a number
  FORM_VALUE,   // a word of the document, or a list of one word, is a value
  FORM_VALUES,  // each word of a list is a value
  FORM_LARGEST, // the largest of these, which are numbers
  FORM_HAS,     // the first value when a list has its word, else the second
  FORM_NAME,    // a world wide name, "Identifiers"
  FORM_SLOT,    // a slot's number, "PartLocation"
  FORM_RATE,    // the adapter's rate of that name
  FORM_LINKS    // drives; resources get them from the model
};

// When a property may be written.
enum REDFISH_WRITE : unsigned { WRITE_NEVER = 0, WRITE_CREATE = 1, WRITE_CHANGE = 2 };

// A word of documents, and the JSON text of the value that it is in Redfish.
struct REDFISH_VALUE {
  const char *word;
  const char *value;
};

struct REDFISH_FIELD {
  const char *element;  // with "/" before an element inside it
  const char *property; // likewise
  REDFISH_FORM form;
  unsigned writable = WRITE_NEVER;
  std::span<const REDFISH_VALUE> values = {};
};

using REDFISH_TABLE = std::span<const REDFISH_FIELD>;

extern const REDFISH_TABLE g_storageFields; // of the adapter, also the next
extern const REDFISH_TABLE g_controllerFields;
extern const REDFISH_TABLE g_chassisFields;
extern const REDFISH_TABLE g_driveFields;
extern const REDFISH_TABLE g_volumeFields;
extern const REDFISH_TABLE g_systemFields;     // of no element: what may be asked for is there
extern const REDFISH_TABLE g_initializeFields; // of the action

// The elements of lists of links, as wanted by a request.
#define ELEMENT_MEMBERS "PD"
#define ELEMENT_SPARES "dedicated spares"

// The member at a path of names with "/" between them, or null.
const Json *memberAt(const Json &object, const std::string &path);

// Moves what the table has from the object, which has the members of 'show --json', to the resource. What has no value
// in Redfish stays.
void moveFields(REDFISH_TABLE table, Json *object, Json *resource);

// The values of those words that Redfish has values for.
Json knownValues(const REDFISH_FIELD &field, const Json &words);

// The word for a value of Redfish; null when the row has none.
Json wordOf(const REDFISH_FIELD &field, const Json &value);
