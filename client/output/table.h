// Tables for terminals of 80 columns or fewer. Every column is as wide as its widest text; the last one is broken at
// its commas. Where there is no room, texts are cut, and then the last column gets lines of its own.
#pragma once

#include "base/array.h"
#include "client/client.h"

namespace xyl::client {

struct TableColumn {
  const CHAR8 *title;
  UINTN most;    // a longer text is cut, with "..." at its end
  bool isRight;  // aligned to the right
  bool isMarked; // a state, in its colour
};

struct Table {
  const TableColumn *columns;
  UINTN columnCount;
  PoolArray<CHAR8 *> cells; // row by row
  bool failed;
};

// Appends the next cell, a copy of the text; without memory the table fails.
void addCell(Table *table, const CHAR8 *text);

// Prints the table with its titles, two blanks before each column, and frees it. False, with nothing printed, when it
// failed.
bool sayTable(const Front *front, Table *table);

// The columns that the text takes on a terminal.
UINTN columnsOf(const CHAR8 *text);

} // namespace xyl::client
