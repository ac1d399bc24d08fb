#include "server/estimate/samples.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "server/estimate/quick_math.h"

namespace kesu_server {
namespace {

constexpr double Squared(double x) {
  return x * x;
}

/// Points around the origin of a normal distribution: on a spiral on which no two are in the same
/// direction or at the same distance, denser near its middle, each with the one opposite, so that
/// what is symmetrical stays so. Beyond its end next to nothing is.
struct UnitSamples {
  SampleColumn east = {};
  SampleColumn north = {};
  SampleColumn area = {};

  UnitSamples() {
    constexpr double kEnd = 4.1;
    constexpr double kDensening = 0.8;
    constexpr double kGoldenAngle = 2 * std::numbers::pi / Squared(std::numbers::phi);
    constexpr std::size_t kPairs = kSamples / 2;
    for (std::size_t i = 0; i < kPairs; ++i) {
      const double part = (static_cast<double>(i) + 0.5) / kPairs;
      const double radius = kEnd * std::pow(part, kDensening);
      const double angle = kGoldenAngle * static_cast<double>(i);
      east[i] = static_cast<float>(radius * std::cos(angle));
      north[i] = static_cast<float>(radius * std::sin(angle));
      area[i] = static_cast<float>(std::pow(part, 2 * kDensening - 1));
      east[i + kPairs] = -east[i];
      north[i + kPairs] = -north[i];
      area[i + kPairs] = area[i];
    }
  }
};

}  // namespace

Samples::Samples(const Misfit& misfit, const Spread& spread) {
  static const UnitSamples unit;
  // The lower triangle whose square the covariance is.
  const auto& [xx, xy, yy] = spread.covariance;
  const double a = std::sqrt(xx);
  const double b = xy / a;
  const double c = std::sqrt(std::max(yy - b * b, 1e-6 * yy));
  const auto centre_east = static_cast<float>(spread.centre.east);
  const auto centre_north = static_cast<float>(spread.centre.north);
  const auto east_by_east = static_cast<float>(a);
  const auto north_by_east = static_cast<float>(b);
  const auto north_by_north = static_cast<float>(c);
  for (std::size_t i = 0; i < kSamples; ++i) {
    east_[i] = centre_east + east_by_east * unit.east[i];
    north_[i] = centre_north + north_by_east * unit.east[i] + north_by_north * unit.north[i];
  }
  SampleColumn misfits;
  misfit.Sample(east_, north_, &misfits);
  const float best = *std::min_element(misfits.begin(), misfits.end());
  for (std::size_t i = 0; i < kSamples; ++i) {
    weight_[i] = unit.area[i] * QuickExp((best - misfits[i]) / 2);
  }
  for (const float weight : weight_) weights_ += weight;
}

Spread Samples::Moments() const {
  Spread spread;
  for (std::size_t i = 0; i < kSamples; ++i) {
    spread.centre.east += weight_[i] * east_[i];
    spread.centre.north += weight_[i] * north_[i];
  }
  spread.centre.east /= weights_;
  spread.centre.north /= weights_;
  for (std::size_t i = 0; i < kSamples; ++i) {
    const double x = east_[i] - spread.centre.east;
    const double y = north_[i] - spread.centre.north;
    spread.covariance.xx += weight_[i] * x * x / weights_;
    spread.covariance.xy += weight_[i] * x * y / weights_;
    spread.covariance.yy += weight_[i] * y * y / weights_;
  }
  return spread;
}

double Samples::Radius95(const PlanePoint& centre) const {
  struct Step {
    double distance_m = 0;
    double weight = 0;
  };
  std::array<Step, kSamples> steps;
  for (std::size_t i = 0; i < kSamples; ++i) {
    const double d2 = Squared(east_[i] - centre.east) + Squared(north_[i] - centre.north);
    steps[i] = {std::sqrt(d2), weight_[i]};
  }
  std::sort(steps.begin(), steps.end(),
            [](const Step& a, const Step& b) { return a.distance_m > b.distance_m; });
  // From outside. Half of what a sample stands for is further away than the sample.
  const double wanted = 0.05 * weights_;
  double outside = 0;
  for (std::size_t i = 0; i + 1 < kSamples; ++i) {
    const double half_weights = (steps[i].weight + steps[i + 1].weight) / 2;
    const double here = outside + steps[i].weight / 2;
    if (here + half_weights >= wanted) {
      const double part = std::clamp((wanted - here) / half_weights, 0.0, 1.0);
      return steps[i].distance_m + part * (steps[i + 1].distance_m - steps[i].distance_m);
    }
    outside += steps[i].weight;
  }
  return steps.back().distance_m;
}

}  // namespace kesu_server
