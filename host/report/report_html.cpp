#include "host/report/report_html.h"

#include <stdexcept>

#include "client/output/output.h"
#include "host/common/common.h"

namespace xyl::host::report {

static const char *entityOf(char c) {
  switch (c) {
  case '&':
    return "&amp;";
  case '<':
    return "&lt;";
  case '>':
    return "&gt;";
  case '"':
    return "&quot;";
  case '\'':
    return "&#39;";
  default:
    return nullptr;
  }
}

static void putEscaped(std::string &page, std::string_view text) {
  for (char c : text) {
    const char *entity = entityOf(c);
    if (entity != nullptr) {
      page += entity;
    } else {
      page += c;
    }
  }
}

void put(std::string &page, std::string_view pattern, std::initializer_list<std::string_view> values) {
  const std::string_view *value = values.begin();
  for (size_t at = pattern.find('%'); at != std::string_view::npos; at = pattern.find('%')) {
    if (value == values.end()) {
      throw std::logic_error("a template of the page has more places than values");
    }
    page += pattern.substr(0, at);
    putEscaped(page, *value++);
    pattern.remove_prefix(at + 1);
  }
  if (value != values.end()) {
    throw std::logic_error("a template of the page has fewer places than values");
  }
  page += pattern;
}

void put(std::string &page, std::string_view markup) {
  page += markup;
}

// The length of the character at the start of text, 0 for what is no UTF-8 or no character of XML or HTML.
static size_t characterLength(std::string_view text) {
  UINT32 character = 0;
  size_t length = client::utf8Decode(text.data(), text.size(), &character);
  return (character & 0xFFFE) == 0xFFFE ? 0 : length;
}

static bool isShown(std::string_view text) {
  UINT32 character = 0;
  client::utf8Decode(text.data(), text.size(), &character);
  return !client::isControl(character) || character == '\t' || character == '\n';
}

std::string documentText(const CHAR8 *text) {
  std::string_view rest = text;
  while (!rest.empty() && characterLength(rest) != 0) {
    rest.remove_prefix(characterLength(rest));
  }
  std::string utf8 = rest.empty() ? text : toUtf8(text);
  std::string shown;
  for (rest = utf8; !rest.empty(); rest.remove_prefix(characterLength(rest))) {
    std::string_view character = rest.substr(0, characterLength(rest));
    shown += isShown(character) ? character : "\xEF\xBF\xBD";
  }
  return shown;
}

std::string countText(size_t count, const std::string &noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string orDash(const std::string &text) {
  return text.empty() ? "\xE2\x80\x93" : text;
}

HtmlTable::HtmlTable(std::string &page, std::string_view caption, const std::vector<std::string_view> &columns)
    : page_(page) {
  put(page_,
      R"(<table role="table"><caption>%</caption>
<thead role="rowgroup"><tr role="row">)",
      {caption});
  for (std::string_view column : columns) {
    put(page_, R"(<th role="columnheader" scope="col">%</th>)", {column});
    columns_.emplace_back(column);
  }
  put(page_, "</tr></thead>\n<tbody role=\"rowgroup\">\n");
}

HtmlTable::~HtmlTable() {
  put(page_, inRow_ ? "</tr>\n</tbody></table>\n" : "</tbody></table>\n");
}

void HtmlTable::row(std::string_view id, std::string_view classes) {
  put(page_, inRow_ ? "</tr>\n<tr role=\"row\"" : "<tr role=\"row\"");
  if (!id.empty()) {
    put(page_, R"( id="%" tabindex="-1")", {id});
  }
  if (!classes.empty()) {
    put(page_, R"( class="%")", {classes});
  }
  put(page_, ">");
  inRow_ = true;
  at_ = 0;
}

void HtmlTable::cell(std::string_view markup) {
  const std::string &column = columns_.at(at_);
  put(page_, at_ == 0 ? R"(<th role="rowheader" scope="row" data-column="%">)" : R"(<td role="cell" data-column="%">)",
      {column});
  put(page_, markup);
  put(page_, at_ == 0 ? "</th>" : "</td>");
  ++at_;
}

void HtmlTable::text(std::string_view text) {
  std::string markup;
  put(markup, "%", {text});
  cell(markup);
}

} // namespace xyl::host::report
