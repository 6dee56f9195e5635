#include "xyl/packed_start/lzma.h"

static constexpr UINT32 ONE = 2048; // a probability
static constexpr UINT32 LEAST_RANGE = 1U << 24;
static constexpr UINT32 END_MARKER = 0xFFFFFFFF; // as a distance

static constexpr UINT32 SHORTEST_MATCH = 2;

// State numbers are the format's: below LITERALS the last thing was a literal.
static constexpr UINT32 LITERALS = 7;

struct DECODER {
  const UINT8 *packed;
  const UINT8 *packedEnd;
  bool isCut;
  UINT32 range;
  UINT32 code; // below range

  UINT8 *unpacked;
  UINT32 size;
  UINT32 position;
  UINT32 state;
  UINT32 distances[4]; // of the last matches, the latest first, less 1
};

// --- Bits ---

// Bytes behind the end are zeros: what comes of them ends with the room for it.
static void normalize(DECODER *decoder) {
  if (decoder->range >= LEAST_RANGE) {
    return;
  }
  decoder->isCut |= decoder->packed == decoder->packedEnd;
  UINT8 next = decoder->isCut ? 0 : *decoder->packed++;
  decoder->range <<= 8;
  decoder->code = decoder->code << 8 | next;
}

static UINT32 decodeBit(DECODER *decoder, LZMA_BIT *bit) {
  UINT32 bound = decoder->range / ONE * *bit;
  UINT32 value = decoder->code < bound ? 0 : 1;
  if (value == 0) {
    decoder->range = bound;
    *bit = static_cast<LZMA_BIT>(*bit + (ONE - *bit) / 32);
  } else {
    decoder->range -= bound;
    decoder->code -= bound;
    *bit = static_cast<LZMA_BIT>(*bit - *bit / 32);
  }
  normalize(decoder);
  return value;
}

// Bits that nothing foresees.
static UINT32 decodePlain(DECODER *decoder, UINT32 count) {
  UINT32 value = 0;
  for (; count != 0; --count) {
    decoder->range /= 2;
    UINT32 bit = decoder->code < decoder->range ? 0 : 1;
    decoder->code -= bit * decoder->range;
    normalize(decoder);
    value = value << 1 | bit;
  }
  return value;
}

// A number of count bits, the highest first. Each is foreseen by those before it: they and a 1 in front are the place
// of its bit in the tree.
static UINT32 decodeTree(DECODER *decoder, LZMA_BIT *tree, UINT32 count) {
  UINT32 place = 1;
  for (UINT32 i = 0; i < count; ++i) {
    place = place << 1 | decodeBit(decoder, &tree[place]);
  }
  return place - (1U << count);
}

// The same with the lowest bit first.
static UINT32 decodeReverseTree(DECODER *decoder, LZMA_BIT *tree, UINT32 count) {
  UINT32 place = 1;
  UINT32 value = 0;
  for (UINT32 i = 0; i < count; ++i) {
    UINT32 bit = decodeBit(decoder, &tree[place]);
    place = place << 1 | bit;
    value |= bit << i;
  }
  return value;
}

// --- Literals and matches ---

// After a match the byte that would have gone on with it foresees the literal, as long as both agree.
static void decodeLiteral(DECODER *decoder, LZMA_MODEL *model, LZMA_SHAPE shape) {
  UINT32 before = decoder->position != 0 ? decoder->unpacked[decoder->position - 1] : 0;
  UINT32 low = decoder->position & ((1U << shape.LiteralPosition) - 1);
  LZMA_BIT *tree = model->Literal[low << shape.LiteralContext | before >> (8 - shape.LiteralContext)];
  UINT32 place = 1;
  if (decoder->state >= LITERALS) {
    UINT32 match = decoder->unpacked[decoder->position - decoder->distances[0] - 1];
    for (bool agrees = true; agrees && place < 0x100; match <<= 1) {
      UINT32 expected = match >> 7 & 1;
      UINT32 bit = decodeBit(decoder, &tree[((1 + expected) << 8) + place]);
      place = place << 1 | bit;
      agrees = bit == expected;
    }
  }
  while (place < 0x100) {
    place = place << 1 | decodeBit(decoder, &tree[place]);
  }
  decoder->unpacked[decoder->position++] = static_cast<UINT8>(place);
  decoder->state = decoder->state < 4 ? 0 : decoder->state - (decoder->state < 10 ? 3 : 6);
}

static UINT32 decodeLength(DECODER *decoder, LZMA_LENGTHS *lengths, UINT32 low) {
  if (decodeBit(decoder, &lengths->IsNotShort) == 0) {
    return SHORTEST_MATCH + decodeTree(decoder, lengths->Short[low], 3);
  }
  if (decodeBit(decoder, &lengths->IsLong) == 0) {
    return SHORTEST_MATCH + 8 + decodeTree(decoder, lengths->Middle[low], 3);
  }
  return SHORTEST_MATCH + 16 + decodeTree(decoder, lengths->Long, 8);
}

