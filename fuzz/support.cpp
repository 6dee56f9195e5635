#include "fuzz/support.h"

#include <sanitizer/asan_interface.h>

#include <cstdio>
#include <cstdlib>

#include "driver/driver.h"
#include "platform/debug_log/debug_log_provider.h"
#include "platform/firmware/state.h"
#include "platform/xml_service/xml_service.h"
#include "tests/support/kept_state.h"
#include "xml/xml.h"

uint64_t FuzzInput::number(unsigned bytes) {
  uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) {
    value |= static_cast<uint64_t>(byte()) << (8 * i);
  }
  return value;
}

std::string FuzzInput::text() {
  const uint8_t *start = at_;
  while (!atEnd() && *at_ != '\f') {
    ++at_;
  }
  std::string text(reinterpret_cast<const char *>(start), static_cast<size_t>(at_ - start));
  byte();
  return text.substr(0, text.find('\0'));
}

void mustHold(bool holds, const std::string &what) {
  if (!holds) {
    std::fprintf(stderr, "fuzz: %s\n", what.c_str());
    std::abort();
  }
}

static EFI_HANDLE g_driver;

static Firmware *startFirmware() {
  auto *firmware = new Firmware;
  EFI_HANDLE provider = nullptr;
  mustHold(firmware->loadImage(XmlServiceEntry, &provider) == EFI_SUCCESS, "no XML service");
  mustHold(firmware->loadImage(DebugLogEntry, &provider) == EFI_SUCCESS, "no log");
  mustHold(firmware->loadImage(RaidXylEntry, &g_driver) == EFI_SUCCESS, "no driver");
  return firmware;
}

Firmware &fuzzFirmware() {
  static Firmware *firmware = startFirmware();
  return *firmware;
}

EFI_HANDLE fuzzDriver() {
  fuzzFirmware();
  return g_driver;
}

RAID_XYL_PROTOCOL *fuzzTable(EFI_HANDLE controller) {
  static const EFI_GUID guid = RAID_XYL_PROTOCOL_GUID;
  void *interface = nullptr;
  EFI_STATUS status = fuzzFirmware().bootServices()->HandleProtocol(controller, &guid, &interface);
  return EFI_ERROR(status) ? nullptr : static_cast<RAID_XYL_PROTOCOL *>(interface);
}

FuzzBalance::FuzzBalance(const SIM_CONTROLLER *sim)
    : sim_(sim), allocations_(fuzzFirmware().pool().liveAllocations), bytes_(heldBytes()) {}

uint64_t FuzzBalance::heldBytes() const {
  return fuzzFirmware().pool().liveBytes - (sim_ == nullptr ? 0 : simPoolBytes(sim_));
}

FuzzBalance::~FuzzBalance() {
  fuzzFirmware().failAllocation(0);
  fuzzFirmware().takeConsole();
  // Damage to poisoned memory has already ended the process, so the audit behind complaints() is left out.
  const COMPLAINTS &complaints = g_firmware->complaints;
  mustHold(complaints.empty(), complaints.empty() ? "" : complaints.front());
  mustHold(fuzzFirmware().pool().liveAllocations == allocations_, "allocations left or lost");
  mustHold(heldBytes() == bytes_, "bytes left or lost");
}

// --- The simulated controller ---

static const KEPT_STATE *g_start;
static FUZZ_SIM g_fuzzSim;
static decltype(RAID_MGMT_PROTOCOL::Execute) g_simExecute;

// How many bytes of a command's data the simulated controller reads.
static size_t dataRead(const RAID_CMD_BLOCK *block) {
  switch (block->Command) {
  case RAID_COMMAND_CREATE:
  case RAID_COMMAND_CHANGE:
    return RAID_RECORD_SIZE;
  case RAID_COMMAND_LOCK:
    return sizeof(RAID_KEY_RECORD);
  case RAID_COMMAND_REKEY:
    return 2 * sizeof(RAID_KEY_RECORD);
  default:
    return 0;
  }
}

