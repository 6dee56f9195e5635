// Sequences of calls, a few bytes each: entry and unload of the driver, connect and disconnect, its names, and the four
// operations, with arguments that are null, wrong or shared, and with an allocation that fails.

#include <algorithm>

#include "base/pool.h"
#include "driver/binding/instances.h"
#include "fuzz/support.h"

// Documents to hand over; the first of each is none.
static const char *const g_options[] = {nullptr, RESTORE, RESTORE_REBUILD, NORMAL, "<RunMode/>", "<RunMode>"};
static constexpr size_t GOOD_OPTIONS = 3; // up to this one
static const char *const g_requests[] = {
    nullptr, "<raidData>", "<raidData/>",
    "<raidData><Method name=\"Identify\"><ObjectType>Adapter</ObjectType></Method></raidData>",
    "<raidData><Method name=\"Delete\"><ObjectType>Adapter</ObjectType></Method></raidData>"};
static constexpr UINT32 NEW_DATA = 2 * sizeof(RAID_XYL_BUFFER);

// What a byte's bits make of an operation's arguments, most of them sound.
struct ARGUMENTS {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[2] = {}, outputs[2] = {}, input = {RAID_XYL_REVISION, sizeof inputs, inputs}, output = {};
  bool noTable, noParameter, noInput, noOutput;

  explicit ARGUMENTS(uint8_t wrong) {
    noTable = wrong == 1;
    noParameter = wrong == 2;
    noInput = wrong == 3;
    noOutput = wrong == 4;
    parameter.Revision = wrong == 5 ? 2 : RAID_XYL_REVISION;
    parameter.Instance = wrong == 6 ? 1 : 0;
    input.Data = wrong == 7 ? nullptr : inputs;
  }
  bool areNull() const { return noTable || noParameter || noInput; }
};

static char *poolTextOf(const char *text) {
  return text == nullptr ? nullptr : fuzzWorld().firmware.poolText(text);
}

static void freeUnless(char *text, bool gone) {
  World &world = fuzzWorld();
  mustHold(text == nullptr || world.firmware.allocated(text) != gone || world.firmware.allocationFailed(),
           gone ? "a document that is still there" : "a document that is gone");
  if (text != nullptr && world.firmware.allocated(text)) {
    world.services->FreePool(text);
  }
}

static void identify(World &world, uint8_t wrong) {
  RAID_XYL_IDENTIFY_DATA data = {};
  EFI_STATUS status = world.xyl->Identify_Live(wrong == 1 ? nullptr : world.xyl, wrong == 2 ? nullptr : &data);
  bool isNull = wrong == 1 || wrong == 2;
  mustHold(status == (isNull ? EFI_INVALID_PARAMETER : EFI_SUCCESS), "Identify_Live: status");
  mustHold(data.Words[2] == (isNull ? 0 : 0xDC), "Identify_Live: data");
}

static void get(World &world, ARGUMENTS &arguments) {
  char before[] = "before";
  arguments.output.Data = before;
  EFI_STATUS status = world.xyl->Get_Live(arguments.noTable ? nullptr : world.xyl,
                                          arguments.noParameter ? nullptr : &arguments.parameter,
                                          arguments.noOutput ? nullptr : &arguments.output);
  bool refused = arguments.noTable || arguments.noParameter || arguments.noOutput || arguments.parameter.Revision != 1;
  mustHold((status == EFI_INVALID_PARAMETER) == refused, "Get_Live: status");
  mustHold(!refused || arguments.output.Data == before, "Get_Live: output of a refusal");
  if (!EFI_ERROR(status)) {
    mustHold(std::string_view(static_cast<char *>(arguments.output.Data)).size() + 1 == arguments.output.Size, "size");
    world.services->FreePool(arguments.output.Data);
  }
}

static void verify(World &world, ARGUMENTS &arguments, const std::string &usual, FuzzInput &input) {
  uint8_t saved = input.byte() % 3, fresh = input.byte() % 4;
  char *text = poolTextOf(saved == 0 ? nullptr : saved == 1 ? usual.c_str() : "<raidData/>");
  arguments.inputs[0].Data = text;
  arguments.outputs[1].Data = fresh == 3 ? arguments.inputs : nullptr;
  arguments.output = {RAID_XYL_REVISION, input.byte() % (NEW_DATA + 2), fresh == 0 ? nullptr : arguments.outputs};
  UINT32 result = 0;
  EFI_STATUS status = world.xyl->Verify(
      arguments.noTable ? nullptr : world.xyl, arguments.noParameter ? nullptr : &arguments.parameter,
      arguments.noInput ? nullptr : &arguments.input, arguments.noOutput ? nullptr : &arguments.output, &result);
  mustHold(!EFI_ERROR(status) || result == 0, "Verify: a result of a failure");
  mustHold(!arguments.areNull() || status == EFI_INVALID_PARAMETER, "Verify: status");
  freeUnless(text, /* gone= */ false);
}

