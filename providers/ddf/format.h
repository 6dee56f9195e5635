// The Disk Data Format as it lies on a disk: structures, offsets and values in one place. All numbers are big-endian;
// every structure is made of bytes, so it may lie anywhere in memory. A sector has 512 bytes.
#pragma once

#include "uefi/types.h"

namespace xyl::ddf {

constexpr UINT32 sectorSize = 512;

// A big-endian number.
template <class T> struct Number {
  UINT8 bytes[sizeof(T)];

  constexpr operator T() const {
    UINT64 value = 0;
    for (UINT8 byte : bytes) {
      value = value << 8 | byte;
    }
    return static_cast<T>(value);
  }
  constexpr Number &operator=(T value) {
    UINT64 rest = value;
    for (UINTN i = sizeof(T); i-- > 0; rest >>= 8) {
      bytes[i] = static_cast<UINT8>(rest);
    }
    return *this;
  }
};
typedef Number<UINT16> U16;
typedef Number<UINT32> U32;
typedef Number<UINT64> U64;

// The name of a set, a disk or a virtual disk; all bytes FF: none.
struct Guid {
  UINT8 bytes[24];
};

constexpr UINT32 noReference = 0xFFFFFFFF; // of a disk
constexpr UINT32 absent = 0xFFFFFFFF;      // offset of a section that is not there
constexpr UINT64 noLba = ~UINT64{0};

enum Signature : UINT32 {
  headerSignature = 0xDE11DE11,
  controllerSignature = 0xAD111111,
  pdSignature = 0x22222222,
  vdSignature = 0xDDDDDDDD,
  recordSignature = 0xEEEEEEEE,
  spareSignature = 0x55555555,
  freeRecordSignature = 0xFFFFFFFF,
  pdDataSignature = 0x33333333,
};

// --- Headers: the anchor in the last sector, the primary and the secondary ---

enum HeaderType : UINT8 { headerAnchor, headerPrimary, headerSecondary };
enum OpenFlag : UINT8 { openFlagClosed = 0x00, openFlagOpen = 0x01, openFlagAnchor = 0xFF };

// The sections that a copy consists of, in the order in which the header lists them. They lie behind its header.
enum Section {
  sectionController,
  sectionPds,
  sectionVds,
  sectionRecords,
  sectionPdData,
  sectionCount,
  // Listed too, and left alone: bad blocks, diagnosis, a vendor's log.
  listedSections = 8,
};

// Those that all disks of a set have in common.
inline constexpr Section sharedSections[] = {sectionController, sectionPds, sectionVds};

struct SectionPlace {
  U32 offset; // sectors from the header, absent
  U32 length; // sectors
};

struct Header {
  U32 signature;
  U32 crc;
  Guid guid;         // of the set
  CHAR8 revision[8]; // "01.02.00"
  U32 sequence;      // all ones in the anchor
  U32 time;          // seconds since 1980
  UINT8 openFlag;    // OpenFlag
  UINT8 foreignFlag;
  UINT8 grouping;
  UINT8 pad1[13];
  UINT8 extension[32];
  U64 primaryLba;
  U64 secondaryLba; // noLba: none
  UINT8 type;       // HeaderType
  UINT8 pad2[3];    // from here on the three headers of a disk are equal
  U32 workspaceLength;
  U64 workspaceLba;
  U16 maxPds;
  U16 maxVds;
  U16 maxPartitions; // virtual disks a disk takes part in
  U16 recordLength;  // sectors
  U16 maxElements;   // members that a record has room for
  UINT8 pad3[54];
  SectionPlace sections[listedSections];
  UINT8 pad4[256];
};
static_assert(sizeof(Header) == sectorSize);
static_assert(offsetof(Header, primaryLba) == 96 && offsetof(Header, pad2) == 113);
static_assert(offsetof(Header, workspaceLba) == 120 && offsetof(Header, sections) == 192);

// --- Sections that are the same on all disks of a set ---

struct ControllerData {
  U32 signature;
  U32 crc;
  Guid guid;
  U16 type[4]; // PCI vendor, device, subsystem vendor and device
  CHAR8 product[16];
  UINT8 pad[8];
  UINT8 vendorData[448];
};
static_assert(sizeof(ControllerData) == sectorSize && offsetof(ControllerData, vendorData) == 64);

// What stands before the entries of physical and of virtual disks.
struct ListHead {
  U32 signature;
  U32 crc;
  U16 used; // not to be trusted: writers do not count down
  U16 maximum;
  UINT8 pad[52];
};

enum PdType : UINT16 {
  pdForcedGuid = 0x01,
  pdMember = 0x02,
  pdGlobalSpare = 0x04,
  pdSpare = 0x08, // with a spare record on the disk
  pdForeign = 0x10,
  pdLegacy = 0x20,
};
enum PdState : UINT16 {
  pdOnline = 0x01,
  pdFailed = 0x02,
  pdRebuilding = 0x04,
  pdTransition = 0x08,
  pdSmart = 0x10,
  pdReadErrors = 0x20,
  pdMissing = 0x40,
};

struct PdEntry {
  Guid guid; // all FF: the entry is free, whatever the rest says
  U32 reference;
  U16 type;           // PdType
  U16 state;          // PdState
  U64 configuredSize; // sectors for members, below the metadata
  CHAR8 path[18];
  UINT8 pad[6];
};

enum VdState : UINT8 {
  vdOptimal,
  vdDegraded,
  vdDeleted,
  vdMissing,
  vdFailed,
  vdPartiallyOptimal,
  vdOffline,
  vdStateBits = 0x07,
  vdMorphing = 0x08,
  vdInconsistent = 0x10,
};
enum VdInit : UINT8 { initNone, initQuick, initFull, initBits = 0x03 };
constexpr UINT32 accessShift = 6; // in the init byte
enum Access : UINT8 { accessReadWrite = 0, accessReadOnly = 2, accessBlocked = 3 };

struct VdEntry {
  Guid guid; // all FF: the entry is free
  U16 number;
  UINT8 pad1[2];
  U16 owner; // CRC of the controller's GUID
  U16 type;
  UINT8 state; // VdState
  UINT8 init;  // VdInit, access
  UINT8 pad2[14];
  CHAR8 name[16]; // padded with blanks or zeros
};
static_assert(sizeof(ListHead) == 64);
static_assert(sizeof(PdEntry) == 64 && offsetof(PdEntry, path) == 40);
static_assert(sizeof(VdEntry) == 64 && offsetof(VdEntry, name) == 48);

// --- Sections of a disk's own: records of the virtual disks that it takes part in, and its identity ---

enum Level : UINT8 {
  levelRaid0 = 0x00,
  levelRaid1 = 0x01,
  levelRaid4 = 0x04,
  levelRaid5 = 0x05,
  levelRaid6 = 0x06,
  levelRaid1e = 0x11, // RAID 10 in one record
  levelConcat = 0x1F,
};
constexpr UINT8 noStrip = 0xFF;
constexpr UINT8 noSecondary = 0xFF;
enum SecondaryLevel : UINT8 { secondaryStriped = 0, secondarySpanned = 3 };

// The fixed part of a record of a virtual disk. Behind it, at recordArrays, stand maxElements member references
// (U32) and as many start LBAs (U64).
struct Record {
  U32 signature;
  U32 crc;
  Guid guid; // of the virtual disk
  U32 time;
  U32 sequence;
  UINT8 pad1[24];
  U16 elements;           // members in this record
  UINT8 strip;            // 512 << n bytes, noStrip
  UINT8 level;            // Level
  UINT8 qualifier;        // where parity and copies lie
  UINT8 secondaryCount;   // records that make the virtual disk
  UINT8 secondaryElement; // which of them this is
  UINT8 secondaryLevel;   // SecondaryLevel, noSecondary
  U64 memberBlocks;
  U64 blocks; // of the virtual disk
  UINT8 pad2[8];
  U32 spares[8];
  UINT8 cache[8];
  UINT8 rate;
  UINT8 pad3[247];
  UINT8 vendor0[32];
  UINT8 vendor1[32];
  UINT8 vendor2[16];
  UINT8 vendor3[16];
  UINT8 scratch[32];
};
constexpr UINT32 recordArrays = 512;
static_assert(sizeof(Record) == recordArrays);
static_assert(offsetof(Record, elements) == 64 && offsetof(Record, memberBlocks) == 72);
static_assert(offsetof(Record, cache) == 128 && offsetof(Record, vendor0) == 384);

enum Cache : UINT8 { // of the last cache byte
  cacheWriteBack = 0x01,
  cacheAdaptiveWrite = 0x02,
  cacheReadAhead = 0x04,
  cacheAdaptiveRead = 0x08,
  cacheWithoutBattery = 0x10,
  cacheWrites = 0x20,
  cacheReads = 0x40,
};

enum SpareType : UINT8 {
  spareDedicated = 0x01,
  spareRevertible = 0x02,
  spareActive = 0x04,
  spareEnclosure = 0x08,
};

// A record of the same length that tells what the disk is a spare for; its entries stand behind it.
struct SpareRecord {
  U32 signature;
  U32 crc;
  U32 time;
  UINT8 pad1[7];
  UINT8 type; // SpareType
  U16 entries;
  U16 maximum;
  UINT8 pad2[8];
};
struct SpareEntry {
  Guid guid; // of the virtual disk
  U16 secondaryElement;
  UINT8 pad[6];
};
static_assert(sizeof(SpareRecord) == 32 && sizeof(SpareEntry) == 32);
static_assert(offsetof(SpareRecord, type) == 19);

struct DiskData {
  U32 signature;
  U32 crc;
  Guid guid;
  U32 reference;
  UINT8 forcedReference;
  UINT8 forcedGuid;
  UINT8 scratch[32];
  UINT8 pad[442];
};
static_assert(sizeof(DiskData) == sectorSize && offsetof(DiskData, scratch) == 38);

// --- What is no part of the format: this room's mark in the last sector of a disk that was set free ---

constexpr UINT32 freeMarkSignature = 0x52585946;

struct FreeMark {
  U32 signature;
  U32 crc;
  U64 sectors; // of the disk
  U64 digest;  // of what was on it
  UINT8 pad[488];
};
static_assert(sizeof(FreeMark) == sectorSize);

} // namespace xyl::ddf
