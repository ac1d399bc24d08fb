#include "kesu/common/base/internal/gtime.h"

#include <chrono>

#include "kesu/common/base/assertions.h"
#include "kesu/common/base/string_buffer.h"

namespace common_base {
namespace {

constexpr int kSecondsPerMinute = 60;
constexpr int kSecondsPerHour = 60 * kSecondsPerMinute;
constexpr int kSecondsPerDay = 24 * kSecondsPerHour;
constexpr int kMonthsPerYear = 12;
constexpr int kMillisecondsPerSecond = 1000;
constexpr int kLeapYearsBefore1970 = 477;
constexpr int kWeekdayOf1970 = 4;
constexpr int kFirstRoundedUpMillisecond = 500;

constexpr int kDaysBeforeMonth[2][kMonthsPerYear] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335}};

constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/// The last `width` characters of `pad` repeated `width` times and the decimal value.
void AppendPaddedInt32(int value, const char* pad, int width, GStringBuffer* buffer) {
  GStringBuffer padded;
  for (int i = 0; i < width; ++i) padded.AppendUtf8String(pad);
  padded.AppendInt32(value);
  const GString text = padded.ToString();
  buffer->AppendGString(text->Substring(text->Length() - width));
}

/// The remainder that is never negative.
int Modulo(long long value, int divisor) {
  const auto remainder = static_cast<int>(value % divisor);
  return remainder < 0 ? remainder + divisor : remainder;
}

}  // namespace

void GTime::SetTime(int year, int month, int day, int hour, int minute, int second,
                    int millisecond) {
  set_year(year);
  set_month(month);
  set_day(day);
  set_hour(hour);
  set_minute(minute);
  set_second(second);
  set_millisecond(millisecond);
}

GTime GTime::GTimeFromSeconds(int seconds_since_epoch) {
  GTime time;
  time.SetSecondsSinceEpoch(seconds_since_epoch);
  return time;
}

GTime GTime::GTimeFromMilliseconds(long long millis_since_epoch) {
  GWASSERT_AT(76, millis_since_epoch <= kMaxMillis);
  const bool is_in_second_before = millis_since_epoch % kMillisecondsPerSecond < 0;
  const long long seconds = millis_since_epoch / kMillisecondsPerSecond - is_in_second_before;
  GTime time = GTimeFromSeconds(static_cast<int>(seconds));
  time.set_millisecond(Modulo(millis_since_epoch, kMillisecondsPerSecond));
  return time;
}

bool GTime::IsLeapYear(int year) {
  return year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
}

int GTime::LeapYearsSince0ad(int year) {
  return year / 4 - year / 100 + year / 400;
}

int GTime::DaysInMonth(int month, int year) {
  switch (month) {
    case kFebruary:
      return IsLeapYear(year) ? 29 : 28;
    case kApril:
    case kJune:
    case kSeptember:
    case kNovember:
      return 30;
    default:
      return month > kDecember ? 0 : 31;
  }
}

int GTime::DayInWeek() const {
  return static_cast<int>((SecondsSinceEpoch() / kSecondsPerDay + kWeekdayOf1970) % 7);
}

long long GTime::SecondsSinceEpoch() const {
  const int leap_years = LeapYearsSince0ad(year() - 1) - kLeapYearsBefore1970;
  // The field has room for months that do not exist; they count as December.
  const int in_table = month() > kDecember ? kDecember : month();
  const long long days = 366LL * leap_years + 365LL * (year() - kFirstYear - leap_years) + day() +
                         kDaysBeforeMonth[IsLeapYear() ? 1 : 0][in_table];
  const int rounding = millisecond() >= kFirstRoundedUpMillisecond ? 1 : 0;
  const int in_day = hour() * kSecondsPerHour + minute() * kSecondsPerMinute + second() + rounding;
  return days * kSecondsPerDay + in_day;
}

long long GTime::MillisecondsSinceEpoch() const {
  return SecondsSinceEpoch() * kMillisecondsPerSecond + millisecond();
}

void GTime::SetSecondsSinceEpoch(int seconds) {
  SetSeconds(seconds);
}

