// Signatures of what disks carry, and where they lie.
#pragma once

#include "providers/ddf/ddf.h"

namespace xyl::ddf {

enum class From : UINT8 {
  start,
  end,   // sector 1 is the last one
  end64, // sectors before the last whole 64 KiB
  end8,  // sectors before the last whole 4 KiB
};

struct SignatureRow {
  From from;
  UINT8 length;
  UINT16 offset; // in the sector
  UINT32 sector;
  const CHAR8 *bytes;
  const CHAR8 *name;
};

#define SIGNATURE(from, sector, offset, bytes, name)                                                                   \
  { from, sizeof(bytes) - 1, offset, sector, bytes, name }
#define OTHER_RAID(sector) SIGNATURE(From::end, sector, 0, "Promise Technology, Inc.", "another RAID's metadata")

// By sector, so that sectors that lie together are read together.
static constexpr SignatureRow g_signatures[] = {
    SIGNATURE(From::start, 0, 3, "NTFS    ", "NTFS"),
    SIGNATURE(From::start, 0, 3, "EXFAT   ", "exFAT"),
    SIGNATURE(From::start, 0, 3, "ReFS\0\0\0\0", "ReFS"),
    SIGNATURE(From::start, 0, 3, "-FVE-FS-", "BitLocker"),
    SIGNATURE(From::start, 0, 54, "FAT", "FAT"),
    SIGNATURE(From::start, 0, 82, "FAT32", "FAT"),
    SIGNATURE(From::start, 0, 0, "XFSB", "XFS"),
    SIGNATURE(From::start, 0, 32, "NXSB", "APFS"),
    SIGNATURE(From::start, 0, 32, "ORCLDISK", "Oracle ASM"),
    SIGNATURE(From::start, 0, 0, "bluestore block device", "Ceph BlueStore"),
    SIGNATURE(From::start, 0, 0, "LUKS\xba\xbe", "encrypted volume"),
    SIGNATURE(From::start, 0, 0, "LABELONE", "LVM"),
    SIGNATURE(From::start, 0, 0, "HM\1\0", "LVM"),
    SIGNATURE(From::start, 0, 0, "HM\2\0", "LVM"),
    SIGNATURE(From::start, 0, 0, "SnAp", "LVM"),
    SIGNATURE(From::start, 0, 0, "dmvdo001", "VDO"),
    SIGNATURE(From::start, 0, 0, "verity\0\0", "dm-verity"),
    SIGNATURE(From::start, 0, 0, "hsqs", "SquashFS"),
    SIGNATURE(From::start, 0, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(From::start, 0, 0, "\x0b\xe5\xa9\x41", "SGI disk label"),
    SIGNATURE(From::start, 0, 508, "\xda\xbe", "Sun disk label"),
    SIGNATURE(From::start, 1, 0, "EFI PART", "GPT"),
    SIGNATURE(From::start, 1, 0, "LABELONE", "LVM"),
    SIGNATURE(From::start, 1, 0, "PM\0\0", "Apple partitions"),
    SIGNATURE(From::start, 1, 0, "\x57\x45\x56\x82", "BSD disk label"),
    SIGNATURE(From::start, 1, 4, "!Stra0tis\x86\xff\x02^\x41rh", "Stratis"),
    SIGNATURE(From::start, 1, 32, "1SFB", "BeFS"),
    SIGNATURE(From::start, 2, 56, "\x53\xef", "ext file system"),
    SIGNATURE(From::start, 2, 0, "LABELONE", "LVM"),
    SIGNATURE(From::start, 2, 0, "OCFSV2", "OCFS2"),
    SIGNATURE(From::start, 2, 0, "\x10\x20\xf5\xf2", "F2FS"),
    SIGNATURE(From::start, 2, 0, "\xe2\xe1\xf5\xe0", "EROFS"),
    SIGNATURE(From::start, 2, 0, "\xf5\xfc\x01\xa5", "VxFS"),
    SIGNATURE(From::start, 2, 0, "H+\0\4", "HFS+"),
    SIGNATURE(From::start, 2, 0, "HX\0\5", "HFS+"),
    SIGNATURE(From::start, 2, 6, "\x34\x34", "NILFS2"),
    SIGNATURE(From::start, 2, 16, "\x7f\x13", "minix file system"),
    SIGNATURE(From::start, 2, 16, "\x8f\x13", "minix file system"),
    SIGNATURE(From::start, 2, 16, "\x68\x24", "minix file system"),
    SIGNATURE(From::start, 2, 16, "\x78\x24", "minix file system"),
    SIGNATURE(From::start, 2, 24, "\x5a\x4d", "minix file system"),
    SIGNATURE(From::start, 3, 0, "LABELONE", "LVM"),
    SIGNATURE(From::start, 4, 0, "OCFSV2", "OCFS2"),
    SIGNATURE(From::start, 7, 502, "SWAPSPACE2", "swap space"),
    SIGNATURE(From::start, 7, 502, "SWAP-SPACE", "swap space"),
    SIGNATURE(From::start, 8, 0, "EFI PART", "GPT"), // of blocks of 4096 bytes
    SIGNATURE(From::start, 8, 0, "OCFSV2", "OCFS2"),
    SIGNATURE(From::start, 8, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(From::start, 8, 24, "\xc6\x85\x73\xf6\x4e\x1a\x45\xca", "bcache"),
    SIGNATURE(From::start, 8, 24, "\xc6\x85\x73\xf6\x66\xce\x90\xa9", "bcachefs"),
    SIGNATURE(From::start, 9, 4, "!Stra0tis\x86\xff\x02^\x41rh", "Stratis"),
    SIGNATURE(From::start, 9, 32, "\xf0\x16\x78\x5a", "another RAID's metadata"),
    SIGNATURE(From::start, 9, 32, "\xfd\x16\x78\x5a", "another RAID's metadata"),
    SIGNATURE(From::start, 15, 502, "SWAPSPACE2", "swap space"),
    SIGNATURE(From::start, 16, 0, "OCFSV2", "OCFS2"),
    SIGNATURE(From::start, 16, 52, "ReIsEr", "ReiserFS"),
    SIGNATURE(From::start, 18, 348, "\x54\x19\x01\x00", "UFS"),
    SIGNATURE(From::start, 31, 502, "SWAPSPACE2", "swap space"),
    SIGNATURE(From::start, 63, 502, "SWAPSPACE2", "swap space"),
    SIGNATURE(From::start, 64, 0, "JFS1", "JFS"),
    SIGNATURE(From::start, 64, 1, "CD001", "ISO 9660"),
    SIGNATURE(From::start, 64, 1, "BEA01", "UDF"),
    SIGNATURE(From::start, 64, 1, "NSR0", "UDF"),
    SIGNATURE(From::start, 127, 502, "SWAPSPACE2", "swap space"),
    SIGNATURE(From::start, 128, 0, "\x01\x16\x19\x70", "GFS2"),
    SIGNATURE(From::start, 128, 0, "ReIsEr4", "Reiser4"),
    SIGNATURE(From::start, 128, 52, "ReIsEr", "ReiserFS"),
    SIGNATURE(From::start, 128, 64, "_BHRfS_M", "Btrfs"),
    SIGNATURE(From::start, 130, 348, "\x19\x01\x54\x19", "UFS2"),
    SIGNATURE(From::start, 256, 0, "\x0c\xb1\xba\0\0\0\0\0", "ZFS"),
    SIGNATURE(From::start, 256, 0, "\0\0\0\0\0\xba\xb1\x0c", "ZFS"),
    SIGNATURE(From::start, 514, 348, "\x19\x01\x54\x19", "UFS2"),
    SIGNATURE(From::start, 2048, 0, "\x0d\xd0\x01\xc0", "VMFS"),
    SIGNATURE(From::start, 4096, 0, "\x5e\xf1\xab\x2f", "VMFS"),
    // Headers where Linux, and this room, put them: metadata whose anchor was lost.
    SIGNATURE(From::end, reserveSectors, 0, "\xde\x11\xde\x11", "RAID metadata (DDF)"),
    SIGNATURE(From::end, reserveSectors / 2, 0, "\xde\x11\xde\x11", "RAID metadata (DDF)"),
    OTHER_RAID(3087),
    OTHER_RAID(991),
    OTHER_RAID(974),
    OTHER_RAID(951),
    OTHER_RAID(911),
    OTHER_RAID(735),
    OTHER_RAID(675),
    OTHER_RAID(591),
    OTHER_RAID(399),
    OTHER_RAID(256),
    OTHER_RAID(255),
    SIGNATURE(From::end64, 128, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    SIGNATURE(From::end64, 128, 0, "\xa9\x2b\x4e\xfc", "Linux RAID"), // of a machine with the other byte order
    OTHER_RAID(63),
    SIGNATURE(From::end8, 16, 0, "\xfc\x4e\x2b\xa9", "Linux RAID"),
    OTHER_RAID(16),
    SIGNATURE(From::end, 11, 0, "\xf3\x16\x78\x5a", "another RAID's metadata"),
    SIGNATURE(From::end, 11, 0, "\xfd\x16\x78\x5a", "another RAID's metadata"),
    SIGNATURE(From::end8, 8, 0, "EFI PART", "GPT"), // of blocks of 4096 bytes
    SIGNATURE(From::end8, 8, 60, "\x83\x74\x02", "DRBD"),
    SIGNATURE(From::end, 2, 0, "Intel Raid ISM Cfg Sig. ", "RAID metadata of a chip set"),
    SIGNATURE(From::end, 2, 0, "NVIDIA", "another RAID's metadata"),
    SIGNATURE(From::end, 1, 0, "EFI PART", "GPT"),
    SIGNATURE(From::end, 1, 0, "\xde\x11\xde\x11", "RAID metadata (DDF)"),
    SIGNATURE(From::end, 1, 0, "\x37\xfc\x4d\x1e", "another RAID's metadata"),
    SIGNATURE(From::end, 1, 0, "$XIDE$", "another RAID's metadata"),
    SIGNATURE(From::end, 1, 0, "JM", "another RAID's metadata"),
    SIGNATURE(From::end, 1, 0, "\x55\xaa", "another RAID's metadata"),
    SIGNATURE(From::end, 1, 96, "\0\0\0\x2f", "another RAID's metadata"),
};
#undef OTHER_RAID
#undef SIGNATURE

} // namespace xyl::ddf
