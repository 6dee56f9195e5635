// Ten thousand random stories of requests, restores, faults and disks that come and go. After every step the simulated
// controller, the status and the log must be what the model says.
#include <cstdlib>

#include "tests/model/documents.h"
#include "tests/model/stories.h"
#include "tests/support/world.h"

static constexpr UINT32 STORIES = 10000;
static constexpr UINT32 STEPS = 6;
static constexpr UINT32 AUDIT_EVERY = 50; // a look at all freed memory takes longer than a story

// The driver on a controller that each story fills anew.
struct STAGE {
  World world{WORLD_OPTIONS{.preset = "empty", .debugLog = false}};
  SIM_ADAPTER pristine = world.sim->adapter;
  SETTINGS settings;

  STAGE() { settings.rates = ratesOf(pristine); }
};

static std::string text(EFI_STATUS status, bool hasLog, const std::vector<OPERATION> &log) {
  std::string text = name(status) + (hasLog ? ", log:" : ", no log");
  for (const OPERATION &operation : log) {
    text += " " + operation.name + (operation.code == 0 ? "" : " failed " + std::to_string(operation.code)) + ",";
  }
  return text;
}

// What the call must not leave behind either way.
static std::string leftBehind(STAGE &stage, const CALL &call, const ANSWER &answer, uint64_t allocations) {
  std::string found;
  if (stage.world.firmware.pool().liveAllocations != allocations || !simBooksBalanced(stage.world.sim)) {
    found += "memory or records were left behind\n";
  }
  bool hasMode = call.options.restore || call.options.normal;
  if (!answer.optionsFreed || answer.savedFreed != (hasMode && call.saved.has_value()) ||
      answer.requestFreed != (hasMode && call.methods.has_value())) {
    found += "the documents were not freed as they must be\n";
  }
  return found;
}

static ANSWER perform(STAGE &stage, const CALL &call) {
  std::string options = optionsText(call.options);
  std::string saved = call.saved.has_value() && call.savedText.empty() ? savedText(*call.saved) : call.savedText;
  std::string request = call.methods.has_value() ? requestText(*call.methods) : "";
  if (call.fault.nth != 0) {
    SIM_FAULT_KIND kind = call.fault.status == EFI_SUCCESS ? SIM_FAULT_NO_DATA : SIM_FAULT_STATUS;
    UINT32 command = call.fault.ofLists ? UINT32{RAID_COMMAND_GET} : SIM_ANY;
    UINT32 objectType = call.fault.ofLists ? UINT32{RAID_OBJECT_VIRTUAL_DISK} : SIM_ANY;
    simAddFault(stage.world.sim, {kind, command, objectType, call.fault.nth, call.fault.once, call.fault.status, 0});
  }
  ANSWER answer = stage.world.set({options.c_str(), call.saved.has_value() ? saved.c_str() : nullptr,
                                   call.methods.has_value() ? request.c_str() : nullptr});
  simClearFaults(stage.world.sim);
  return answer;
}

// Empty when everything is as the model says.
static std::string check(STAGE &stage, CONTROLLER &controller, const CALL &call) {
  uint64_t allocations = stage.world.firmware.pool().liveAllocations;
  UINT64 first = simCommandCount(stage.world.sim);
  ANSWER answer = perform(stage, call);
  std::string wrong;
  OUTCOME wanted = predict(controller, call, arrivals(stage.world.sim, first), &wrong);
  bool whole = true;
  std::vector<OPERATION> log;
  if (answer.hasText) {
    log = operationsOf(answer.text, call.methods.has_value() ? "RaidConfig" : "RaidRestore", &whole);
  }
  std::string is = text(answer.status, answer.hasText, log);
  std::string mustBe = text(wanted.status, wanted.hasLog, wanted.log);
  wrong += is == mustBe && whole ? "" : "\nresult is      " + is + "\nresult must be " + mustBe + "\n";
  return wrong + leftBehind(stage, call, answer, allocations) + difference(stage.world.sim, controller);
}

// Runs the steps on a controller made for them; those of which one cannot happen are passed over.
static std::string run(STAGE &stage, const CONTROLLER &start, const std::vector<STEP> &steps) {
  CONTROLLER controller = start;
  install(stage.world.sim, stage.pristine, controller);
  for (const STEP &step : steps) {
    const CALL *call = std::get_if<CALL>(&step);
    if (call == nullptr) {
      happen(stage.world.sim, controller, std::get<EVENT>(step));
    }
    std::string wrong = call == nullptr ? difference(stage.world.sim, controller) : check(stage, controller, *call);
    if (!wrong.empty()) {
      return wrong;
    }
  }
  const CHAR8 *fault = simStateFault(stage.world.sim);
  return fault == nullptr ? "" : fault;
}

