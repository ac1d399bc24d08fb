#include "kesu/common/base/internal/posix_clock.h"

#include <ctime>

#include <sys/time.h>

namespace common_base {
namespace {

constexpr long kNanosecondsPerTick = 1000;

timeval TimeOfDay() {
  timeval now = {};
  gettimeofday(&now, nullptr);
  return now;
}

}  // namespace

long long GetUnixTimestamp() {
  const timeval now = TimeOfDay();
  return now.tv_sec * 1000LL + now.tv_usec / 1000;
}

long long TimeInMicroseconds() {
  const timeval now = TimeOfDay();
  return now.tv_sec * 1000000LL + now.tv_usec;
}

GTime PosixClock::GetUtcGTime() const {
  return GTime::GTimeFromMilliseconds(GetUtcTime());
}

long long PosixClock::GetUtcTime() const {
  return GetUnixTimestamp();
}

int PosixClock::GetCurrentLocalTimeOffsetFromUtc() const {
  const std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  return static_cast<int>(local.tm_gmtoff / 60);
}

long long PosixClock::TickCount() const {
  return TimeInMicroseconds();
}

long long MonotonicClock::TickCount() const {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kTicksPerSecond + now.tv_nsec / kNanosecondsPerTick;
}

ClockInterface* NewClock() {
  return new PosixClock;
}

ClockInterface* NewMonotonicClock() {
  return new MonotonicClock;
}

}  // namespace common_base
