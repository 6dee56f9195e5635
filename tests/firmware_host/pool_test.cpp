// The pool's books: what they notice and what they count.

#include <gtest/gtest.h>

#include <cstring>

#include "platform/firmware/firmware.h"

static void *allocate(Firmware &firmware, UINTN size, int type = EfiBootServicesData) {
  void *memory = nullptr;
  return EFI_ERROR(firmware.bootServices()->AllocatePool(type, size, &memory)) ? nullptr : memory;
}

// A stray write: AddressSanitizer would stop it before the books see it.
__attribute__((no_sanitize("address", "undefined"), noinline)) static void stray(void *memory, int offset) {
  static_cast<volatile char *>(memory)[offset] = 'x';
}

struct MISUSE {
  const char *name;
  void (*act)(Firmware &firmware, char *block); // of 20 bytes
  const char *complaint;                        // null: none
};

static void churn(Firmware &firmware, int blocks) {
  for (int i = 0; i < blocks; ++i) {
    firmware.bootServices()->FreePool(allocate(firmware, 100));
  }
}

static const MISUSE g_misuses[] = {
    {"proper use", [](Firmware &firmware, char *block) { firmware.bootServices()->FreePool(block); }, nullptr},
    {"up to the last byte", [](Firmware &, char *block) { std::memset(block, 0, 20); }, nullptr},
    {"one byte behind, live", [](Firmware &, char *block) { stray(block, 20); }, "outside of its bounds"},
    {"one byte before, freed",
     [](Firmware &firmware, char *block) {
       stray(block, -1);
       firmware.bootServices()->FreePool(block);
     },
     "outside of its bounds"},
    {"write after free",
     [](Firmware &firmware, char *block) {
       firmware.bootServices()->FreePool(block);
       stray(block, 19);
     },
     "after it was freed"},
    {"write after free, long ago",
     [](Firmware &firmware, char *block) {
       firmware.bootServices()->FreePool(block);
       stray(block, 0);
       churn(firmware, 20000);
     },
     "after it was freed"},
    {"second free",
     [](Firmware &firmware, char *block) {
       firmware.bootServices()->FreePool(block);
       EXPECT_EQ(firmware.bootServices()->FreePool(block), EFI_INVALID_PARAMETER);
     },
     "freed twice"},
    {"free inside a block",
     [](Firmware &firmware, char *block) {
       EXPECT_EQ(firmware.bootServices()->FreePool(block + 8), EFI_INVALID_PARAMETER);
     },
     "not an allocation"},
    {"null free",
     [](Firmware &firmware, char *) { EXPECT_EQ(firmware.bootServices()->FreePool(nullptr), EFI_INVALID_PARAMETER); },
     nullptr},
    {"runtime memory", [](Firmware &firmware, char *) { EXPECT_NE(allocate(firmware, 8, 6), nullptr); }, "type 6"},
};

TEST(Pool, NoticesMisuseOnce) {
  for (const MISUSE &misuse : g_misuses) {
    SCOPED_TRACE(misuse.name);
    Firmware firmware;
    misuse.act(firmware, static_cast<char *>(allocate(firmware, 20)));
    firmware.complaints();
    std::vector<std::string> complaints = firmware.takeComplaints();
    ASSERT_EQ(complaints.size(), misuse.complaint == nullptr ? 0u : 1u);
    if (misuse.complaint != nullptr) {
      EXPECT_NE(complaints[0].find(misuse.complaint), std::string::npos) << complaints[0];
    }
    EXPECT_TRUE(firmware.complaints().empty());
  }
}

TEST(Pool, FreshMemoryIsFilledAndAlignedToEightOnly) {
  Firmware firmware;
  for (UINTN size : {0, 1, 7, 8, 512}) {
    auto *memory = static_cast<uint8_t *>(allocate(firmware, size));
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(memory) % 16, 8u);
    for (UINTN i = 0; i < size; ++i) {
      ASSERT_EQ(memory[i], 0xA5);
    }
  }
  EXPECT_EQ(allocate(firmware, ~0ULL), nullptr);
  EXPECT_EQ(allocate(firmware, ~0ULL - 8), nullptr);
}

TEST(Pool, CountsAndFailsAllocations) {
  struct {
    const char *name;
    uint64_t nth;
    FAIL_MODE mode;
    const char *wanted; // of five allocations: + granted, - refused
  } rows[] = {
      {"off", 0, FAIL_MODE::once, "+++++"},
      {"the next", 1, FAIL_MODE::once, "-++++"},
      {"the third", 3, FAIL_MODE::once, "++-++"},
      {"from the third on", 3, FAIL_MODE::fromThenOn, "++---"},
      {"not reached", 6, FAIL_MODE::fromThenOn, "+++++"},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.name);
    Firmware firmware;
    firmware.failAllocation(row.nth, row.mode);
    std::string seen;
    for (int i = 0; i < 5; ++i) {
      EXPECT_TRUE(firmware.allocated(firmware.poolText("not counted")));
      seen += allocate(firmware, 10) != nullptr ? '+' : '-';
    }
    firmware.failAllocation(0);
    EXPECT_EQ(seen, row.wanted);
    EXPECT_EQ(firmware.allocationFailed(), seen.find('-') != std::string::npos);
    EXPECT_EQ(firmware.pool().totalAllocations, 5u);
    EXPECT_NE(allocate(firmware, 10), nullptr);
  }
}

TEST(Pool, BooksFollowEveryBlock) {
  Firmware firmware;
  std::string seen;
  firmware.onFree([&](const void *memory, uint64_t size) { seen.assign(static_cast<const char *>(memory), size); });
  char *text = firmware.poolText("secret");
  void *block = allocate(firmware, 100);
  EXPECT_EQ(firmware.pool().liveAllocations, 2u);
  EXPECT_EQ(firmware.pool().liveBytes, 107u);
  EXPECT_EQ(firmware.bootServices()->FreePool(text), EFI_SUCCESS);
  EXPECT_EQ(seen, std::string("secret", 7));
  EXPECT_FALSE(firmware.allocated(text));
  EXPECT_EQ(firmware.bootServices()->FreePool(block), EFI_SUCCESS);
  EXPECT_EQ(firmware.pool().liveAllocations, 0u);
  EXPECT_EQ(firmware.pool().liveBytes, 0u);
  EXPECT_EQ(firmware.pool().peakBytes, 107u);
}