// --- A story that fails, made shorter ---

template <class T, class F> static void dropEach(std::vector<T> &parts, const F &stillFails) {
  for (size_t i = parts.size(); i-- > 0;) {
    T dropped = parts[i];
    parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(i));
    if (!stillFails()) {
      parts.insert(parts.begin() + static_cast<std::ptrdiff_t>(i), dropped);
    }
  }
}

static void shorten(STAGE &stage, const CONTROLLER &start, std::vector<STEP> &steps) {
  auto stillFails = [&] { return !run(stage, start, steps).empty(); };
  dropEach(steps, stillFails);
  for (STEP &step : steps) {
    CALL *call = std::get_if<CALL>(&step);
    if (call != nullptr && call->methods.has_value()) {
      dropEach(*call->methods, stillFails);
    }
    if (call != nullptr && call->saved.has_value() && call->savedText.empty()) {
      dropEach(call->saved->volumes, stillFails);
      dropEach(call->saved->disks, stillFails);
    }
  }
}

static std::string describe(const FAULT &fault) {
  if (fault.nth == 0) {
    return {};
  }
  return std::string(fault.ofLists ? " list " : " command ") + std::to_string(fault.nth) +
         (fault.once ? ": " : " and all later ones: ") +
         (fault.status == EFI_SUCCESS ? "no data" : name(fault.status)) + "\n";
}

static std::string describe(const CONTROLLER &start, const std::vector<STEP> &steps) {
  std::string story;
  for (const DISK &disk : start.disks) {
    story += "disk " + std::to_string(disk.id) + " " + fqddOf(disk.place) + (disk.encrypts ? " encrypts" : "") +
             (disk.ssd ? " ssd" : "") + "\n";
  }
  for (const STEP &step : steps) {
    const CALL *call = std::get_if<CALL>(&step);
    if (call == nullptr) {
      story += describe(std::get<EVENT>(step)) + "\n";
      continue;
    }
    story += "call " + optionsText(call->options) + "\n";
    story += describe(call->fault);
    story += call->saved.has_value() && call->savedText.empty() ? " saved " + savedText(*call->saved) + "\n"
                                                                : call->savedText;
    story += call->methods.has_value() ? " request " + requestText(*call->methods) + "\n" : "";
  }
  return story;
}

// --- The test ---

// Makes up the story as it goes. Returns what was wrong.
static std::string tell(STAGE &stage, UINT64 seed, CONTROLLER &start, std::vector<STEP> &steps) {
  RANDOM random = {seed};
  start = randomController(random, stage.settings);
  SAVES saves = {{}, "", [&] { return stage.world.get().text; }};
  CONTROLLER controller = start;
  install(stage.world.sim, stage.pristine, controller);
  std::string wrong;
  while (steps.size() < STEPS && wrong.empty()) {
    steps.push_back(randomStep(random, controller, saves));
    const CALL *call = std::get_if<CALL>(&steps.back());
    if (call == nullptr) {
      happen(stage.world.sim, controller, std::get<EVENT>(steps.back()));
    }
    wrong = call == nullptr ? difference(stage.world.sim, controller) : check(stage, controller, *call);
  }
  const CHAR8 *fault = simStateFault(stage.world.sim);
  return wrong.empty() && fault != nullptr ? fault : wrong;
}

// MODEL_SEED in the environment runs one story only.
TEST(Model, ControllerStatusAndLogAreWhatTheContractsSay) {
  STAGE stage;
  const char *only = std::getenv("MODEL_SEED");
  UINT64 first = only == nullptr ? 1 : std::strtoull(only, nullptr, 10);
  for (UINT64 seed = first; seed < first + (only == nullptr ? STORIES : 1); ++seed) {
    CONTROLLER start;
    std::vector<STEP> steps;
    std::string wrong = tell(stage, seed, start, steps);
    if (!wrong.empty()) {
      shorten(stage, start, steps);
      FAIL() << "MODEL_SEED=" << seed << "\n"
             << wrong << "\nshortened:\n"
             << describe(start, steps) << run(stage, start, steps);
    }
    if (seed % AUDIT_EVERY == 0) {
      ASSERT_EQ(stage.world.firmware.complaints(), std::vector<std::string>{}) << "MODEL_SEED=" << seed;
    }
  }
}
