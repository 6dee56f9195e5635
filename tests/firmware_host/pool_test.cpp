// The pool's books: what they notice and what they count.

#include <gtest/gtest.h>

#include "platform/firmware/firmware.h"

static void *allocate(Firmware &firmware, UINTN size, int type = EfiBootServicesData) {
  void *memory = nullptr;
  return EFI_ERROR(firmware.bootServices()->AllocatePool(type, size, &memory)) ? nullptr : memory;
}

// A stray write: AddressSanitizer would stop it before the books see it.
__attribute__((no_sanitize("address", "undefined"), noinline)) static void stray(void *memory, int offset) {
  static_cast<volatile char *>(memory)[offset] = 'x';
}

static const struct {
  const char *name;
  void (*act)(Firmware &firmware, char *block); // of 20 bytes
  const char *complaint;                        // null: none
} g_misuses[] = {
    {"proper use", [](Firmware &firmware, char *block) { firmware.bootServices()->FreePool(block); }, nullptr},
    {"one byte behind, live", [](Firmware &, char *block) { stray(block, 20); }, "outside of its bounds"},
    {"one byte before, freed",
     [](Firmware &firmware, char *block) {
       stray(block, -1);
       firmware.bootServices()->FreePool(block);
     },
     "outside of its bounds"},
    {"write long after free",
     [](Firmware &firmware, char *block) {
       firmware.bootServices()->FreePool(block);
       stray(block, 0);
       for (int i = 0; i < 20000; ++i) {
         firmware.bootServices()->FreePool(allocate(firmware, 100));
       }
     },
     "after it was freed"},
    {"second free",
     [](Firmware &firmware, char *block) {
       firmware.bootServices()->FreePool(block);
       EXPECT_EQ(firmware.bootServices()->FreePool(block), EFI_INVALID_PARAMETER);
     },
     "freed twice"},
    {"runtime memory", [](Firmware &firmware, char *) { EXPECT_NE(allocate(firmware, 8, 6), nullptr); }, "type 6"},
};

TEST(Pool, NoticesMisuseOnce) {
  for (const auto &misuse : g_misuses) {
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

TEST(Pool, CountsAndFailsAllocations) {
  struct {
    const char *name;
    uint64_t nth;
    FAIL_MODE mode;
    const char *wanted; // of five allocations: + granted, - refused
  } rows[] = {
      {"the third", 3, FAIL_MODE::once, "++-++"},
      {"from the third on", 3, FAIL_MODE::fromThenOn, "++---"},
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
  }
}

TEST(Pool, BooksFollowEveryBlock) {
  Firmware firmware;
  std::string seen;
  firmware.onFree([&](const void *memory, uint64_t size) { seen.assign(static_cast<const char *>(memory), size); });
  char *text = firmware.poolText("secret");
  auto *block = static_cast<uint8_t *>(allocate(firmware, 100));
  EXPECT_EQ(block[99], 0xA5) << "fresh memory is filled";
  EXPECT_EQ(firmware.pool().liveBytes, 107u);
  EXPECT_EQ(firmware.bootServices()->FreePool(text), EFI_SUCCESS);
  EXPECT_EQ(seen, std::string("secret", 7));
  EXPECT_FALSE(firmware.allocated(text));
  EXPECT_EQ(firmware.bootServices()->FreePool(block), EFI_SUCCESS);
  EXPECT_EQ(firmware.pool().liveAllocations, 0u);
  EXPECT_EQ(firmware.pool().peakBytes, 107u);
  EXPECT_EQ(allocate(firmware, ~0ULL - 8), nullptr);
}
