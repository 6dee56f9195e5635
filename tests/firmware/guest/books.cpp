#include "books.h"
#include "base/pool.h"

// A table with linear probing; capacity is a power of two, well above what any job holds at once.
static constexpr UINTN BLOCK_CAPACITY = 1U << 17;
static constexpr UINTN BLOCK_LIMIT = BLOCK_CAPACITY / 4 * 3;
static constexpr UINTN RANGE_CAPACITY = 128;

typedef struct BLOCK {
  void *memory; // null: free
  UINT32 size;
  UINT32 owner;
} BLOCK;

typedef struct CODE_RANGE {
  UINT64 base;
  UINT64 size;
  UINT32 owner;
} CODE_RANGE;

static BLOCK *g_blocks;
static UINTN g_blockCount;
static bool g_overflowed;
static CODE_RANGE g_ranges[RANGE_CAPACITY];
static UINTN g_rangeCount;
static UINT64 g_allocations[BOOKS_OWNERS];
static EFI_BOOT_SERVICES g_saved;

// Images come and go at the same addresses, so the latest range decides.
static UINT32 ownerOf(const void *code) {
  auto address = reinterpret_cast<UINT64>(code);
  for (UINTN i = g_rangeCount; i > 0; --i) {
    const CODE_RANGE &range = g_ranges[i - 1];
    if (address - range.base < range.size) {
      return range.owner;
    }
  }
  return BOOKS_OTHERS;
}

static UINTN homeOf(const void *memory) {
  return (reinterpret_cast<UINT64>(memory) >> 3) * 0x9E3779B97F4A7C15ULL >> 47 & (BLOCK_CAPACITY - 1);
}

static UINTN nextSlot(UINTN slot) {
  return (slot + 1) & (BLOCK_CAPACITY - 1);
}

static UINTN slotOf(const void *memory) {
  UINTN slot = homeOf(memory);
  while (g_blocks[slot].memory != nullptr && g_blocks[slot].memory != memory) {
    slot = nextSlot(slot);
  }
  return slot;
}

// Timer callbacks allocate too, so the table changes only while they are held off.
static void enter(void *memory, UINT64 size, const void *code) {
  if (memory == nullptr) {
    return;
  }
  EFI_TPL tpl = g_saved.RaiseTPL(TPL_HIGH_LEVEL);
  UINT32 owner = ownerOf(code);
  g_allocations[owner] += 1;
  UINTN slot = slotOf(memory);
  if (g_blocks[slot].memory == nullptr) {
    g_blockCount += 1;
  }
  if (g_blockCount > BLOCK_LIMIT) {
    g_blockCount -= 1;
    g_overflowed = true;
  } else {
    g_blocks[slot] = {memory, static_cast<UINT32>(size), owner};
  }
  g_saved.RestoreTPL(tpl);
}

// Blocks from before the books, and those of the firmware itself, are not in the table.
static void strike(void *memory) {
  EFI_TPL tpl = g_saved.RaiseTPL(TPL_HIGH_LEVEL);
  UINTN hole = slotOf(memory);
  if (memory != nullptr && g_blocks[hole].memory == memory) {
    g_blockCount -= 1;
    for (UINTN slot = nextSlot(hole); g_blocks[slot].memory != nullptr; slot = nextSlot(slot)) {
      UINTN distance = (slot - homeOf(g_blocks[slot].memory)) & (BLOCK_CAPACITY - 1);
      if (distance >= ((slot - hole) & (BLOCK_CAPACITY - 1))) {
        g_blocks[hole] = g_blocks[slot];
        hole = slot;
      }
    }
    g_blocks[hole].memory = nullptr;
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

static EFI_STATUS EFIAPI bookedOpenProtocolInformation(EFI_HANDLE handle, const EFI_GUID *protocol,
                                                       EFI_OPEN_PROTOCOL_INFORMATION_ENTRY **entries, UINTN *count) {
  EFI_STATUS status = g_saved.OpenProtocolInformation(handle, protocol, entries, count);
  if (!EFI_ERROR(status)) {
    enter(*entries, *count * sizeof(**entries), __builtin_return_address(0));
  }
  return status;
}

static EFI_STATUS EFIAPI bookedProtocolsPerHandle(EFI_HANDLE handle, EFI_GUID ***protocols, UINTN *count) {
  EFI_STATUS status = g_saved.ProtocolsPerHandle(handle, protocols, count);
  if (!EFI_ERROR(status)) {
    enter(*protocols, *count * sizeof(EFI_GUID *), __builtin_return_address(0));
  }
  return status;
}

EFI_STATUS booksOpen() {
  g_blocks = poolNew<BLOCK>(BLOCK_CAPACITY);
  if (g_blocks == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  g_blockCount = 0;
  g_overflowed = false;
  g_rangeCount = 0;
  zeroBytes(g_allocations, sizeof(g_allocations));
  g_saved = *g_bootServices;
  g_bootServices->AllocatePool = bookedAllocatePool;
  g_bootServices->FreePool = bookedFreePool;
  g_bootServices->LocateHandleBuffer = bookedLocateHandleBuffer;
  g_bootServices->OpenProtocolInformation = bookedOpenProtocolInformation;
  g_bootServices->ProtocolsPerHandle = bookedProtocolsPerHandle;
  return EFI_SUCCESS;
}

void booksClose() {
  *g_bootServices = g_saved;
  poolRelease(g_blocks);
}

void booksWatch(UINT32 owner, const void *base, UINT64 size) {
  if (g_blocks == nullptr) {
    return;
  }
  if (g_rangeCount == RANGE_CAPACITY) {
    g_overflowed = true;
    return;
  }
  g_ranges[g_rangeCount] = {reinterpret_cast<UINT64>(base), size, owner};
  g_rangeCount += 1;
}

BOOKS_BALANCE booksBalance(UINT32 owner) {
  BOOKS_BALANCE balance = {0, 0, g_allocations[owner]};
  for (UINTN i = 0; i < BLOCK_CAPACITY; ++i) {
    if (g_blocks[i].memory != nullptr && g_blocks[i].owner == owner) {
      balance.blocks += 1;
      balance.bytes += g_blocks[i].size;
    }
  }
  return balance;
}

bool booksOverflowed() {
  return g_overflowed;
}
