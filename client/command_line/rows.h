// What the rows of commands are written with, and how the subjects' rows become the table of a front, all while it is
// compiled.
#pragma once

#include "client/command_line/command_line.h"

template <class... IDS> constexpr UINT64 optionSet(IDS... ids) {
  return ((1ULL << ids) | ...);
}

// The host program takes its controller from one of these.
inline constexpr UINT64 WORLD_OPTIONS = optionSet(XYL_OPTION_PRESET, XYL_OPTION_CONTROLLER, XYL_OPTION_DISK,
                                                  XYL_OPTION_LOG, XYL_OPTION_QUIET, XYL_OPTION_PAGES);
inline constexpr UINT64 CONTROLLER_OPTIONS = WORLD_OPTIONS | optionSet(XYL_OPTION_NUMBER);
inline constexpr UINT64 VERB_OPTIONS =
    CONTROLLER_OPTIONS | optionSet(XYL_OPTION_SHOW, XYL_OPTION_LOG_FILE, XYL_OPTION_FORCE, XYL_OPTION_YES,
                                   XYL_OPTION_PROGRESS, XYL_OPTION_JSON);

inline constexpr UINT32 PRINTING_OUTCOMES = 1U << XYL_SUCCESS | 1U << XYL_USAGE;
inline constexpr UINT32 COMPARING_OUTCOMES = XYL_PLAIN_OUTCOMES | 1U << XYL_DIFFERENT;

// Images for firmware have no room for what only the host program shows.
#ifdef RAIDXYL_EFI
inline constexpr bool HAS_HOST_TEXTS = false;
#else
inline constexpr bool HAS_HOST_TEXTS = true;
#endif

template <UINTN COUNT> struct COMMAND_TABLE { XYL_COMMAND Rows[COUNT]; };

// How many rows a row, the rows of a subject or a table are.
template <class T> inline constexpr UINTN ROW_COUNT = 1;
template <UINTN COUNT> inline constexpr UINTN ROW_COUNT<XYL_COMMAND[COUNT]> = COUNT;
template <UINTN COUNT> inline constexpr UINTN ROW_COUNT<COMMAND_TABLE<COUNT>> = COUNT;

constexpr const XYL_COMMAND *rowsOf(const XYL_COMMAND &row) {
  return &row;
}
constexpr const XYL_COMMAND *rowsOf(const XYL_COMMAND *rows) {
  return rows;
}
template <UINTN COUNT> constexpr const XYL_COMMAND *rowsOf(const COMMAND_TABLE<COUNT> &table) {
  return table.Rows;
}

// One table of all these, in this order.
template <class... TABLES> constexpr auto joined(const TABLES &...tables) {
  COMMAND_TABLE<(ROW_COUNT<TABLES> + ...)> all = {};
  UINTN at = 0;
  auto append = [&](const XYL_COMMAND *rows, UINTN count) {
    for (UINTN i = 0; i < count; ++i) {
      all.Rows[at++] = rows[i];
    }
  };
  (append(rowsOf(tables), ROW_COUNT<TABLES>), ...);
  return all;
}

// As it is kept: an image has the examples of its own front.
template <UINTN COUNT> constexpr COMMAND_TABLE<COUNT> kept(COMMAND_TABLE<COUNT> table) {
  for (XYL_COMMAND &row : table.Rows) {
    row.HostExamples = HAS_HOST_TEXTS ? row.HostExamples : nullptr;
  }
  return table;
}

// --- Checks ---

constexpr bool isWritten(const CHAR8 *text) {
  return text != nullptr && *text != 0;
}

// Whether a row says all that help and parser want of it on that front.
constexpr bool isWhole(const XYL_COMMAND &row, XYL_FRONTS front) {
  return isWritten(row.Name) && isWritten(row.Summary) && isWritten(row.Description) &&
         isWritten(front == XYL_FRONT_HOST ? row.HostExamples : row.ShellExamples) &&
         row.OperandsMin <= row.OperandsMax && isWritten(row.Operands) == (row.OperandsMax != 0);
}

// Whether words that name b name a, too: the same words, or the first of them.
constexpr bool covers(const CHAR8 *a, const CHAR8 *b) {
  while (*a != 0 && *a == *b) {
    ++a;
    ++b;
  }
  return *a == 0 && (*b == 0 || *b == ' ');
}

static_assert(covers("key", "key lock") && covers("key", "key") && !covers("key", "keys") &&
              !covers("key lock", "key"));

template <UINTN COUNT> constexpr bool areWhole(const COMMAND_TABLE<COUNT> &table, XYL_FRONTS front) {
  for (const XYL_COMMAND &row : table.Rows) {
    if (!isWhole(row, front)) {
      return false;
    }
  }
  return true;
}

template <UINTN COUNT> constexpr bool areDistinct(const COMMAND_TABLE<COUNT> &table) {
  for (UINTN i = 0; i < COUNT; ++i) {
    for (UINTN j = 0; j < COUNT; ++j) {
      if (i != j && covers(table.Rows[i].Name, table.Rows[j].Name)) {
        return false;
      }
    }
  }
  return true;
}
