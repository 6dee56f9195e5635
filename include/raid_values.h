// The numbers that records carry by value or bit. A name is RAID_, the field or its group, and the value; a field that
// takes one value or a mask over the same bits has one set of names, and its mask of all bits ends in _ALL. _MASK and
// _SHIFT take a field out of a word that it shares. The documents have a text for every value.
#ifndef RAIDXYL_RAID_VALUES_H
#define RAIDXYL_RAID_VALUES_H

// RAID levels, one bit each: SupportedRAIDLevels is a mask, RAIDLevel of a descriptor or a virtual disk is one bit.
#define RAID_LEVEL_VOLUME 0x00001U // a plain volume, nothing redundant
#define RAID_LEVEL_0 0x00002U      // striped
#define RAID_LEVEL_1 0x00004U      // mirrored
#define RAID_LEVEL_2 0x00008U      // striped by bits, with a code that corrects errors
#define RAID_LEVEL_3 0x00010U      // striped by bytes, parity on one disk
#define RAID_LEVEL_4 0x00020U      // striped, parity on one disk
#define RAID_LEVEL_5 0x00040U      // striped, parity on all disks in turn
#define RAID_LEVEL_6 0x00080U      // striped, two parities on all disks in turn
#define RAID_LEVEL_7 0x00100U      // the controller's own
#define RAID_LEVEL_8 0x00200U      // the controller's own
#define RAID_LEVEL_9 0x00400U      // the controller's own
#define RAID_LEVEL_10 0x00800U     // striped over mirrored spans
#define RAID_LEVEL_30 0x01000U     // striped over spans of RAID 3
#define RAID_LEVEL_50 0x02000U     // striped over spans of RAID 5
#define RAID_LEVEL_60 0x04000U     // striped over spans of RAID 6
#define RAID_LEVEL_1C 0x08000U     // the controller's variant of RAID 1
#define RAID_LEVEL_5C 0x10000U     // the controller's variant of RAID 5
#define RAID_LEVEL_ALL 0x1FFFFU

// Qualifier of a level, the numbers 0 to 3 one bit each: RLQ and DefaultRLQ are one bit or unknown, AvailableRLQ is a
// mask.
#define RAID_RLQ_UNKNOWN 0x0U // not told
#define RAID_RLQ_0 0x1U       // qualifier 0
#define RAID_RLQ_1 0x2U       // qualifier 1
#define RAID_RLQ_2 0x4U       // qualifier 2
#define RAID_RLQ_3 0x8U       // qualifier 3
#define RAID_RLQ_ALL 0xFU

// Secondary level, that over the spans, likewise: SRL, DefaultSRL, AvailableSRL.
#define RAID_SRL_UNKNOWN 0x0U // not told
#define RAID_SRL_0 0x1U       // secondary level 0
#define RAID_SRL_1 0x2U       // secondary level 1
#define RAID_SRL_2 0x4U       // secondary level 2
#define RAID_SRL_3 0x8U       // secondary level 3
#define RAID_SRL_ALL 0xFU

// Attributes of a level descriptor: which disks one virtual disk of the level may be made of.
#define RAID_LEVEL_ATTRIBUTE_HDD 0x01U          // hard disks
#define RAID_LEVEL_ATTRIBUTE_SSD 0x02U          // solid state disks
#define RAID_LEVEL_ATTRIBUTE_FDE 0x04U          // disks that encrypt themselves
#define RAID_LEVEL_ATTRIBUTE_EEDP 0x08U         // disks with end-to-end data protection
#define RAID_LEVEL_ATTRIBUTE_HDD_SSD 0x10U      // hard disks beside solid state disks
#define RAID_LEVEL_ATTRIBUTE_SAS_SATA_HDD 0x20U // SAS beside SATA hard disks
#define RAID_LEVEL_ATTRIBUTE_SAS_SATA_SSD 0x40U // SAS beside SATA solid state disks
#define RAID_LEVEL_ATTRIBUTE_MIX_ALL 0x80U      // any disk beside any other
#define RAID_LEVEL_ATTRIBUTE_ALL 0xFFU