// A request may send a command with an object of another kind, whose size no controller can tell. It is refused here
// when it is too short for what the simulated one would read.
static EFI_STATUS EFIAPI executeGuarded(RAID_MGMT_PROTOCOL *mgmt, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (block->ObjectData != nullptr && __asan_region_is_poisoned(block->ObjectData, dataRead(block)) != nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  return g_simExecute(mgmt, block, result);
}

// Two levels instead of all, so that documents and runs stay short; two disks that are free; a key.
static void shapeSim(SIM_CONTROLLER *sim) {
  constexpr UINT32 LEVEL_1 = 0x04;
  constexpr UINT32 LEVEL_5 = 0x40;
  SIM_ADAPTER &adapter = sim->adapter;
  UINT32 kept = 0;
  for (UINT32 i = 0; i < adapter.levelCount; ++i) {
    if ((adapter.levels[i].RAIDLevel & (LEVEL_1 | LEVEL_5)) != 0) {
      adapter.levels[kept++] = adapter.levels[i];
    }
  }
  mustHold(kept == 2, "levels of the sim");
  adapter.levelCount = kept;
  adapter.supportedRaidLevels = LEVEL_1 | LEVEL_5;
  sim->disks.items[6].hotspare = 0;
  sim->disks.items[7].hotspare = 0;
  sim->key.present = true;
  sim->key.mode = RAID_KEY_MODE_LKM;
  std::strcpy(sim->key.keyId, "fuzz");
  std::memcpy(sim->key.passphrase, "secret", 6);
}

static void startSim() {
  setSystemTable(fuzzFirmware().systemTable());
  SIM_CONTROLLER *sim = nullptr;
  EFI_HANDLE handle = nullptr;
  mustHold(simCreateSized(/* enclosures= */ 1, /* slots= */ 8, /* virtualDisks= */ 2, &sim) == EFI_SUCCESS, "no sim");
  shapeSim(sim);
  g_simExecute = sim->protocol.Execute;
  sim->protocol.Execute = executeGuarded;
  mustHold(simInstall(sim, &handle) == EFI_SUCCESS, "sim not installed");
  fuzzFirmware().bootServices()->ConnectController(handle, nullptr, nullptr, /* Recursive= */ 1);
  g_fuzzSim = {sim, fuzzTable(handle)};
  mustHold(g_fuzzSim.xyl != nullptr, "sim not served");
  g_start = new KEPT_STATE(sim);
}

FUZZ_SIM &fuzzSim() {
  if (g_fuzzSim.sim == nullptr) {
    startSim();
  }
  return g_fuzzSim;
}

void resetFuzzSim() {
  SIM_CONTROLLER *sim = fuzzSim().sim;
  g_start->putBack(sim);
  simClearFaults(sim);
}

void judgeFuzzSim() {
  const SIM_CONTROLLER *sim = fuzzSim().sim;
  const SIM_BOOKS &books = sim->books;
  mustHold(books.mistakeCount == 0, books.mistakeCount == 0 ? "" : books.mistakes[0].reason);
  mustHold(simBooksBalanced(sim), "answers of the controller did not come back");
  const CHAR8 *fault = simStateFault(sim);
  mustHold(fault == nullptr, std::string("controller state: ") + (fault == nullptr ? "" : fault));
}

// --- Operations ---

static char *inPool(const std::string &text) {
  return text.empty() ? nullptr : fuzzFirmware().poolText(text);
}

static void freeIfLeft(char *text) {
  if (text != nullptr && fuzzFirmware().allocated(text)) {
    fuzzFirmware().bootServices()->FreePool(text);
  }
}

bool fuzzParses(const std::string &document) {
  getXMLProto();
  XML_NODE *root = nullptr;
  EFI_STATUS status = g_xmlProtocol->Parse(g_xmlProtocol, document.c_str(), &root);
  FreeXMLNode(root);
  return status == EFI_SUCCESS && root != nullptr;
}

// A document that an operation gave back, which is freed.
static std::string takeText(const RAID_XYL_BUFFER &buffer) {
  if (buffer.Data == nullptr) {
    mustHold(buffer.Size == 0, "a size without a text");
    return {};
  }
  std::string text = static_cast<const char *>(buffer.Data);
  mustHold(buffer.Size == text.size() + 1, "the size of a text");
  fuzzFirmware().bootServices()->FreePool(buffer.Data);
  mustHold(fuzzParses(text), "a text that does not parse: " + text);
  return text;
}

static RAID_XYL_BUFFER bufferOf(char *text, const std::string &from) {
  return {RAID_XYL_REVISION, text == nullptr ? 0 : static_cast<UINT32>(from.size() + 1), text};
}

EFI_STATUS fuzzGet(RAID_XYL_PROTOCOL *xyl, std::string *document) {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER output = {};
  EFI_STATUS status = xyl->Get_Live(xyl, &parameter, &output);
  mustHold((output.Data != nullptr) == !EFI_ERROR(status), "Get_Live: a text if and only if it succeeds");
  *document = takeText(output);
  return status;
}

EFI_STATUS fuzzVerify(RAID_XYL_PROTOCOL *xyl, const std::string &saved) {
  constexpr UINT32 NEVER_BOTH = VERIFY_FW_LOWER | VERIFY_FW_HIGHER;
  constexpr UINT32 ALL = VERIFY_PART_REPLACEMENT | VERIFY_CONFIG_CHANGE | NEVER_BOTH;
  char *text = fuzzFirmware().poolText(saved);
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER document = bufferOf(text, saved);
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof document, &document};
  UINT32 result = 0xFFFFFFFF;
  EFI_STATUS status = xyl->Verify(xyl, &parameter, &input, /* NewData= */ nullptr, &result);
  mustHold((result & ~ALL) == 0 && (result & NEVER_BOTH) != NEVER_BOTH, "Verify: result bits");
  mustHold(!EFI_ERROR(status) || result == 0, "Verify: a result of a failure");
  mustHold(fuzzFirmware().allocated(text) && text == saved, "Verify: the saved document stays the caller's");
  freeIfLeft(text);
  return status;
}

