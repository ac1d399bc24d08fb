#ifndef KESU_COMMON_BASE_INTERNAL_GTIME_H_
#define KESU_COMMON_BASE_INTERNAL_GTIME_H_

#include "kesu/common/base/gstring.h"

namespace common_base {

/// A length of calendar time: so many units.
struct GTimeIntervalBase {
  enum Unit { kYears, kMonths, kDays, kHours, kMinutes, kSeconds, kMilliseconds };

  int count = 0;
  Unit unit = kSeconds;
};

/// A UTC calendar time from year to millisecond, packed into two words. Years reach from 1970 to
/// 2225; a setter masks its value into the field, so that others wrap around.
class GTime {
 public:
  enum Month {
    kJanuary,
    kFebruary,
    kMarch,
    kApril,
    kMay,
    kJune,
    kJuly,
    kAugust,
    kSeptember,
    kOctober,
    kNovember,
    kDecember
  };

  /// The latest time GTimeFromMilliseconds() takes without a report.
  static constexpr long long kMaxMillis = 2147483647000;

  GTime() : GTime(1970, kJanuary, 0, 0, 0, 0, 0) {}
  /// `day` counts from 0, here and everywhere in this class; `month` is one of Month.
  GTime(int year, int month, int day, int hour, int minute, int second, int millisecond) {
    SetTime(year, month, day, hour, minute, second, millisecond);
  }
  void SetTime(int year, int month, int day, int hour, int minute, int second, int millisecond);

  /// The time that many seconds after 1970-01-01 00:00:00.
  static GTime GTimeFromSeconds(int seconds_since_epoch);
  /// Reports a broken contract for times after kMaxMillis. Times before 1970 are rounded down to
  /// the millisecond of their second like all others; their year wraps around.
  static GTime GTimeFromMilliseconds(long long millis_since_epoch);

  int year() const { return static_cast<int>(year_) + kFirstYear; }
  int month() const { return static_cast<int>(month_); }
  int day() const { return static_cast<int>(day_); }
  int hour() const { return static_cast<int>(hour_); }
  int minute() const { return static_cast<int>(minute_); }
  int second() const { return static_cast<int>(second_); }
  int millisecond() const { return static_cast<int>(millisecond_); }
  void set_year(int year) { year_ = (static_cast<unsigned>(year) - kFirstYear) & 0xFF; }
  void set_month(int month) { month_ = static_cast<unsigned>(month) & 0xF; }
  void set_day(int day) { day_ = static_cast<unsigned>(day) & 0x1F; }
  void set_hour(int hour) { hour_ = static_cast<unsigned>(hour) & 0x1F; }
  void set_minute(int minute) { minute_ = static_cast<unsigned>(minute) & 0x3F; }
  void set_second(int second) { second_ = static_cast<unsigned>(second) & 0x3F; }
  void set_millisecond(int millisecond) {
    millisecond_ = static_cast<unsigned>(millisecond) & 0x3FF;
  }

  static bool IsLeapYear(int year);
  bool IsLeapYear() const { return IsLeapYear(year()); }
  static int LeapYearsSince0ad(int year);
  /// 0 for a month above 11.
  static int DaysInMonth(int month, int year);
  int DaysInMonth() const { return DaysInMonth(month(), year()); }
  /// 0 is Sunday.
  int DayInWeek() const;

  /// Rounded to the nearest second, deliberately: from 500 ms on it is one more.
  long long SecondsSinceEpoch() const;
  /// The rounded seconds, and the millisecond on top. From 500 ms on it is a second too many,
  /// deliberately.
  long long MillisecondsSinceEpoch() const;
  /// Sets all fields but the millisecond, which becomes 0.
  void SetSecondsSinceEpoch(int seconds);

  /// The day of the month stays, even where the month has fewer days. A negative count goes the
  /// other way.
  void AddMonths(int months);
  void SubtractMonths(int months);
  /// Change the millisecond only: nothing is carried into the seconds, deliberately.
  void AddMilliseconds(int milliseconds);
  void SubtractMilliseconds(int milliseconds);
  void AddInterval(const GTimeIntervalBase& interval);
  void SubtractInterval(const GTimeIntervalBase& interval);

  /// As in RFC 1123: "Thu, 01 Jan 1970 00:00:00 GMT".
  GString NewGStringAsRfc1123Timestamp() const;

 private:
  static constexpr int kFirstYear = 1970;

  void SetSeconds(long long seconds);
  void MoveByMonths(long long months);
  void MoveBySeconds(long long seconds);
  void MoveByMilliseconds(long long milliseconds);
  void MoveBy(long long count, GTimeIntervalBase::Unit unit);

  unsigned day_ : 5 = 0;
  unsigned month_ : 4 = 0;
  unsigned year_ : 8 = 0;

  unsigned : 0;  // The time of day is a word of its own.
  unsigned millisecond_ : 10 = 0;
  unsigned second_ : 6 = 0;
  unsigned minute_ : 6 = 0;
  unsigned hour_ : 5 = 0;
};

static_assert(sizeof(GTime) == 8);

/// The RFC 1123 form of a time in milliseconds since 1970-01-01 00:00 UTC.
GString DateStringForTimeInMillisecondsSinceEpoch(long long millis_since_epoch);

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_GTIME_H_
