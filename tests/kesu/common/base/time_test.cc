#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/internal/gtime.h"
#include "kesu/common/base/internal/posix_clock.h"
#include "kesu/common/base/scoped_ptr.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using namespace common_base;
using namespace kesu_test;

static std::string Rfc1123(const GTime& time) {
  return TextOf(time.NewGStringAsRfc1123Timestamp());
}

TEST_CASE("GTime is packed into two words, and setters mask their value into the field") {
  GTime time(1971, GTime::kFebruary, 2, 3, 4, 5, 6);
  std::uint32_t words[2];
  std::memcpy(words, static_cast<const void*>(&time), sizeof words);
  // The bits above the fields are nobody's.
  CHECK((words[0] & 0x1FFFF) == (2U | 1U << 5 | 1U << 9));
  CHECK((words[1] & 0x7FFFFFF) == (6U | 5U << 10 | 4U << 16 | 3U << 22));
  time.set_year(INT_MIN);
  CHECK(time.year() == 2048);
  time.SetTime(2256, 16, 32, 32, 64, 64, 1024);
  CHECK(Rfc1123(time) == "Sat, 01 Jan 2000 00:00:00 GMT");
}

TEST_CASE("the first and last day of every month agree with the system's calendar") {
  for (int i = 0; i < 2 * 12 * (2226 - 1970); ++i) {
    CAPTURE(i);
    std::tm fields = {29 * i % 86400, 0, 0, 1 - i % 2, i / 2 + i % 2, 70, 0, 0, 0, 0, nullptr};
    const std::time_t seconds = timegm(&fields);  // Puts the fields right.
    const GTime time(fields.tm_year + 1900, fields.tm_mon, fields.tm_mday - 1, fields.tm_hour,
                     fields.tm_min, fields.tm_sec, 0);
    REQUIRE(time.SecondsSinceEpoch() == seconds);
    REQUIRE((i % 2 == 0 || time.DaysInMonth() == fields.tm_mday));
    char text[64];
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &fields);
    REQUIRE(Rfc1123(time) == text);
    if (seconds > INT_MAX) continue;
    REQUIRE(Rfc1123(GTime::GTimeFromSeconds(static_cast<int>(seconds))) == text);
  }
  CHECK(GTime::DaysInMonth(GTime::kFebruary, 1900) == 28);
  CHECK(GTime::DaysInMonth(12, 2000) == 0);
}

TEST_CASE("milliseconds: half a second counts twice over; before 1970, and beyond 32-bit seconds") {
  struct {
    long long milliseconds, read_back;
    const char* text;  // From half a second on with the weekday of the next second.
  } const kCases[] = {
      {499, 499, "Thu, 01 Jan 1970 00:00:00 GMT"},
      {500, 1500, "Thu, 01 Jan 1970 00:00:00 GMT"},
      {2147483647000, 2147483647000, "Tue, 19 Jan 2038 03:14:07 GMT"},
      // The year is one of the 256 from 1970 on.
      {-1, 8078572800999, "Sun, 31 Dec 2225 23:59:59 GMT"},
      {-1000, 8078572799000, "Sat, 31 Dec 2225 23:59:59 GMT"},
      {2147483648000, 5931175552000, "Tue, 13 Dec 2157 20:45:52 GMT"},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.milliseconds);
    const LogCapture log(kLogErrors);
    CHECK(TextOf(DateStringForTimeInMillisecondsSinceEpoch(c.milliseconds)) == c.text);
    CHECK(log.lines() ==
          std::vector<std::string>(c.milliseconds > 2147483647000 ? 1 : 0,
                                   "!!E: Src/kesu/common/base/internal/gtime:76: "
                                   "GWASSERT failed: millis_since_epoch <= kMaxMillis"));
    CHECK(GTime::GTimeFromMilliseconds(c.milliseconds).MillisecondsSinceEpoch() == c.read_back);
  }
}

TEST_CASE("intervals") {
  using Interval = GTimeIntervalBase;
  struct {
    int count;
    Interval::Unit unit;
    const char* after;
    int millisecond = 700;
  } const kCases[] = {
      {1, Interval::kYears, "Thu, 29 Feb 2001 23:59:58 GMT"},
      {-3, Interval::kMonths, "Mon, 29 Nov 1999 23:59:58 GMT"},
      {23, Interval::kMonths, "Tue, 29 Jan 2002 23:59:58 GMT"},
      {-366, Interval::kDays, "Sun, 28 Feb 1999 23:59:58 GMT"},
      {1, Interval::kHours, "Wed, 01 Mar 2000 00:59:58 GMT"},
      {2, Interval::kSeconds, "Wed, 01 Mar 2000 00:00:00 GMT"},
      // The part of a second carries nothing into the seconds.
      {2299, Interval::kMilliseconds, "Wed, 01 Mar 2000 00:00:00 GMT", 999},
      {2300, Interval::kMilliseconds, "Wed, 01 Mar 2000 00:00:00 GMT", 0},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.after));
    for (const bool mirrored : {false, true}) {
      GTime time(2000, GTime::kFebruary, 28, 23, 59, 58, 700);
      mirrored ? time.SubtractInterval({-c.count, c.unit}) : time.AddInterval({c.count, c.unit});
      CHECK(time.millisecond() == c.millisecond);
      time.set_millisecond(0);  // It would round the seconds up, perhaps to another weekday.
      CHECK(Rfc1123(time) == c.after);
      // Absurd counts do no harm.
      time.AddInterval({INT_MAX, c.unit});
      time.SubtractInterval({INT_MIN, c.unit});
    }
  }
}

TEST_CASE("the clocks of the system; the local time's offset is in minutes") {
  const ScopedPtr<ClockInterface> clock(NewClock());
  const ScopedPtr<ClockInterface> monotonic(NewMonotonicClock());
  const long long seconds[] = {std::time(nullptr) - 1,
                               clock->GetUtcTime() / 1000,
                               clock->TickCount() / 1'000'000,
                               monotonic->GetUtcTime() / 1000,
                               clock->GetUtcGTime().SecondsSinceEpoch(),
                               std::time(nullptr) + 1};
  CHECK(std::is_sorted(std::begin(seconds), std::end(seconds)));
  const auto now = [] { return std::chrono::steady_clock::now().time_since_epoch(); };
  const long long before = now() / std::chrono::microseconds(1);
  const long long ticks = monotonic->TickCount();
  CHECK((before <= ticks && ticks <= now() / std::chrono::microseconds(1)));
  const char* zone = std::getenv("TZ");
  const std::string restored = zone == nullptr ? "" : zone;
  setenv("TZ", "XXX+3:30", 1);
  tzset();
  CHECK(clock->GetCurrentLocalTimeOffsetFromUtc() == -210);
  zone == nullptr ? unsetenv("TZ") : setenv("TZ", restored.c_str(), 1);
  tzset();
}
