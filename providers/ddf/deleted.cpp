// What disks keep of volumes that were deleted, in the scratch of their own data, which Linux keeps: the checksums of
// the last few identities, the newest first. By it a disk that was away meanwhile is told from one that was changed
// without the others.

#include "base/crc32.h"
#include "providers/ddf/bytes.h"

namespace xyl::ddf {

struct DeletedNote {
  CHAR8 mark[4];
  U32 sums[7];
};
static_assert(sizeof(DeletedNote) == sizeof(DiskData::scratch));

static constexpr CHAR8 mark[4] = {'g', 'o', 'n', 'e'};

static UINT32 sumOf(const Guid &virtualDisk) {
  return crc32Of(&virtualDisk, sizeof(virtualDisk));
}

static DeletedNote *noteIn(const Copy &copy) {
  return reinterpret_cast<DeletedNote *>(diskDataOf(copy)->scratch);
}

static bool isNote(const DeletedNote &note) {
  return __builtin_memcmp(note.mark, mark, sizeof(mark)) == 0;
}

// What other makers keep there is theirs.
static bool isBlank(const Copy &copy) {
  const UINT8 *scratch = diskDataOf(copy)->scratch;
  return (*scratch == 0 || *scratch == ' ' || *scratch == 0xFF) &&
         __builtin_memcmp(scratch, scratch + 1, sizeof(DiskData::scratch) - 1) == 0;
}

void noteDeleted(const Copy &copy, const Guid &virtualDisk) {
  DeletedNote *note = noteIn(copy);
  if (isBlank(copy)) {
    __builtin_memset(note, 0xFF, sizeof(*note));
    copyBytes(note->mark, mark, sizeof(mark));
  }
  if (isNote(*note)) {
    constexpr UINTN count = sizeof(note->sums) / sizeof(note->sums[0]);
    for (UINTN i = count; i-- > 1;) {
      note->sums[i] = note->sums[i - 1];
    }
    note->sums[0] = sumOf(virtualDisk);
  }
}

bool isDeleted(const Copy &copy, const Guid &virtualDisk) {
  const DeletedNote *note = noteIn(copy);
  UINT32 sum = sumOf(virtualDisk);
  for (UINTN i = 0; isNote(*note) && i < sizeof(note->sums) / sizeof(note->sums[0]); ++i) {
    if (note->sums[i] == sum) {
      return true;
    }
  }
  return false;
}

void passDeleted(const Copy &from, const Copy &to) {
  if (isNote(*noteIn(from)) && (isNote(*noteIn(to)) || isBlank(to))) {
    *noteIn(to) = *noteIn(from);
  }
}

} // namespace xyl::ddf
