#include "client/compare/compare.h"
// verify: what changed between a saved document and the controller, in words.
#include "base/pool.h"
#include "base/text.h"
#include "client/controllers/controllers.h"
#include "client/documents/documents.h"
#include "client/output/output.h"
#include "raid_records.h"

// The settings that Verify compares, each only where both sides have it.
static constexpr const CHAR8 *g_comparedSettings[] = {"CheckConsistencyMode", "PatrolReadMode", "UncertifiedMode",
                                                      "LoadBalanceMode",      "LearnMode",      "CopyBackMode"};

struct ADAPTERS {
  const XML_NODE *Saved;
  const XML_NODE *Live;
};

// Where the differences go: lines, or members of an array.
struct VERIFY_OUT {
  const XYL_FRONT *Front;
  JSON *Json; // null for lines
};

static void tell(const VERIFY_OUT &out, const CHAR8 *what, const CHAR8 *name, const CHAR8 *saved, const CHAR8 *live) {
  if (out.Json == nullptr) {
    say(out.Front, "%a%a%a: %a (saved) -> %a (now)\n", what, *name != 0 ? ", " : "", name, saved, live);
    return;
  }
  jsonObject(out.Json, nullptr);
  jsonText(out.Json, "what", what);
  if (*name != 0) {
    jsonText(out.Json, "name", name);
  }
  jsonText(out.Json, "saved", saved);
  jsonText(out.Json, "current", live);
  jsonEnd(out.Json);
}

