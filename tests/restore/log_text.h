// Logs as one line, so that expected ones can be written down element by element.
#pragma once

#include "restore/restore.h"
#include "tests/support/world.h"

// The document without line feeds and indentation.
inline std::string onOneLine(const std::string &document) {
  std::string line;
  for (size_t i = 0; i < document.size(); ++i) {
    if (document[i] != '\n') {
      line += document[i];
      continue;
    }
    while (i + 1 < document.size() && document[i + 1] == ' ') {
      ++i;
    }
  }
  return line;
}

// The text between element tags, empty for an empty element.
inline std::string element(const std::string &tag, const std::string &inside) {
  return inside.empty() ? "<" + tag + "/>" : "<" + tag + ">" + inside + "</" + tag + ">";
}

inline std::string operation(const std::string &name, const std::string &code, const std::string &detail) {
  return "<Operation name=\"" + name + "\">" + element("Status", code == "0" ? "Success" : "Fail") +
         element("ErrorCode", code) + element("Detail", detail) + "</Operation>";
}
