#include "host/platform/platform.h"

#include <ctime>
#include <random>

#include "base/status_text.h"
#include "driver/binding/binding.h"
#include "providers/debug_log/debug_log_provider.h"
#include "providers/disk_controller/disk_controller.h"
#include "providers/sim_controller/sim_controller.h"
#include "providers/xml_service/xml_service.h"

namespace xyl::host {

// Nobody sees a log that was not asked for, and its lines are many.
static std::u16string logOptions(const std::string &level) {
  if (level.empty()) {
    return u"error";
  }
  std::u16string options = u"console";
  return level == "trace" ? options : options + u" " + std::u16string(level.begin(), level.end());
}

// The host's clock; that of the host firmware stands still.
static EFI_STATUS EFIAPI getTime(EFI_TIME *time, void *) {
  std::time_t seconds = std::time(nullptr);
  std::tm utc = {};
  if (gmtime_r(&seconds, &utc) == nullptr) {
    return EFI_DEVICE_ERROR;
  }
  auto byte = [](int number) { return static_cast<UINT8>(number); };
  *time = {};
  time->Year = static_cast<UINT16>(utc.tm_year + 1900);
  time->Month = byte(utc.tm_mon + 1);
  time->Day = byte(utc.tm_mday);
  time->Hour = byte(utc.tm_hour);
  time->Minute = byte(utc.tm_min);
  time->Second = byte(utc.tm_sec);
  return EFI_SUCCESS;
}

// A count that never comes back; that of the host firmware starts anew in each run.
static EFI_STATUS EFIAPI getNextMonotonicCount(UINT64 *count) {
  std::random_device source;
  *count = static_cast<UINT64>(source()) << 32 | source();
  return EFI_SUCCESS;
}

Platform::Platform(const PlatformOptions &options)
    : options_(options), steps_(firmware_.bootServices(), options.onStep) {
  firmware_.bootServices()->GetNextMonotonicCount = getNextMonotonicCount;
  firmware_.systemTable()->RuntimeServices->GetTime = getTime;
  setSystemTable(firmware_.systemTable());
  loadLog();
  load(xml_service::XmlServiceEntry, "the XML service");
  if (!options_.controllerFile.empty()) {
    loadController();
  } else if (!options_.preset.empty()) {
    sim_ = makePreset(options_.preset);
  } else if (!options_.disks.empty()) {
    loadDisks();
  } else {
    return;
  }
  load(driver::RaidXylEntry, "the driver");
  sim_ != nullptr ? connectSimulated() : connectDisks();
}

void Platform::loadLog() {
  static const EFI_GUID logGuid = DEBUG_LOG_PROTOCOL_GUID;
  load(debug_log::DebugLogEntry, "the log provider", logOptions(options_.logLevel));
  void *log = nullptr;
  if (!EFI_ERROR(firmware_.bootServices()->HandleProtocol(images_.back(), &logGuid, &log))) {
    steps_.handOnTo(static_cast<DEBUG_LOG_PROTOCOL *>(log));
  }
}

void Platform::loadDisks() {
  StoreAccess access = options_.changes ? StoreAccess::readWrite : StoreAccess::readOnly;
  for (const std::string &name : options_.disks) {
    std::string problem;
    std::unique_ptr<SectorStore> store = openStore(name, access, &problem);
    if (store == nullptr) {
      problem.insert(0, "disk '" + name + "' cannot be used: ");
      throw ClientError(EFI_NOT_FOUND, problem);
    }
    disks_.push_back(std::make_unique<BlockDevice>(std::move(store), static_cast<uint16_t>(disks_.size())));
  }
  load(disk_controller::RaidDisksEntry, "the controller over disks");
}

void Platform::connectDisks() {
  static const EFI_GUID managementGuid = RAID_MGMT_PROTOCOL_GUID;
  EFI_BOOT_SERVICES *services = firmware_.bootServices();
  UINTN count = 0;
  EFI_HANDLE *handles = nullptr;
  EFI_STATUS status = services->LocateHandleBuffer(ByProtocol, &managementGuid, nullptr, &count, &handles);
  if (EFI_ERROR(status)) {
    throw ClientError(status, std::string("the controller over disks is not there: ") + statusText(status));
  }
  overDisks_ = handles[0];
  services->FreePool(handles);
  status = services->ConnectController(overDisks_, nullptr, nullptr, /* Recursive= */ 1);
  showsConsole_ = EFI_ERROR(status) || !options_.logLevel.empty();
}

void Platform::loadController() {
  if (!options_.changes) {
    sim_ = xyl::host::loadController(options_.controllerFile);
    if (sim_->faultCount == 0) {
      return; // nothing to save, so nobody has to wait
    }
    sim_.reset();
    options_.changes = true;
  }
  lockController(options_.controllerFile, &lock_);
  sim_ = xyl::host::loadController(options_.controllerFile);
}

void Platform::load(ImageEntry entry, const char *name, const std::u16string &options) {
  EFI_HANDLE image = nullptr;
  EFI_STATUS status = firmware_.loadImage(entry, &image, options);
  if (EFI_ERROR(status)) {
    throw ClientError(status, std::string(name) + " does not start: " + statusText(status));
  }
  images_.push_back(image);
}

void Platform::connectSimulated() {
  EFI_HANDLE controller = nullptr;
  EFI_STATUS status = sim::install(sim_.get(), &controller);
  if (EFI_ERROR(status)) {
    throw ClientError(status, std::string("the simulated controller cannot be installed: ") + statusText(status));
  }
  // At a machine the driver was bound long before somebody plans a fault, and the fault is meant for the command.
  UINT32 pending = sim_->faultCount;
  sim_->faultCount = 0;
  status = firmware_.bootServices()->ConnectController(controller, nullptr, nullptr, /* Recursive= */ 1);
  sim_->faultCount = pending;
  // A driver that declines the controller says why on the console, and the command then finds nothing bound.
  showsConsole_ = EFI_ERROR(status) || !options_.logLevel.empty();
}

std::string Platform::takeConsole() {
  std::string text = firmware_.takeConsole();
  return showsConsole_ ? text : "";
}

void Platform::saveController() {
  if (!options_.controllerFile.empty() && options_.changes) {
    xyl::host::saveController(options_.controllerFile, *sim_);
  }
}

std::vector<std::string> Platform::close(bool namesWereAsked) {
  std::vector<std::string> faults;
  if (sim_ != nullptr) {
    firmware_.bootServices()->DisconnectController(sim_->handle, nullptr, nullptr);
    // The record behind a controller's name stays out by contract.
    if (sim_->accounting.mistakeCount != 0 || (!namesWereAsked && !records::accountingBalanced(&sim_->accounting))) {
      faults.push_back("the records that the controller handed out did not come back as they should");
    }
    sim_.reset();
  }
  if (overDisks_ != nullptr) {
    firmware_.bootServices()->DisconnectController(overDisks_, nullptr, nullptr);
  }
  for (; !images_.empty(); images_.pop_back()) {
    EFI_STATUS status = firmware_.unloadImage(images_.back());
    if (EFI_ERROR(status)) {
      faults.push_back(std::string("an image cannot be unloaded: ") + statusText(status));
    }
  }
  disks_.clear();
  for (const std::string &complaint : firmware_.complaints()) {
    faults.push_back(complaint);
  }
  if (firmware_.pool().liveAllocations != 0) {
    faults.push_back("pool memory is left: " + std::to_string(firmware_.pool().liveBytes) + " bytes in " +
                     std::to_string(firmware_.pool().liveAllocations) + " allocations");
  }
  return faults;
}

} // namespace xyl::host
