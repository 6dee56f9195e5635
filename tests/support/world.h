// The fixture of the host tests: a firmware with the driver, the providers and a simulated controller in it.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "debug_log_ring.h"
#include "host/firmware/firmware.h"
#include "providers/sim_controller/state.h"
#include "raid_xyl.h"

using namespace xyl;

struct WorldOptions {
  const char *preset = "demo"; // null: no controller
  UINT32 simFlags = 0;         // of install
  bool xmlService = true;
  bool debugLog = true;
  bool driver = true;
  bool connect = true; // with a driver and a controller
};

// What Get_Live, Verify and Set_Live gave back. Texts are copies; the pool texts have been freed.
struct OperationAnswer {
  EFI_STATUS status = EFI_SUCCESS;
  bool hasText = false;
  std::string text;
  UINT32 result = 0; // of Verify
  // Which input texts Set_Live freed.
  bool optionsFreed = false;
  bool savedFreed = false;
  bool requestFreed = false;
};

// The documents of a Set_Live; null ones are left out.
struct SetDocuments {
  const char *options = nullptr;
  const char *saved = nullptr;
  const char *request = nullptr;
};

// Run-time options documents.
extern const char *const restoreOptions; // preserves virtual disks, goes on after errors
extern const char *const restoreRebuild; // does not preserve virtual disks
extern const char *const normal;

// The passphrase of the tests, plain and as documents carry it.
#define PASSPHRASE "Tarn-Secret-0815"
#define PASSPHRASE_BASE64 "VGFybi1TZWNyZXQtMDgxNQ=="

// Unloads everything when it goes and expects then that the pool is empty, that what the controller handed out came
// back, that no protocol is open and that the firmware has no complaint.
class World {
public:
  explicit World(const WorldOptions &options = {});
  explicit World(const char *preset) : World(WorldOptions{.preset = preset}) {}
  ~World();
  World(const World &) = delete;
  World &operator=(const World &) = delete;

  // Steps that the constructor does unless the options say no.
  EFI_STATUS loadDriver();
  EFI_STATUS connect(); // finds xyl too
  EFI_STATUS disconnect();
  EFI_STATUS unloadDriver();
  // Takes down the controller; the driver is stopped on it first.
  EFI_STATUS removeController();

  OperationAnswer get();
  OperationAnswer set(const SetDocuments &documents);
  OperationAnswer verify(const std::string &saved);

  // The lines that the log kept ("LEVEL function: text"; failing allocations are switched off for it), and what the
  // console got since the last call.
  std::string log();
  void clearLog();
  std::string console() { return firmware.takeConsole(); }

  // The interface on a handle, or null.
  template <class T> T *protocolOn(EFI_HANDLE handle, const EFI_GUID &guid) {
    return static_cast<T *>(interfaceOn(handle, guid));
  }

  // Pool, controller accounting, open protocols and complaints are as they were at the last mark, and no block that
  // went back to the pool held the passphrase. The constructor leaves a mark, connect, disconnect and the like another.
  void markBalance();
  void expectBalanced(const std::string &where = {});

  host::Firmware firmware;
  EFI_BOOT_SERVICES *services = firmware.bootServices();
  EFI_HANDLE driver = nullptr; // the driver's image
  sim::Controller *sim = nullptr;
  EFI_HANDLE controller = nullptr;
  RAID_XYL_PROTOCOL *xyl = nullptr; // null while not served

private:
  // Live allocations, their bytes without what the controller keeps for itself, and open protocols.
  using Balance = std::vector<uint64_t>;

  EFI_HANDLE loadProvider(host::ImageEntry entry);
  DEBUG_LOG_RING_PROTOCOL *ring();
  void *interfaceOn(EFI_HANDLE handle, const EFI_GUID &guid);
  void findXyl();
  // The text behind a buffer that an operation filled, which is then freed.
  void takeText(OperationAnswer &answer, const RAID_XYL_BUFFER &buffer);
  bool freeText(char *text);
  Balance balance() const;

  EFI_HANDLE xmlService_ = nullptr;
  EFI_HANDLE debugLog_ = nullptr;
  Balance mark_;
  int secretsFreed_ = 0; // blocks
};

// A run of one operation with the Nth allocation, element or controller command failing, for N = 1, 2, 3 ..., once each
// with that one failing and with all from it on, until nothing was left to fail. That last run must give the wanted
// status and not be the first. After every run the world must be balanced.
struct Sweep {
  WorldOptions world;
  // Runs in a world of its own each time, unless the operation changes nothing, or undoes beforehand what the run
  // before it changed.
  bool keepsWorld = false;
  // Called before the failing is switched on.
  std::function<void(World &)> prepare;
  std::function<EFI_STATUS(World &)> operation;
  // What must hold after a run in which something failed, beside the balance. Without one any status will do.
  std::function<void(World &, EFI_STATUS)> afterFailure;
  EFI_STATUS commandStatus = EFI_DEVICE_ERROR; // of failing commands
  EFI_STATUS wanted = EFI_SUCCESS;             // when nothing fails
};

void sweepAllocations(const Sweep &sweep);
// The same with the elements that the driver asks the XML service for, if any, and how many the last run did not get.
void sweepElements(const Sweep &sweep);
uint64_t failedElements();
void sweepCommands(const Sweep &sweep);
// The same with answers that are none, too short or longer than their records.
void sweepAnswers(const Sweep &sweep);
// The same with two that fail, each once: every pair of allocations, of commands, and of a command and an allocation.
void sweepPairs(const Sweep &sweep);

// What a file of the sources holds.
std::string sourceFile(const std::string &name);

// The text must be that of a file of tests/. With GOLDEN in the environment the file gets the text instead, and whoever
// set it reads what 'git diff' then shows.
void expectGolden(const std::string &name, const std::string &text);

// An operation of a restore or change log; what is missing in a log that ran out of memory is empty.
struct Step {
  std::string name, status, code;
};
std::vector<Step> stepsOf(const std::string &log);
// In one line, codes only of those that are no success: "GetLive, GetLive E, Validate".
std::string stepLine(const std::string &log);

// The text, count times.
std::string repeated(size_t count, const std::string &text);

// How often part stands in text.
size_t countOf(const std::string &text, const std::string &part);

// The status as a text, for messages and comparisons that read well: EXPECT_EQ(name(status), name(EFI_NOT_FOUND)).
std::string name(EFI_STATUS status);
