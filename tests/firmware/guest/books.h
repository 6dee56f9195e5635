// Books of the firmware's pool: while they are open, the boot services' table leads every allocation and release
// through here, and each block is entered under the image whose code asked for it. Handle lists that the firmware
// allocates for its caller count as the caller's. What nobody watched asked for is not entered.
#pragma once

#include "uefi/tables.h"

#define BOOKS_OWNERS 8U

typedef struct BOOKS_BALANCE {
  UINT64 blocks; // not yet released
  UINT64 bytes;
  UINT64 allocations; // since the books were opened
} BOOKS_BALANCE;

// Takes the table over.
void booksOpen();

// Gives the table back as it was and drops the entries.
void booksClose();

// Code in [base, base + size) now belongs to owner, below BOOKS_OWNERS. Nothing happens while the books are closed.
void booksWatch(UINT32 owner, const void *base, UINT64 size);

BOOKS_BALANCE booksBalance(UINT32 owner);

// Whether entries were lost because the books were full.
bool booksOverflowed();
