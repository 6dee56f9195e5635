#include "client/compare/compare.h"
// verify: what changed between a saved document and the controller, in words.
#include "base/pool.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "client/output/output.h"
#include "raid_records.h"

namespace xyl::client {

// The settings that Verify compares, each only where both sides have it.
static constexpr const CHAR8 *g_comparedSettings[] = {"CheckConsistencyMode", "PatrolReadMode", "UncertifiedMode",
                                                      "LoadBalanceMode",      "LearnMode",      "CopyBackMode"};

struct Adapters {
  const XML_NODE *saved;
  const XML_NODE *live;
};

// Where the differences go: lines, or members of an array.
struct VerifyOut {
  const Front *front;
  Json *json; // null for lines
};

static void tell(const VerifyOut &out, const CHAR8 *what, const CHAR8 *name, const CHAR8 *saved, const CHAR8 *live) {
  if (out.json == nullptr) {
    say(out.front, "%a%a%a: %a (saved) -> %a (now)\n", what, *name != 0 ? ", " : "", name, saved, live);
    return;
  }
  jsonObject(out.json, nullptr);
  jsonText(out.json, "what", what);
  if (*name != 0) {
    jsonText(out.json, "name", name);
  }
  jsonText(out.json, "saved", saved);
  jsonText(out.json, "current", live);
  jsonEnd(out.json);
}

static UINTN explainSettings(const VerifyOut &out, const Adapters &adapters) {
  UINTN found = 0;
  for (const CHAR8 *name : g_comparedSettings) {
    const CHAR8 *saved = childText(adapters.saved, name);
    const CHAR8 *live = childText(adapters.live, name);
    if (*saved != 0 && *live != 0 && !textEqual(saved, live)) {
      tell(out, "setting changed", name, saved, live);
      ++found;
    }
  }
  return found;
}

// The live rate of that name, or null. Like the driver, it looks at no more rates than an adapter has.
static const XML_NODE *rateNamed(const XML_NODE *adapter, const CHAR8 *name) {
  const XML_NODE *rate = childNamed(adapter, "Rate");
  for (UINTN i = 0; i < RAID_RATE_COUNT && rate != nullptr; ++i, rate = nextSame(rate)) {
    if (textEqual(childText(rate, "Name"), name)) {
      return rate;
    }
  }
  return nullptr;
}

static UINTN explainRates(const VerifyOut &out, const Adapters &adapters) {
  UINTN found = 0;
  const XML_NODE *saved = childNamed(adapters.saved, "Rate");
  for (UINTN i = 0; i < RAID_RATE_COUNT && saved != nullptr; ++i, saved = nextSame(saved)) {
    const CHAR8 *name = childText(saved, "Name");
    const XML_NODE *live = rateNamed(adapters.live, name);
    if (live != nullptr && !textEqual(childText(saved, "Value"), childText(live, "Value"))) {
      tell(out, "rate changed", name, childText(saved, "Value"), childText(live, "Value"));
      ++found;
    }
  }
  return found;
}

static void explainBits(const VerifyOut &out, const Adapters &adapters, UINT32 bits) {
  if ((bits & VERIFY_PART_REPLACEMENT) != 0) {
    tell(out, "adapter replaced, WWN", "", childText(adapters.saved, "WWN"), childText(adapters.live, "WWN"));
  }
  if ((bits & VERIFY_CONFIG_CHANGE) != 0) {
    UINTN found = explainSettings(out, adapters);
    found += explainRates(out, adapters);
    if (found == 0 && out.json == nullptr) {
      say(out.front, "a setting or rate changed that the documents do not show\n");
    }
  }
  const CHAR8 *firmware = (bits & VERIFY_FW_LOWER) != 0 ? "firmware lower" : "firmware higher";
  if ((bits & (VERIFY_FW_LOWER | VERIFY_FW_HIGHER)) != 0) {
    tell(out, firmware, "", childText(adapters.saved, "FirmwareVersion"), childText(adapters.live, "FirmwareVersion"));
  }
}

// What the driver compares, and what it does not.
static constexpr const CHAR8 *compared = "the adapter's WWN, firmware version, modes and rates";
static constexpr const CHAR8 *notCompared = "enclosures, disks, virtual disks, hot spares, the security key";

// What verify has found out.
struct Verified {
  const Controller *controller;
  UINT32 bits;
  UINT32 differences; // of all that the documents hold
};

static void sayVerified(const Front *front, const Adapters &adapters, const Verified &verified) {
  explainBits({front, /* Json= */ nullptr}, adapters, verified.bits);
  sayLines(front, verified.bits == 0 ? "no difference\n" : "");
  say(front, "result 0x%x\nController: ", verified.bits);
  sayIdentity(front, verified.controller->identity);
  say(front, "\nCompared: %a\nNot compared: %a\n", compared, notCompared);
  if (verified.differences != 0) {
    say(front, "In all 'xyl diff' finds %d differences\n", verified.differences);
  }
}

static void showVerdict(const Context &context, const Adapters &adapters, const Verified &verified) {
  UINT32 bits = verified.bits;
  if (!hasOption(context, optionJson)) {
    sayVerified(context.front, adapters, verified);
    return;
  }
  Json json = {};
  json.front = context.front;
  jsonObject(&json, nullptr);
  writeIdentity(&json, verified.controller->identity);
  jsonNumber(&json, "result", bits);
  jsonBool(&json, "adapterReplaced", (bits & VERIFY_PART_REPLACEMENT) != 0);
  jsonBool(&json, "settingsChanged", (bits & VERIFY_CONFIG_CHANGE) != 0);
  jsonBool(&json, "firmwareLower", (bits & VERIFY_FW_LOWER) != 0);
  jsonBool(&json, "firmwareHigher", (bits & VERIFY_FW_HIGHER) != 0);
  jsonArray(&json, "differences");
  explainBits({context.front, &json}, adapters, bits);
  jsonEnd(&json);
  jsonText(&json, "compared", compared);
  jsonText(&json, "notCompared", notCompared);
  jsonNumber(&json, "allDifferences", verified.differences);
  jsonEnd(&json);
}

static Result showTrees(const Context &context, const Controller &controller, const XML_NODE *saved,
                        const XML_NODE *live, UINT32 bits) {
  Differences all = {};
  EFI_STATUS status = diffDocuments(saved, live, &all);
  Verified verified = {&controller, bits, all.all.count};
  freeDifferences(&all);
  if (EFI_ERROR(status)) {
    complain(context.front, "the documents cannot be compared: %a", statusWords(status));
    return failed(status);
  }
  showVerdict(context, {adapterOf(saved), adapterOf(live)}, verified);
  return succeeded();
}

// Says what the bits stand for, from the saved document and a fresh inventory.
static Result explain(const Context &context, const Controller &controller, const CHAR8 *savedText, UINT32 bits) {
  DocumentText live;
  bool isWhole = true;
  Result result = readToldInventory(context, controller, &live, &isWhole);
  if (isFailure(result)) {
    return result;
  }
  XML_NODE *savedRoot = nullptr;
  XML_NODE *liveRoot = nullptr;
  result = parseTree(context, context.request->operands[0], savedText, &savedRoot);
  if (!isFailure(result)) {
    result = parseTree(context, "the inventory", live.text, &liveRoot);
  }
  if (!isFailure(result)) {
    result = showTrees(context, controller, savedRoot, liveRoot, bits);
  }
  freeTree(liveRoot);
  freeTree(savedRoot);
  releaseDocument(&live);
  return result;
}

static Result verify(const Context &context, const Controller &controller, const DocumentText &saved) {
  RAID_XYL_PROTOCOL *operations = controller.operations;
  const CHAR8 *file = context.request->operands[0];
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER document = {RAID_XYL_REVISION, static_cast<UINT32>(saved.size + 1), saved.text};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(document), &document};
  UINT32 bits = 0;
  EFI_STATUS status = operations->Verify(operations, &parameter, &input, /* NewData= */ nullptr, &bits);
  if (status == EFI_ABORTED || status == EFI_INVALID_PARAMETER) {
    complain(context.front, "'%a' is no saved configuration: %a", file, statusWords(status));
    return failed(status, Reason::document);
  }
  if (EFI_ERROR(status)) {
    complain(context.front, "the controller cannot be compared with '%a': %a", file, statusWords(status));
    return failed(status);
  }
  Result result = explain(context, controller, saved.text, bits);
  return isFailure(result) || bits == 0 ? result : different();
}

Result runVerify(const Context &context) {
  Controller controller;
  Result result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  DocumentText saved;
  result = readDocument(context, context.request->operands[0], &saved);
  if (isFailure(result)) {
    return result;
  }
  result = verify(context, controller, saved);
  releaseDocument(&saved);
  return result;
}

} // namespace xyl::client
