// The Disk Data Format as it lies on a disk: structures, offsets and values in one place. All numbers are big-endian;
// every structure is made of bytes, so it may lie anywhere in memory. A sector has 512 bytes.
#pragma once

#include "uefi/types.h"

constexpr UINT32 DDF_SECTOR = 512;

// A big-endian number.
template <class T> struct DDF_NUMBER {
  UINT8 bytes[sizeof(T)];

  operator T() const {
    UINT64 value = 0;
    for (UINT8 byte : bytes) {
      value = value << 8 | byte;
    }
    return static_cast<T>(value);
  }
  DDF_NUMBER &operator=(T value) {
    UINT64 rest = value;
    for (UINTN i = sizeof(T); i-- > 0; rest >>= 8) {
      bytes[i] = static_cast<UINT8>(rest);
    }
    return *this;
  }
};
typedef DDF_NUMBER<UINT16> DDF_U16;
typedef DDF_NUMBER<UINT32> DDF_U32;
typedef DDF_NUMBER<UINT64> DDF_U64;

// The name of a set, a disk or a virtual disk; all bytes FF: none.
struct DDF_GUID {
  UINT8 bytes[24];
};

constexpr UINT32 DDF_NO_REFERENCE = 0xFFFFFFFF; // of a disk
constexpr UINT32 DDF_ABSENT = 0xFFFFFFFF;       // offset of a section that is not there
constexpr UINT64 DDF_NO_LBA = ~UINT64{0};

enum DDF_SIGNATURE : UINT32 {
  DDF_HEADER_SIGNATURE = 0xDE11DE11,
  DDF_CONTROLLER_SIGNATURE = 0xAD111111,
  DDF_PD_SIGNATURE = 0x22222222,
  DDF_VD_SIGNATURE = 0xDDDDDDDD,
  DDF_RECORD_SIGNATURE = 0xEEEEEEEE,
  DDF_SPARE_SIGNATURE = 0x55555555,
  DDF_FREE_RECORD = 0xFFFFFFFF,
  DDF_PD_DATA_SIGNATURE = 0x33333333,
};

// --- Headers: the anchor in the last sector, the primary and the secondary ---

enum DDF_HEADER_TYPE : UINT8 { DDF_ANCHOR, DDF_PRIMARY, DDF_SECONDARY };
enum DDF_OPEN_FLAG : UINT8 { DDF_CLOSED = 0x00, DDF_OPEN = 0x01, DDF_OPEN_ANCHOR = 0xFF };

// The sections that a copy consists of, in the order in which the header lists them. They lie behind its header.
enum DDF_SECTION {
  DDF_CONTROLLER,
  DDF_PD_RECORDS,
  DDF_VD_RECORDS,
  DDF_RECORDS,
  DDF_PD_DATA,
  DDF_SECTIONS,
  // Listed too, and left alone: bad blocks, diagnosis, a vendor's log.
  DDF_LISTED_SECTIONS = 8,
};

// Those that all disks of a set have in common.
inline constexpr DDF_SECTION DDF_SHARED_SECTIONS[] = {DDF_CONTROLLER, DDF_PD_RECORDS, DDF_VD_RECORDS};

struct DDF_SECTION_PLACE {
  DDF_U32 offset; // sectors from the header, DDF_ABSENT
  DDF_U32 length; // sectors
};

struct DDF_HEADER {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_GUID guid;     // of the set
  CHAR8 revision[8]; // "01.02.00"
  DDF_U32 sequence;  // all ones in the anchor
  DDF_U32 time;      // seconds since 1980
  UINT8 openFlag;    // DDF_OPEN_FLAG
  UINT8 foreignFlag;
  UINT8 grouping;
  UINT8 pad1[13];
  UINT8 extension[32];
  DDF_U64 primaryLba;
  DDF_U64 secondaryLba; // DDF_NO_LBA: none
  UINT8 type;           // DDF_HEADER_TYPE
  UINT8 pad2[3];        // from here on the three headers of a disk are equal
  DDF_U32 workspaceLength;
  DDF_U64 workspaceLba;
  DDF_U16 maxPds;
  DDF_U16 maxVds;
  DDF_U16 maxPartitions; // virtual disks a disk takes part in
  DDF_U16 recordLength;  // sectors
  DDF_U16 maxElements;   // members that a record has room for
  UINT8 pad3[54];
  DDF_SECTION_PLACE sections[DDF_LISTED_SECTIONS];
  UINT8 pad4[256];
};
static_assert(sizeof(DDF_HEADER) == DDF_SECTOR);
static_assert(offsetof(DDF_HEADER, primaryLba) == 96 && offsetof(DDF_HEADER, pad2) == 113);
static_assert(offsetof(DDF_HEADER, workspaceLba) == 120 && offsetof(DDF_HEADER, sections) == 192);

