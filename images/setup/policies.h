// Stripe sizes and cache policies as questions offer them, and words for what does not fit.
#pragma once

#include "fitting/fitting.h"
#include "images/setup/texts.h"

namespace xyl::images::setup {

struct CacheValue {
  UINT32 bit; // RAID_CACHE_
  Text word;
};

struct CacheGroup {
  Text name;
  UINT32 mask;
  CacheValue values[3]; // up to one of bit 0

  // Text::none for what has none.
  constexpr Text wordOf(UINT32 value) const {
    for (const CacheValue &row : values) {
      if (row.bit != 0 && row.bit == value) {
        return row.word;
      }
    }
    return Text::none;
  }
};

inline constexpr CacheGroup g_cacheGroups[] = {
    {Text::writeCache,
     RAID_CACHE_WRITE_MASK,
     {{RAID_CACHE_WRITE_THROUGH, Text::writeThrough},
      {RAID_CACHE_WRITE_BACK, Text::writeBack},
      {RAID_CACHE_WRITE_FORCE_BACK, Text::writeForceBack}}},
    {Text::readCache,
     RAID_CACHE_READ_MASK,
     {{RAID_CACHE_READ_NO_AHEAD, Text::readNoAhead},
      {RAID_CACHE_READ_AHEAD, Text::readAhead},
      {RAID_CACHE_READ_ADAPTIVE, Text::readAdaptive}}},
    {Text::diskCache,
     RAID_CACHE_DISK_MASK,
     {{RAID_CACHE_DISK_DEFAULT, Text::diskDefault},
      {RAID_CACHE_DISK_ENABLED, Text::diskEnabled},
      {RAID_CACHE_DISK_DISABLED, Text::diskDisabled}}},
    {Text::ioCache,
     RAID_CACHE_IO_MASK,
     {{RAID_CACHE_IO_DIRECT, Text::ioDirect}, {RAID_CACHE_IO_CACHED, Text::ioCached}, {0, Text::none}}},
};

// Bytes of a RAID_STRIPE_SIZE_; 0 for the default.
inline UINT32 stripeBytes(UINT32 stripe) {
  return stripe * 512;
}

// A choice among bits is asked for as the number of the bit, from 1 on; 0 is none.
inline UINT32 bitOf(UINT8 choice) {
  return choice != 0 && choice <= 32 ? 1U << (choice - 1) : 0;
}
inline UINT8 choiceOf(UINT32 bit) {
  return static_cast<UINT8>(bit != 0 ? __builtin_ctz(bit) + 1 : 0);
}

inline Text verdictWord(fitting::Verdict verdict) {
  switch (verdict) {
  case fitting::Verdict::wrongMedium:
    return Text::whyMedium;
  case fitting::Verdict::wrongProtocol:
    return Text::whyProtocol;
  case fitting::Verdict::mixedMedia:
    return Text::whyMedia;
  case fitting::Verdict::mixedProtocols:
    return Text::whyProtocols;
  case fitting::Verdict::tooSmall:
    return Text::whySmall;
  case fitting::Verdict::wrongCount:
    return Text::whyCount;
  case fitting::Verdict::oddCount:
    return Text::whyOdd;
  case fitting::Verdict::unequalSpans:
    return Text::whySpans;
  case fitting::Verdict::fits:
    return Text::none;
  }
  return Text::none;
}

} // namespace xyl::images::setup
