// The face of the host firmware: what tests and the host client call.

#include "host/firmware/firmware.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "host/firmware/state.h"

namespace xyl::host {

// Wrong use of the firmware itself, by a test and not by a driver.
static void require(bool holds, const char *what) {
  if (!holds) {
    std::fprintf(stderr, "host firmware: %s\n", what);
    std::abort();
  }
}

static Service requireService(const std::string &name) {
  Service service = serviceNamed(name);
  require(service != serviceCount, ("no boot service " + name).c_str());
  return service;
}

Firmware::Firmware() : state_(new FirmwareState) {
  require(g_firmware == nullptr, "only one at a time");
  g_firmware = state_;
  consoleOpen(state_->console);
  fillTables();
}

Firmware::~Firmware() {
  consoleClose();
  g_firmware = nullptr;
  delete state_;
}

EFI_SYSTEM_TABLE *Firmware::systemTable() {
  return &state_->systemTable;
}

EFI_BOOT_SERVICES *Firmware::bootServices() {
  return &state_->bootServices;
}

EFI_STATUS Firmware::loadImage(ImageEntry entry, EFI_HANDLE *image, const std::u16string &loadOptions) {
  return startImage(entry, image, loadOptions);
}

EFI_STATUS Firmware::unloadImage(EFI_HANDLE image) {
  return unloadImageOn(image);
}

const PoolBooks &Firmware::pool() const {
  return state_->pool.books;
}

void Firmware::failAllocation(uint64_t nth, FailMode mode, uint64_t again) {
  state_->pool.failFrom(nth, mode, again);
}

bool Firmware::allocationFailed() const {
  return state_->pool.failed;
}

char *Firmware::poolText(const std::string &text) {
  char *memory = static_cast<char *>(state_->pool.take(text.size() + 1));
  require(memory != nullptr, "out of memory");
  std::memcpy(memory, text.c_str(), text.size() + 1);
  return memory;
}

bool Firmware::allocated(const void *memory) const {
  return state_->pool.holds(memory);
}

void Firmware::failService(const std::string &service, uint64_t nth, EFI_STATUS status) {
  require(nth == 0 || EFI_ERROR(status), "a failing service needs an error status");
  ServiceBook &book = state_->services[requireService(service)];
  book.failIn = nth;
  book.status = status;
}

uint64_t Firmware::serviceCalls(const std::string &service) const {
  return state_->services[requireService(service)].calls;
}

void Firmware::signalGroup(const EFI_GUID &group) {
  std::map<EFI_EVENT, GroupEvent> waiting = state_->events;
  for (auto &[event, what] : waiting) {
    if (guidEqual(what.group, group)) {
      EFI_TPL before = state_->bootServices.RaiseTPL(EFI_TPL_CALLBACK);
      what.notify(event, const_cast<void *>(what.context));
      state_->bootServices.RestoreTPL(before);
    }
  }
}

size_t Firmware::liveEvents() const {
  return state_->events.size();
}

std::string Firmware::takeConsole() {
  return std::exchange(state_->console.written, {});
}

uint64_t Firmware::consoleCalls() const {
  return state_->console.calls;
}

void Firmware::setConsolePresent(bool present) {
  state_->systemTable.ConOut = present ? &state_->console.out : nullptr;
}

void Firmware::typeKeys(const std::string &keys) {
  for (unsigned char key : keys) {
    state_->console.keys.push_back(key);
  }
}

const std::vector<std::string> &Firmware::complaints() const {
  state_->pool.audit();
  return state_->complaints;
}

std::vector<std::string> Firmware::takeComplaints() {
  state_->pool.audit();
  return std::exchange(state_->complaints, {});
}

std::vector<std::string> Firmware::openProtocols() const {
  return state_->database.heldOpen();
}

void Firmware::onFree(std::function<void(const void *, uint64_t)> observer) {
  state_->pool.observer = std::move(observer);
}

} // namespace xyl::host
