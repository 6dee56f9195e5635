// The host's stand-in for UEFI firmware: boot services over a handle and protocol database, a pool with strict books, a
// recording console, and images. One Firmware exists at a time; everything runs on one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/firmware/block_device.h"
#include "uefi/protocols.h"

namespace xyl::host {

using ImageEntry = EFI_STATUS(EFIAPI *)(EFI_HANDLE image, EFI_SYSTEM_TABLE *systemTable);

// What the pool holds and has done.
struct PoolBooks {
  uint64_t liveAllocations = 0;
  uint64_t liveBytes = 0;
  uint64_t peakBytes = 0;
  uint64_t totalBytes = 0;        // of all that were not failed
  uint64_t totalAllocations = 0;  // attempts, failed ones included
  uint64_t failedAllocations = 0; // on purpose, by failAllocation
};

enum class FailMode { once, fromThenOn };

struct FirmwareState;

class Firmware {
public:
  Firmware();
  ~Firmware();
  Firmware(const Firmware &) = delete;
  Firmware &operator=(const Firmware &) = delete;

  EFI_SYSTEM_TABLE *systemTable();
  EFI_BOOT_SERVICES *bootServices();

  // Creates an image handle with a loaded-image protocol and calls entry. When entry fails the image is dropped as
  // firmware does, and what it left installed on its handle is a complaint. *image is null then. loadOptions are handed
  // over with their NUL; without any the image gets none.
  EFI_STATUS loadImage(ImageEntry entry, EFI_HANDLE *image, const std::u16string &loadOptions = {});
  // Calls the image's Unload and drops it on success; what it then still has installed on its handle or holds open is a
  // complaint. EFI_UNSUPPORTED for an image without Unload, EFI_INVALID_PARAMETER for a handle that is no image.
  EFI_STATUS unloadImage(EFI_HANDLE image);

  const PoolBooks &pool() const;
  // Fails the Nth allocation from now on (1 is the next), once or with all later ones; 0 switches failing off. With
  // again not 0 the again-th after the one that failed once fails too.
  void failAllocation(uint64_t nth, FailMode mode = FailMode::once, uint64_t again = 0);
  // Whether an allocation has been failed since failing was last switched on.
  bool allocationFailed() const;
  // A pool copy of text with its NUL, for a caller of the driver to hand over: never failed, and no attempt that
  // failAllocation counts.
  char *poolText(const std::string &text);
  // Whether memory is a live pool allocation.
  bool allocated(const void *memory) const;

  // Makes the named boot service fail with status from its nth call on from now, once; under the name that the table
  // has for it.
  void failService(const std::string &service, uint64_t nth, EFI_STATUS status);
  // How often the named boot service was called since construction.
  uint64_t serviceCalls(const std::string &service) const;

  // Calls what waits for an event group, as firmware does at EFI_TPL_CALLBACK.
  void signalGroup(const EFI_GUID &group);
  // Events that were created and not closed.
  size_t liveEvents() const;

  // What was written to the console since the last call, as UTF-8 with line feeds.
  std::string takeConsole();
  // How many calls have written to the console so far.
  uint64_t consoleCalls() const;
  // Removes or restores the system table's ConOut.
  void setConsolePresent(bool present);
  // Characters that ConIn gives to the reader, in order.
  void typeKeys(const std::string &keys);

  // Misuse that the books noticed: damaged guard bytes, double and foreign frees, writes into freed memory, protocols
  // left open or installed by an image that is gone. Each is one line; empty when all is well.
  const std::vector<std::string> &complaints() const;
  // The same, and they are forgotten: for tests that provoke them.
  std::vector<std::string> takeComplaints();
  // What stands open BY_DRIVER, BY_CHILD_CONTROLLER or EXCLUSIVE, one line each.
  std::vector<std::string> openProtocols() const;

  // Called with every block just before it is given back, so that a test can look for secrets in it.
  void onFree(std::function<void(const void *memory, uint64_t size)> observer);

private:
  FirmwareState *state_;
};

} // namespace xyl::host
