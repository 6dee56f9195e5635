// Writing: one copy, one disk, one step over all disks; anchors.

#include "providers/ddf_change/step.h"

namespace xyl::ddf_change {

EFI_STATUS refuse(Writer *writer, EFI_STATUS status, UINT32 disk, const CHAR8 *what) {
  writer->trouble = {disk, what};
  return status;
}

// --- Sectors ---

static EFI_STATUS put(Writer *writer, UINT32 disk, UINT64 lba, UINTN count, const void *bytes) {
  const Target &target = writer->targets[disk];
  bool failed = EFI_ERROR(target.write(target.context, lba, count, bytes));
  return failed ? refuse(writer, EFI_DEVICE_ERROR, disk, "cannot be written") : EFI_SUCCESS;
}

static EFI_STATUS flush(Writer *writer, UINT32 disk) {
  const Target &target = writer->targets[disk];
  bool failed = EFI_ERROR(target.flush(target.context));
  return failed ? refuse(writer, EFI_DEVICE_ERROR, disk, "cannot be flushed") : EFI_SUCCESS;
}

static EFI_STATUS putAnchor(Writer *writer, UINT32 disk, const void *anchor) {
  EFI_STATUS status = put(writer, disk, writer->model->disks[disk].source.sectors - 1, 1, anchor);
  return EFI_ERROR(status) ? status : flush(writer, disk);
}

EFI_STATUS zeroAnchor(Writer *writer, UINT32 disk) {
  ddf::Header nothing = {};
  return putAnchor(writer, disk, &nothing);
}

EFI_STATUS writeFreeMark(Writer *writer, UINT32 disk, const ddf::FreeMark &mark) {
  return putAnchor(writer, disk, &mark);
}

// What comes behind it has been decided: a read that fails is tried again, and does not stop it.
EFI_STATUS freeDisk(Writer *writer, UINT32 disk) {
  const ddf::Source &source = writer->model->disks[disk].source;
  ddf::FreeMark mark;
  bool made = !EFI_ERROR(ddf::makeFreeMark(source, writer->buffer, &mark)) ||
              !EFI_ERROR(ddf::makeFreeMark(source, writer->buffer, &mark));
  return made ? writeFreeMark(writer, disk, mark) : zeroAnchor(writer, disk);
}

EFI_STATUS writeAnchor(Work *work, const WorkDisk &disk) {
  ddf::Header anchor;
  ddf::makeHeader(disk.copy, ddf::headerAnchor, ddf::openFlagAnchor, 0, work->writer->time, &anchor);
  return putAnchor(work->writer, disk.disk, &anchor);
}

// --- Copies ---

static EFI_STATUS putHeader(Work *work, const WorkDisk &disk, ddf::HeaderType type, ddf::OpenFlag open,
                            UINT32 sequence) {
  ddf::Header header;
  ddf::makeHeader(disk.copy, type, open, sequence, work->writer->time, &header);
  UINT64 lba = type == ddf::headerPrimary ? disk.copy.header.primaryLba : disk.copy.header.secondaryLba;
  EFI_STATUS status = put(work->writer, disk.disk, lba, 1, &header);
  return EFI_ERROR(status) ? status : flush(work->writer, disk.disk);
}

static EFI_STATUS putSections(Work *work, const WorkDisk &disk, ddf::HeaderType type) {
  for (UINT32 i = 0; i < ddf::sectionCount; ++i) {
    ddf::Extent extent = ddf::extentOf(disk.copy, type, static_cast<ddf::Section>(i));
    EFI_STATUS status = put(work->writer, disk.disk, extent.lba, extent.sectors, disk.copy.sections[i]);
    if (EFI_ERROR(status)) {
      return status;
    }
  }
  return flush(work->writer, disk.disk);
}

// While the copy is open its sequence is that of the one which readers go by: Linux takes an open primary copy with a
// sound header, unless the secondary one has the same sequence and is closed.
static EFI_STATUS writeCopy(Work *work, const WorkDisk &disk, ddf::HeaderType type, UINT32 sequence) {
  EFI_STATUS status = putHeader(work, disk, type, ddf::openFlagOpen, disk.held);
  if (!EFI_ERROR(status)) {
    status = putSections(work, disk, type);
  }
  if (!EFI_ERROR(status)) {
    status = putHeader(work, disk, type, ddf::openFlagClosed, sequence);
  }
  return status;
}

EFI_STATUS writeDisk(Work *work, WorkDisk *disk, UINT32 sequence) {
  ddf::HeaderType second = disk->first == ddf::headerSecondary ? ddf::headerPrimary : ddf::headerSecondary;
  EFI_STATUS status = writeCopy(work, *disk, disk->first, sequence);
  if (!EFI_ERROR(status)) {
    status = writeCopy(work, *disk, second, sequence);
  }
  disk->held = sequence;
  disk->first = ddf::headerSecondary;
  return status;
}

// Of two copies that are alike only the headers.
static EFI_STATUS raiseDisk(Work *work, WorkDisk *disk, UINT32 sequence) {
  EFI_STATUS status = EFI_SUCCESS;
  if (disk->held != sequence) {
    status = putHeader(work, *disk, ddf::headerSecondary, ddf::openFlagClosed, sequence);
    status = EFI_ERROR(status) ? status : putHeader(work, *disk, ddf::headerPrimary, ddf::openFlagClosed, sequence);
  }
  disk->held = sequence;
  return status;
}

// A lost disk that could not be written loses its anchor instead.
static EFI_STATUS written(Work *work, WorkDisk *disk, EFI_STATUS status) {
  if (!EFI_ERROR(status) || !disk->lost || EFI_ERROR(zeroAnchor(work->writer, disk->disk))) {
    return status;
  }
  disk->gone = true;
  work->places[disk->disk] = evicted;
  work->writer->trouble = {ddf::noIndex, nullptr};
  return EFI_SUCCESS;
}

EFI_STATUS writeMember(Work *work, WorkDisk *disk, UINT32 sequence) {
  return written(work, disk, writeDisk(work, disk, sequence));
}

EFI_STATUS writeReturning(Work *work, WorkDisk *disk) {
  EFI_STATUS status = writeDisk(work, disk, work->sequence);
  return written(work, disk, EFI_ERROR(status) ? status : writeAnchor(work, *disk));
}

EFI_STATUS catchUp(Work *work) {
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < work->members && !EFI_ERROR(status); ++i) {
    WorkDisk *disk = &work->disks[i];
    if (disk->behind && !disk->gone) {
      ddf::seal(&disk->copy);
      status = writeMember(work, disk, disk->held);
    }
  }
  for (UINT32 i = 0; i < work->members && !EFI_ERROR(status); ++i) {
    WorkDisk *disk = &work->disks[i];
    if (disk->behind && !disk->gone) {
      status = written(work, disk, raiseDisk(work, disk, work->sequence));
    }
    disk->behind = false;
  }
  return status;
}