// --- Sections that are the same on all disks of a set ---

struct DDF_CONTROLLER_DATA {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_GUID guid;
  DDF_U16 type[4]; // PCI vendor, device, subsystem vendor and device
  CHAR8 product[16];
  UINT8 pad[8];
  UINT8 vendorData[448];
};
static_assert(sizeof(DDF_CONTROLLER_DATA) == DDF_SECTOR && offsetof(DDF_CONTROLLER_DATA, vendorData) == 64);

// What stands before the entries of physical and of virtual disks.
struct DDF_LIST_HEAD {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_U16 used; // not to be trusted: writers do not count down
  DDF_U16 maximum;
  UINT8 pad[52];
};

enum DDF_PD_TYPE : UINT16 {
  DDF_PD_FORCED_GUID = 0x01,
  DDF_PD_MEMBER = 0x02,
  DDF_PD_GLOBAL_SPARE = 0x04,
  DDF_PD_SPARE = 0x08, // with a spare record on the disk
  DDF_PD_FOREIGN = 0x10,
  DDF_PD_LEGACY = 0x20,
};
enum DDF_PD_STATE : UINT16 {
  DDF_PD_ONLINE = 0x01,
  DDF_PD_FAILED = 0x02,
  DDF_PD_REBUILDING = 0x04,
  DDF_PD_TRANSITION = 0x08,
  DDF_PD_SMART = 0x10,
  DDF_PD_READ_ERRORS = 0x20,
  DDF_PD_MISSING = 0x40,
};

struct DDF_PD_ENTRY {
  DDF_GUID guid; // all FF: the entry is free, whatever the rest says
  DDF_U32 reference;
  DDF_U16 type;           // DDF_PD_TYPE
  DDF_U16 state;          // DDF_PD_STATE
  DDF_U64 configuredSize; // sectors for members, below the metadata
  CHAR8 path[18];
  UINT8 pad[6];
};

enum DDF_VD_STATE : UINT8 {
  DDF_VD_OPTIMAL,
  DDF_VD_DEGRADED,
  DDF_VD_DELETED,
  DDF_VD_MISSING,
  DDF_VD_FAILED,
  DDF_VD_PARTIALLY_OPTIMAL,
  DDF_VD_OFFLINE,
  DDF_VD_STATE_BITS = 0x07,
  DDF_VD_MORPHING = 0x08,
  DDF_VD_INCONSISTENT = 0x10,
};
enum DDF_VD_INIT : UINT8 { DDF_INIT_NONE, DDF_INIT_QUICK, DDF_INIT_FULL, DDF_INIT_BITS = 0x03 };
constexpr UINT32 DDF_ACCESS_SHIFT = 6; // in the init byte
enum DDF_ACCESS : UINT8 { DDF_READ_WRITE = 0, DDF_READ_ONLY = 2, DDF_BLOCKED = 3 };

struct DDF_VD_ENTRY {
  DDF_GUID guid; // all FF: the entry is free
  DDF_U16 number;
  UINT8 pad1[2];
  DDF_U16 owner; // CRC of the controller's GUID
  DDF_U16 type;
  UINT8 state; // DDF_VD_STATE
  UINT8 init;  // DDF_VD_INIT, access
  UINT8 pad2[14];
  CHAR8 name[16]; // padded with blanks or zeros
};
static_assert(sizeof(DDF_LIST_HEAD) == 64);
static_assert(sizeof(DDF_PD_ENTRY) == 64 && offsetof(DDF_PD_ENTRY, path) == 40);
static_assert(sizeof(DDF_VD_ENTRY) == 64 && offsetof(DDF_VD_ENTRY, name) == 48);

// --- Sections of a disk's own: records of the virtual disks that it takes part in, and its identity ---

