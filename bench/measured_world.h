// What the benchmarks measure on: boot services whose pool is malloc with counters, without the strict books of the
// tests, and a controller whose own time is taken apart.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/firmware/firmware.h"
#include "providers/sim_controller/state.h"
#include "raid_xyl.h"
#include "xml_protocol.h"

using namespace xyl;

// A preset, or with a null name a controller of that size.
struct ControllerKind {
  const char *preset;
  UINT32 enclosures;
  UINT32 slots; // disks of every enclosure
  UINT32 virtualDisks;
};

// Counted since resetCounts; bytes as they were asked for.
struct MeasuredCounts {
  uint64_t allocations;
  uint64_t liveBytes; // goes below zero, modulo 2^64, when older allocations are given back
  uint64_t peakBytes; // above what was live at the reset
  double controllerSeconds;
};

// One at a time. Its operations go to the selected controller, at first the only one.
class MeasuredWorld {
public:
  MeasuredWorld(); // XML service only
  explicit MeasuredWorld(const ControllerKind &kind);
  explicit MeasuredWorld(RAID_MGMT_PROTOCOL &controller); // another controller, whose time is not taken apart
  ~MeasuredWorld();
  MeasuredWorld(const MeasuredWorld &) = delete;
  MeasuredWorld &operator=(const MeasuredWorld &) = delete;

  // Adds and selects another controller; select takes them in the order in which they came.
  void add(const ControllerKind &kind);
  void select(size_t controller);
  // What happens inside the next command that a controller of a kind executes, before it does.
  void during(std::function<void()> happening);

  void resetCounts();
  MeasuredCounts counts() const;
  uint64_t liveBytes() const; // of the pool, since the program began

  // Calls of the operations; a failure ends the program, since nothing measured after it would mean anything.
  void get(); // the document is given back
  std::string document();
  void verify(const std::string &saved);
  // Set_Live; request may be empty. Only the call itself is counted by the returned seconds.
  double set(const std::string &options, const std::string &saved, const std::string &request);

  // The controller's records: adapter, enclosures, disks, virtual disks and key. They live as long as the world.
  RAID_CONFIG records();

  XML_PROTOCOL *xml = nullptr;

private:
  void load(const char *image, host::ImageEntry builtIn);
  RAID_XYL_PROTOCOL *serve(EFI_HANDLE controller);
  void *answer(UINT32 command, UINT32 objectType, UINT32 *count);

  host::Firmware firmware_;
  struct Served {
    sim::Controller *sim;
    RAID_XYL_PROTOCOL *operations;
  };
  std::vector<Served> served_;
  sim::Controller *sim_ = nullptr;
  RAID_MGMT_PROTOCOL *other_ = nullptr;
  EFI_HANDLE otherHandle_ = nullptr;
  RAID_XYL_PROTOCOL *operations_ = nullptr;
  struct HeldAnswer {
    void *data;
    UINT32 count;
  };
  std::vector<HeldAnswer> held_;
  std::vector<EFI_HANDLE> images_;
};

// Processor time of the program: on a shared machine the clock on the wall measures the neighbours too.
double cpuSeconds();

// Ends the program with a message when status is an error.
void mustSucceed(EFI_STATUS status, const char *what);