EFI_STATUS fuzzSet(RAID_XYL_PROTOCOL *xyl, const FUZZ_DOCUMENTS &documents, FUZZ_OUTPUT kind) {
  char *options = inPool(documents.options);
  char *saved = inPool(documents.saved);
  char *request = inPool(documents.request);
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[] = {bufferOf(saved, documents.saved), bufferOf(options, documents.options)};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof inputs, inputs};
  RAID_XYL_BUFFER outputs[] = {{RAID_XYL_REVISION, 0, nullptr}, bufferOf(request, documents.request)};
  RAID_XYL_BUFFER output = {RAID_XYL_REVISION, 0, nullptr};
  if (kind == OUTPUT_SMALL) {
    output.Size = sizeof outputs - 1;
  } else if (kind == OUTPUT_NEW_DATA) {
    output = {RAID_XYL_REVISION, sizeof outputs, outputs};
  }
  EFI_STATUS status = xyl->Set_Live(xyl, &parameter, &input, kind == OUTPUT_NULL ? nullptr : &output);
  mustHold(options == nullptr || !fuzzFirmware().allocated(options), "Set_Live: the options are not released");
  mustHold(kind != OUTPUT_SMALL || output.Data == nullptr, "Set_Live: a text in a small output");
  if (kind == OUTPUT_NEW_DATA) {
    std::string log = takeText(outputs[0]);
    mustHold(log.empty() || log.rfind("<RaidConfig", 0) == 0, "Set_Live: another log");
  } else if (kind == OUTPUT_EMPTY) {
    std::string log = takeText(output);
    mustHold(log.empty() || log.rfind("<RaidRestore", 0) == 0, "Set_Live: another log");
  }
  freeIfLeft(saved);
  freeIfLeft(request);
  return status;
}
