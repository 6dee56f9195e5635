// Room for the records of nested objects: for as many as there are elements, at once. An array that grows is copied
// again and again, and there is firmware whose pool spends thousands of instructions on every page.
#include "base/pool.h"
#include "driver/request/reader.h"

namespace xyl::driver {

static UINT32 childrenNamed(const XML_NODE *parent, const CHAR8 *name) {
  UINT32 count = 0;
  for (const XML_NODE *child = parent->FirstChild; child != nullptr; child = child->NextSibling) {
    count += isNamed(child, name) ? 1 : 0;
  }
  return count;
}

// Room for so many more. False without memory, which changes nothing.
template <class T> static bool makeRoom(T *&records, UINT32 count, UINT32 more) {
  if (more == 0) {
    return true;
  }
  T *larger = static_cast<T *>(poolAllocate((UINTN{count} + more) * sizeof(T)));
  if (larger == nullptr) {
    return false;
  }
  if (count != 0) {
    copyBytes(larger, records, count * sizeof(T));
  }
  poolFree(records);
  records = larger;
  return true;
}

bool makeRoomForDisks(const XML_NODE *enclosure, RAID_CONFIG *config) {
  return makeRoom(config->physicalDisks, config->physicalDiskCount,
                  childrenNamed(enclosure, adapterRow(FieldFormat::physicalDisk).element));
}

bool makeRoomForAll(const XML_NODE *adapter, RAID_CONFIG *config) {
  const CHAR8 *enclosure = adapterRow(FieldFormat::enclosure).element;
  const CHAR8 *disk = adapterRow(FieldFormat::physicalDisk).element;
  UINT32 enclosures = 0;
  UINT32 disks = childrenNamed(adapter, disk);
  for (const XML_NODE *child = adapter->FirstChild; child != nullptr; child = child->NextSibling) {
    if (isNamed(child, enclosure)) {
      ++enclosures;
      disks += childrenNamed(child, disk);
    }
  }
  UINT32 virtualDisks = childrenNamed(adapter, adapterRow(FieldFormat::virtualDisk).element);
  return makeRoom(config->enclosures, config->enclosureCount, enclosures) &&
         makeRoom(config->physicalDisks, config->physicalDiskCount, disks) &&
         makeRoom(config->logicalDisks, config->logicalDiskCount, virtualDisks);
}

} // namespace xyl::driver
