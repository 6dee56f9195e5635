#include "bench/measured_world.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <utility>

#include "base/pool.h"
#include "base/status_text.h"
#include "bench/image.h"
#include "driver/binding/binding.h"
#include "driver/xml/xml.h"
#include "providers/sim_controller/presets.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/xml_service/xml_service.h"

using namespace xyl;

double cpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

void mustSucceed(EFI_STATUS status, const char *what) {
  if (EFI_ERROR(status)) {
    std::fprintf(stderr, "benchmark: %s: %s\n", what, statusText(status));
    std::exit(1);
  }
}

// --- The pool. A mark in front of each block tells it from what the firmware allocates for its caller by itself. ---

static constexpr uint64_t poolMark = 0x6B72616D6C6F6F70ULL;

struct PoolHeader {
  uint64_t mark;
  uint64_t size;
};

static MeasuredCounts g_counts;
static uint64_t g_liveAtReset;
static uint64_t g_liveBytes;
static EFI_STATUS(EFIAPI *g_firmwareFree)(void *);

static void count(uint64_t size) {
  ++g_counts.allocations;
  g_liveBytes += size;
  if (g_liveBytes > g_liveAtReset && g_liveBytes - g_liveAtReset > g_counts.peakBytes) {
    g_counts.peakBytes = g_liveBytes - g_liveAtReset;
  }
}