static UINTN explainSettings(const VERIFY_OUT &out, const ADAPTERS &adapters) {
  UINTN found = 0;
  for (const CHAR8 *name : g_comparedSettings) {
    const CHAR8 *saved = childText(adapters.Saved, name);
    const CHAR8 *live = childText(adapters.Live, name);
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

static UINTN explainRates(const VERIFY_OUT &out, const ADAPTERS &adapters) {
  UINTN found = 0;
  const XML_NODE *saved = childNamed(adapters.Saved, "Rate");
  for (UINTN i = 0; i < RAID_RATE_COUNT && saved != nullptr; ++i, saved = nextSame(saved)) {
    const CHAR8 *name = childText(saved, "Name");
    const XML_NODE *live = rateNamed(adapters.Live, name);
    if (live != nullptr && !textEqual(childText(saved, "Value"), childText(live, "Value"))) {
      tell(out, "rate changed", name, childText(saved, "Value"), childText(live, "Value"));
      ++found;
    }
  }
  return found;
}

static void explainBits(const VERIFY_OUT &out, const ADAPTERS &adapters, UINT32 bits) {
  if ((bits & VERIFY_PART_REPLACEMENT) != 0) {
    tell(out, "adapter replaced, WWN", "", childText(adapters.Saved, "WWN"), childText(adapters.Live, "WWN"));
  }
  if ((bits & VERIFY_CONFIG_CHANGE) != 0) {
    UINTN found = explainSettings(out, adapters);
    found += explainRates(out, adapters);
    if (found == 0 && out.Json == nullptr) {
      say(out.Front, "a setting or rate changed that the documents do not show\n");
    }
  }
  const CHAR8 *firmware = (bits & VERIFY_FW_LOWER) != 0 ? "firmware lower" : "firmware higher";
  if ((bits & (VERIFY_FW_LOWER | VERIFY_FW_HIGHER)) != 0) {
    tell(out, firmware, "", childText(adapters.Saved, "FirmwareVersion"), childText(adapters.Live, "FirmwareVersion"));
  }
}

// What the driver compares, and what it does not.
static constexpr const CHAR8 *COMPARED = "the adapter's WWN, firmware version, modes and rates";
static constexpr const CHAR8 *NOT_COMPARED = "enclosures, disks, virtual disks, hot spares, the security key";

// What verify has found out.
struct VERIFIED {
  const CONTROLLER *Controller;
  UINT32 Bits;
  UINT32 Differences; // of all that the documents hold
};

static void sayVerified(const XYL_FRONT *front, const ADAPTERS &adapters, const VERIFIED &verified) {
  explainBits({front, /* Json= */ nullptr}, adapters, verified.Bits);
  sayLines(front, verified.Bits == 0 ? "no difference\n" : "");
  say(front, "result 0x%x\nController: ", verified.Bits);
  sayIdentity(front, verified.Controller->Identity);
  say(front, "\nCompared: %a\nNot compared: %a\n", COMPARED, NOT_COMPARED);
  if (verified.Differences != 0) {
    say(front, "In all 'xyl diff' finds %d differences\n", verified.Differences);
  }
}

static void showVerdict(const XYL_CONTEXT &context, const ADAPTERS &adapters, const VERIFIED &verified) {
  UINT32 bits = verified.Bits;
  if (!hasOption(context, XYL_OPTION_JSON)) {
    sayVerified(context.Front, adapters, verified);
    return;
  }
  JSON json = {};
  json.Front = context.Front;
  jsonObject(&json, nullptr);
  writeIdentity(&json, verified.Controller->Identity);
  jsonNumber(&json, "result", bits);
  jsonBool(&json, "adapterReplaced", (bits & VERIFY_PART_REPLACEMENT) != 0);
  jsonBool(&json, "settingsChanged", (bits & VERIFY_CONFIG_CHANGE) != 0);
  jsonBool(&json, "firmwareLower", (bits & VERIFY_FW_LOWER) != 0);
  jsonBool(&json, "firmwareHigher", (bits & VERIFY_FW_HIGHER) != 0);
  jsonArray(&json, "differences");
  explainBits({context.Front, &json}, adapters, bits);
  jsonEnd(&json);
  jsonText(&json, "compared", COMPARED);
  jsonText(&json, "notCompared", NOT_COMPARED);
  jsonNumber(&json, "allDifferences", verified.Differences);
  jsonEnd(&json);
}

static XYL_RESULT showTrees(const XYL_CONTEXT &context, const CONTROLLER &controller, const XML_NODE *saved,
                            const XML_NODE *live, UINT32 bits) {
  DIFFERENCES all = {};
  EFI_STATUS status = diffDocuments(saved, live, &all);
  VERIFIED verified = {&controller, bits, all.All.count};
  freeDifferences(&all);
  if (EFI_ERROR(status)) {
    complain(context.Front, "the documents cannot be compared: %a", statusWords(status));
    return failed(status);
  }
  showVerdict(context, {adapterOf(saved), adapterOf(live)}, verified);
  return succeeded();
}

// Says what the bits stand for, from the saved document and a fresh inventory.
static XYL_RESULT explain(const XYL_CONTEXT &context, const CONTROLLER &controller, const CHAR8 *savedText,
                          UINT32 bits) {
  DOCUMENT_TEXT live;
  bool isWhole = true;
  XYL_RESULT result = readToldInventory(context, controller, &live, &isWhole);
  if (isFailure(result)) {
    return result;
  }
  XML_NODE *savedRoot = nullptr;
  XML_NODE *liveRoot = nullptr;
  result = parseTree(context, context.Request->Operands[0], savedText, &savedRoot);
  if (!isFailure(result)) {
    result = parseTree(context, "the inventory", live.Text, &liveRoot);
  }
  if (!isFailure(result)) {
    result = showTrees(context, controller, savedRoot, liveRoot, bits);
  }
  freeTree(liveRoot);
  freeTree(savedRoot);
  releaseDocument(&live);
  return result;
}

static XYL_RESULT verify(const XYL_CONTEXT &context, const CONTROLLER &controller, const DOCUMENT_TEXT &saved) {
  RAID_XYL_PROTOCOL *operations = controller.Operations;
  const CHAR8 *file = context.Request->Operands[0];
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER document = {RAID_XYL_REVISION, static_cast<UINT32>(saved.Size + 1), saved.Text};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof(document), &document};
  UINT32 bits = 0;
  EFI_STATUS status = operations->Verify(operations, &parameter, &input, /* NewData= */ nullptr, &bits);
  if (status == EFI_ABORTED || status == EFI_INVALID_PARAMETER) {
    complain(context.Front, "'%a' is no saved configuration: %a", file, statusWords(status));
    return failed(status, XYL_REASON_DOCUMENT);
  }
  if (EFI_ERROR(status)) {
    complain(context.Front, "the controller cannot be compared with '%a': %a", file, statusWords(status));
    return failed(status);
  }
  XYL_RESULT result = explain(context, controller, saved.Text, bits);
  return isFailure(result) || bits == 0 ? result : different();
}

XYL_RESULT runVerify(const XYL_CONTEXT &context) {
  CONTROLLER controller;
  XYL_RESULT result = openController(context, &controller);
  if (isFailure(result)) {
    return result;
  }
  DOCUMENT_TEXT saved;
  result = readDocument(context, context.Request->Operands[0], &saved);
  if (isFailure(result)) {
    return result;
  }
  result = verify(context, controller, saved);
  releaseDocument(&saved);
  return result;
}