// Which texts are gone follows the contract's table.
static void set(World &world, ARGUMENTS &arguments, const std::string &usual, FuzzInput &input) {
  size_t option = input.byte() % std::size(g_options), saved = input.byte() % 4;
  size_t request = input.byte() % std::size(g_requests);
  UINT32 size = input.byte() % (NEW_DATA + 2);
  bool isShared = input.byte() % 8 == 7, isOutput = input.byte() % 16 == 15;
  const char *const savedTexts[] = {nullptr, usual.c_str(), "<raidData/>", "<raidData>"};
  char *optionText = poolTextOf(g_options[option]), *savedText = isShared ? nullptr : poolTextOf(savedTexts[saved]);
  char *requestText = poolTextOf(g_requests[request]);
  arguments.inputs[0] = {RAID_XYL_REVISION, saved == 0 ? 0U : 8U, isShared ? optionText : savedText};
  arguments.inputs[1] = {RAID_XYL_REVISION, 0, optionText};
  arguments.outputs[1].Data = requestText;
  bool hasArray = size >= NEW_DATA;
  arguments.output = {RAID_XYL_REVISION, size, hasArray ? arguments.outputs : nullptr};
  RAID_XYL_BUFFER *output = arguments.noOutput ? nullptr : isOutput ? &arguments.input : &arguments.output;
  bool refused = arguments.areNull() || arguments.parameter.Revision != RAID_XYL_REVISION ||
                 arguments.parameter.Instance != 0 || optionText == nullptr || arguments.input.Data == nullptr ||
                 output == &arguments.input || (isShared && saved != 0);
  EFI_STATUS status = world.xyl->Set_Live(arguments.noTable ? nullptr : world.xyl,
                                          arguments.noParameter ? nullptr : &arguments.parameter,
                                          arguments.noInput ? nullptr : &arguments.input, output);
  mustHold(!refused || EFI_ERROR(status), "Set_Live: a success without its arguments");
  bool read = !refused && option <= GOOD_OPTIONS;
  freeUnless(optionText, !refused);
  freeUnless(savedText, read && saved != 0);
  freeUnless(requestText, read && (isShared || saved <= 1) && hasArray && !arguments.noOutput);
  void *log = output == &arguments.output ? (hasArray ? arguments.outputs[0].Data : arguments.output.Data) : nullptr;
  if (log != nullptr) {
    world.services->FreePool(log);
  }
}

// A controller's name stays in an answer that nobody gives back, so only one without a name is asked.
static void names(World &world, FuzzInput &input) {
  static const char *const languages[] = {"en", "en-US", "de", "", nullptr};
  const char *language = languages[input.byte() % std::size(languages)];
  CHAR16 *name = nullptr;
  EFI_STATUS status = g_componentName2.GetDriverName(&g_componentName2, language, &name);
  mustHold(EFI_ERROR(status) == (name == nullptr), "GetDriverName");
  poolFree(name);
  status = g_componentName2.GetControllerName(&g_componentName2, world.driver, nullptr, language, &name);
  mustHold(EFI_ERROR(status), "GetControllerName");
}

// One call; operations only while the driver serves the controller.
static void call(World &world, const std::string &usual, FuzzInput &input) {
  uint8_t what = input.byte(), wrong = what >> 4;
  switch (what % 9) {
  case 0:
    world.connect();
    break;
  case 1:
    world.disconnect();
    break;
  case 2:
    world.driver != nullptr ? world.unloadDriver() : world.loadDriver();
    break;
  case 3:
    names(world, input);
    break;
  case 4:
    world.firmware.failAllocation(input.byte());
    break;
  default:
    if (world.xyl != nullptr && world.driver != nullptr) {
      ARGUMENTS arguments(wrong);
      what % 9 == 5   ? identify(world, wrong)
      : what % 9 == 6 ? get(world, arguments)
      : what % 9 == 7 ? verify(world, arguments, usual, input)
                      : set(world, arguments, usual, input);
    }
  }
}

FUZZ_TARGET(calls, {{1 << 19, 16384}, {1 << 20, 131072}, {200000000, 1000000}, {32, 32}}) {
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
