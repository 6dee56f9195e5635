#include "providers/volumes/block_io.h"

#include "base/pool.h"

namespace xyl::volumes {

constexpr UINT64 blockIoRevision = 0x00010001;
constexpr UINT32 mediaId = 1;

static EFI_STATUS readMember(void *context, UINT32 member, UINT64 block, UINTN count, void *buffer) {
  Disk *disk = static_cast<Volume *>(context)->members[member];
  return readBlocks(disk->blockIo, block, count, buffer);
}

static EFI_STATUS checkRequest(const EFI_BLOCK_IO_MEDIA &media, UINT32 id, UINT64 lba, UINTN size, const void *buffer) {
  if (id != media.MediaId) {
    return EFI_MEDIA_CHANGED;
  }
  if (size == 0) {
    return EFI_SUCCESS;
  }
  if (buffer == nullptr) {
    return EFI_INVALID_PARAMETER;
  }
  if (size % ddf::sectorSize != 0) {
    return EFI_BAD_BUFFER_SIZE;
  }
  bool isInside = lba <= media.LastBlock && size / ddf::sectorSize - 1 <= media.LastBlock - lba;
  return isInside ? EFI_SUCCESS : EFI_INVALID_PARAMETER;
}

// Timers that read in the middle of another's request would find its pages.
static EFI_STATUS EFIAPI readVolume(EFI_BLOCK_IO_PROTOCOL *self, UINT32 id, UINT64 lba, UINTN size, void *buffer) {
  Volume *volume = reinterpret_cast<Volume *>(self);
  EFI_STATUS status = checkRequest(volume->media, id, lba, size, buffer);
  if (EFI_ERROR(status) || size == 0) {
    return status;
  }
  volume_map::Access access = {readMember, volume, g_state.pages, halfBlocks};
  EFI_TPL before = g_bootServices->RaiseTPL(EFI_TPL_CALLBACK);
  status = volume_map::read(volume->map, access, lba, size / ddf::sectorSize, buffer);
  g_bootServices->RestoreTPL(before);
  return status;
}

static EFI_STATUS EFIAPI writeVolume(EFI_BLOCK_IO_PROTOCOL *, UINT32, UINT64, UINTN, const void *) {
  return EFI_WRITE_PROTECTED;
}

static EFI_STATUS EFIAPI flushVolume(EFI_BLOCK_IO_PROTOCOL *) {
  return EFI_SUCCESS;
}

static EFI_STATUS EFIAPI resetVolume(EFI_BLOCK_IO_PROTOCOL *, BOOLEAN) {
  return EFI_SUCCESS;
}

void makeBlockIo(Volume *volume) {
  static_assert(offsetof(Volume, blockIo) == 0);
  volume->media = {};
  volume->media.MediaId = mediaId;
  volume->media.MediaPresent = 1;
  volume->media.ReadOnly = 1;
  volume->media.BlockSize = ddf::sectorSize;
  volume->media.LastBlock = volume->map.layout.blocks - 1;
  volume->blockIo = {blockIoRevision, &volume->media, resetVolume, readVolume, writeVolume, flushVolume};
}

} // namespace xyl::volumes
