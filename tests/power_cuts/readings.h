// What two readers find on disks: ours, and a model of Linux's that shares no code with it.
#pragma once

#include "tests/providers/ddf/disks.h"

using Texts = std::vector<std::string>; // sorted

// A line each virtual disk that is assembled, each spare and each failed disk, sorted; the same texts from both
// readers. The fault is what no disk may ever lead a reader to, or empty.
struct Reading {
  Texts lines;
  std::string fault;

  std::string text() const;
  bool operator==(const Reading &) const = default;
};

Texts virtualDisksOf(const Reading &reading);

Reading readAsWe(Disks &disks);
// By what mdadm does: of a disk the primary copy if its header is whole, even if it is open, but not if the secondary
// is newer; no checksum but those of headers; lists from the disk with the highest sequence; of each virtual disk the
// newest record, wherever it is. Faults: a record of a volume without an entry, which makes mdadm crash; a volume that
// it cannot map, which makes it loop; members that meet or lie outside their disks.
Reading readAsLinux(Disks &disks);
