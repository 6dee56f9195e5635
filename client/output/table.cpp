#include "client/output/table.h"

#include "base/text.h"
#include "client/output/output.h"

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

static void sayBlanks(const XYL_FRONT *front, UINTN count) {
  for (; count != 0; --count) {
    sayText(front, " ");
  }
}

// The columns of the longest piece between commas.
static UINTN longestPiece(const CHAR8 *text) {
  UINTN longest = 0;
  UINTN length = textLength(text);
  for (UINTN from = 0, at = 0; at <= length; ++at) {
    if (at == length || (text[at] == ',' && text[at + 1] == ' ')) {
      UINTN used = 0;
      for (UINTN i = from; i < at;) {
        UINTN columns = 0;
        i += firstCharacter(text + i, at - i, &columns);
        used += columns;
      }
      used += at != length ? 1 : 0;
      longest = used > longest ? used : longest;
      from = at + 2;
    }
  }
  return longest;
}

// Writes the text from the column start on, and goes on below it behind a comma where it does not fit.
static void sayBroken(const XYL_FRONT *front, CHAR8 *text, UINTN start) {
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
    if (at != start && at + 1 + columns > front->Columns) {
      say(front, "\n");
      sayBlanks(front, start);
      at = start;
    } else if (at != start) {
      sayBlanks(front, 1);
      ++at;
    }
    sayText(front, text);
    at += columns;
    *end = behind;
    text = behind != 0 ? end + 1 : end;
  }
}

// Cuts the text to width columns, with "..." at its end; where there is no room for that, as it comes.
static void cutTo(CHAR8 *text, UINTN width) {
  if (columnsOf(text) <= width) {
    return;
  }
  UINTN used = 0;
  UINTN length = fitting(text, width > 3 ? width - 3 : width, &used);
  copyBytes(text + length, "...", width > 3 ? 3 : 0); // addCell has left room for them
  text[length + (width > 3 ? 3 : 0)] = 0;
}

// How the columns are laid out.
struct WIDTHS {
  UINTN Columns[COLUMNS_MAX];
  bool IsBelow; // the last column has lines of its own
};

static constexpr UINTN BELOW = 6; // where these begin

// Takes columns from the texts that are widest until what stands behind them has its place on the line; numbers, sizes,
// states and short words stay whole. False when there is no place.
static bool narrow(const XYL_FRONT *front, const TABLE &table, UINTN behind, UINTN *widths) {
  static constexpr UINTN LEAST = 6;
  UINTN last = table.ColumnCount - 1;
  for (;;) {
    UINTN total = behind;
    UINTN widest = last;
    for (UINTN i = 0; i < last; ++i) {
      const TABLE_COLUMN &column = table.Columns[i];
      total += 2 + widths[i];
      bool gives = !column.IsRight && !column.IsMarked && column.Most > 8 && widths[i] > LEAST;
      widest = gives && (widest == last || widths[i] > widths[widest]) ? i : widest;
    }
    if (total <= front->Columns || widest == last) {
      return total <= front->Columns;
    }
    --widths[widest];
  }
}

static void layOut(const XYL_FRONT *front, const TABLE &table, WIDTHS *widths) {
  *widths = {};
  for (UINTN i = 0; i < table.ColumnCount; ++i) {
    widths->Columns[i] = columnsOf(table.Columns[i].Title);
  }
  UINTN last = table.ColumnCount - 1;
  UINTN longest = widths->Columns[last]; // of the pieces into which the last column's texts can be broken
  UINTN column = 0;
  for (UINT32 i = 0; i < table.Cells.count; ++i) {
    UINTN columns = columnsOf(table.Cells.items[i]);
    UINTN piece = column == last ? longestPiece(table.Cells.items[i]) : 0;
    widths->Columns[column] = columns > widths->Columns[column] ? columns : widths->Columns[column];
    longest = piece > longest ? piece : longest;
    column = column < last ? column + 1 : 0;
  }
  WIDTHS whole = *widths;
  if (!narrow(front, table, 2 + longest, widths->Columns)) {
    *widths = whole;
    widths->IsBelow = true;
    narrow(front, table, 0, widths->Columns);
  }
}

// Before the last column: its place on the line, or on the next.
static void sayStart(const XYL_FRONT *front, bool isBelow) {
  if (isBelow) {
    say(front, "\n");
  }
  sayBlanks(front, isBelow ? BELOW : 2);
}

static void sayTitles(const XYL_FRONT *front, const TABLE &table, const WIDTHS &widths) {
  for (UINTN i = 0; i < table.ColumnCount; ++i) {
    const TABLE_COLUMN &column = table.Columns[i];
    bool isLast = i + 1 == table.ColumnCount;
    UINTN blanks = widths.Columns[i] - columnsOf(column.Title);
    sayStart(front, isLast && widths.IsBelow);
    sayBlanks(front, column.IsRight ? blanks : 0);
    sayText(front, column.Title);
    sayBlanks(front, column.IsRight || isLast ? 0 : blanks);
  }
  say(front, "\n");
}

static void sayRow(const XYL_FRONT *front, const TABLE &table, const WIDTHS &widths, CHAR8 *const *cells) {
  UINTN at = 2;
  for (UINTN i = 0; i < table.ColumnCount; ++i) {
    const TABLE_COLUMN &column = table.Columns[i];
    bool isLast = i + 1 == table.ColumnCount;
    sayStart(front, isLast && widths.IsBelow);
    if (isLast) {
      sayBroken(front, cells[i], widths.IsBelow ? BELOW : at);
      continue;
    }
    cutTo(cells[i], widths.Columns[i]);
    UINTN blanks = widths.Columns[i] - columnsOf(cells[i]);
    if (column.IsMarked) {
      sayMarked(front, cells[i], widths.Columns[i]);
    } else {
      sayBlanks(front, column.IsRight ? blanks : 0);
      sayText(front, cells[i]);
      sayBlanks(front, column.IsRight ? 0 : blanks);
    }
    at += widths.Columns[i] + 2;
  }
  say(front, "\n");
}

bool sayTable(const XYL_FRONT *front, TABLE *table) {
  if (!table->Failed) {
    WIDTHS widths;
    layOut(front, *table, &widths);
    sayTitles(front, *table, widths);
    for (UINT32 i = 0; i < table->Cells.count; i += static_cast<UINT32>(table->ColumnCount)) {
      sayRow(front, *table, widths, &table->Cells.items[i]);
    }
  }
  for (UINT32 i = 0; i < table->Cells.count; ++i) {
    poolFree(table->Cells.items[i]);
  }
  poolRelease(table->Cells.items);
  table->Cells.count = 0;
  return !table->Failed;
}
