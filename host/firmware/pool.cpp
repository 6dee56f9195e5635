// Pool allocations between guard bytes, with fresh and freed memory filled so that misuse shows.

#include "host/firmware/pool.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>

#if defined(__SANITIZE_ADDRESS__)
#define POOL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define POOL_ASAN 1
#endif
#endif

#ifdef POOL_ASAN
#include <sanitizer/asan_interface.h>
static void forbid(const void *memory, size_t size) {
  __asan_poison_memory_region(memory, size);
}
static void permit(const void *memory, size_t size) {
  __asan_unpoison_memory_region(memory, size);
}
static void forget(const void *, size_t) {}
#elif defined(RAIDXYL_MEMCHECK)
#include <valgrind/memcheck.h>
static void forbid(const void *memory, size_t size) {
  VALGRIND_MAKE_MEM_NOACCESS(memory, size);
}
static void permit(const void *memory, size_t size) {
  VALGRIND_MAKE_MEM_DEFINED(memory, size);
}
// What is there counts as never written.
static void forget(const void *memory, size_t size) {
  VALGRIND_MAKE_MEM_UNDEFINED(memory, size);
}
#else
static void forbid(const void *, size_t) {}
static void permit(const void *, size_t) {}
static void forget(const void *, size_t) {}
#endif

// For fuzzers, where AddressSanitizer ends the process at the first wrong access: guards and freed memory are poisoned
// as ever, but not filled to be compared later, and what leaves the quarantine is kept for others of its size.
#if defined(POOL_ASAN) && defined(FUZZ_ENGINE)
static constexpr bool TRUSTING = true;
#else
static constexpr bool TRUSTING = false;
#endif

static constexpr uint8_t FRESH = 0xA5;
static constexpr uint8_t FREED = 0xDF;
static constexpr uint8_t GUARD = 0xFD;
// Firmware aligns to 8 only, so the front guard is an odd number of eights behind what malloc aligns to 16.
static constexpr UINTN FRONT = 24;
static constexpr UINTN BACK = 16;
// No pool of real firmware has room for more.
static constexpr UINTN LARGEST = 1ULL << 30;
static constexpr size_t QUARANTINE_BLOCKS = 1024;
static constexpr UINTN QUARANTINE_BYTES = 1U << 20;

