// What the rows of commands are written with, and how the subjects' rows become the table of a front, all while it is
// compiled.
#pragma once

#include "client/command_line/command_line.h"

namespace xyl::client {

template <class... Ids> constexpr UINT64 optionSet(Ids... ids) {
  return ((1ULL << ids) | ...);
}

// The host program takes its controller from one of these.
inline constexpr UINT64 worldOptions =
    optionSet(optionPreset, optionController, optionDisk, optionLog, optionQuiet, optionPages);
inline constexpr UINT64 controllerOptions = worldOptions | optionSet(optionNumber);
inline constexpr UINT64 verbOptions =
    controllerOptions | optionSet(optionShow, optionLogFile, optionForce, optionYes, optionProgress, optionJson);

inline constexpr UINT32 printingOutcomes = 1U << outcomeSuccess | 1U << outcomeUsage;
inline constexpr UINT32 comparingOutcomes = xylPlainOutcomes | 1U << outcomeDifferent;

// Images for firmware have no room for what only the host program shows.
#ifdef RAIDXYL_EFI
inline constexpr bool hasHostTexts = false;
#else
inline constexpr bool hasHostTexts = true;
#endif

template <UINTN count> struct CommandTable { Command rows[count]; };

// How many rows a row, the rows of a subject or a table are.
template <class T> inline constexpr UINTN rowCountOf = 1;
template <UINTN count> inline constexpr UINTN rowCountOf<Command[count]> = count;
template <UINTN count> inline constexpr UINTN rowCountOf<CommandTable<count>> = count;

constexpr const Command *rowsOf(const Command &row) {
  return &row;
}
constexpr const Command *rowsOf(const Command *rows) {
  return rows;
}
template <UINTN count> constexpr const Command *rowsOf(const CommandTable<count> &table) {
  return table.rows;
}

// One table of all these, in this order.
template <class... Tables> constexpr auto joined(const Tables &...tables) {
  CommandTable<(rowCountOf<Tables> + ...)> all = {};
  UINTN at = 0;
  auto append = [&](const Command *rows, UINTN count) {
    for (UINTN i = 0; i < count; ++i) {
      all.rows[at++] = rows[i];
    }
  };
  (append(rowsOf(tables), rowCountOf<Tables>), ...);
  return all;
}

// As it is kept: an image has the examples of its own front.
template <UINTN count> constexpr CommandTable<count> kept(CommandTable<count> table) {
  for (Command &row : table.rows) {
    row.hostExamples = hasHostTexts ? row.hostExamples : nullptr;
  }
  return table;
}

// --- Checks ---

constexpr bool isWritten(const CHAR8 *text) {
  return text != nullptr && *text != 0;
}

// Whether a row says all that help and parser want of it on that front.
constexpr bool isWhole(const Command &row, Fronts front) {
  return isWritten(row.name) && isWritten(row.summary) && isWritten(row.description) &&
         isWritten(front == frontHost ? row.hostExamples : row.shellExamples) && row.operandsMin <= row.operandsMax &&
         isWritten(row.operands) == (row.operandsMax != 0);
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

template <UINTN count> constexpr bool areWhole(const CommandTable<count> &table, Fronts front) {
  for (const Command &row : table.rows) {
    if (!isWhole(row, front)) {
      return false;
    }
  }
  return true;
}

template <UINTN count> constexpr bool areDistinct(const CommandTable<count> &table) {
  for (UINTN i = 0; i < count; ++i) {
    for (UINTN j = 0; j < count; ++j) {
      if (i != j && covers(table.rows[i].name, table.rows[j].name)) {
        return false;
      }
    }
  }
  return true;
}

} // namespace xyl::client
