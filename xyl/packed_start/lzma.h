// LZMA: dictionary coding, whose choices are bits of an adaptive range coder.
#pragma once

#include "uefi/types.h"

// By what bits a literal and a match are foreseen; as the packer had it.
struct LZMA_SHAPE {
  UINT8 LiteralContext;  // bits of the byte before; with the next at most 4
  UINT8 LiteralPosition; // low bits of the position
  UINT8 Position;        // at most 4
};

// One for each bit that may have to be foreseen: how probable a 0 is, of 2048.
typedef UINT16 LZMA_BIT;

struct LZMA_LENGTHS {
  LZMA_BIT IsNotShort;
  LZMA_BIT IsLong;
  LZMA_BIT Short[16][8]; // by position
  LZMA_BIT Middle[16][8];
  LZMA_BIT Long[256];
};

// The decoder's memory, which needs no preparation.
struct LZMA_MODEL {
  LZMA_BIT IsMatch[12][16]; // by what came before and position
  LZMA_BIT IsRepeat[12];
  LZMA_BIT IsNotRepeat0[12];
  LZMA_BIT IsNotRepeat1[12];
  LZMA_BIT IsNotRepeat2[12];
  LZMA_BIT IsLongRepeat0[12][16];
  LZMA_LENGTHS MatchLengths;
  LZMA_LENGTHS RepeatLengths;
  LZMA_BIT DistanceSlot[4][64]; // by length
  LZMA_BIT MiddleDistance[115]; // of slots 4 to 13, whose trees stand one behind the other
  LZMA_BIT DistanceAlign[16];
  LZMA_BIT Literal[16][0x300]; // by position and the byte before
};

// Unpacks raw LZMA data with an end marker, which must stand behind exactly unpackedSize bytes and end the packed ones.
// Returns false for anything else; what unpacked holds then is of no use. There is no checksum: of packed data with a
// wrong bit some unpack to other bytes.
bool lzmaUnpack(LZMA_MODEL *model, LZMA_SHAPE shape, const UINT8 *packed, UINT32 packedSize, UINT8 *unpacked,
                UINT32 unpackedSize);
