// Driver health over simulated controllers, with a database of texts that keeps what it is given.

#include <cstring>
#include <map>

#include "providers/health/health.h"
#include "providers/sim_controller/hand.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "tests/support/world.h"

using namespace xyl;

using Languages = std::map<std::string, std::vector<std::string>>; // Latin-1 texts by language, the first its name

static std::map<EFI_HII_HANDLE, Languages> g_database;
static std::map<EFI_HII_HANDLE, std::string> g_guids; // of their lists

// Reads a list of packages as the firmware does, byte for byte to its declared end.
static Languages readList(const uint8_t *list) {
  Languages languages;
  uint32_t size = 0;
  std::memcpy(&size, list + 16, sizeof size);
  for (uint32_t at = 20; at < size;) {
    uint32_t word = 0, offset = 0;
    std::memcpy(&word, list + at, sizeof word);
    std::memcpy(&offset, list + at + 8, sizeof offset);
    uint32_t length = word & 0xFFFFFF;
    uint32_t i = at + offset;
    for (; word >> 24 == 4 && list[i] == 0x14; i += 3) { // kind and NUL
      std::string text;
      for (char16_t unit = 0; std::memcpy(&unit, list + i + 1, 2), unit != 0; i += 2) {
        text += static_cast<char>(unit);
      }
      languages[reinterpret_cast<const char *>(list + at + 46)].push_back(text);
    }
    EXPECT_TRUE(word >> 24 != 4 || (list[i] == 0 && i + 1 == at + length));
    at += length;
    EXPECT_EQ(at == size, word >> 24 == 0xDF);
  }
  return languages;
}