// BoundsMask of a level descriptor.
#define RAID_BOUNDS_FULL_DISK_ONLY 0x1U   // a virtual disk takes whole disks
#define RAID_BOUNDS_EVEN_SPAN_LENGTH 0x2U // all spans have the same number of disks
#define RAID_BOUNDS_ALL 0x3U

// Stripe sizes in bytes: StripeSize is one bit or the default, AvailableStripeSize is a mask.
#define RAID_STRIPE_SIZE_DEFAULT 0x0000U // the controller chooses
#define RAID_STRIPE_SIZE_512B 0x0001U    // 512 bytes
#define RAID_STRIPE_SIZE_1KB 0x0002U     // 1 KiB
#define RAID_STRIPE_SIZE_2KB 0x0004U     // 2 KiB
#define RAID_STRIPE_SIZE_4KB 0x0008U     // 4 KiB
#define RAID_STRIPE_SIZE_8KB 0x0010U     // 8 KiB
#define RAID_STRIPE_SIZE_16KB 0x0020U    // 16 KiB
#define RAID_STRIPE_SIZE_32KB 0x0040U    // 32 KiB
#define RAID_STRIPE_SIZE_64KB 0x0080U    // 64 KiB
#define RAID_STRIPE_SIZE_128KB 0x0100U   // 128 KiB
#define RAID_STRIPE_SIZE_256KB 0x0200U   // 256 KiB
#define RAID_STRIPE_SIZE_512KB 0x0400U   // 512 KiB
#define RAID_STRIPE_SIZE_1MB 0x0800U     // 1 MiB
#define RAID_STRIPE_SIZE_2MB 0x1000U     // 2 MiB
#define RAID_STRIPE_SIZE_4MB 0x2000U     // 4 MiB
#define RAID_STRIPE_SIZE_8MB 0x4000U     // 8 MiB
#define RAID_STRIPE_SIZE_16MB 0x8000U    // 16 MiB
#define RAID_STRIPE_SIZE_ALL 0xFFFFU

// Cache policy words (CurrentCachePolicy, DefaultCachePolicy, AvailableCachePolicy): a value of each group, or a mask
// over its values. Bits 12 to 27 are unused. DiskCachePolicy of a virtual disk is one value of the disk group.
#define RAID_CACHE_WRITE_MASK 0x0000000FU       // when a write is answered
#define RAID_CACHE_WRITE_THROUGH 0x00000001U    // when the disks have it
#define RAID_CACHE_WRITE_BACK 0x00000002U       // when the cache has it, while the cache is safe from a power loss
#define RAID_CACHE_WRITE_FORCE_BACK 0x00000004U // when the cache has it, always
#define RAID_CACHE_READ_MASK 0x000000F0U        // whether more is read than was asked for
#define RAID_CACHE_READ_NO_AHEAD 0x00000010U    // never
#define RAID_CACHE_READ_AHEAD 0x00000020U       // always
#define RAID_CACHE_READ_ADAPTIVE 0x00000040U    // when reads follow one another
#define RAID_CACHE_DISK_MASK 0x00000F00U        // the disks' own write cache
#define RAID_CACHE_DISK_DEFAULT 0x00000100U     // as the disk has it
#define RAID_CACHE_DISK_ENABLED 0x00000200U     // on
#define RAID_CACHE_DISK_DISABLED 0x00000400U    // off
#define RAID_CACHE_IO_MASK 0xF0000000U          // whether reads stay in the controller's cache
#define RAID_CACHE_IO_DIRECT 0x10000000U        // no
#define RAID_CACHE_IO_CACHED 0x20000000U        // yes
#define RAID_CACHE_ALL 0x30000777U

// Disk protocols: Protocol of a disk is one bit or unknown; SupportedDiskProtocols and AvailableProtocols are masks.
#define RAID_PROTOCOL_UNKNOWN 0x00U // not told
#define RAID_PROTOCOL_SCSI 0x01U    // parallel SCSI
#define RAID_PROTOCOL_PATA 0x02U    // parallel ATA
#define RAID_PROTOCOL_FIBRE 0x04U   // Fibre Channel
#define RAID_PROTOCOL_USB 0x08U     // USB
#define RAID_PROTOCOL_SATA 0x10U    // serial ATA
#define RAID_PROTOCOL_SAS 0x20U     // serial attached SCSI
#define RAID_PROTOCOL_ALL 0x3FU