void GTime::SetSeconds(long long seconds) {
  using std::chrono::sys_days;
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  const sys_days date = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day ymd(date);
  const int in_day = static_cast<int>((time - date).count());
  SetTime(static_cast<int>(ymd.year()), static_cast<int>(static_cast<unsigned>(ymd.month())) - 1,
          static_cast<int>(static_cast<unsigned>(ymd.day())) - 1, in_day / kSecondsPerHour,
          in_day / kSecondsPerMinute % 60, in_day % kSecondsPerMinute, 0);
}

void GTime::MoveByMonths(long long months) {
  const long long total = month() + months;
  const int new_month = Modulo(total, kMonthsPerYear);
  set_year(static_cast<int>(year() + (total - new_month) / kMonthsPerYear));
  set_month(new_month);
}

void GTime::MoveBySeconds(long long seconds) {
  SetSeconds(SecondsSinceEpoch() + seconds);
}

void GTime::MoveByMilliseconds(long long milliseconds) {
  set_millisecond(Modulo(millisecond() + milliseconds, kMillisecondsPerSecond));
}

void GTime::MoveBy(long long count, GTimeIntervalBase::Unit unit) {
  if (count == 0) return;
  // Put aside, so that the seconds are not rounded.
  const int kept_millisecond = millisecond();
  set_millisecond(0);
  switch (unit) {
    case GTimeIntervalBase::kYears:
      MoveByMonths(kMonthsPerYear * count);
      break;
    case GTimeIntervalBase::kMonths:
      MoveByMonths(count);
      break;
    case GTimeIntervalBase::kDays:
      MoveBySeconds(count * kSecondsPerDay);
      break;
    case GTimeIntervalBase::kHours:
      MoveBySeconds(count * kSecondsPerHour);
      break;
    case GTimeIntervalBase::kMinutes:
      MoveBySeconds(count * kSecondsPerMinute);
      break;
    case GTimeIntervalBase::kSeconds:
      MoveBySeconds(count);
      break;
    case GTimeIntervalBase::kMilliseconds:
      MoveBySeconds(count / kMillisecondsPerSecond);
      break;
  }
  set_millisecond(kept_millisecond);
  if (unit == GTimeIntervalBase::kMilliseconds) MoveByMilliseconds(count % kMillisecondsPerSecond);
}

void GTime::AddMonths(int months) {
  MoveByMonths(months);
}

void GTime::SubtractMonths(int months) {
  MoveByMonths(-static_cast<long long>(months));
}

void GTime::AddMilliseconds(int milliseconds) {
  MoveByMilliseconds(milliseconds);
}

void GTime::SubtractMilliseconds(int milliseconds) {
  MoveByMilliseconds(-static_cast<long long>(milliseconds));
}

void GTime::AddInterval(const GTimeIntervalBase& interval) {
  MoveBy(interval.count, interval.unit);
}

void GTime::SubtractInterval(const GTimeIntervalBase& interval) {
  MoveBy(-static_cast<long long>(interval.count), interval.unit);
}

GString GTime::NewGStringAsRfc1123Timestamp() const {
  GStringBuffer text;
  text.AppendUtf8String(kWeekdays[DayInWeek()]);
  text.AppendUtf8String(", ");
  AppendPaddedInt32(day() + 1, "0", 2, &text);
  text.AppendCodePoint(' ');
  text.AppendUtf8String(month() > kDecember ? "" : kMonths[month()]);
  text.AppendCodePoint(' ');
  AppendPaddedInt32(year(), "0", 4, &text);
  text.AppendCodePoint(' ');
  AppendPaddedInt32(hour(), "0", 2, &text);
  text.AppendCodePoint(':');
  AppendPaddedInt32(minute(), "0", 2, &text);
  text.AppendCodePoint(':');
  AppendPaddedInt32(second(), "0", 2, &text);
  text.AppendUtf8String(" GMT");
  return text.ToString();
}

GString DateStringForTimeInMillisecondsSinceEpoch(long long millis_since_epoch) {
  return GTime::GTimeFromMilliseconds(millis_since_epoch).NewGStringAsRfc1123Timestamp();
}

}  // namespace common_base