static EFI_STATUS EFIAPI allocatePool(int, UINTN size, void **buffer) {
  auto *header = static_cast<PoolHeader *>(std::malloc(sizeof(PoolHeader) + size));
  if (header == nullptr) {
    return EFI_OUT_OF_RESOURCES;
  }
  *header = {poolMark, size};
  *buffer = header + 1;
  count(size);
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI freePool(void *buffer) {
  PoolHeader *header = static_cast<PoolHeader *>(buffer) - 1;
  if (header->mark != poolMark) {
    return g_firmwareFree(buffer);
  }
  g_liveBytes -= header->size;
  header->mark = 0;
  std::free(header);
  return EFI_SUCCESS;
}

// --- Pages, as firmware gives them out: the first run of free ones that is long enough; what is freed joins its
// neighbours. They come from the allocator of all sides, which would not join pages that it has once aligned. ---

static constexpr UINTN arenaSize = UINTN{2} << 30; // taken from the kernel as far as it is used

// Free bytes by address.
static std::map<UINT64, UINTN> newArena() {
  void *arena = std::aligned_alloc(EFI_PAGE_SIZE, arenaSize);
  return arena == nullptr ? std::map<UINT64, UINTN>()
                          : std::map<UINT64, UINTN>{{reinterpret_cast<UINT64>(arena), arenaSize}};
}

static std::map<UINT64, UINTN> &freeRuns() {
  static std::map<UINT64, UINTN> runs = newArena();
  return runs;
}

static EFI_STATUS EFIAPI allocatePages(int, int, UINTN pages, UINT64 *memory) {
  UINTN size = pages * EFI_PAGE_SIZE;
  auto &runs = freeRuns();
  auto run = std::find_if(runs.begin(), runs.end(), [&](const auto &each) { return each.second >= size; });
  if (run == runs.end()) {
    return EFI_OUT_OF_RESOURCES;
  }
  *memory = run->first;
  if (run->second > size) {
    runs.emplace_hint(run, run->first + size, run->second - size);
  }
  runs.erase(run);
  count(size);
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI freePages(UINT64 memory, UINTN pages) {
  UINTN size = pages * EFI_PAGE_SIZE;
  g_liveBytes -= size;
  auto &runs = freeRuns();
  auto run = runs.emplace(memory, size).first;
  auto next = std::next(run);
  if (next != runs.end() && run->first + run->second == next->first) {
    run->second += next->second;
    runs.erase(next);
  }
  if (run != runs.begin() && std::prev(run)->first + std::prev(run)->second == run->first) {
    std::prev(run)->second += run->second;
    runs.erase(run);
  }
  return EFI_SUCCESS;
}

// --- The controller's protocol with a clock around it ---

static RAID_MGMT_PROTOCOL g_controller; // as the controllers provide it
static std::function<void()> g_happening;

static EFI_STATUS EFIAPI timedExecute(RAID_MGMT_PROTOCOL *This, RAID_CMD_BLOCK *block, RAID_CMD_RESULT *result) {
  if (g_happening != nullptr) {
    std::exchange(g_happening, nullptr)();
  }
  double start = cpuSeconds();
  EFI_STATUS status = g_controller.Execute(This, block, result);
  g_counts.controllerSeconds += cpuSeconds() - start;
  return status;
}

static EFI_STATUS EFIAPI timedFreeRecords(RAID_MGMT_PROTOCOL *This, void *data, UINT32 count) {
  double start = cpuSeconds();
  EFI_STATUS status = g_controller.FreeRecords(This, data, count);
  g_counts.controllerSeconds += cpuSeconds() - start;
  return status;
}

// --- The world ---

MeasuredWorld::MeasuredWorld() {
  EFI_BOOT_SERVICES *services = firmware_.bootServices();
  g_firmwareFree = services->FreePool;
  services->AllocatePool = allocatePool;
  services->FreePool = freePool;
  services->AllocatePages = allocatePages;
  services->FreePages = freePages;
  setSystemTable(firmware_.systemTable());
  driver::g_xmlProtocol = nullptr; // what the client's routines found in the world before
  load("XmlService.efi", xml_service::XmlServiceEntry);
  static const EFI_GUID xmlGuid = XML_PROTOCOL_GUID;
  mustSucceed(services->LocateProtocol(&xmlGuid, nullptr, reinterpret_cast<void **>(&xml)), "XML service");
}

MeasuredWorld::MeasuredWorld(const ControllerKind &kind) : MeasuredWorld() {
  load("RaidXyl.efi", driver::RaidXylEntry);
  add(kind);
}

void MeasuredWorld::add(const ControllerKind &kind) {
  mustSucceed(kind.preset != nullptr ? sim::create(kind.preset, &sim_)
                                     : sim::createSized(kind.enclosures, kind.slots, kind.virtualDisks, &sim_),
              "controller");
  EFI_HANDLE controller = nullptr;
  mustSucceed(sim::install(sim_, &controller), "install");
  served_.push_back({sim_, serve(controller)});
  g_controller = sim_->protocol;
  sim_->protocol.Execute = timedExecute;
  sim_->protocol.FreeRecords = timedFreeRecords;
  select(served_.size() - 1);
}

void MeasuredWorld::select(size_t controller) {
  sim_ = served_[controller].sim;
  operations_ = served_[controller].operations;
}

void MeasuredWorld::during(std::function<void()> happening) {
  g_happening = std::move(happening);
}

static const EFI_GUID g_mgmtGuid = RAID_MGMT_PROTOCOL_GUID;

MeasuredWorld::MeasuredWorld(RAID_MGMT_PROTOCOL &controller) : MeasuredWorld() {
  load("RaidXyl.efi", driver::RaidXylEntry);
  other_ = &controller;
  mustSucceed(
      firmware_.bootServices()->InstallProtocolInterface(&otherHandle_, &g_mgmtGuid, EFI_NATIVE_INTERFACE, other_),
      "install");
  operations_ = serve(otherHandle_);
}

RAID_XYL_PROTOCOL *MeasuredWorld::serve(EFI_HANDLE controller) {
  EFI_BOOT_SERVICES *services = firmware_.bootServices();
  mustSucceed(services->ConnectController(controller, nullptr, nullptr, 1), "connect");
  static const EFI_GUID xylGuid = RAID_XYL_PROTOCOL_GUID;
  RAID_XYL_PROTOCOL *operations = nullptr;
  mustSucceed(services->HandleProtocol(controller, &xylGuid, reinterpret_cast<void **>(&operations)), "driver");
  return operations;
}

MeasuredWorld::~MeasuredWorld() {
  for (HeldAnswer &held : held_) {
    g_controller.FreeRecords(&sim_->protocol, held.data, held.count);
  }
  for (Served &served : served_) {
    mustSucceed(sim::destroy(served.sim), "controller removed");
  }
  if (other_ != nullptr) {
    EFI_BOOT_SERVICES *services = firmware_.bootServices();
    mustSucceed(services->DisconnectController(otherHandle_, nullptr, nullptr), "disconnect");
    mustSucceed(services->UninstallProtocolInterface(otherHandle_, &g_mgmtGuid, other_), "uninstall");
  }
  for (; !images_.empty(); images_.pop_back()) {
    mustSucceed(firmware_.unloadImage(images_.back()), "unload");
  }
}

void MeasuredWorld::load(const char *image, host::ImageEntry builtIn) {
  EFI_HANDLE handle = nullptr;
  mustSucceed(firmware_.loadImage(g_imageFolder.empty() ? builtIn : imageEntry(image), &handle), image);
  images_.push_back(handle);
}

void MeasuredWorld::resetCounts() {
  g_counts = {};
  g_liveAtReset = g_liveBytes;
}

MeasuredCounts MeasuredWorld::counts() const {
  MeasuredCounts counts = g_counts;
  counts.liveBytes = g_liveBytes - g_liveAtReset;
  return counts;
}

uint64_t MeasuredWorld::liveBytes() const {
  return g_liveBytes;
}

void MeasuredWorld::get() {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER output = {};
  mustSucceed(operations_->Get_Live(operations_, &parameter, &output), "Get_Live");
  poolFree(output.Data);
}

std::string MeasuredWorld::document() {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER output = {};
  mustSucceed(operations_->Get_Live(operations_, &parameter, &output), "Get_Live");
  std::string text = static_cast<char *>(output.Data);
  poolFree(output.Data);
  return text;
}

void MeasuredWorld::verify(const std::string &saved) {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER documents[2] = {
      {RAID_XYL_REVISION, static_cast<UINT32>(saved.size() + 1), const_cast<char *>(saved.c_str())}, {}};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof documents, documents};
  UINT32 result = 0;
  mustSucceed(operations_->Verify(operations_, &parameter, &input, nullptr, &result), "Verify");
  if (result != 0) {
    mustSucceed(EFI_ABORTED, "Verify found a difference");
  }
}

static RAID_XYL_BUFFER poolCopy(const std::string &text) {
  if (text.empty()) {
    return {RAID_XYL_REVISION, 0, nullptr};
  }
  void *copy = poolAllocate(text.size() + 1);
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return {RAID_XYL_REVISION, static_cast<UINT32>(text.size() + 1), copy};
}

double MeasuredWorld::set(const std::string &options, const std::string &saved, const std::string &request) {
  RAID_XYL_PARAMETER parameter = {RAID_XYL_REVISION, 0};
  RAID_XYL_BUFFER inputs[2] = {poolCopy(saved), poolCopy(options)};
  RAID_XYL_BUFFER input = {RAID_XYL_REVISION, sizeof inputs, inputs};
  RAID_XYL_BUFFER outputs[2] = {{RAID_XYL_REVISION, 0, nullptr}, poolCopy(request)};
  RAID_XYL_BUFFER output = {RAID_XYL_REVISION, request.empty() ? 0U : static_cast<UINT32>(sizeof outputs),
                            request.empty() ? nullptr : outputs};
  resetCounts();
  double start = cpuSeconds();
  mustSucceed(operations_->Set_Live(operations_, &parameter, &input, &output), "Set_Live");
  double seconds = cpuSeconds() - start;
  poolFree(request.empty() ? output.Data : outputs[0].Data);
  return seconds;
}

void *MeasuredWorld::answer(UINT32 command, UINT32 objectType, UINT32 *count) {
  RAID_CMD_BLOCK block = {};
  block.Command = command;
  block.ObjectType = objectType;
  RAID_CMD_RESULT result = {};
  g_controller.Execute(&sim_->protocol, &block, &result); // a controller without such objects answers nothing
  *count = result.DataSize >> RAID_RECORD_SHIFT;
  if (result.Data != nullptr) {
    held_.push_back({result.Data, *count});
  }
  return result.Data;
}

RAID_CONFIG MeasuredWorld::records() {
  RAID_CONFIG config = {};
  UINT32 one = 0;
  config.adapter = static_cast<RAID_ADAPTER_RECORD *>(answer(RAID_COMMAND_GET, RAID_OBJECT_ADAPTER, &one));
  config.enclosures =
      static_cast<RAID_ENCLOSURE_RECORD *>(answer(RAID_COMMAND_GET, RAID_OBJECT_ENCLOSURE, &config.enclosureCount));
  config.physicalDisks =
      static_cast<RAID_PD_RECORD *>(answer(RAID_COMMAND_GET, RAID_OBJECT_PHYSICAL_DISK, &config.physicalDiskCount));
  config.logicalDisks =
      static_cast<RAID_VD_RECORD *>(answer(RAID_COMMAND_GET, RAID_OBJECT_VIRTUAL_DISK, &config.logicalDiskCount));
  config.keyId = static_cast<CHAR8 *>(answer(RAID_COMMAND_GET_KEY_ID, RAID_OBJECT_ADAPTER, &one));
  return config;
}