// Link speeds, a mask: CapableSpeeds of the adapter and of disks.
#define RAID_SPEED_1_5_GBS 0x1U // 1.5 gigabits a second
#define RAID_SPEED_3_GBS 0x2U   // 3 gigabits a second
#define RAID_SPEED_6_GBS 0x4U   // 6 gigabits a second
#define RAID_SPEED_ALL 0x7U

// Attributes of the adapter.
#define RAID_ADAPTER_ATTRIBUTE_SAS_SATA_HDD_MIX 0x0001U      // virtual disks of SAS beside SATA hard disks
#define RAID_ADAPTER_ATTRIBUTE_SSD_HDD_MIX 0x0002U           // virtual disks of solid state beside hard disks
#define RAID_ADAPTER_ATTRIBUTE_SAS_SATA_SSD_MIX 0x0008U      // virtual disks of SAS beside SATA solid state disks
#define RAID_ADAPTER_ATTRIBUTE_FOREIGN_CONFIG_IGNORE 0x0010U // foreign configurations are left alone
#define RAID_ADAPTER_ATTRIBUTE_BOOTABLE 0x0020U              // the machine can start from it
#define RAID_ADAPTER_ATTRIBUTE_HIDES_PDS 0x0040U  // shows systems no physical disks; a restore sets no other adapter
#define RAID_ADAPTER_ATTRIBUTE_ENCRYPTION 0x0080U // can lock disks that encrypt themselves
#define RAID_ADAPTER_ATTRIBUTE_HAS_SECURITY_KEY 0x0100U       // has a key, which a restore that rebuilds erases
#define RAID_ADAPTER_ATTRIBUTE_CONTAINER_ARCHITECTURE 0x0200U // built from containers
#define RAID_ADAPTER_ATTRIBUTE_RKM_CAPABLE 0x0400U            // a server can keep its key
#define RAID_ADAPTER_ATTRIBUTE_CACHECADE_CAPABLE 0x2000U      // virtual disks may be caches of others
#define RAID_ADAPTER_ATTRIBUTE_ALL 0x27FBU

// Modes of the adapter, a byte each, which carries a mode only when RAID_MODE_PRESENT is set.
#define RAID_MODE_PRESENT 0x80U

// SecurityMode: who keeps the key.
#define RAID_SECURITY_MODE_LKM 0x01U         // the controller
#define RAID_SECURITY_MODE_RKM 0x02U         // a server
#define RAID_SECURITY_MODE_RKM_PENDING 0x40U // a server, which has not answered yet

// UncertifiedMode: what happens to disks that the maker has not certified.
#define RAID_UNCERTIFIED_MODE_BLOCK 0U // they are not used
#define RAID_UNCERTIFIED_MODE_ALLOW 1U // they are used
#define RAID_UNCERTIFIED_MODE_WARN 2U  // they are used, with a warning

// LoadBalanceMode: whether several paths share the load.
#define RAID_LOAD_BALANCE_MODE_AUTO 0U // where there are several
#define RAID_LOAD_BALANCE_MODE_NONE 1U // never

// LearnMode: how the battery is measured.
#define RAID_LEARN_MODE_AUTO 0U     // by itself
#define RAID_LEARN_MODE_DISABLED 1U // not at all
#define RAID_LEARN_MODE_WARN 2U     // with a warning when it is due

// CheckConsistencyMode: what a check of redundant data does at an error.
#define RAID_CHECK_CONSISTENCY_MODE_NORMAL 0U        // goes on
#define RAID_CHECK_CONSISTENCY_MODE_STOP_ON_ERROR 1U // stops

// PatrolReadMode: the mode in bits 2 and 3, beside it bit 6.
#define RAID_PATROL_READ_MODE_MASK 0x0CU          // disks are read through to find bad blocks
#define RAID_PATROL_READ_MODE_DISABLED 0x00U      // never
#define RAID_PATROL_READ_MODE_MANUAL 0x04U        // on request
#define RAID_PATROL_READ_MODE_AUTO 0x08U          // by itself
#define RAID_PATROL_READ_MODE_CORRECT_AREAS 0x40U // CorrectUnconfiguredAreas: also where no virtual disk is

