// What a person does on the page.
#pragma once

#include "images/setup/page.h"

namespace xyl::images::setup {

// A record as commands carry it: controllers are promised this much room behind it.
struct alignas(8) ObjectData {
  UINT8 bytes[584];

  template <class Record> Record *as(UINT32 objectType) {
    Record *record = reinterpret_cast<Record *>(bytes);
    record->ObjectType = objectType;
    return record;
  }
};

struct Command {
  UINT32 command;
  UINT32 objectType;
  UINT32 *ids = nullptr;
  UINT32 idCount = 0;
  void *data = nullptr;
};

// Runs one command and gives its answer back.
EFI_STATUS send(RAID_MGMT_PROTOCOL *mgmt, const Command &command);

// Does what the question stands for, for the objects that a person saw: they are read again, and when one has changed
// meanwhile nothing is done. The page's note tells what came of it.
void act(Page *page, Ask ask, RAID_MGMT_PROTOCOL *mgmt);

} // namespace xyl::images::setup
