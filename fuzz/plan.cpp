// Two documents through the commands that only look: plan, diff, show and verify. The controller is asked and not
// changed, what they write as JSON is well-formed, nothing differs from itself, and one document differs from another
// as that from it.

#include <nlohmann/json.hpp>

#include "base/pool.h"
#include "client/client.h"
#include "fuzz/support.h"

static std::string g_documents[2], g_out, g_error;
static decltype(RAID_MGMT_PROTOCOL::Execute) g_execute;

static EFI_STATUS EFIAPI execute(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  bool isRead = block->Command == RAID_COMMAND_GET || block->Command == RAID_COMMAND_GET_KEY_ID ||
                block->Command == RAID_COMMAND_GET_FOREIGN;
  mustHold(isRead, "a command that may change the controller: " + std::to_string(block->Command));
  return g_execute(mgmt, block, result);
}

static EFI_STATUS readFile(const XYL_FRONT *, const CHAR8 *name, CHAR8 **data, UINTN *size) {
  const std::string &document = g_documents[*name == 'a' ? 0 : 1];
  *size = document.size();
  *data = static_cast<CHAR8 *>(poolAllocate(*size + 1));
  if (*data == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  copyBytes(*data, document.c_str(), *size + 1);
  return EFI_SUCCESS;
}

static XYL_OUTCOME run(std::vector<const CHAR8 *> words, bool json) {
  g_out.clear();
  g_error.clear();
  XYL_FRONT front = {};
  front.Kind = XYL_FRONT_HOST;
  front.SystemTable = fuzzWorld().firmware.systemTable();
  front.Commands = g_xylCommands;
  front.WriteOut = [](const XYL_FRONT *, const CHAR8 *text, UINTN length) { g_out.append(text, length); };
  front.WriteError = [](const XYL_FRONT *, const CHAR8 *text, UINTN length) { g_error.append(text, length); };
  front.ReadFile = readFile;
  front.AskYes = [](const XYL_FRONT *, const CHAR8 *) { return XYL_ANSWER_NO_TERMINAL; };
  json ? words.push_back("--json") : void();
  XYL_REQUEST request;
  XYL_RESULT result = xylParse(&front, words.size(), words.data(), &request);
  mustHold(!isFailure(result), "a command line: " + g_error);
  result = xylRun(&front, request);
  mustHold((result.Outcome > XYL_DIFFERENT) == !g_error.empty(), "a failure and its message: " + g_error + g_out);
  bool isWhole = !json || result.Outcome > XYL_DIFFERENT || nlohmann::json::accept(g_out);
  mustHold(isWhole, "no JSON: " + g_out);
  return result.Outcome;
}

FUZZ_TARGET(plan) {
  uint8_t what = input.byte();
  bool json = (what & 1) != 0;
  g_documents[0] = input.text();
  g_documents[1] = input.text();
  World &world = fuzzWorld();
  g_execute = world.sim->protocol.Execute;
  world.sim->protocol.Execute = execute;
  XYL_OUTCOME itself = run({"diff", "a.xml", "a.xml"}, json);
  mustHold(itself != XYL_DIFFERENT, "a document that differs from itself: " + g_out);
  XYL_OUTCOME forth = run({"diff", "a.xml", "b.xml"}, json), back = run({"diff", "b.xml", "a.xml"}, json);
  mustHold(forth == back, "differences one way only: " + g_out);
  run({"show", "a.xml"}, json);
  run({"verify", "a.xml"}, json);
  (what & 2) != 0 ? run({"plan", "a.xml", "--rebuild"}, json) : run({"plan", "a.xml"}, json);
  run({"plan", "b.xml", "--saved", "a.xml"}, json);
  world.sim->protocol.Execute = g_execute;
}
