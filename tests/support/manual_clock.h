#ifndef SUPPORT_MANUAL_CLOCK_H_
#define SUPPORT_MANUAL_CLOCK_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/gtime.h"

namespace kesu_test {

/// A clock whose ticks stand still until they are moved by hand, and its UTC always.
class ManualClock final : public common_base::ClockInterface {
 public:
  explicit ManualClock(long long ticks = 0, long long utc_milliseconds = 0)
      : ticks_(ticks), utc_milliseconds_(utc_milliseconds) {}

  void Advance(long long ticks) { ticks_ += ticks; }

  common_base::GTime GetUtcGTime() const override {
    return common_base::GTime::GTimeFromMilliseconds(GetUtcTime());
  }
  long long GetUtcTime() const override { return utc_milliseconds_; }
  int GetCurrentLocalTimeOffsetFromUtc() const override { return 0; }
  long long TickCount() const override { return ticks_; }

 private:
  long long ticks_;
  long long utc_milliseconds_;
};

}  // namespace kesu_test

#endif  // SUPPORT_MANUAL_CLOCK_H_
