// The pool with its books.
#pragma once

#include <deque>
#include <memory_resource>
#include <unordered_map>

#include "host/firmware/firmware.h"

namespace xyl::host {

using Complaints = std::vector<std::string>;

// One allocation. The caller's bytes stand between two runs of guard bytes.
struct PoolBlock {
  uint8_t *raw;
  uint8_t *memory;
  UINTN size;
  UINTN front;   // guard bytes before the memory
  UINTN room;    // for the largest size that may get this memory, 0: no other one
  bool live;     // else freed, and kept from use for a while
  bool reported; // its damage has been complained about
};

class Pool {
public:
  explicit Pool(Complaints &complaints) : complaints_(complaints) {}
  ~Pool();
  Pool(const Pool &) = delete;
  Pool &operator=(const Pool &) = delete;

  // With an alignment these are pages, which freePages takes, and free does not.
  EFI_STATUS allocate(int memoryType, UINTN size, void **buffer, UINTN alignment = 0);
  // An allocation that is not counted as an attempt and never made to fail; null without memory.
  void *take(UINTN size, UINTN alignment = 0);
  bool holds(const void *memory) const {
    auto found = blocks_.find(memory);
    return found != blocks_.end() && found->second.live;
  }
  // EFI_INVALID_PARAMETER for what is not a live allocation.
  EFI_STATUS free(void *buffer);
  EFI_STATUS freePages(void *buffer, UINTN size);
  void failFrom(uint64_t nth, FailMode mode, uint64_t again = 0);
  // Complains about damaged guards and writes into freed memory that were not yet reported.
  void audit();

  PoolBooks books;
  bool failed = false;
  std::function<void(const void *, uint64_t)> observer;

private:
  bool failsNow();
  EFI_STATUS giveBack(void *buffer, bool pages, UINTN size);
  PoolBlock *makeBlock(UINTN size, UINTN alignment);
  PoolBlock *takeFromShelf(UINTN size);
  void check(PoolBlock &block);
  void quarantine(PoolBlock &block);
  void dropOldest();
  void complain(const char *what, const void *memory, UINTN size);

  Complaints &complaints_;
  std::pmr::unsynchronized_pool_resource nodes_;
  std::pmr::unordered_map<const void *, PoolBlock> blocks_{&nodes_};
  // Freed blocks stay poisoned for a while, so that late writes into them and second frees are noticed.
  std::deque<PoolBlock *> freed_;
  UINTN freedBytes_ = 0;
  // Of fuzzers, by the sizes that fit: blocks for use again, poisoned all over.
  std::vector<PoolBlock *> shelves_[256];
  uint64_t failIn_ = 0;      // 1: the next allocation fails; 0: none does
  uint64_t failAgainIn_ = 0; // what failIn_ becomes after a single failure
  FailMode failMode_ = FailMode::once;
};

} // namespace xyl::host
