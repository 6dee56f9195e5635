#include "client/output/table.h"

#include "base/text.h"
#include "client/output/output.h"

namespace xyl::client {

static constexpr UINTN columnsMax = 12;

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

void addCell(Table *table, const CHAR8 *text) {
  const TableColumn &column = table->columns[table->cells.count % table->columnCount];
  bool isCut = columnsOf(text) > column.most;
  UINTN used = 0;
  UINTN length = fitting(text, isCut ? column.most - 3 : column.most, &used);
  CHAR8 *copy = poolNew<CHAR8>(length + 4);
  CHAR8 **cell = copy != nullptr ? arrayAppend(table->cells) : nullptr;
  if (cell == nullptr) {
    poolFree(copy);
    table->failed = true;
    return;
  }
  copyBytes(copy, text, length);
  copyBytes(copy + length, "...", isCut ? 3 : 0);
  copy[length + (isCut ? 3 : 0)] = 0;
  *cell = copy;
}

static void sayBlanks(const Front *front, UINTN count) {
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
static void sayBroken(const Front *front, CHAR8 *text, UINTN start) {
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
    if (at != start && at + 1 + columns > front->columns) {
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
struct Widths {
  UINTN columns[columnsMax];
  bool isBelow; // the last column has lines of its own
};

static constexpr UINTN belowIndent = 6; // where these begin

// Takes columns from the texts that are widest until what stands behind them has its place on the line; numbers, sizes,
// states and short words stay whole. False when there is no place.
static bool narrow(const Front *front, const Table &table, UINTN behind, UINTN *widths) {
  static constexpr UINTN least = 6;
  UINTN last = table.columnCount - 1;
  for (;;) {
    UINTN total = behind;
    UINTN widest = last;
    for (UINTN i = 0; i < last; ++i) {
      const TableColumn &column = table.columns[i];
      total += 2 + widths[i];
      bool gives = !column.isRight && !column.isMarked && column.most > 8 && widths[i] > least;
      widest = gives && (widest == last || widths[i] > widths[widest]) ? i : widest;
    }
    if (total <= front->columns || widest == last) {
      return total <= front->columns;
    }
    --widths[widest];
  }
}

static void layOut(const Front *front, const Table &table, Widths *widths) {
  *widths = {};
  for (UINTN i = 0; i < table.columnCount; ++i) {
    widths->columns[i] = columnsOf(table.columns[i].title);
  }
  UINTN last = table.columnCount - 1;
  UINTN longest = widths->columns[last]; // of the pieces into which the last column's texts can be broken
  UINTN column = 0;
  for (UINT32 i = 0; i < table.cells.count; ++i) {
    UINTN columns = columnsOf(table.cells.items[i]);
    UINTN piece = column == last ? longestPiece(table.cells.items[i]) : 0;
    widths->columns[column] = columns > widths->columns[column] ? columns : widths->columns[column];
    longest = piece > longest ? piece : longest;
    column = column < last ? column + 1 : 0;
  }
  Widths whole = *widths;
  if (!narrow(front, table, 2 + longest, widths->columns)) {
    *widths = whole;
    widths->isBelow = true;
    narrow(front, table, 0, widths->columns);
  }
}

// Before the last column: its place on the line, or on the next.
static void sayStart(const Front *front, bool isBelow) {
  if (isBelow) {
    say(front, "\n");
  }
  sayBlanks(front, isBelow ? belowIndent : 2);
}

static void sayTitles(const Front *front, const Table &table, const Widths &widths) {
  for (UINTN i = 0; i < table.columnCount; ++i) {
    const TableColumn &column = table.columns[i];
    bool isLast = i + 1 == table.columnCount;
    UINTN blanks = widths.columns[i] - columnsOf(column.title);
    sayStart(front, isLast && widths.isBelow);
    sayBlanks(front, column.isRight ? blanks : 0);
    sayText(front, column.title);
    sayBlanks(front, column.isRight || isLast ? 0 : blanks);
  }
  say(front, "\n");
}

static void sayRow(const Front *front, const Table &table, const Widths &widths, CHAR8 *const *cells) {
  UINTN at = 2;
  for (UINTN i = 0; i < table.columnCount; ++i) {
    const TableColumn &column = table.columns[i];
    bool isLast = i + 1 == table.columnCount;
    sayStart(front, isLast && widths.isBelow);
    if (isLast) {
      sayBroken(front, cells[i], widths.isBelow ? belowIndent : at);
      continue;
    }
    cutTo(cells[i], widths.columns[i]);
    UINTN blanks = widths.columns[i] - columnsOf(cells[i]);
    if (column.isMarked) {
      sayMarked(front, cells[i], widths.columns[i]);
    } else {
      sayBlanks(front, column.isRight ? blanks : 0);
      sayText(front, cells[i]);
      sayBlanks(front, column.isRight ? 0 : blanks);
    }
    at += widths.columns[i] + 2;
  }
  say(front, "\n");
}

bool sayTable(const Front *front, Table *table) {
  if (!table->failed) {
    Widths widths;
    layOut(front, *table, &widths);
    sayTitles(front, *table, widths);
    for (UINT32 i = 0; i < table->cells.count; i += static_cast<UINT32>(table->columnCount)) {
      sayRow(front, *table, widths, &table->cells.items[i]);
    }
  }
  for (UINT32 i = 0; i < table->cells.count; ++i) {
    poolFree(table->cells.items[i]);
  }
  poolRelease(table->cells.items);
  table->cells.count = 0;
  return !table->failed;
}

} // namespace xyl::client
