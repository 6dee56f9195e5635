#include "xyl/output/table.h"

#include "base/text.h"
#include "xyl/output/output.h"

static constexpr UINTN LINE_WIDTH = 80;
static constexpr UINTN COLUMNS_MAX = 12;

// The first character's bytes, and the columns that it takes.
static UINTN firstCharacter(const CHAR8 *text, UINTN length, UINTN *columns) {
  UINT32 character = 0;
  UINTN bytes = utf8Decode(text, length, &character);
  *columns = isControl(character) ? 4 : 1; // those are shown as \xNN
  return bytes == 0 ? 1 : bytes;
}

// The bytes of the text that take at most limit columns.
static UINTN fitting(const CHAR8 *text, UINTN limit, UINTN *used) {
  UINTN length = textLength(text);
  UINTN at = 0;
  *used = 0;
  while (at < length) {
    UINTN columns = 0;
    UINTN bytes = firstCharacter(text + at, length - at, &columns);
    if (*used + columns > limit) {
      break;
    }
    *used += columns;
    at += bytes;
  }
  return at;
}

UINTN columnsOf(const CHAR8 *text) {
  UINTN used = 0;
  fitting(text, ~UINTN{0}, &used);
  return used;
}

void addCell(TABLE *table, const CHAR8 *text) {
  const TABLE_COLUMN &column = table->Columns[table->Cells.count % table->ColumnCount];
  bool isCut = columnsOf(text) > column.Most;
  UINTN used = 0;
  UINTN length = fitting(text, isCut ? column.Most - 3 : column.Most, &used);
  CHAR8 *copy = poolNew<CHAR8>(length + 4);
  CHAR8 **cell = copy != nullptr ? arrayAppend(table->Cells) : nullptr;
  if (cell == nullptr) {
    poolFree(copy);
    table->Failed = true;
    return;
  }
  copyBytes(copy, text, length);
  copyBytes(copy + length, "...", isCut ? 3 : 0);
  copy[length + (isCut ? 3 : 0)] = 0;
  *cell = copy;
}

static void sayBlanks(const XYL_HOST *host, UINTN count) {
  for (; count != 0; --count) {
    sayText(host, " ");
  }
}

// Writes the text from the column start on, and goes on below it behind a comma where it does not fit.
static void sayBroken(const XYL_HOST *host, CHAR8 *text, UINTN start) {
  UINTN at = start;
  while (*text != 0) {
    CHAR8 *end = text;
    while (*end != 0 && !(end[0] == ',' && end[1] == ' ')) {
      ++end;
    }
    end += *end != 0 ? 1 : 0;
    CHAR8 behind = *end;
    *end = 0;
    UINTN columns = columnsOf(text);
    if (at != start && at + 1 + columns > LINE_WIDTH) {
      say(host, "\n");
      sayBlanks(host, start);
      at = start;
    } else if (at != start) {
      sayBlanks(host, 1);
      ++at;
    }
    sayText(host, text);
    at += columns;
    *end = behind;
    text = behind != 0 ? end + 1 : end;
  }
}

static void sayTitles(const XYL_HOST *host, const TABLE &table, const UINTN *widths) {
  for (UINTN i = 0; i < table.ColumnCount; ++i) {
    const TABLE_COLUMN &column = table.Columns[i];
    bool isLast = i + 1 == table.ColumnCount;
    UINTN blanks = widths[i] - columnsOf(column.Title);
    sayBlanks(host, 2 + (column.IsRight ? blanks : 0));
    sayText(host, column.Title);
    sayBlanks(host, column.IsRight || isLast ? 0 : blanks);
  }
  say(host, "\n");
}

static void sayRow(const XYL_HOST *host, const TABLE &table, const UINTN *widths, CHAR8 *const *cells) {
  UINTN at = 2;
  for (UINTN i = 0; i < table.ColumnCount; ++i) {
    const TABLE_COLUMN &column = table.Columns[i];
    UINTN blanks = widths[i] - columnsOf(cells[i]);
    sayBlanks(host, 2);
    if (i + 1 == table.ColumnCount) {
      sayBroken(host, cells[i], at);
    } else if (column.IsMarked) {
      sayMarked(host, cells[i], widths[i]);
    } else {
      sayBlanks(host, column.IsRight ? blanks : 0);
      sayText(host, cells[i]);
      sayBlanks(host, column.IsRight ? 0 : blanks);
    }
    at += widths[i] + 2;
  }
  say(host, "\n");
}

bool sayTable(const XYL_HOST *host, TABLE *table) {
  UINTN widths[COLUMNS_MAX] = {};
  for (UINTN i = 0; i < table->ColumnCount; ++i) {
    widths[i] = columnsOf(table->Columns[i].Title);
  }
  UINTN column = 0;
  for (UINT32 i = 0; i < table->Cells.count; ++i) {
    UINTN columns = columnsOf(table->Cells.items[i]);
    widths[column] = columns > widths[column] ? columns : widths[column];
    column = column + 1 < table->ColumnCount ? column + 1 : 0;
  }
  if (!table->Failed) {
    sayTitles(host, *table, widths);
    for (UINT32 i = 0; i < table->Cells.count; i += static_cast<UINT32>(table->ColumnCount)) {
      sayRow(host, *table, widths, &table->Cells.items[i]);
    }
  }
  for (UINT32 i = 0; i < table->Cells.count; ++i) {
    poolFree(table->Cells.items[i]);
  }
  poolRelease(table->Cells.items);
  table->Cells.count = 0;
  return !table->Failed;
}
