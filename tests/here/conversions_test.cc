#include "here/conversions.h"

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string>

#include <doctest/doctest.h>

namespace here = kesu::here::detail;

namespace {

/// What NetworkManager makes of a signal strength.
int WifiQuality(int dbm) {
  return 100 - static_cast<int>(100.0 * std::abs(dbm + 40) / 60.0);
}

/// What ModemManager makes of one.
int ModemQuality(int dbm) {
  return (dbm + 113) * 100 / 62;
}

std::string TextOf(const std::optional<kesu::Cell>& cell) {
  if (!cell) return "none";
  return std::to_string(cell->mcc) + " " + std::to_string(cell->mnc) + " " +
         std::to_string(cell->area) + " " + std::to_string(cell->cell);
}

}  // namespace

TEST_CASE("a quality stands for a signal strength that has it") {
  for (int dbm = -100; dbm <= -40; ++dbm) {
    CHECK(here::DbmOfWifiQuality(WifiQuality(dbm)) == dbm);
  }
  for (int dbm = -113; dbm <= -51; ++dbm) {
    CHECK(here::DbmOfModemQuality(ModemQuality(dbm)) == dbm);
  }
  CHECK(here::DbmOfWifiQuality(-7) == -100);
  CHECK(here::DbmOfWifiQuality(255) == -40);
}

TEST_CASE("the cell that a modem tells of") {
  struct Row {
    const char* location;
    const char* cell;
  };
  constexpr Row kRows[] = {
      {"001,01,0001,000003E9,000000", "1 1 1 1001"},
      {"310,260,1A2B,00C3D4E5,00F00D", "310 260 61453 12834021"},
      {"310,004,FFFE,abcdef1,1A2B", "310 4 6699 180150001"},
      {"222,88,1a2b,03e9", "222 88 6699 1001"},
      // Nothing, or too little, or too much.
      {"", "none"},
      {",,,,", "none"},
      {"001,01,0001", "none"},
      {"001,01,0001,03E9,0000,7", "none"},
      // Codes that no network has.
      {"000,01,0001,03E9,0000", "none"},
      {"1,01,0001,03E9,0000", "none"},
      {"0010,01,0001,03E9,0000", "none"},
      {"001,1,0001,03E9,0000", "none"},
      {"001,-1,0001,03E9,0000", "none"},
      {"001,+1,0001,03E9,0000", "none"},
      {"001,0x,0001,03E9,0000", "none"},
      // Areas and cells that stand for none.
      {"001,01,0000,03E9,000000", "none"},
      {"001,01,FFFE,03E9,FFFE", "none"},
      {"001,01,FFFF,03E9,FFFFFF", "none"},
      {"001,01,1000000,03E9,1000000", "none"},
      {"001,01,0001,0,0000", "none"},
      {"001,01,0001,FFFF,0000", "none"},
      {"001,01,0001,0FFFFFFF,0000", "none"},
      {"001,01,0001,FFFFFFFF,0000", "none"},
      {"001,01,0001,123456789,0000", "none"},
      {"001,01,0001,FFFFFFFFFFFFFFFFFF,0000", "none"},
      {"001,01,0001,-3E9,0000", "none"},
      {"001,01,0001,03E9 ,0000", "none"},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.location);
    CHECK(TextOf(here::CellOf(row.location)) == row.cell);
  }
}

TEST_CASE("how long ago a time of day was") {
  using std::chrono::milliseconds;
  constexpr long kNone = -1;
  struct Row {
    const char* time;
    long age_ms;
  };
  // At 00:01:00.5 of some day.
  constexpr milliseconds kNow(86400000LL * 20000 + 60500);
  constexpr Row kRows[] = {
      {"000100", 500},       {"000100.5", 0},     {"000059.75", 750},     {"000030.001", 30499},
      {"235959.999", 60501}, {"000160", 0},       {"000201", kNone},      {"121000", 42660500},
      {"120000", kNone},     {"", kNone},         {"0001", kNone},        {"0001005", kNone},
      {"000100.", kNone},    {"000100.x", kNone}, {"000100.1234", kNone}, {"240000", kNone},
      {"006000", kNone},     {"000061", kNone},   {"-10100", kNone},
  };
  for (const Row& row : kRows) {
    CAPTURE(row.time);
    CHECK(here::AgeOf(row.time, kNow).value_or(milliseconds(kNone)).count() == row.age_ms);
  }
}
