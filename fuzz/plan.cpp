// Two documents through the commands that only look: plan, diff, show, verify and ensure --plan. The controller is
// asked and not changed, what they write as JSON is well-formed, nothing differs from itself, and one document differs
// from another as that from it.

#include <nlohmann/json.hpp>

#include "client/ensure/judge.h"
#include "driver/request/request.h"
#include "fuzz/support.h"
#include "tests/support/memory_front.h"

using namespace xyl;
using namespace xyl::client;

static MemoryFront g_front;
static decltype(RAID_MGMT_PROTOCOL::Execute) g_execute;

static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  bool isRead = block->Command == RAID_COMMAND_GET || block->Command == RAID_COMMAND_GET_KEY_ID ||
                block->Command == RAID_COMMAND_GET_FOREIGN;
  mustHold(isRead, "a command that may change the controller: " + std::to_string(block->Command));
  return g_execute(mgmt, block, result);
}

static Outcome run(std::vector<const CHAR8 *> words, bool json) {
  Front front = g_front.as(frontHost, g_xylCommands);
  json ? words.push_back("--json") : void();
  Request request;
  Result result = xylParse(&front, words.size(), words.data(), &request);
  mustHold(!isFailure(result), "a command line: " + g_front.errors);
  result = xylRun(&front, request);
  mustHold((result.outcome > outcomeDifferent) == !g_front.errors.empty(),
           "a failure and its message: " + g_front.errors + g_front.out);
  bool isWhole = !json || result.outcome > outcomeDifferent || nlohmann::json::accept(g_front.out);
  mustHold(isWhole, "no JSON: " + g_front.out);
  return result.outcome;
}

// What a layout means for a saved configuration: words for whatever cannot be, and a document for the rest.
static void judgeSaved(const std::string &saved, const std::string &text) {
  Front front = g_front.as(frontHost);
  Request request = {};
  ensure::Layout layout;
  RAID_CONFIG *config = nullptr;
  UINT32 count = 1;
  bool isRead = !isFailure(ensure::readLayout({&front, &request}, "b.xml", text.c_str(), &layout)) &&
                !EFI_ERROR(driver::ParseXMLBlob(saved.c_str(), &config, &count)) && config != nullptr &&
                config->adapter != nullptr;
  if (isRead) {
    ensure::Judgement judgement;
    mustHold(ensure::judge(*config, /* isOnDisks= */ false, layout, &judgement) == EFI_SUCCESS, "a judgement");
    ChangeWriter writer = {};
    UINT32 methods = judgement.isRefused() ? 0 : ensure::writeChanges(*config, judgement, &writer);
    mustHold(judgement.isRefused() || (methods != 0) == judgement.changes(), "changes and their document");
    freeText(&writer.text);
  }
  driver::releaseConfig(config);
}

FUZZ_TARGET(plan) {
  uint8_t what = input.byte();
  bool json = (what & 1) != 0;
  g_front.files["a.xml"] = input.text();
  g_front.files["b.xml"] = input.text();
  World &world = fuzzWorld();
  g_execute = world.sim->protocol.Execute;
  world.sim->protocol.Execute = execute;
  Outcome itself = run({"diff", "a.xml", "a.xml"}, json);
  mustHold(itself != outcomeDifferent, "a document that differs from itself: " + g_front.out);
  Outcome forth = run({"diff", "a.xml", "b.xml"}, json), back = run({"diff", "b.xml", "a.xml"}, json);
  mustHold(forth == back, "differences one way only: " + g_front.out);
  run({"show", "a.xml"}, json);
  run({"verify", "a.xml"}, json);
  (what & 2) != 0 ? run({"plan", "a.xml", "--rebuild"}, json) : run({"plan", "a.xml"}, json);
  run({"plan", "b.xml", "--saved", "a.xml"}, json);
  run({"ensure", "b.xml", "--plan"}, json);
  world.sim->protocol.Execute = g_execute;
  judgeSaved(g_front.files["a.xml"], g_front.files["b.xml"]);
}
