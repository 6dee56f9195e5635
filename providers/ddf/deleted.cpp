// What disks keep of volumes that were deleted, in the scratch of their own data, which Linux keeps: the checksums of
// the last few identities, the newest first. By it a disk that was away meanwhile is told from one that was changed
// without the others.

#include "base/crc32.h"
#include "providers/ddf/bytes.h"

struct DELETED_NOTE {
  CHAR8 mark[4];
  DDF_U32 sums[7];
};
static_assert(sizeof(DELETED_NOTE) == sizeof(DDF_DISK_DATA::scratch));

static constexpr CHAR8 MARK[4] = {'g', 'o', 'n', 'e'};

static UINT32 sumOf(const DDF_GUID &virtualDisk) {
  return crc32Of(&virtualDisk, sizeof(virtualDisk));
}

static DELETED_NOTE *noteIn(const DDF_COPY &copy) {
  return reinterpret_cast<DELETED_NOTE *>(ddfDiskData(copy)->scratch);
}

static bool isNote(const DELETED_NOTE &note) {
  return __builtin_memcmp(note.mark, MARK, sizeof(MARK)) == 0;
}

// What other makers keep there is theirs.
static bool isBlank(const DDF_COPY &copy) {
  const UINT8 *scratch = ddfDiskData(copy)->scratch;
  return (*scratch == 0 || *scratch == ' ' || *scratch == 0xFF) &&
         __builtin_memcmp(scratch, scratch + 1, sizeof(DDF_DISK_DATA::scratch) - 1) == 0;
}

void ddfNoteDeleted(const DDF_COPY &copy, const DDF_GUID &virtualDisk) {
  DELETED_NOTE *note = noteIn(copy);
  if (isBlank(copy)) {
    __builtin_memset(note, 0xFF, sizeof(*note));
    copyBytes(note->mark, MARK, sizeof(MARK));
  }
  if (isNote(*note)) {
    constexpr UINTN COUNT = sizeof(note->sums) / sizeof(note->sums[0]);
    for (UINTN i = COUNT; i-- > 1;) {
      note->sums[i] = note->sums[i - 1];
    }
    note->sums[0] = sumOf(virtualDisk);
  }
}

bool ddfIsDeleted(const DDF_COPY &copy, const DDF_GUID &virtualDisk) {
  const DELETED_NOTE *note = noteIn(copy);
  UINT32 sum = sumOf(virtualDisk);
  for (UINTN i = 0; isNote(*note) && i < sizeof(note->sums) / sizeof(note->sums[0]); i++) {
    if (note->sums[i] == sum) {
      return true;
    }
  }
  return false;
}

void ddfPassDeleted(const DDF_COPY &from, const DDF_COPY &to) {
  if (isNote(*noteIn(from)) && (isNote(*noteIn(to)) || isBlank(to))) {
    *noteIn(to) = *noteIn(from);
  }
}
