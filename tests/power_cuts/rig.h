// A machine over recording disks, with the controller and the driver, and the commands that the proof sends.
#pragma once

#include "tests/power_cuts/recorder.h"
#include "tests/providers/disk_controller/machine.h"

using Ports = std::vector<UINT32>;

// A command to the controller. Virtual disks go by their names, disks by their ports; what is empty or 0 is not sent.
struct Order {
  UINT32 command;
  UINT32 objectType;
  Ports ports = {};
  UINT8 hotspare = 0; // RAID_HOTSPARE_
  UINT64 state = 0;   // RAID_STATE_ that a disk gets
  std::string virtualDisk =
      {};               // the one that is meant, or gets a spare; of a Create and a Change of name the name it gets
  std::string was = {}; // of a Change of name: the name it has
  UINT32 level = 0;     // RAID_LEVEL_
};

Order createOrder(const std::string &name, UINT32 level, const Ports &ports);
Order deleteOrder(const std::string &name);
Order renameOrder(const std::string &was, const std::string &name);
Order spareOrder(UINT32 port, UINT8 hotspare, const std::string &virtualDisk = {});
Order failOrder(UINT32 port);
Order readyOrder(UINT32 port);

struct Recorded { // before the machine that writes into it
  explicit Recorded(const Disks &disks) { recorder.begin(disks); }
  Recorder recorder;
};

class Rig : public Recorded, public Machine {
public:
  explicit Rig(const Disks &disks);

  EFI_STATUS run(const Order &order);
  // Takes the disk away, as its handle does when it is pulled.
  void pull(size_t disk) { devices[disk].reset(); }

private:
  UINT32 idOf(const std::string &virtualDisk);
};
