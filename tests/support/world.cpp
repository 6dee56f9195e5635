#include "tests/support/world.h"
#include "tests/support/paths.h"

#include <cstring>
#include <fstream>
#include <sstream>

#include "base/pool.h"
#include "base/status_text.h"
#include "driver/binding/binding.h"
#include "providers/debug_log/debug_log_provider.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/xml_service/xml_service.h"

using namespace xyl;

const char *const restoreOptions = "<RunMode><Mode>Restore</Mode><StopOnError>False</StopOnError></RunMode>";
const char *const restoreRebuild = "<RunMode><Mode>Restore</Mode><Raid><PreserveVDConfig>False</PreserveVDConfig>"
                                   "</Raid></RunMode>";
const char *const normal = "<RunMode><Mode>Normal</Mode></RunMode>";

static const EFI_GUID g_xylGuid = RAID_XYL_PROTOCOL_GUID;
static const EFI_GUID g_ringGuid = DEBUG_LOG_RING_PROTOCOL_GUID;

World::World(const WorldOptions &options) {
  firmware.onFree([this](const void *memory, uint64_t size) {
    // The beginning will do: what is decoded or cut anew is a secret, too.
    bool secret =
        memmem(memory, size, PASSPHRASE, 8) != nullptr || memmem(memory, size, PASSPHRASE_BASE64, 8) != nullptr;
    secretsFreed_ += secret ? 1 : 0;
  });
  if (options.xmlService) {
    xmlService_ = loadProvider(xml_service::XmlServiceEntry);
  }
  if (options.debugLog) {
    debugLog_ = loadProvider(debug_log::DebugLogEntry);
  }
  if (options.driver) {
    EXPECT_EQ(name(loadDriver()), name(EFI_SUCCESS));
  }
  if (options.preset != nullptr) {
    // The simulated controller is part of no image here, so nobody else has told its pool about the firmware.
    setSystemTable(firmware.systemTable());
    EXPECT_EQ(name(sim::create(options.preset, &sim)), name(EFI_SUCCESS)) << options.preset;
    EXPECT_EQ(name(sim::install(sim, &controller, options.simFlags)), name(EFI_SUCCESS));
  }
  if (options.connect && driver != nullptr && controller != nullptr) {
    EXPECT_EQ(name(connect()), name(EFI_SUCCESS));
    EXPECT_NE(xyl, nullptr);
  }
  markBalance();
}

World::~World() {
  firmware.failAllocation(0);
  if (driver != nullptr) {
    EXPECT_EQ(name(unloadDriver()), name(EFI_SUCCESS));
  }
  if (sim != nullptr) {
    EXPECT_EQ(name(removeController()), name(EFI_SUCCESS));
  }
  for (EFI_HANDLE provider : {debugLog_, xmlService_}) {
    if (provider != nullptr) {
      EXPECT_EQ(name(firmware.unloadImage(provider)), name(EFI_SUCCESS));
    }
  }
  EXPECT_EQ(firmware.pool().liveAllocations, 0u) << firmware.pool().liveBytes << " bytes leaked";
  EXPECT_EQ(firmware.openProtocols(), std::vector<std::string>{});
  EXPECT_EQ(firmware.complaints(), std::vector<std::string>{});
}

EFI_HANDLE World::loadProvider(host::ImageEntry entry) {
  EFI_HANDLE image = nullptr;
  EXPECT_EQ(name(firmware.loadImage(entry, &image)), name(EFI_SUCCESS));
  return image;
}

EFI_STATUS World::loadDriver() {
  return firmware.loadImage(driver::RaidXylEntry, &driver);
}

EFI_STATUS World::connect() {
  EFI_STATUS status = services->ConnectController(controller, nullptr, nullptr, /* Recursive= */ 1);
  findXyl();
  return status;
}

EFI_STATUS World::disconnect() {
  EFI_STATUS status = services->DisconnectController(controller, driver, nullptr);
  findXyl();
  return status;
}

EFI_STATUS World::unloadDriver() {
  EFI_STATUS status = firmware.unloadImage(driver);
  if (!EFI_ERROR(status)) {
    driver = nullptr;
  }
  findXyl();
  return status;
}

EFI_STATUS World::removeController() {
  EXPECT_TRUE(records::accountingBalanced(&sim->accounting));
  EFI_STATUS status = sim::destroy(sim);
  if (!EFI_ERROR(status)) {
    sim = nullptr;
    controller = nullptr;
  }
  findXyl();
  return status;
}

void World::findXyl() {
  xyl = controller == nullptr ? nullptr : protocolOn<RAID_XYL_PROTOCOL>(controller, g_xylGuid);
  markBalance();
}

void *World::interfaceOn(EFI_HANDLE handle, const EFI_GUID &guid) {
  void *interface = nullptr;
  return EFI_ERROR(services->HandleProtocol(handle, &guid, &interface)) ? nullptr : interface;
}

void World::takeText(OperationAnswer &answer, const RAID_XYL_BUFFER &buffer) {
  if (buffer.Data == nullptr) {
    return;
  }
  answer.hasText = true;
  answer.text = static_cast<const char *>(buffer.Data);
  EXPECT_EQ(buffer.Size, answer.text.size() + 1);
  EXPECT_EQ(name(services->FreePool(buffer.Data)), name(EFI_SUCCESS));
}

// Whether the operation had freed text, which is gone afterwards in any case.
bool World::freeText(char *text) {
  bool freed = text != nullptr && !firmware.allocated(text);
  if (text != nullptr && !freed) {
    wipeBytes(text, std::strlen(text));
    services->FreePool(text);
  }
  return freed;
}

