#ifndef KESU_COMMON_BASE_CLOCK_INTERFACE_H_
#define KESU_COMMON_BASE_CLOCK_INTERFACE_H_

#include "kesu/common/base/memory.h"

namespace common_base {

class GTime;

/// The clock that the library is given by its application.
class ClockInterface : public HeapObject {
 public:
  virtual ~ClockInterface() = default;
  virtual GTime GetUtcGTime() const = 0;
  /// Milliseconds since 1970-01-01 00:00 UTC.
  virtual long long GetUtcTime() const = 0;
  /// Minutes that the local time is ahead of UTC.
  virtual int GetCurrentLocalTimeOffsetFromUtc() const = 0;
  /// Ticks of one microsecond, never going back. Every delay and time-out of the library is
  /// measured with it.
  virtual long long TickCount() const = 0;
};

inline constexpr long long kTicksPerMillisecond = 1000;
inline constexpr long long kTicksPerSecond = 1000 * kTicksPerMillisecond;

}  // namespace common_base

#endif  // KESU_COMMON_BASE_CLOCK_INTERFACE_H_
