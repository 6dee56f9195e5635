// The mark of a disk that was set free.
#pragma once

#include "providers/ddf/ddf.h"

namespace xyl::ddf {

// Whether the disk has the mark, and what was on it then is still there. buffer has bufferSectors sectors.
EFI_STATUS readFreeMark(const Source &source, UINT8 *buffer, bool *released);

// Calls look with the bytes, the first sector and the number of sectors of each part of an area, until it returns
// false. buffer as above. The status of a read that failed.
template <class Look> EFI_STATUS eachPart(const Source &source, const Area &area, UINT8 *buffer, Look look) {
  for (UINT64 done = 0; done < area.sectors;) {
    UINT64 left = area.sectors - done;
    UINT64 count = left < bufferSectors ? left : bufferSectors;
    EFI_STATUS status = source.read(source.context, area.lba + done, count, buffer);
    if (EFI_ERROR(status) || !look(buffer, area.lba + done, count)) {
      return status;
    }
    done += count;
  }
  return EFI_SUCCESS;
}

} // namespace xyl::ddf