OperationAnswer World::get() {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER output = {};
  OperationAnswer answer;
  answer.status = xyl->Get_Live(xyl, &parameter, &output);
  takeText(answer, output);
  return answer;
}

static RAID_XYL_BUFFER bufferOf(char *text, const char *from) {
  return {RAID_XYL_REVISION, from == nullptr ? 0 : static_cast<UINT32>(std::string(from).size() + 1), text};
}

OperationAnswer World::set(const SetDocuments &documents) {
  auto inPool = [&](const char *text) { return text == nullptr ? nullptr : firmware.poolText(text); };
  char *options = inPool(documents.options);
  char *saved = inPool(documents.saved);
  char *request = inPool(documents.request);
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[] = {bufferOf(saved, documents.saved), bufferOf(options, documents.options)};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof inputs, inputs};
  RAID_XYL_BUFFER outputs[] = {{RAID_XYL_REVISION, 0, nullptr}, bufferOf(request, documents.request)};
  RAID_XYL_BUFFER output = {RAID_XYL_REVISION, 0, nullptr};
  if (request != nullptr) {
    output = {RAID_XYL_REVISION, sizeof outputs, outputs};
  }
  OperationAnswer answer;
  answer.status = xyl->Set_Live(xyl, &parameter, &input, &output);
  takeText(answer, request != nullptr ? outputs[0] : output);
  answer.optionsFreed = freeText(options);
  answer.savedFreed = freeText(saved);
  answer.requestFreed = freeText(request);
  return answer;
}

OperationAnswer World::verify(const std::string &saved) {
  char *text = firmware.poolText(saved);
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER document = bufferOf(text, saved.c_str());
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof document, &document};
  RAID_XYL_BUFFER newData = {RAID_XYL_REVISION, 0, nullptr};
  OperationAnswer answer;
  answer.status = xyl->Verify(xyl, &parameter, &input, &newData, &answer.result);
  EXPECT_FALSE(freeText(text)) << "the saved document of Verify stays the caller's";
  return answer;
}

DEBUG_LOG_RING_PROTOCOL *World::ring() {
  auto *found = protocolOn<DEBUG_LOG_RING_PROTOCOL>(debugLog_, g_ringGuid);
  EXPECT_NE(found, nullptr) << "this world has no log";
  return found;
}

std::string World::log() {
  DEBUG_LOG_RING_PROTOCOL *kept = ring();
  char *text = nullptr;
  firmware.failAllocation(0);
  if (kept == nullptr || EFI_ERROR(kept->GetText(kept, &text))) {
    return {};
  }
  std::string lines = text;
  services->FreePool(text);
  return lines;
}

void World::clearLog() {
  if (DEBUG_LOG_RING_PROTOCOL *kept = ring()) {
    kept->Clear(kept);
  }
}

World::Balance World::balance() const {
  const host::PoolBooks &pool = firmware.pool();
  return {pool.liveAllocations, pool.liveBytes - (sim == nullptr ? 0 : sim::poolBytes(sim)),
          firmware.openProtocols().size()};
}

void World::markBalance() {
  mark_ = balance();
}

void World::expectBalanced(const std::string &where) {
  EXPECT_EQ(balance(), mark_) << where << ": allocations, bytes, open protocols";
  EXPECT_EQ(firmware.complaints(), std::vector<std::string>{}) << where;
  EXPECT_EQ(secretsFreed_, 0) << where << ": the passphrase was given back";
  if (sim != nullptr) {
    EXPECT_TRUE(records::accountingBalanced(&sim->accounting)) << where;
  }
}

std::string sourceFile(const std::string &name) {
  std::ifstream file(sourceDir() + "/" + name, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  EXPECT_TRUE(file.good()) << name;
  return text.str();
}

void expectGolden(const std::string &name, const std::string &text) {
  if (std::getenv("GOLDEN") != nullptr) {
    std::ofstream(sourceDir() + "/tests/" + name, std::ios::binary) << text;
  }
  EXPECT_EQ(text, sourceFile("tests/" + name)) << name;
}

// The text from before to after, or empty.
static std::string between(const std::string &text, const std::string &before, const std::string &after) {
  size_t begin = text.find(before), end = begin == std::string::npos ? begin : text.find(after, begin + before.size());
  return end == std::string::npos ? "" : text.substr(begin + before.size(), end - begin - before.size());
}

std::vector<Step> stepsOf(const std::string &log) {
  std::vector<Step> steps;
  for (size_t at = log.find("<Operation"), next; at != std::string::npos; at = next) {
    next = log.find("<Operation", at + 1);
    std::string step = log.substr(at, next - at);
    steps.push_back(
        {between(step, "name=\"", "\""), between(step, "<Status>", "<"), between(step, "<ErrorCode>", "<")});
  }
  return steps;
}

std::string stepLine(const std::string &log) {
  std::string line;
  for (const Step &step : stepsOf(log)) {
    EXPECT_EQ(step.status, step.code == "0" ? "Success" : "Fail") << step.name;
    line += (line.empty() ? "" : ", ") + step.name + (step.code == "0" ? "" : " " + step.code);
  }
  return line;
}

std::string repeated(size_t count, const std::string &text) {
  std::string all;
  for (all.reserve(count * text.size()); count > 0; --count) {
    all += text;
  }
  return all;
}

size_t countOf(const std::string &text, const std::string &part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

std::string name(EFI_STATUS status) {
  const CHAR8 *text = statusText(status);
  return text != nullptr ? text : "status " + std::to_string(status);
}
