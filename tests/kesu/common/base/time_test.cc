#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

#include <doctest/doctest.h>

#include "kesu/common/base/internal/gtime.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/common/base/scoped_ptr.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using namespace common_base;
using kesu_test::TextOf;

namespace {

std::string Rfc1123(const GTime& time) {
  return TextOf(time.NewGStringAsRfc1123Timestamp());
}

std::string Rfc1123OfSystem(std::time_t seconds) {
  std::tm fields = {};
  gmtime_r(&seconds, &fields);
  char text[64];
  std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &fields);
  return text;
}

}  // namespace

TEST_CASE("GTime is packed into two words") {
  const GTime time(1971, GTime::kFebruary, 2, 3, 4, 5, 6);
  std::uint32_t words[2];
  std::memcpy(words, static_cast<const void*>(&time), sizeof words);
  // The bits above the fields are nobody's.
  CHECK((words[0] & 0x1FFFF) == (2U | 1U << 5 | 1U << 9));
  CHECK((words[1] & 0x7FFFFFF) == (6U | 5U << 10 | 4U << 16 | 3U << 22));
}

TEST_CASE("setters mask their value into the field") {
  struct {
    int set, year;
  } const kYears[] = {{1970, 1970}, {2225, 2225}, {2226, 1970}, {1969, 2225}, {INT_MIN, 2048}};
  GTime time;
  for (const auto& c : kYears) {
    time.set_year(c.set);
    CHECK(time.year() == c.year);
  }
  time.SetTime(2000, 16, 32, 32, 64, 64, 1024);
  CHECK(Rfc1123(time) == "Sat, 01 Jan 2000 00:00:00 GMT");
  CHECK(time.millisecond() == 0);
}

TEST_CASE("seconds agree with the system's calendar up to the last 32-bit second") {
  const auto check = [](long long seconds) {
    CAPTURE(seconds);
    const GTime time = GTime::GTimeFromSeconds(static_cast<int>(seconds));
    REQUIRE(Rfc1123(time) == Rfc1123OfSystem(seconds));
    REQUIRE(time.SecondsSinceEpoch() == seconds);
  };
  constexpr long long kLast = INT_MAX;
  for (long long seconds = 0; seconds <= kLast; seconds += 5 * 86400 + 12345) check(seconds);
  for (const long long day : {0LL, 951782400LL, 951868800LL, 1078012800LL, kLast + 1}) {
    if (day > 0) check(day - 1);
    if (day <= kLast) check(day);
  }
}

TEST_CASE("every month of the years 1970 to 2225 agrees with the system's calendar") {
  for (int year = 1970; year <= 2225; ++year) {
    for (int month = 0; month < 12; ++month) {
      CAPTURE(year);
      CAPTURE(month);
      std::tm fields = {};
      fields.tm_year = year - 1900;
      fields.tm_mon = month;
      fields.tm_mday = GTime::DaysInMonth(month, year);
      fields.tm_hour = 23;
      const GTime time(year, month, fields.tm_mday - 1, 23, 0, 0, 0);
      REQUIRE(time.SecondsSinceEpoch() == timegm(&fields));
      REQUIRE(fields.tm_mon == month);
      REQUIRE(time.DayInWeek() == fields.tm_wday);
      ++fields.tm_mday;
      timegm(&fields);
      REQUIRE(fields.tm_mday == 1);
    }
  }
}

TEST_CASE("leap years and days in a month") {
  struct {
    int year, days_in_february;
  } const kCases[] = {{1900, 28}, {1970, 28}, {1972, 29}, {2000, 29}, {2100, 28}, {2024, 29}};
  for (const auto& c : kCases) {
    CHECK(GTime::DaysInMonth(GTime::kFebruary, c.year) == c.days_in_february);
    CHECK(GTime::IsLeapYear(c.year) == (c.days_in_february == 29));
  }
  CHECK(GTime::DaysInMonth(12, 2000) == 0);
  CHECK(GTime::LeapYearsSince0ad(1969) == 477);
}

TEST_CASE("half a second and more rounds the seconds up, twice over in milliseconds") {
  struct {
    int millisecond;
    long long seconds, milliseconds;
  } const kCases[] = {{0, 0, 0}, {499, 0, 499}, {500, 1, 1500}, {999, 1, 1999}};
  for (const auto& c : kCases) {
    const GTime time(1970, GTime::kJanuary, 0, 0, 0, 0, c.millisecond);
    CHECK(time.SecondsSinceEpoch() == c.seconds);
    CHECK(time.MillisecondsSinceEpoch() == c.milliseconds);
    CHECK(time.DayInWeek() == 4);
  }
}

TEST_CASE("GTimeFromMilliseconds reports times that 32-bit seconds cannot hold") {
  const kesu_test::LogCapture log(kLogErrors);
  const GTime last = GTime::GTimeFromMilliseconds(2147483647000);
  CHECK(Rfc1123(last) == "Tue, 19 Jan 2038 03:14:07 GMT");
  CHECK(log.lines().empty());
  GTime::GTimeFromMilliseconds(2147483648000);
  REQUIRE(log.lines().size() == 1);
  CHECK(log.lines()[0] ==
        "!!E: Src/kesu/common/base/internal/gtime:76: GWASSERT failed: "
        "millis_since_epoch <= kMaxMillis");
  const GTime time = GTime::GTimeFromMilliseconds(1234567890123);
  CHECK(time.millisecond() == 123);
  CHECK(TextOf(DateStringForTimeInMillisecondsSinceEpoch(1234567890123)) ==
        "Fri, 13 Feb 2009 23:31:30 GMT");
}

