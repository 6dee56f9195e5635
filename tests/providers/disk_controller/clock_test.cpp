#include "providers/disk_controller/model/clock.h"

#include <gtest/gtest.h>

#include <ctime>

#include "base/pool.h"
#include "host/firmware/firmware.h"

using namespace xyl;

static EFI_TIME g_now;

// A clock that is wrong tells no time. An hour less than a day at a time, so that all hours and days come.
TEST(Clock, SecondsAreTheLibrarysFrom1980On) {
  host::Firmware firmware;
  setSystemTable(firmware.systemTable());
  firmware.systemTable()->RuntimeServices->GetTime = [](EFI_TIME *time, void *) EFIAPI -> EFI_STATUS {
    *time = g_now;
    return EFI_SUCCESS;
  };
  constexpr time_t startValue = 315532800, endValue = 4070908800; // the years 1980 and 2099
  for (time_t at = startValue; at < endValue && !HasFailure(); at += 82799) {
    tm date = *gmtime(&at);
    g_now = {};
    g_now.Year = static_cast<UINT16>(date.tm_year + 1900);
    g_now.Month = static_cast<UINT8>(date.tm_mon + 1);
    g_now.Day = static_cast<UINT8>(date.tm_mday);
    g_now.Hour = static_cast<UINT8>(date.tm_hour);
    g_now.Minute = static_cast<UINT8>(date.tm_min);
    g_now.Second = static_cast<UINT8>(date.tm_sec);
    EXPECT_EQ(disk_controller::secondsSince1980(), at - startValue);
  }
  for (auto [year, month] : {std::pair{1979, 1}, {2026, 0}, {2026, 13}}) {
    g_now.Year = static_cast<UINT16>(year);
    g_now.Month = static_cast<UINT8>(month);
    EXPECT_EQ(disk_controller::secondsSince1980(), 0U);
  }
}
