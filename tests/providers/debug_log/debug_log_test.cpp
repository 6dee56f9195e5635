// The log provider: what it keeps, how a line looks, levels, console and load options.

#include <gtest/gtest.h>

#include "debug_log.h"
#include "debug_log_ring.h"
#include "host/firmware/firmware.h"
#include "providers/debug_log/debug_log_provider.h"

using namespace xyl;

static const EFI_GUID g_logGuid = DEBUG_LOG_PROTOCOL_GUID;
static const EFI_GUID g_ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;

class DebugLog : public testing::Test {
protected:
  DebugLog() { load(); }
  ~DebugLog() override {
    EXPECT_EQ(firmware.unloadImage(image), EFI_SUCCESS);
    EXPECT_EQ(firmware.pool().liveAllocations, 0u);
    EXPECT_EQ(firmware.complaints(), std::vector<std::string>{});
  }

  void load(const std::u16string &options = {}) {
    EXPECT_EQ(firmware.loadImage(debug_log::DebugLogEntry, &image, options), EFI_SUCCESS);
    services->LocateProtocol(&g_logGuid, nullptr, reinterpret_cast<void **>(&log));
    services->HandleProtocol(image, &g_ringGuid, reinterpret_cast<void **>(&ring));
  }

  std::string text() {
    char *kept = nullptr;
    if (ring->GetText(ring, &kept) == EFI_OUT_OF_RESOURCES) {
      return "Out of Resources";
    }
    std::string result = kept;
    services->FreePool(kept);
    return result;
  }

  host::Firmware firmware;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  EFI_HANDLE image = nullptr;
  DEBUG_LOG_PROTOCOL *log = nullptr;
  DEBUG_LOG_RING_PROTOCOL *ring = nullptr;
};

TEST_F(DebugLog, LevelsAndLoadOptions) {
  struct {
    const char16_t *options;
    INT32 level; // as callers compare it
    const char *kept;
    bool console;
  } rows[] = {
      {u"warn", LOG_WARN, "WARN f: 2\nERROR f: 3\n", false},
      {u"fs0:\\DebugLog.efi  error console ", INT32_MAX, "ERROR f: 3\n", true},
      {u"warning erro consolex", LOG_TRACE, "TRACE f: 1\nWARN f: 2\nERROR f: 3\n", false},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(row.options)));
    EXPECT_EQ(firmware.unloadImage(image), EFI_SUCCESS);
    load(row.options);
    EXPECT_EQ(log->GetLevel(), row.level);
    for (UINT32 mask : {LOG_TRACE, LOG_WARN, LOG_ERROR}) {
      log->LogPrint(mask, "f", u"%u", mask == LOG_TRACE ? 1 : mask == LOG_WARN ? 2 : 3);
    }
    EXPECT_EQ(text(), row.kept);
    EXPECT_EQ(firmware.takeConsole(), row.console ? text() : "");
  }
}

TEST_F(DebugLog, SwitchesOfTheRing) {
  EXPECT_EQ(ring->SetLevel(ring, LOG_ERROR), EFI_SUCCESS);
  EXPECT_EQ(ring->SetLevel(ring, 5), EFI_INVALID_PARAMETER);
  ring->SetConsole(ring, 1);
  log->LogPrint(LOG_WARN, "f", u"dropped");
  log->LogPrint(LOG_ERROR, "f", u"shown");
  firmware.setConsolePresent(false);
  log->LogPrint(LOG_ERROR, "f", u"no console");
  firmware.setConsolePresent(true);
  EXPECT_EQ(firmware.takeConsole(), "ERROR f: shown\n");
  firmware.failAllocation(1);
  EXPECT_EQ(text(), "Out of Resources");
}
