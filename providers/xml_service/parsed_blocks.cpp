// A search tree over the blocks by address, which needs no memory but theirs. A block stands above those of lower rank,
// and ranks are as good as random: so that the tree is as flat as if the blocks had come in random order.
#include "providers/xml_service/blocks.h"

namespace xyl::xml_service {

static Block *g_top;

// No two are equal.
static UINTN rankOf(const Block *block) {
  return reinterpret_cast<UINTN>(block) / EFI_PAGE_SIZE * 0x9E3779B97F4A7C15U;
}

// Where address is to be looked for below the block.
static Block **sideOf(Block *block, const void *address) {
  return reinterpret_cast<UINTN>(address) < reinterpret_cast<UINTN>(block) ? &block->lower : &block->higher;
}

void forgetParsedBlocks() {
  g_top = nullptr;
}

void addParsedBlock(Block *block) {
  Block **place = &g_top;
  while (*place != nullptr && rankOf(*place) > rankOf(block)) {
    place = sideOf(*place, block);
  }
  // What stood there comes below the block, on both of its sides.
  Block *rest = *place;
  *place = block;
  Block **lower = &block->lower;
  Block **higher = &block->higher;
  while (rest != nullptr) {
    Block **side = sideOf(rest, block);
    Block **&end = side == &rest->lower ? higher : lower;
    *end = rest;
    end = side;
    rest = *side;
  }
  *lower = nullptr;
  *higher = nullptr;
}

void removeParsedBlock(Block *block) {
  Block **place = &g_top;
  while (*place != block) {
    place = sideOf(*place, block);
  }
  Block *lower = block->lower;
  Block *higher = block->higher;
  while (lower != nullptr && higher != nullptr) {
    bool isLowerAbove = rankOf(lower) > rankOf(higher);
    Block *&above = isLowerAbove ? lower : higher;
    *place = above;
    place = isLowerAbove ? &above->higher : &above->lower;
    above = *place;
  }
  *place = lower != nullptr ? lower : higher;
}

Block *parsedBlock(const void *address) {
  Block *block = g_top;
  while (block != nullptr && !liesIn(block, address)) {
    block = *sideOf(block, address);
  }
  return block;
}

} // namespace xyl::xml_service