static EFI_STATUS EFIAPI newList(EFI_HII_DATABASE_PROTOCOL *, const EFI_HII_PACKAGE_LIST_HEADER *list, EFI_HANDLE,
                                 EFI_HII_HANDLE *handle) {
  static uintptr_t last = 0;
  std::string guid(reinterpret_cast<const char *>(list), 16);
  for (const auto &[other, texts] : g_database) {
    if (g_guids[other] == guid) {
      return EFI_INVALID_PARAMETER; // as real firmware does, where one driver brings both
    }
  }
  *handle = reinterpret_cast<EFI_HII_HANDLE>(++last);
  g_guids[*handle] = guid;
  g_database[*handle] = readList(reinterpret_cast<const uint8_t *>(list));
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI removeList(EFI_HII_DATABASE_PROTOCOL *, EFI_HII_HANDLE handle) {
  return g_database.erase(handle) == 1 ? EFI_SUCCESS : EFI_NOT_FOUND;
}

class Health : public testing::Test {
protected:
  Health() { EXPECT_EQ(services->InstallProtocolInterface(&handle, &guid, 0, &database), EFI_SUCCESS); }
  ~Health() override {
    health::release();
    EXPECT_TRUE(g_database.empty());
    EXPECT_EQ(services->UninstallProtocolInterface(handle, &guid, &database), EFI_SUCCESS);
  }

  EFI_STATUS ask(EFI_HANDLE controller, EFI_HANDLE child = nullptr) {
    EFI_DRIVER_HEALTH_HII_MESSAGE *list = nullptr;
    messages.clear();
    EFI_STATUS status =
        health::g_driverHealth.GetHealthStatus(&health::g_driverHealth, controller, child, &health, &list, nullptr);
    for (auto *message = list; message != nullptr && message->HiiHandle != nullptr; message++) {
      messages.push_back(g_database.at(message->HiiHandle).at(language).at(message->StringId - 1U));
    }
    services->FreePool(list);
    return status;
  }

  World world{WorldOptions{.xmlService = false, .debugLog = false, .driver = false}};
  EFI_BOOT_SERVICES *services = world.services;
  EFI_GUID guid = EFI_HII_DATABASE_PROTOCOL_GUID;
  EFI_HII_DATABASE_PROTOCOL database = {newList, removeList, nullptr, {}};
  EFI_HANDLE handle = nullptr;
  EFI_DRIVER_HEALTH_STATUS health{};
  std::vector<std::string> messages;
  std::string language = "en-US";
};

TEST_F(Health, SaysWhatIsWrongUntilItIsForgotten) {
  sim::Controller *sim = world.sim;
  EXPECT_EQ(name(ask(nullptr)), name(EFI_SUCCESS));
  EXPECT_EQ(health, EfiDriverHealthStatusHealthy);
  uint64_t commands = sim::commandCount(sim);
  EXPECT_EQ(name(ask(world.controller)), name(EFI_SUCCESS));
  EXPECT_EQ(messages.size(), 0u);
  EXPECT_EQ(sim::commandCount(sim), commands); // kept

  uint32_t spares[] = {1018, 1019};
  ASSERT_EQ(sim::makeForeign(sim, RAID_LEVEL_1, spares, 2), EFI_SUCCESS);
  ASSERT_EQ(sim::failDisk(sim, 1001) | sim::pullDisk(sim, 1012), EFI_SUCCESS);
  ASSERT_EQ(sim::pullDisk(sim, 1016) | sim::pullDisk(sim, 1017), EFI_SUCCESS);
  ASSERT_EQ(sim::swapDisks(sim, 1003, 1006), EFI_SUCCESS); // ids out of order
  sim::findDisk(sim, 1020)->record.State = RAID_STATE_DEGRADED;
  sim::findVirtualDisk(sim, 5)->Name[0] = 0;
  EXPECT_EQ(name(ask(world.controller)), name(EFI_SUCCESS));
  EXPECT_EQ(health, EfiDriverHealthStatusHealthy);
  health::forget();
  EXPECT_EQ(name(ask(nullptr)), name(EFI_SUCCESS));
  EXPECT_EQ(health, EfiDriverHealthStatusFailed);
  EXPECT_EQ(name(ask(world.controller)), name(EFI_SUCCESS));
  EXPECT_EQ(messages, (std::vector<std::string>{
                          "Virtual disk System, RAID 1: Degraded", "Virtual disk Archive, RAID 10: Degraded",
                          "Virtual disk Archive, RAID 10: 1 of 4 disks missing", "Virtual disk 5, RAID 1: Offline",
                          "Virtual disk 5, RAID 1: 2 of 2 disks missing", "Physical Disk 0:0: Failed",
                          "Disk 1020: Degraded", "Foreign configuration on disks: 2"}));
  language = "de-DE";
  EXPECT_EQ(name(ask(world.controller)), name(EFI_SUCCESS));
  EXPECT_EQ(messages.at(0), "Virtuelles Laufwerk System, RAID 1: eingeschr\xE4nkt");
}

TEST_F(Health, AnswersBadQuestionsAndSilentControllers) {
  EXPECT_EQ(name(ask(world.controller, world.controller)), name(EFI_UNSUPPORTED));
  EXPECT_EQ(name(ask(handle)), name(EFI_UNSUPPORTED));
  EXPECT_EQ(name(ask(nullptr, world.controller)), name(EFI_SUCCESS));
  health::forget();
  ASSERT_TRUE(sim::failKind(world.sim, RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, EFI_DEVICE_ERROR));
  EXPECT_EQ(name(ask(world.controller)), name(EFI_SUCCESS));
  EXPECT_EQ(messages, std::vector<std::string>{"The controller does not answer: Device Error"});
  sim::Controller *others[3] = {}; // one that is well among ill ones
  EFI_HANDLE handles[3] = {};
  for (size_t i = 0; i < 3; ++i) {
    ASSERT_EQ(sim::create(i == 0 ? "empty" : "demo", &others[i]) | sim::install(others[i], &handles[i]), EFI_SUCCESS);
    ASSERT_TRUE(i == 0 || sim::failDisk(others[i], 1001) == EFI_SUCCESS);
    EXPECT_EQ(name(ask(nullptr)), name(EFI_SUCCESS));
    EXPECT_EQ(health, EfiDriverHealthStatusFailed); // of any
    EXPECT_EQ(name(ask(handles[i])), name(EFI_SUCCESS));
    EXPECT_EQ(messages.size(), i == 0 ? 0U : 2U) << i;
  }
  for (sim::Controller *sim : others) {
    sim::destroy(sim);
  }
}

TEST_F(Health, FailsWithoutMemoryAndKeepsNothing) {
  ASSERT_EQ(sim::failDisk(world.sim, 1001), EFI_SUCCESS);
  world.markBalance();
  uint64_t nth = 0;
  for (bool failed = true; failed;) {
    world.firmware.failAllocation(++nth);
    EFI_STATUS status = ask(world.controller);
    failed = world.firmware.allocationFailed();
    world.firmware.failAllocation(0);
    // A controller without memory is one that does not answer.
    bool isSaid = failed && !messages.empty() && messages[0] == "The controller does not answer: Out of Resources";
    EXPECT_TRUE(isSaid || status == (failed ? EFI_OUT_OF_RESOURCES : EFI_SUCCESS)) << name(status);
    health::release();
    world.expectBalanced("allocation " + std::to_string(nth));
  }
  EXPECT_GT(nth, 5u);
}