// --- Steps ---

void shareLists(Work *work) {
  for (UINT32 i = 0; i < work->count; ++i) {
    if (i == work->lead) {
      continue;
    }
    for (ddf::Section section : ddf::sharedSections) {
      copyBytes(work->disks[i].copy.sections[section], leadCopy(work).sections[section],
                UINTN{leadCopy(work).header.sections[section].length} * ddf::sectorSize);
    }
  }
}

EFI_STATUS writeStep(Work *work) {
  tidyList(&leadCopy(work), ddf::sectionPds);
  tidyList(&leadCopy(work), ddf::sectionVds);
  shareLists(work);
  ++work->sequence;
  EFI_STATUS status = EFI_SUCCESS;
  for (UINT32 i = 0; i < work->count && !EFI_ERROR(status); ++i) {
    if (!work->disks[i].leaves && !work->disks[i].gone) {
      ddf::seal(&work->disks[i].copy);
      status = writeMember(work, &work->disks[i], work->sequence);
    }
  }
  return status;
}

void putFirst(Work *work, UINT32 place) {
  WorkDisk *disks = work->disks;
  for (ddf::Section section : ddf::sharedSections) {
    UINT8 *bytes = disks[place].copy.sections[section];
    disks[place].copy.sections[section] = leadCopy(work).sections[section];
    leadCopy(work).sections[section] = bytes;
  }
  WorkDisk moved = disks[place];
  disks[place] = disks[0];
  disks[0] = moved;
  work->lead = 0;
  work->places[disks[place].disk] = disks[place].gone ? evicted : place;
  work->places[disks[0].disk] = 0;
}

} // namespace xyl::ddf_change
