#include "tests/model/judge.h"

using namespace xyl;

static OperationAnswer perform(World &world, const Call &call) {
  std::string options = optionsText(call), request = requestText(call);
  const Fault &fault = call.fault;
  if (fault.nth != 0) {
    sim::FaultKind kind = fault.status == EFI_SUCCESS ? sim::faultNoData : sim::faultStatus;
    UINT32 command = fault.ofLists ? UINT32{RAID_COMMAND_GET} : sim::anyCode;
    UINT32 objectType = fault.ofLists ? UINT32{RAID_OBJECT_VIRTUAL_DISK} : sim::anyCode;
    sim::addFault(world.sim, {kind, command, objectType, fault.nth, fault.once, fault.status, 0});
  }
  OperationAnswer answer = world.set({options.c_str(), call.saved != nullptr ? call.saved->text.c_str() : nullptr,
                                      call.hasRequest ? request.c_str() : nullptr});
  sim::clearFaults(world.sim);
  return answer;
}

std::string judge(World &world, const Call &call) {
  State state(world.sim);
  uint64_t allocations = world.firmware.pool().liveAllocations;
  UINT64 first = sim::commandCount(world.sim);
  OperationAnswer answer = perform(world, call);
  std::string wrong;
  RunOutcome wanted = expect(state, call, world.sim, first, &wrong);
  std::string root = call.hasRequest ? "<RaidConfig" : "<RaidRestore";
  std::string result = name(answer.status) + " " + (answer.hasText ? stepLine(answer.text) : "without a log");
  std::string wantedResult = name(wanted.status) + " " + (wanted.hasLog ? wanted.log : "without a log");
  wrong += result == wantedResult ? "" : "result is      " + result + "\nresult must be " + wantedResult + "\n";
  wrong += answer.hasText && !answer.text.starts_with(root) ? "another log: " + answer.text : "";
  bool hasMode = call.restore || call.normal;
  bool freed = answer.optionsFreed && answer.savedFreed == (hasMode && call.saved != nullptr) &&
               answer.requestFreed == (hasMode && call.hasRequest);
  wrong += freed ? "" : "the documents were not freed as they must be\n";
  bool balanced =
      world.firmware.pool().liveAllocations == allocations && records::accountingBalanced(&world.sim->accounting);
  wrong += balanced ? "" : "memory or records were left behind\n";
  State now(world.sim);
  auto &is = now.virtualDisks.items, &mustBe = state.virtualDisks.items;
  for (size_t i = 0; i < std::min(is.size(), mustBe.size()); ++i) {
    auto &size = mustBe[i].record;
    size.Size = size.Size == 0 ? is[i].record.Size : size.Size;
  }
  if (describe(now) != describe(state)) {
    wrong += "the controller is\n" + describe(now) + "and must be\n" + describe(state);
  }
  const CHAR8 *fault = sim::stateFault(world.sim);
  return wrong + (fault == nullptr ? "" : fault);
}

sim::Adapter shortAdapter(sim::Adapter adapter) {
  adapter.record.SupportedRAIDLevels = 0x2 | 0x4 | 0x40;
  auto end = std::remove_if(
      adapter.RAIDLevelParams, adapter.RAIDLevelParams + adapter.levelCount,
      [&](const RAID_LEVEL_PARAMS &level) { return (level.RAIDLevel & adapter.record.SupportedRAIDLevels) == 0; });
  adapter.levelCount = static_cast<UINT32>(end - adapter.RAIDLevelParams);
  return adapter;
}
