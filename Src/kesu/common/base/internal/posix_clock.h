#ifndef KESU_COMMON_BASE_INTERNAL_POSIX_CLOCK_H_
#define KESU_COMMON_BASE_INTERNAL_POSIX_CLOCK_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/gtime.h"

namespace common_base {

/// The clock of the operating system. Its ticks come from gettimeofday and so follow changes of the
/// system's time.
class PosixClock : public ClockInterface {
 public:
  GTime GetUtcGTime() const override;
  long long GetUtcTime() const override;
  int GetCurrentLocalTimeOffsetFromUtc() const override;
  long long TickCount() const override;
};

/// The same with ticks from CLOCK_MONOTONIC, which nobody can set: those with which the main loop
/// and libcurl wait. Like theirs, they stand still while the machine sleeps.
class MonotonicClock final : public PosixClock {
 public:
  long long TickCount() const override;
};

/// A new PosixClock, owned by the caller.
ClockInterface* NewClock();
/// A new MonotonicClock, owned by the caller: the one to take unless ticks have to be wall time.
ClockInterface* NewMonotonicClock();

/// gettimeofday in milliseconds and in microseconds since 1970-01-01 00:00 UTC.
long long GetUnixTimestamp();
long long TimeInMicroseconds();

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_POSIX_CLOCK_H_
