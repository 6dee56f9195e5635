// Sequences of calls, a few bytes each: entry and unload of the driver, connect and disconnect, and the four
// operations, and an allocation that fails.

#include "fuzz/support.h"

// One operation, with documents of which the first of each is none.
static void operate(World &world, uint8_t what, const std::string &usual, FuzzInput &input) {
  static const std::string savedTexts[] = {"", usual, "<raidData/>", "<raidData>"};
  static const std::string options[] = {"", restoreOptions, restoreRebuild, normal, "<RunMode/>", "<RunMode>"};
  static const std::string requests[] = {
      "", "<raidData>", "<raidData/>",
      "<raidData><Method name=\"Identify\"><ObjectType>Adapter</ObjectType></Method></raidData>",
      "<raidData><Method name=\"Delete\"><ObjectType>Adapter</ObjectType></Method></raidData>"};
  RAID_XYL_IDENTIFY_DATA data = {};
  OperationAnswer answer;
  switch (what) {
  case 3:
  case 5:
    mustHold(world.xyl->Identify_Live(world.xyl, &data) == EFI_SUCCESS && data.Words[2] == 0xDC, "Identify_Live");
    break;
  case 6:
    answer = world.get();
    mustHold(EFI_ERROR(answer.status) == !answer.hasText, "Get_Live: status and text");
    break;
  case 7:
    fuzzVerify(savedTexts[input.byte() % std::size(savedTexts)]);
    break;
  default:
    const std::string &option = options[input.byte() % std::size(options)];
    const std::string &saved = savedTexts[input.byte() % std::size(savedTexts)];
    fuzzSet(option, saved, requests[input.byte() % std::size(requests)]);
  }
}

// One call; operations only while the driver serves the controller.
static void call(World &world, const std::string &usual, FuzzInput &input) {
  uint8_t what = input.byte() % 9;
  switch (what) {
  case 0:
    world.connect();
    break;
  case 1:
    world.disconnect();
    break;
  case 2:
    world.driver != nullptr ? world.unloadDriver() : world.loadDriver();
    break;
  case 4:
    world.firmware.failAllocation(input.byte());
    break;
  default:
    if (world.xyl != nullptr && world.driver != nullptr) {
      operate(world, what, usual, input);
    }
  }
}

static constexpr FuzzLimits cost = {{1 << 19, 16384}, {1 << 20, 131072}, {200000000, 1000000}, {32, 32}};

FUZZ_TARGET(calls, cost, FuzzController::small) {
  World &world = fuzzWorld();
  static const std::string usual = world.get().text;
  while (!input.atEnd()) {
    call(world, usual, input);
  }
  world.firmware.failAllocation(0);
  if (world.driver == nullptr) {
    mustHold(world.loadDriver() == EFI_SUCCESS, "not loaded again");
  }
  if (world.xyl == nullptr) {
    mustHold(world.connect() == EFI_SUCCESS && world.xyl != nullptr, "not served again");
  }
}
