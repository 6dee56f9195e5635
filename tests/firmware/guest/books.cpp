#include "books.h"
#include "base/pool.h"

static constexpr UINTN BLOCK_CAPACITY = 1U << 15;
static constexpr UINTN RANGE_CAPACITY = 128;

typedef struct BLOCK {
  void *memory;
  UINT64 size;
  UINT32 owner;
} BLOCK;

typedef struct CODE_RANGE {
  UINT64 base;
  UINT64 size;
  UINT32 owner;
} CODE_RANGE;

static BLOCK g_blocks[BLOCK_CAPACITY];
static UINTN g_blockCount;
static CODE_RANGE g_ranges[RANGE_CAPACITY];
static UINTN g_rangeCount;
static UINT64 g_allocations[BOOKS_OWNERS];
static bool g_open;
static bool g_overflowed;
static EFI_BOOT_SERVICES g_saved;

// Images come and go at the same addresses, so the latest range decides.
static const CODE_RANGE *rangeOf(const void *code) {
  auto address = reinterpret_cast<UINT64>(code);
  for (UINTN i = g_rangeCount; i > 0; --i) {
    if (address - g_ranges[i - 1].base < g_ranges[i - 1].size) {
      return &g_ranges[i - 1];
    }
  }
  return nullptr;
}

static void enter(void *memory, UINT64 size, const void *code) {
  const CODE_RANGE *range = rangeOf(code);
  if (range == nullptr) {
    return;
  }
  // Timer callbacks allocate and release too, so the books change only while they are held off.
  EFI_TPL tpl = g_saved.RaiseTPL(TPL_HIGH_LEVEL);
  g_allocations[range->owner] += 1;
  if (g_blockCount < BLOCK_CAPACITY) {
    g_blocks[g_blockCount++] = {memory, size, range->owner};
  } else {
    g_overflowed = true;
  }
  g_saved.RestoreTPL(tpl);
}

// What is released was mostly allocated last.
static void strike(const void *memory) {
  EFI_TPL tpl = g_saved.RaiseTPL(TPL_HIGH_LEVEL);
  for (UINTN i = g_blockCount; i > 0; --i) {
    if (g_blocks[i - 1].memory == memory) {
      g_blocks[i - 1] = g_blocks[--g_blockCount];
      break;
    }
  }
  g_saved.RestoreTPL(tpl);
}

static EFI_STATUS EFIAPI bookedAllocatePool(int type, UINTN size, void **buffer) {
  EFI_STATUS status = g_saved.AllocatePool(type, size, buffer);
  if (!EFI_ERROR(status)) {
    enter(*buffer, size, __builtin_return_address(0));
  }
  return status;
}

static EFI_STATUS EFIAPI bookedFreePool(void *buffer) {
  strike(buffer);
  return g_saved.FreePool(buffer);
}

static EFI_STATUS EFIAPI bookedLocateHandleBuffer(int search, const EFI_GUID *protocol, void *key, UINTN *count,
                                                  EFI_HANDLE **handles) {
  EFI_STATUS status = g_saved.LocateHandleBuffer(search, protocol, key, count, handles);
  if (!EFI_ERROR(status)) {
    enter(*handles, *count * sizeof(EFI_HANDLE), __builtin_return_address(0));
  }
  return status;
}

void booksOpen() {
  g_blockCount = 0;
  g_rangeCount = 0;
  g_overflowed = false;
  g_open = true;
  zeroBytes(g_allocations, sizeof(g_allocations));
  g_saved = *g_bootServices;
  g_bootServices->AllocatePool = bookedAllocatePool;
  g_bootServices->FreePool = bookedFreePool;
  g_bootServices->LocateHandleBuffer = bookedLocateHandleBuffer;
}

void booksClose() {
  *g_bootServices = g_saved;
  g_open = false;
}

void booksWatch(UINT32 owner, const void *base, UINT64 size) {
  if (g_open && g_rangeCount < RANGE_CAPACITY) {
    g_ranges[g_rangeCount++] = {reinterpret_cast<UINT64>(base), size, owner};
  } else {
    g_overflowed = g_open;
  }
}

BOOKS_BALANCE booksBalance(UINT32 owner) {
  BOOKS_BALANCE balance = {0, 0, g_allocations[owner]};
  for (UINTN i = 0; i < g_blockCount; ++i) {
    balance.blocks += g_blocks[i].owner == owner ? 1 : 0;
    balance.bytes += g_blocks[i].owner == owner ? g_blocks[i].size : 0;
  }
  return balance;
}

bool booksOverflowed() {
  return g_overflowed;
}
