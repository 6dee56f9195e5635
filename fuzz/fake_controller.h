// A controller that answers what an input says, within the contract of RAID_MGMT_PROTOCOL: any status, count, size and
// record, but texts end in a NUL, lists are as long as their counts, and all of it is readable until given back.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "fuzz/support.h"

// An answer that is out. It is the host's memory, each part of exactly its size.
struct FAKE_ANSWER {
  std::vector<std::unique_ptr<uint8_t[]>> parts;
  UINT32 dataSize;
  bool singleFits; // may also come back with the count 1
};

// A record as a well-behaved controller has it; the texts in the order of the record's text members.
struct FAKE_RECORD {
  uint8_t bytes[RAID_RECORD_SIZE];
  std::vector<std::u16string> texts; // empty: null
  std::vector<uint8_t> list;         // level parameters, VDs or PDs
};

struct FAKE_CONTROLLER {
  RAID_MGMT_PROTOCOL protocol; // first, so that This leads here
  EFI_HANDLE handle;
  RAID_XYL_PROTOCOL *xyl;
  FuzzInput *input;                                   // null: answers as a well-behaved controller
  bool starting;                                      // the driver starts, and does not look at statuses
  std::map<UINT32, std::vector<FAKE_RECORD>> records; // by object type
  std::map<void *, FAKE_ANSWER> out;
};

// Installed under both identities and served by the driver.
FAKE_CONTROLLER &fakeController();

// Everything came back.
void judgeFakeController();
