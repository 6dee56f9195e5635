// Room for the records of nested objects: for as many as there are elements, at once. An array that grows is copied
// again and again, and there is firmware whose pool spends thousands of instructions on every page.
#include "base/pool.h"
#include "driver/request/reader.h"

static UINT32 childrenNamed(const XML_NODE *parent, const CHAR8 *name) {
  UINT32 count = 0;
  for (const XML_NODE *child = parent->FirstChild; child != nullptr; child = child->NextSibling) {
    count += isNamed(child, name) ? 1 : 0;
  }
  return count;
}

// False without memory.
template <class T> static bool makeRoom(T *&records, UINT32 count) {
  if (count == 0) {
    return true;
  }
  records = static_cast<T *>(poolAllocate(count * sizeof(T)));
  return records != nullptr;
}

bool makeRoomForDisks(const XML_NODE *enclosure, RAID_CONFIG *config) {
  return makeRoom(config->physicalDisks, childrenNamed(enclosure, adapterRow(FORMAT_PHYSICAL_DISK).Element));
}

bool makeRoomForAll(const XML_NODE *adapter, RAID_CONFIG *config) {
  const CHAR8 *enclosure = adapterRow(FORMAT_ENCLOSURE).Element;
  const CHAR8 *disk = adapterRow(FORMAT_PHYSICAL_DISK).Element;
  UINT32 enclosures = 0;
  UINT32 disks = childrenNamed(adapter, disk);
  for (const XML_NODE *child = adapter->FirstChild; child != nullptr; child = child->NextSibling) {
    if (isNamed(child, enclosure)) {
      ++enclosures;
      disks += childrenNamed(child, disk);
    }
  }
  UINT32 virtualDisks = childrenNamed(adapter, adapterRow(FORMAT_VIRTUAL_DISK).Element);
  return makeRoom(config->enclosures, enclosures) && makeRoom(config->physicalDisks, disks) &&
         makeRoom(config->logicalDisks, virtualDisks);
}
