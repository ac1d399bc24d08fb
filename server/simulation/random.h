#ifndef SERVER_SIMULATION_RANDOM_H_
#define SERVER_SIMULATION_RANDOM_H_

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>

namespace kesu_server {

/// Random numbers that are the same with every standard library, whose distributions are not.
class Random {
 public:
  explicit Random(std::uint64_t seed) : bits_(seed) {}

  /// From `low` to below `high`.
  double Uniform(double low, double high) {
    constexpr double kUnit = 0x1p-53;
    return low + (high - low) * kUnit * static_cast<double>(bits_() >> 11);
  }
  bool Chance(double part) { return Uniform(0, 1) < part; }
  double Normal(double deviation) {
    const double radius = std::sqrt(-2 * std::log(1 - Uniform(0, 1)));
    return deviation * radius * std::cos(Uniform(0, 2 * std::numbers::pi));
  }

 private:
  std::mt19937_64 bits_;
};

}  // namespace kesu_server

#endif  // SERVER_SIMULATION_RANDOM_H_
