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

namespace xyl::host {

// For fuzzers, where AddressSanitizer ends the process at the first wrong access: guards and freed memory are poisoned
// as ever, but not filled to be compared later, and what leaves the quarantine is kept for others of its size.
#if defined(POOL_ASAN) && defined(FUZZ_ENGINE)
static constexpr bool trusting = true;
#else
static constexpr bool trusting = false;
#endif

static constexpr uint8_t fresh = 0xA5;
static constexpr uint8_t freed = 0xDF;
static constexpr uint8_t guard = 0xFD;
// Firmware aligns to 8 only, so the front guard is an odd number of eights behind what malloc aligns to 16.
static constexpr UINTN frontSize = 24;
static constexpr UINTN back = 16;
// No pool of real firmware has room for more.
static constexpr UINTN largest = 1ULL << 30;
static constexpr size_t quarantineBlocks = 1024;
static constexpr UINTN quarantineBytes = 1U << 20;

static bool allBytes(const uint8_t *bytes, UINTN count, uint8_t value) {
  return count == 0 || (bytes[0] == value && std::memcmp(bytes, bytes + 1, count - 1) == 0);
}

static void forbidAround(const PoolBlock &block) {
  forbid(block.raw, block.front);
  forbid(block.memory + block.size, back);
}

static UINTN wholeSize(const PoolBlock &block) {
  return block.front + block.size + back;
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
struct Shelf {
  unsigned number;
  UINTN room; // for the largest of them
};

static Shelf shelfOf(UINTN size) {
  constexpr UINTN grain = 32, grainsBelow = 8;
  if (size <= grain * grainsBelow) {
    unsigned steps = size == 0 ? 1 : static_cast<unsigned>((size + grain - 1) / grain);
    return {steps, steps * grain};
  }
  unsigned shift = static_cast<unsigned>(std::bit_width(size - 1)) - 3;
  UINTN quarters = (size + (UINTN{1} << shift) - 1) >> shift;
  return {shift * 8 + static_cast<unsigned>(quarters), quarters << shift};
}

// A new block, its guards in place.
PoolBlock *Pool::makeBlock(UINTN size, UINTN alignment) {
  UINTN front = alignment == 0 ? frontSize : alignment;
  UINTN room = trusting && alignment == 0 ? shelfOf(size).room : 0;
  UINTN whole = (front + size + back + front - 1) / front * front; // as aligned_alloc wants it
  void *memory =
      alignment == 0 ? std::malloc(front + std::max(room, size) + back) : std::aligned_alloc(alignment, whole);
  auto *raw = static_cast<uint8_t *>(memory);
  if (raw == nullptr) {
    return nullptr;
  }
  PoolBlock block = {raw, raw + front, size, front, room, /* live= */ true, /* reported= */ false};
  std::memset(raw, guard, front);
  std::memset(block.memory + size, guard, back);
  forbidAround(block);
  if (room > size) {
    forbid(block.memory + size, room - size + back);
  }
  return &blocks_.emplace(block.memory, block).first->second;
}

// Null without one.
PoolBlock *Pool::takeFromShelf(UINTN size) {
  std::vector<PoolBlock *> &shelf = shelves_[shelfOf(size).number];
  if (shelf.empty()) {
    return nullptr;
  }
  PoolBlock *block = shelf.back();
  shelf.pop_back();
  block->size = size;
  block->live = true;
  permit(block->memory, size);
  return block;
}

void *Pool::take(UINTN size, UINTN alignment) {
  if (size > largest) {
    return nullptr;
  }
  PoolBlock *block = trusting && alignment == 0 ? takeFromShelf(size) : nullptr;
  block = block == nullptr ? makeBlock(size, alignment) : block;
  if (block == nullptr) {
    return nullptr;
  }
  std::memset(block->memory, fresh, size);
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
  PoolBlock &block = found->second;
  if (pages != (block.front != frontSize) || (pages && size != block.size)) {
    complain("freed as what it is not", buffer, block.size);
    return EFI_INVALID_PARAMETER;
  }
  if (!trusting) {
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

void Pool::failFrom(uint64_t nth, FailMode mode, uint64_t again) {
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
  if (failMode_ == FailMode::once) {
    failIn_ = failAgainIn_;
    failAgainIn_ = 0;
  }
  failed = true;
  ++books.failedAllocations;
  return true;
}

void Pool::audit() {
  if (trusting) {
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
void Pool::check(PoolBlock &block) {
  permit(block.raw, block.front);
  permit(block.memory + block.size, back);
  bool whole = false;
  if (block.live) {
    whole = allBytes(block.raw, block.front, guard) && allBytes(block.memory + block.size, back, guard);
  } else {
    permit(block.memory, block.size);
    whole = allBytes(block.raw, wholeSize(block), freed);
  }
  if (!whole && !block.reported) {
    block.reported = true;
    complain(block.live ? "written outside of its bounds" : "written after it was freed", block.memory, block.size);
  }
}

// A block that has been checked.
void Pool::quarantine(PoolBlock &block) {
  block.live = false;
  block.reported = false;
  if (!trusting) {
    std::memset(block.raw, freed, wholeSize(block));
    forbid(block.raw, wholeSize(block));
  } else {
    forbid(block.memory, block.size);
  }
  freed_.push_back(&block);
  freedBytes_ += block.size;
  while (freed_.size() > quarantineBlocks || freedBytes_ > quarantineBytes) {
    dropOldest();
  }
}

void Pool::dropOldest() {
  PoolBlock &block = *freed_.front();
  freed_.pop_front();
  freedBytes_ -= block.size;
  if (trusting && block.room != 0) {
    shelves_[shelfOf(block.size).number].push_back(&block);
    return;
  }
  if (!trusting) {
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

} // namespace xyl::host