// A slot is the number of bits of the distance and the highest two of them.
static UINT32 decodeDistance(DECODER *decoder, LZMA_MODEL *model, UINT32 length) {
  UINT32 slots = length - SHORTEST_MATCH < 4 ? length - SHORTEST_MATCH : 3;
  UINT32 slot = decodeTree(decoder, model->DistanceSlot[slots], 6);
  if (slot < 4) {
    return slot;
  }
  UINT32 count = slot / 2 - 1;
  UINT32 distance = (2 | (slot & 1)) << count;
  if (slot < 14) {
    return distance + decodeReverseTree(decoder, &model->MiddleDistance[distance - slot], count);
  }
  distance += decodePlain(decoder, count - 4) << 4;
  return distance + decodeReverseTree(decoder, model->DistanceAlign, 4);
}

// Moves one of the last four distances to the front.
static void decodeRepeat(DECODER *decoder, LZMA_MODEL *model) {
  UINT32 which = 1;
  if (decodeBit(decoder, &model->IsNotRepeat1[decoder->state]) != 0) {
    which = 2 + decodeBit(decoder, &model->IsNotRepeat2[decoder->state]);
  }
  UINT32 distance = decoder->distances[which];
  for (; which != 0; --which) {
    decoder->distances[which] = decoder->distances[which - 1];
  }
  decoder->distances[0] = distance;
}

// What follows the bit that announces a match, up to its length.
static UINT32 decodeMatch(DECODER *decoder, LZMA_MODEL *model, UINT32 low) {
  UINT32 *state = &decoder->state;
  UINT32 next = *state < LITERALS ? 0 : 3;
  if (decodeBit(decoder, &model->IsRepeat[*state]) == 0) {
    UINT32 length = decodeLength(decoder, &model->MatchLengths, low);
    UINT32 *distances = decoder->distances;
    __builtin_memmove(&distances[1], &distances[0], 3 * sizeof(UINT32));
    distances[0] = decodeDistance(decoder, model, length);
    *state = LITERALS + next;
    return length;
  }
  if (decodeBit(decoder, &model->IsNotRepeat0[*state]) != 0) {
    decodeRepeat(decoder, model);
  } else if (decodeBit(decoder, &model->IsLongRepeat0[*state][low]) == 0) {
    *state = next == 0 ? 9 : 11;
    return 1;
  }
  *state = next == 0 ? 8 : 11;
  return decodeLength(decoder, &model->RepeatLengths, low);
}

// --- The whole ---

// Damage shows here, for the most part: it leaves the range coder anywhere.
static bool isAtEnd(const DECODER *decoder) {
  return decoder->position == decoder->size && !decoder->isCut && decoder->packed == decoder->packedEnd &&
         decoder->code == 0;
}

static void beginModel(LZMA_MODEL *model) {
  LZMA_BIT *bits = reinterpret_cast<LZMA_BIT *>(model);
  for (UINTN i = 0; i < sizeof(LZMA_MODEL) / sizeof(LZMA_BIT); ++i) {
    bits[i] = ONE / 2;
  }
}

static DECODER beginDecoder(const UINT8 *packed, UINT32 packedSize, UINT8 *unpacked, UINT32 unpackedSize) {
  DECODER decoder = {};
  decoder.packed = packed;
  decoder.packedEnd = packed + packedSize;
  decoder.unpacked = unpacked;
  decoder.size = unpackedSize;
  for (int i = 0; i < 5; ++i) {
    decoder.range = 0; // takes a byte
    normalize(&decoder);
  }
  decoder.range = 0xFFFFFFFF;
  return decoder;
}

// False when the match begins before the first byte, or ends behind the last.
static bool copyMatch(DECODER *decoder, UINT32 length) {
  UINT32 distance = decoder->distances[0];
  if (distance >= decoder->position || length > decoder->size - decoder->position) {
    return false;
  }
  UINT8 *to = decoder->unpacked + decoder->position;
  const UINT8 *from = to - distance - 1;
  for (UINT32 i = 0; i < length; ++i) {
    to[i] = from[i]; // which may be one of those that were just made
  }
  decoder->position += length;
  return true;
}

bool lzmaUnpack(LZMA_MODEL *model, LZMA_SHAPE shape, const UINT8 *packed, UINT32 packedSize, UINT8 *unpacked,
                UINT32 unpackedSize) {
  if (packedSize == 0 || packed[0] != 0) {
    return false;
  }
  beginModel(model);
  DECODER decoder = beginDecoder(packed, packedSize, unpacked, unpackedSize);
  // Every turn makes a byte at least, so that they end.
  for (;;) {
    UINT32 low = decoder.position & ((1U << shape.Position) - 1);
    if (decodeBit(&decoder, &model->IsMatch[decoder.state][low]) == 0) {
      if (decoder.position == decoder.size) {
        return false;
      }
      decodeLiteral(&decoder, model, shape);
      continue;
    }
    UINT32 length = decodeMatch(&decoder, model, low);
    if (decoder.distances[0] == END_MARKER) {
      return isAtEnd(&decoder);
    }
    if (!copyMatch(&decoder, length)) {
      return false;
    }
  }
}