TEST_CASE("AddMonths") {
  struct {
    int year, month, months, new_year, new_month;
  } const kCases[] = {
      {1999, 11, 13, 2001, 0}, {1999, 11, 1, 2000, 0},   {1999, 0, 11, 1999, 11},
      {1999, 0, 0, 1999, 0},   {1999, 5, 24, 2001, 5},   {1999, 0, -1, 1998, 11},
      {1999, 5, -5, 1999, 0},  {1999, 5, -18, 1997, 11},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.months);
    GTime time(c.year, c.month, 30, 1, 2, 3, 4);
    time.AddMonths(c.months);
    CHECK(time.year() == c.new_year);
    CHECK(time.month() == c.new_month);
    CHECK(time.day() == 30);
    time.SubtractMonths(c.months);
    CHECK(time.year() == c.year);
    CHECK(time.month() == c.month);
  }
}

TEST_CASE("AddMilliseconds carries nothing") {
  GTime time(2001, GTime::kMarch, 3, 4, 5, 6, 900);
  time.AddMilliseconds(250);
  CHECK(time.millisecond() == 150);
  CHECK(time.second() == 6);
  time.SubtractMilliseconds(200);
  CHECK(time.millisecond() == 950);
  CHECK(time.second() == 6);
}

TEST_CASE("intervals") {
  using Interval = GTimeIntervalBase;
  struct {
    int count;
    Interval::Unit unit;
    const char* after;
    int millisecond;
  } const kCases[] = {
      {0, Interval::kYears, "Tue, 29 Feb 2000 23:59:58 GMT", 700},
      {1, Interval::kYears, "Thu, 29 Feb 2001 23:59:58 GMT", 700},
      {11, Interval::kMonths, "Mon, 29 Jan 2001 23:59:58 GMT", 700},
      {1, Interval::kDays, "Wed, 01 Mar 2000 23:59:58 GMT", 700},
      {-366, Interval::kDays, "Sun, 28 Feb 1999 23:59:58 GMT", 700},
      {1, Interval::kHours, "Wed, 01 Mar 2000 00:59:58 GMT", 700},
      {1, Interval::kMinutes, "Wed, 01 Mar 2000 00:00:58 GMT", 700},
      {2, Interval::kSeconds, "Wed, 01 Mar 2000 00:00:00 GMT", 700},
      {2299, Interval::kMilliseconds, "Wed, 01 Mar 2000 00:00:00 GMT", 999},
      {2300, Interval::kMilliseconds, "Wed, 01 Mar 2000 00:00:00 GMT", 0},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.after));
    for (const bool mirrored : {false, true}) {
      GTime time(2000, GTime::kFebruary, 28, 23, 59, 58, 700);
      if (mirrored) {
        time.SubtractInterval({-c.count, c.unit});
      } else {
        time.AddInterval({c.count, c.unit});
      }
      CHECK(time.millisecond() == c.millisecond);
      time.set_millisecond(0);  // It would round the seconds up, perhaps to another weekday.
      CHECK(Rfc1123(time) == c.after);
    }
  }
}

TEST_CASE("absurd intervals wrap") {
  for (const int count : {INT_MIN, INT_MAX}) {
    for (int unit = 0; unit <= GTimeIntervalBase::kMilliseconds; ++unit) {
      GTime time;
      time.AddInterval({count, static_cast<GTimeIntervalBase::Unit>(unit)});
      time.SubtractInterval({count, static_cast<GTimeIntervalBase::Unit>(unit)});
      if (unit == GTimeIntervalBase::kYears) CHECK(time.SecondsSinceEpoch() == 0);
    }
  }
}

TEST_CASE("the clock of the system") {
  using std::chrono::microseconds;
  using std::chrono::system_clock;
  const auto now = [] {
    return std::chrono::floor<microseconds>(system_clock::now()).time_since_epoch().count();
  };
  const ScopedPtr<ClockInterface> clock(NewClock());
  const long long before = now();
  const long long ticks = clock->TickCount();
  const long long milliseconds = clock->GetUtcTime();
  const long long seconds = clock->GetUtcGTime().SecondsSinceEpoch();
  const long long after = now();
  CHECK(before <= ticks);
  CHECK(ticks / kTicksPerMillisecond <= milliseconds);
  CHECK(milliseconds <= after / kTicksPerMillisecond);
  CHECK(milliseconds / 1000 <= seconds);
  CHECK(seconds <= after / kTicksPerSecond + 1);
}

TEST_CASE("the local time's offset is in minutes") {
  const ScopedPtr<ClockInterface> clock(NewClock());
  const char* old_zone = std::getenv("TZ");
  const std::string kept = old_zone == nullptr ? "" : old_zone;
  struct {
    const char* zone;
    int minutes;
  } const kCases[] = {{"XXX-5:30", 330}, {"XXX+3:30", -210}, {"UTC0", 0}};
  for (const auto& c : kCases) {
    setenv("TZ", c.zone, 1);
    tzset();
    CHECK(clock->GetCurrentLocalTimeOffsetFromUtc() == c.minutes);
  }
  old_zone == nullptr ? unsetenv("TZ") : setenv("TZ", kept.c_str(), 1);
  tzset();
}
