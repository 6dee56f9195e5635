// What the log and the details of its steps both work with: the current disks, and elements in their order.
#include "base/log.h"
#include "driver/restore/steps.h"
#include "driver/xml/xml.h"
#include "records/ids.h"

namespace xyl::driver {

const RAID_PD_RECORD *g_curPdArray;
UINT32 g_curPdCount;
static records::IdIndex g_curPdIndex;

void setCurrentDisks(const RAID_PD_RECORD *disks, UINT32 count) {
  g_curPdArray = disks;
  g_curPdCount = count;
  records::indexRecords(&g_curPdIndex, disks, count);
}

const RAID_PD_RECORD *findCurrentDisk(UINT32 objectId) {
  UINT32 number = records::findId(g_curPdIndex, objectId);
  return number == records::noId ? nullptr : &g_curPdArray[number];
}

XML_NODE *addLogElement(LogBuilder &builder, XML_NODE *child) {
  if (child == nullptr) {
    LogPrint(LOG_TRACE, builder.function, "Failed to create XML Node");
  } else {
    builder.last = AppendXMLChildAfter(builder.parent, builder.last, child);
  }
  return child;
}

} // namespace xyl::driver