enum DDF_LEVEL : UINT8 {
  DDF_RAID_0 = 0x00,
  DDF_RAID_1 = 0x01,
  DDF_RAID_4 = 0x04,
  DDF_RAID_5 = 0x05,
  DDF_RAID_6 = 0x06,
  DDF_RAID_1E = 0x11, // RAID 10 in one record
  DDF_CONCAT = 0x1F,
};
constexpr UINT8 DDF_NO_STRIP = 0xFF;
constexpr UINT8 DDF_NO_SECONDARY = 0xFF;
enum DDF_SECONDARY_LEVEL : UINT8 { DDF_SECONDARY_STRIPED = 0, DDF_SECONDARY_SPANNED = 3 };

// The fixed part of a record of a virtual disk. Behind it, at DDF_RECORD_ARRAYS, stand maxElements member references
// (U32) and as many start LBAs (U64).
struct DDF_RECORD {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_GUID guid; // of the virtual disk
  DDF_U32 time;
  DDF_U32 sequence;
  UINT8 pad1[24];
  DDF_U16 elements;       // members in this record
  UINT8 strip;            // 512 << n bytes, DDF_NO_STRIP
  UINT8 level;            // DDF_LEVEL
  UINT8 qualifier;        // where parity and copies lie
  UINT8 secondaryCount;   // records that make the virtual disk
  UINT8 secondaryElement; // which of them this is
  UINT8 secondaryLevel;   // DDF_SECONDARY_LEVEL, DDF_NO_SECONDARY
  DDF_U64 memberBlocks;
  DDF_U64 blocks; // of the virtual disk
  UINT8 pad2[8];
  DDF_U32 spares[8];
  UINT8 cache[8];
  UINT8 rate;
  UINT8 pad3[247];
  UINT8 vendor0[32];
  UINT8 vendor1[32];
  UINT8 vendor2[16];
  UINT8 vendor3[16];
  UINT8 scratch[32];
};
constexpr UINT32 DDF_RECORD_ARRAYS = 512;
static_assert(sizeof(DDF_RECORD) == DDF_RECORD_ARRAYS);
static_assert(offsetof(DDF_RECORD, elements) == 64 && offsetof(DDF_RECORD, memberBlocks) == 72);
static_assert(offsetof(DDF_RECORD, cache) == 128 && offsetof(DDF_RECORD, vendor0) == 384);

enum DDF_CACHE : UINT8 { // of the last cache byte
  DDF_CACHE_WRITE_BACK = 0x01,
  DDF_CACHE_ADAPTIVE_WRITE = 0x02,
  DDF_CACHE_READ_AHEAD = 0x04,
  DDF_CACHE_ADAPTIVE_READ = 0x08,
  DDF_CACHE_WITHOUT_BATTERY = 0x10,
  DDF_CACHE_WRITES = 0x20,
  DDF_CACHE_READS = 0x40,
};

enum DDF_SPARE_TYPE : UINT8 {
  DDF_SPARE_DEDICATED = 0x01,
  DDF_SPARE_REVERTIBLE = 0x02,
  DDF_SPARE_ACTIVE = 0x04,
  DDF_SPARE_ENCLOSURE = 0x08,
};

// A record of the same length that tells what the disk is a spare for; its entries stand behind it.
struct DDF_SPARE_RECORD {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_U32 time;
  UINT8 pad1[7];
  UINT8 type; // DDF_SPARE_TYPE
  DDF_U16 entries;
  DDF_U16 maximum;
  UINT8 pad2[8];
};
struct DDF_SPARE_ENTRY {
  DDF_GUID guid; // of the virtual disk
  DDF_U16 secondaryElement;
  UINT8 pad[6];
};
static_assert(sizeof(DDF_SPARE_RECORD) == 32 && sizeof(DDF_SPARE_ENTRY) == 32);
static_assert(offsetof(DDF_SPARE_RECORD, type) == 19);

struct DDF_DISK_DATA {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_GUID guid;
  DDF_U32 reference;
  UINT8 forcedReference;
  UINT8 forcedGuid;
  UINT8 scratch[32];
  UINT8 pad[442];
};
static_assert(sizeof(DDF_DISK_DATA) == DDF_SECTOR && offsetof(DDF_DISK_DATA, scratch) == 38);

// --- What is no part of the format: this room's mark in the last sector of a disk that was set free ---

constexpr UINT32 DDF_FREE_SIGNATURE = 0x52585946;

struct DDF_FREE_MARK {
  DDF_U32 signature;
  DDF_U32 crc;
  DDF_U64 sectors; // of the disk
  DDF_U64 digest;  // of what was on it
  UINT8 pad[488];
};
static_assert(sizeof(DDF_FREE_MARK) == DDF_SECTOR);
