#ifndef SUPPORT_MANUAL_CLOCK_H_
#define SUPPORT_MANUAL_CLOCK_H_

#include "kesu/common/base/clock_interface.h"
#include "kesu/common/base/internal/gtime.h"

namespace kesu_test {

/// A clock that stands still until it is moved by hand. UTC and ticks move together.
class ManualClock final : public common_base::ClockInterface {
 public:
  explicit ManualClock(long long ticks = 0, long long utc_milliseconds = 0)
      : start_ticks_(ticks), ticks_(ticks), start_milliseconds_(utc_milliseconds) {}

  void Advance(long long ticks) { ticks_ += ticks; }

  common_base::GTime GetUtcGTime() const override {
    return common_base::GTime::GTimeFromMilliseconds(GetUtcTime());
  }
  long long GetUtcTime() const override {
    return start_milliseconds_ + (ticks_ - start_ticks_) / common_base::kTicksPerMillisecond;
  }
  int GetCurrentLocalTimeOffsetFromUtc() const override { return 0; }
  long long TickCount() const override { return ticks_; }

 private:
  long long start_ticks_;
  long long ticks_;
  long long start_milliseconds_;
};

}  // namespace kesu_test

#endif  // SUPPORT_MANUAL_CLOCK_H_