// CopyBackMode: when a spare's content moves to the disk that replaces the failed one.
#define RAID_COPY_BACK_MODE_OFF 0U      // never
#define RAID_COPY_BACK_MODE_ON 1U       // when the failed disk has been replaced
#define RAID_COPY_BACK_MODE_SMART 2U    // when a disk predicts its failure
#define RAID_COPY_BACK_MODE_ON_SMART 3U // both

// Key records: Mode.
#define RAID_KEY_MODE_LKM 1U // the controller keeps the key
#define RAID_KEY_MODE_RKM 2U // a server keeps it

// Words and bytes that two members share.
#define RAID_RATE_EDITABLE 0x1U       // EditableValue of a rate: it may be changed
#define RAID_RATE_VALUE_SHIFT 1       // ... the rate, 0 to 127
#define RAID_PCI_EMBEDDED 0x1U        // EmbeddedIndex: on the main board
#define RAID_PCI_INDEX_SHIFT 1        // ... its number
#define RAID_ENCLOSURE_MULTIPATH 0x1U // MultipathPort: several paths lead to it
#define RAID_ENCLOSURE_PORT_SHIFT 1   // ... the adapter's port

// EnclosureDeviceID of a disk that is attached to the adapter directly.
#define RAID_ENCLOSURE_NONE 0xFFFFFFFFU

// State of a disk or a virtual disk.
#define RAID_STATE_UNKNOWN 0U  // not told
#define RAID_STATE_ONLINE 1U   // in use, all well
#define RAID_STATE_READY 2U    // a disk that is free
#define RAID_STATE_FAILED 3U   // lost
#define RAID_STATE_FOREIGN 4U  // another controller's
#define RAID_STATE_OFFLINE 5U  // not in use, nothing lost
#define RAID_STATE_DEGRADED 7U // in use, less redundant than it should be

// Hotspare: what a disk stands by for.
#define RAID_HOTSPARE_NONE 0U      // nothing
#define RAID_HOTSPARE_DEDICATED 1U // the virtual disks in its VDs
#define RAID_HOTSPARE_GLOBAL 2U    // all virtual disks

// Attributes of a disk; a byte.
#define RAID_PD_ATTRIBUTE_SMART 0x01U       // predicts its failure
#define RAID_PD_ATTRIBUTE_SSD 0x02U         // solid state; a restore never takes one kind for the other
#define RAID_PD_ATTRIBUTE_FDE 0x04U         // encrypts itself; a restore takes only such a disk for such a disk
#define RAID_PD_ATTRIBUTE_EEDP 0x10U        // end-to-end data protection
#define RAID_PD_ATTRIBUTE_ALTA_BRIDGE 0x20U // sits behind a bridge
#define RAID_PD_ATTRIBUTE_ALL 0x37U

// SecureState of a disk: one value.
#define RAID_SECURE_STATE_UNKNOWN 0U // not told; the documents then leave it out
#define RAID_SECURE_STATE_SECURED 1U // locked when it loses power, open now
#define RAID_SECURE_STATE_LOCKED 2U  // locked
#define RAID_SECURE_STATE_FOREIGN 4U // locked with another controller's key

// Attributes of a virtual disk.
#define RAID_VD_ATTRIBUTE_FDE 0x01U       // secured by the key; a restore creates it without
#define RAID_VD_ATTRIBUTE_EEDP 0x02U      // end-to-end data protection
#define RAID_VD_ATTRIBUTE_SSD 0x04U       // on solid state disks
#define RAID_VD_ATTRIBUTE_HDD 0x08U       // on hard disks
#define RAID_VD_ATTRIBUTE_SATA 0x10U      // on SATA disks
#define RAID_VD_ATTRIBUTE_SAS 0x20U       // on SAS disks
#define RAID_VD_ATTRIBUTE_CACHECADE 0x80U // a cache of other virtual disks
#define RAID_VD_ATTRIBUTE_ALL 0xBFU

// AccessPolicy of a virtual disk.
#define RAID_ACCESS_POLICY_NO_ACCESS 1U  // neither read nor written
#define RAID_ACCESS_POLICY_READ_ONLY 2U  // read
#define RAID_ACCESS_POLICY_READ_WRITE 6U // read and written

#endif
