// What is inside a copy.

#include "providers/ddf/bytes.h"

namespace xyl::ddf {

static UINT32 listCapacity(const Copy &copy, Section section) {
  return reinterpret_cast<const ListHead *>(copy.sections[section])->maximum;
}

UINT32 pdCapacity(const Copy &copy) {
  return listCapacity(copy, sectionPds);
}

UINT32 vdCapacity(const Copy &copy) {
  return listCapacity(copy, sectionVds);
}

UINT32 recordCapacity(const Copy &copy) {
  return copy.header.sections[sectionRecords].length / copy.header.recordLength;
}

PdEntry *pdEntryAt(const Copy &copy, UINT32 at) {
  return reinterpret_cast<PdEntry *>(copy.sections[sectionPds] + sizeof(ListHead)) + at;
}

VdEntry *vdEntryAt(const Copy &copy, UINT32 at) {
  return reinterpret_cast<VdEntry *>(copy.sections[sectionVds] + sizeof(ListHead)) + at;
}

Record *recordAt(const Copy &copy, UINT32 at) {
  UINTN size = recordSize(copy.header);
  return reinterpret_cast<Record *>(copy.sections[sectionRecords] + at * size);
}

ControllerData *controllerDataOf(const Copy &copy) {
  return reinterpret_cast<ControllerData *>(copy.sections[sectionController]);
}

DiskData *diskDataOf(const Copy &copy) {
  return reinterpret_cast<DiskData *>(copy.sections[sectionPdData]);
}

U32 *referencesOf(Record *record) {
  return reinterpret_cast<U32 *>(reinterpret_cast<UINT8 *>(record) + recordArrays);
}

U64 *startsOf(const Copy &copy, Record *record) {
  return reinterpret_cast<U64 *>(referencesOf(record) + copy.header.maxElements);
}

void freeCopy(Copy *copy) {
  for (UINT8 *&section : copy->sections) {
    poolRelease(section);
  }
  *copy = {};
}

} // namespace xyl::ddf