static bool allBytes(const uint8_t *bytes, UINTN count, uint8_t value) {
  return count == 0 || (bytes[0] == value && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

static void forbidAround(const POOL_BLOCK &block) {
  forbid(block.raw, block.front);
  forbid(block.memory + block.size, BACK);
}

static UINTN wholeSize(const POOL_BLOCK &block) {
  return block.front + block.size + BACK;
}

Pool::~Pool() {
  for (auto &[memory, block] : blocks_) {
    permit(block.raw, wholeSize(block));
    std::free(block.raw);
  }
}

EFI_STATUS Pool::allocate(int memoryType, UINTN size, void **buffer, UINTN alignment) {
  if (buffer == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  ++books.totalAllocations;
  if (memoryType != EfiBootServicesData) {
    complaints_.push_back("pool: allocation of memory type " + std::to_string(memoryType));
  }
  void *memory = failsNow() ? nullptr : take(size, alignment);
  if (memory == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  *buffer = memory;
  return EFI_SUCCESS;
}

// Sizes that share their memory: steps of 32 bytes at first, then four to each doubling.
struct SHELF {
  unsigned number;
  UINTN room; // for the largest of them
};

static SHELF shelfOf(UINTN size) {
  constexpr UINTN STEP = 32, STEPS = 8;
  if (size <= STEP * STEPS) {
    unsigned steps = size == 0 ? 1 : static_cast<unsigned>((size + STEP - 1) / STEP);
    return {steps, steps * STEP};
  }
  unsigned shift = static_cast<unsigned>(std::bit_width(size - 1)) - 3;
  UINTN quarters = (size + (UINTN{1} << shift) - 1) >> shift;
  return {shift * 8 + static_cast<unsigned>(quarters), quarters << shift};
}

// A new block, its guards in place.
POOL_BLOCK *Pool::makeBlock(UINTN size, UINTN alignment) {
  UINTN front = alignment == 0 ? FRONT : alignment;
  UINTN room = TRUSTING && alignment == 0 ? shelfOf(size).room : 0;
  UINTN whole = (front + size + BACK + front - 1) / front * front; // as aligned_alloc wants it
  void *memory =
      alignment == 0 ? std::malloc(front + std::max(room, size) + BACK) : std::aligned_alloc(alignment, whole);
  auto *raw = static_cast<uint8_t *>(memory);
  if (raw == nullptr) {
    return nullptr;
  }
  POOL_BLOCK block = {raw, raw + front, size, front, room, /* live= */ true, /* reported= */ false};
  std::memset(raw, GUARD, front);
  std::memset(block.memory + size, GUARD, BACK);
  forbidAround(block);
  if (room > size) {
    forbid(block.memory + size, room - size + BACK);
  }
  return &blocks_.emplace(block.memory, block).first->second;
}

// Null without one.
POOL_BLOCK *Pool::takeFromShelf(UINTN size) {
  std::vector<POOL_BLOCK *> &shelf = shelves_[shelfOf(size).number];
  if (shelf.empty()) {
    return nullptr;
  }
  POOL_BLOCK *block = shelf.back();
  shelf.pop_back();
  block->size = size;
  block->live = true;
  permit(block->memory, size);
  return block;
}

void *Pool::take(UINTN size, UINTN alignment) {
  if (size > LARGEST) {
    return nullptr;
  }
  POOL_BLOCK *block = TRUSTING && alignment == 0 ? takeFromShelf(size) : nullptr;
  block = block == nullptr ? makeBlock(size, alignment) : block;
  if (block == nullptr) {
    return nullptr;
  }
  std::memset(block->memory, FRESH, size);
  forget(block->memory, size);
  ++books.liveAllocations;
  books.liveBytes += size;
  books.totalBytes += size;
  books.peakBytes = books.liveBytes > books.peakBytes ? books.liveBytes : books.peakBytes;
  return block->memory;
}

EFI_STATUS Pool::free(void *buffer) {
  return giveBack(buffer, /* pages= */ false, 0);
}

EFI_STATUS Pool::freePages(void *buffer, UINTN size) {
  return giveBack(buffer, /* pages= */ true, size);
}

EFI_STATUS Pool::giveBack(void *buffer, bool pages, UINTN size) {
  if (buffer == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  auto found = blocks_.find(buffer);
  if (found == blocks_.end() || !found->second.live) {
    bool twice = found != blocks_.end();
    complain(twice ? "freed twice" : "not an allocation", buffer, twice ? found->second.size : 0);
    return EFI_INVALID_PARAMETER;
  }
  POOL_BLOCK &block = found->second;
  if (pages != (block.front != FRONT) || (pages && size != block.size)) {
    complain("freed as what it is not", buffer, block.size);
    return EFI_INVALID_PARAMETER;
  }
  if (!TRUSTING) {
    check(block);
  }
  if (observer) {
    permit(block.memory, block.size);
    observer(block.memory, block.size);
  }
  --books.liveAllocations;
  books.liveBytes -= block.size;
  quarantine(block);
  return EFI_SUCCESS;
}

void Pool::failFrom(uint64_t nth, FAIL_MODE mode, uint64_t again) {
  failIn_ = nth;
  failAgainIn_ = again;
  failMode_ = mode;
  failed = failed && nth == 0;
}

bool Pool::failsNow() {
  if (failIn_ == 0) {
    return false;
  }
  if (failIn_ > 1) {
    --failIn_;
    return false;
  }
  if (failMode_ == FAIL_MODE::once) {
    failIn_ = failAgainIn_;
    failAgainIn_ = 0;
  }
  failed = true;
  ++books.failedAllocations;
  return true;
}

void Pool::audit() {
  if (TRUSTING) {
    return;
  }
  for (auto &[memory, block] : blocks_) {
    check(block);
    if (block.live) {
      forbidAround(block);
    } else {
      forbid(block.raw, wholeSize(block));
    }
  }
}

// Leaves the guards permitted, and all of a freed block.
void Pool::check(POOL_BLOCK &block) {
  permit(block.raw, block.front);
  permit(block.memory + block.size, BACK);
  bool whole = false;
  if (block.live) {
    whole = allBytes(block.raw, block.front, GUARD) && allBytes(block.memory + block.size, BACK, GUARD);
  } else {
    permit(block.memory, block.size);
    whole = allBytes(block.raw, wholeSize(block), FREED);
  }
  if (!whole && !block.reported) {
    block.reported = true;
    complain(block.live ? "written outside of its bounds" : "written after it was freed", block.memory, block.size);
  }
}

// A block that has been checked.
void Pool::quarantine(POOL_BLOCK &block) {
  block.live = false;
  block.reported = false;
  if (!TRUSTING) {
    std::memset(block.raw, FREED, wholeSize(block));
    forbid(block.raw, wholeSize(block));
  } else {
    forbid(block.memory, block.size);
  }
  freed_.push_back(&block);
  freedBytes_ += block.size;
  while (freed_.size() > QUARANTINE_BLOCKS || freedBytes_ > QUARANTINE_BYTES) {
    dropOldest();
  }
}

void Pool::dropOldest() {
  POOL_BLOCK &block = *freed_.front();
  freed_.pop_front();
  freedBytes_ -= block.size;
  if (TRUSTING && block.room != 0) {
    shelves_[shelfOf(block.size).number].push_back(&block);
    return;
  }
  if (!TRUSTING) {
    check(block);
  }
  std::free(block.raw);
  blocks_.erase(block.memory);
}

void Pool::complain(const char *what, const void *memory, UINTN size) {
  char line[96];
  std::snprintf(line, sizeof line, "pool: %p (%llu bytes) %s", memory, static_cast<unsigned long long>(size), what);
  complaints_.push_back(line);
}
