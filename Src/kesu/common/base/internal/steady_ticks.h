#ifndef KESU_COMMON_BASE_INTERNAL_STEADY_TICKS_H_
#define KESU_COMMON_BASE_INTERNAL_STEADY_TICKS_H_

#include <limits>

#include "kesu/common/base/clock_interface.h"

namespace common_base {

/// The ticks of a clock, without its steps back: where the clock shows less than when it was last
/// read, no time has passed since. A deadline counted in these ticks is never further away than it
/// was, however the clock is set. (A step forward cannot be told from time that has passed.)
class SteadyTicks {
 public:
  /// `clock` is borrowed and must outlive this object.
  explicit SteadyTicks(const ClockInterface* clock) : clock_(clock) {}

  /// The clock's ticks, plus all that it was set back by.
  long long Now() const {
    const long long shown = clock_->TickCount();
    if (shown < last_shown_) set_back_ += Unsigned(last_shown_) - Unsigned(shown);
    last_shown_ = shown;
    return static_cast<long long>(Unsigned(shown) + set_back_);
  }

  /// What the clock, unless it is set again, shows at tick `tick` of these.
  long long OnClock(long long tick) const {
    return static_cast<long long>(Unsigned(tick) - set_back_);
  }

 private:
  /// Differences of absurd ticks wrap around.
  static unsigned long long Unsigned(long long ticks) {
    return static_cast<unsigned long long>(ticks);
  }

  const ClockInterface* clock_;
  mutable long long last_shown_ = std::numeric_limits<long long>::min();
  mutable unsigned long long set_back_ = 0;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_STEADY_TICKS_H_
