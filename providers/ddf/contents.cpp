// What is inside a copy.

#include "providers/ddf/bytes.h"

static UINT32 listCapacity(const DDF_COPY &copy, DDF_SECTION section) {
  return reinterpret_cast<const DDF_LIST_HEAD *>(copy.sections[section])->maximum;
}

UINT32 ddfPdCapacity(const DDF_COPY &copy) {
  return listCapacity(copy, DDF_PD_RECORDS);
}

UINT32 ddfVdCapacity(const DDF_COPY &copy) {
  return listCapacity(copy, DDF_VD_RECORDS);
}

UINT32 ddfRecordCapacity(const DDF_COPY &copy) {
  return copy.header.sections[DDF_RECORDS].length / copy.header.recordLength;
}

DDF_PD_ENTRY *ddfPdEntry(const DDF_COPY &copy, UINT32 at) {
  return reinterpret_cast<DDF_PD_ENTRY *>(copy.sections[DDF_PD_RECORDS] + sizeof(DDF_LIST_HEAD)) + at;
}

DDF_VD_ENTRY *ddfVdEntry(const DDF_COPY &copy, UINT32 at) {
  return reinterpret_cast<DDF_VD_ENTRY *>(copy.sections[DDF_VD_RECORDS] + sizeof(DDF_LIST_HEAD)) + at;
}

DDF_RECORD *ddfRecordSlot(const DDF_COPY &copy, UINT32 at) {
  UINTN size = recordSize(copy.header);
  return reinterpret_cast<DDF_RECORD *>(copy.sections[DDF_RECORDS] + at * size);
}

DDF_CONTROLLER_DATA *ddfControllerData(const DDF_COPY &copy) {
  return reinterpret_cast<DDF_CONTROLLER_DATA *>(copy.sections[DDF_CONTROLLER]);
}

DDF_DISK_DATA *ddfDiskData(const DDF_COPY &copy) {
  return reinterpret_cast<DDF_DISK_DATA *>(copy.sections[DDF_PD_DATA]);
}

DDF_U32 *ddfReferences(DDF_RECORD *record) {
  return reinterpret_cast<DDF_U32 *>(reinterpret_cast<UINT8 *>(record) + DDF_RECORD_ARRAYS);
}

DDF_U64 *ddfStarts(const DDF_COPY &copy, DDF_RECORD *record) {
  return reinterpret_cast<DDF_U64 *>(ddfReferences(record) + copy.header.maxElements);
}

void ddfFreeCopy(DDF_COPY *copy) {
  for (UINT8 *&section : copy->sections) {
    poolRelease(section);
  }
  *copy = {};
}
