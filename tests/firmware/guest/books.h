// Books of the firmware's pool: while they are open, the boot services' table leads every allocation and release
// through here, and each block is entered under the image whose code asked for it. Buffers that the firmware allocates
// for its caller (handle, open-protocol and protocol lists) count as the caller's. What the firmware's core allocates
// for itself never passes the table and is not seen.
#pragma once

#include "uefi/tables.h"

// Owner of blocks that none of the watched images asked for.
#define BOOKS_OTHERS 0U
#define BOOKS_OWNERS 8U

typedef struct BOOKS_BALANCE {
  UINT64 blocks; // not yet released
  UINT64 bytes;
  UINT64 allocations; // since the books were opened
} BOOKS_BALANCE;

// Takes the table over. EFI_OUT_OF_RESOURCES when there is no memory for the books.
EFI_STATUS booksOpen();

// Gives the table back as it was and drops the entries.
void booksClose();

// Code in [base, base + size) now belongs to owner, 1 to BOOKS_OWNERS - 1.
void booksWatch(UINT32 owner, const void *base, UINT64 size);

BOOKS_BALANCE booksBalance(UINT32 owner);

// Whether entries were lost because the books were full.
bool booksOverflowed();
