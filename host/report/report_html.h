// Writing markup: templates are ours and go out as they are, values come from documents and are always escaped.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "uefi/types.h"

namespace xyl::host::report {

// Appends a template in which every '%' is the place of the next value. Throws std::logic_error when the numbers
// differ.
void put(std::string &page, std::string_view pattern, std::initializer_list<std::string_view> values);
// Appends markup as it is.
void put(std::string &page, std::string_view markup);

// A text of a document as UTF-8: what is no UTF-8 already is Latin-1.
std::string documentText(const CHAR8 *text);

// "1 disk", "2 disks".
std::string countText(size_t count, const std::string &noun);
// The text, or a dash for none.
std::string orDash(const std::string &text);

// A table as rows of cells. On narrow screens every row becomes a card in which the cells carry their column's name, so
// roles are written out: browsers drop those of tables that are not shown as such.
class HtmlTable {
public:
  HtmlTable(std::string &page, std::string_view caption, const std::vector<std::string_view> &columns);
  HtmlTable(const HtmlTable &) = delete;
  HtmlTable &operator=(const HtmlTable &) = delete;
  ~HtmlTable();

  // Starts a row, with an id unless it is empty and style classes.
  void row(std::string_view id = {}, std::string_view classes = {});
  // The next cell; the first one of a row is its heading. Its contents are markup.
  void cell(std::string_view markup);
  // The same with a text of a document.
  void text(std::string_view text);

private:
  std::string &page_;
  std::vector<std::string> columns_;
  size_t at_ = 0;
  bool inRow_ = false;
};

} // namespace xyl::host::report
