#ifndef SERVER_ESTIMATE_QUICK_MATH_H_
#define SERVER_ESTIMATE_QUICK_MATH_H_

#include <algorithm>
#include <bit>
#include <cstdint>

/// A fit takes thousands of logarithms, and what they are taken of is not known to two digits.
/// There is no branch in these, so that the compiler takes several at a time.
namespace kesu_server {

inline constexpr int kMantissaBits = 23;
inline constexpr float kLn2 = 0.693147181F;

/// The natural logarithm of a normal positive number, to five digits.
inline float QuickLog(float x) {
  constexpr std::int32_t kRootOfHalf = 0x3F3504F3;
  const auto bits = std::bit_cast<std::int32_t>(x);
  const std::int32_t exponent = (bits - kRootOfHalf) >> kMantissaBits;
  const auto mantissa = std::bit_cast<float>(bits - exponent * (1 << kMantissaBits));
  const float t = (mantissa - 1) / (mantissa + 1);
  const float t2 = t * t;
  return static_cast<float>(exponent) * kLn2 + t * (2 + t2 * (2.0F / 3 + t2 * (2.0F / 5)));
}

/// e to the power of a number that is not positive, to four digits; next to nothing below -80.
inline float QuickExp(float x) {
  constexpr float kLog2OfE = 1.44269504F;
  constexpr std::int32_t kBias = 127;
  const float bounded = std::max(x, -80.0F);
  // To the nearest, since the cast cuts off.
  const auto power = static_cast<std::int32_t>(bounded * kLog2OfE - 0.5F);
  const float rest = bounded - static_cast<float>(power) * kLn2;
  const auto scale = std::bit_cast<float>((power + kBias) * (1 << kMantissaBits));
  return scale * (1 + rest * (1 + rest * (0.5F + rest * (1.0F / 6 + rest * (1.0F / 24)))));
}

}  // namespace kesu_server

#endif  // SERVER_ESTIMATE_QUICK_MATH_H_
