// Tables for terminals of 80 columns or fewer. Every column is as wide as its widest text; the last one is broken at
// its commas. Where there is no room, texts are cut, and then the last column gets lines of its own.
#pragma once

#include "base/array.h"
#include "client/client.h"

struct TABLE_COLUMN {
  const CHAR8 *Title;
  UINTN Most;    // a longer text is cut, with "..." at its end
  bool IsRight;  // aligned to the right
  bool IsMarked; // a state, in its colour
};

struct TABLE {
  const TABLE_COLUMN *Columns;
  UINTN ColumnCount;
  POOL_ARRAY<CHAR8 *> Cells; // row by row
  bool Failed;
};

// Appends the next cell, a copy of the text; without memory the table fails.
void addCell(TABLE *table, const CHAR8 *text);

// Prints the table with its titles, two blanks before each column, and frees it. False, with nothing printed, when it
// failed.
bool sayTable(const XYL_FRONT *front, TABLE *table);

// The columns that the text takes on a terminal.
UINTN columnsOf(const CHAR8 *text);
