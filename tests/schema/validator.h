// libxml2's judgement of a document.
#pragma once

#include <string>

// What the schema of that name in schema/ has against the document; empty when it is valid.
std::string faults(const std::string &schema, const std::string &document);
