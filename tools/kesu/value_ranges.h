#ifndef KESU_TOOL_VALUE_RANGES_H_
#define KESU_TOOL_VALUE_RANGES_H_

#include <limits>

/// What can be observed, on the command line and in JSON.
namespace kesu_tool {

struct IntegerRange {
  int smallest;
  int largest;
};

inline constexpr IntegerRange kMccRange = {1, 999};
inline constexpr IntegerRange kMncRange = {0, 999};
/// A tracking area code has up to 24 bits, a cell identity up to 28.
inline constexpr IntegerRange kAreaRange = {0, (1 << 24) - 1};
inline constexpr IntegerRange kCellRange = {0, (1 << 28) - 1};
inline constexpr IntegerRange kSignalDbmRange = {-200, 20};
inline constexpr IntegerRange kTimingAdvanceRange = {0, 3846};
/// Or a physical cell identity.
inline constexpr IntegerRange kScramblingCodeRange = {0, 1007};
inline constexpr IntegerRange kChannelRange = {1, 233};

inline constexpr double kLargestLatitude = 90;
inline constexpr double kLargestLongitude = 180;
inline constexpr double kLargestAccuracyM = std::numeric_limits<int>::max();

}  // namespace kesu_tool

#endif  // KESU_TOOL_VALUE_RANGES_H_
