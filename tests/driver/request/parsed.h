// A document as the readers see it.
#pragma once

#include "base/pool.h"
#include "driver/inventory/inventory.h"
#include "driver/request/request.h"
#include "tests/support/world.h"

using namespace xyl;

// Room for one configuration, as the operations give it; released with all it owns.
struct Parsed {
  explicit Parsed(const std::string &text) { status = driver::ParseXMLBlob(text.c_str(), &config, &count); }
  ~Parsed() { driver::releaseConfig(config); }
  Parsed(const Parsed &) = delete;
  Parsed &operator=(const Parsed &) = delete;

  EFI_STATUS status;
  UINT32 count = 1;
  RAID_CONFIG *config = nullptr;
};

// The driver and the XML service without a controller.
struct ReadingWorld : World {
  ReadingWorld() : World({.preset = nullptr, .connect = false}) {}
};

// The inventory document of a configuration.
inline std::string written(const RAID_CONFIG &config) {
  CHAR8 *text = nullptr;
  EXPECT_EQ(name(driver::cacheToXML(&config, &text)), name(EFI_SUCCESS));
  std::string document = text == nullptr ? "" : text;
  poolFree(text);
  return document;
}
