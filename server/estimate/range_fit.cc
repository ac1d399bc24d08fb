#include "server/estimate/range_fit.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

#include "server/estimate/misfit.h"
#include "server/estimate/samples.h"

namespace kesu_server {
namespace {

/// The part of the stations' blur that goes in the same direction for all: what is known of each
/// comes from the same streets, and a receiver that moves leaves all behind.
constexpr double kSharedBlur = 0.25;
/// Of the normal distribution: 95 of 100 are below it on a line, and within it on a plane.
constexpr double kLine95 = 1.645;
constexpr double kPlane95 = 2.448;
/// Where the search begins, in parts of the scale.
constexpr double kAside = 0.02;
/// A variance that is more than this part of the greatest possible one is none to rely on.
constexpr double kOpen = 0.5;
/// Nothing is nearer to a station than this.
constexpr double kNearestM2 = 1;

double Squared(double x) {
  return x * x;
}

/// A range, and what it says alone.
struct Reach {
  PlanePoint station;
  /// The distance that it speaks of.
  double distance_m = 0;
  /// The radius by the range alone, see RadiusOfOne().
  double radius_m = 0;
  double blur_m2 = 0;
};

/// One range by itself, which leaves every direction open. The chance that a receiver anywhere on
/// the plane, all areas being equal, has the distance d is normal in ln d around the signal's,
/// moved outward by twice the variance since there is more area there.
double RadiusOfOne(const Range& range, double distance_m) {
  const double variance = Squared(range.log_spread);
  // The distance of what is anywhere within the reach: its logarithm is exponentially distributed.
  constexpr double kLogOfDisc = -0.5;
  constexpr double kVarianceOfDisc = 0.25;
  const double stretch = range.log_distance
                             ? kLine95 * range.log_spread
                             : kLogOfDisc + kLine95 * std::sqrt(variance + kVarianceOfDisc);
  const double radius_m = distance_m * std::exp(2 * variance + stretch);
  return std::sqrt(Squared(radius_m) + Squared(kPlane95 * range.blur_m));
}

std::vector<Reach> ReachesOf(const std::vector<Range>& ranges) {
  std::vector<Reach> reaches;
  reaches.reserve(ranges.size());
  for (const Range& range : ranges) {
    const double distance_m = range.log_distance ? std::exp(*range.log_distance) : range.reach_m;
    reaches.push_back(
        {range.station, distance_m, RadiusOfOne(range, distance_m), Squared(range.blur_m)});
  }
  return reaches;
}

/// The middle of the stations, the near ones first.
class MiddleOfStations {
 public:
  void Add(const Reach& reach, double trust) {
    const double weight = trust / (Squared(reach.distance_m) + reach.blur_m2 + kNearestM2);
    east_ += weight * reach.station.east;
    north_ += weight * reach.station.north;
    weights_ += weight;
  }
  PlanePoint Point() const { return {east_ / weights_, north_ / weights_}; }

 private:
  double east_ = 0;
  double north_ = 0;
  double weights_ = 0;
};

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

/// Where half of the stations are on either side, whatever the signals say.
PlanePoint MedianStation(const std::vector<Reach>& reaches) {
  std::vector<double> easts;
  std::vector<double> norths;
  easts.reserve(reaches.size());
  norths.reserve(reaches.size());
  for (const Reach& reach : reaches) {
    easts.push_back(reach.station.east);
    norths.push_back(reach.station.north);
  }
  return {Median(std::move(easts)), Median(std::move(norths))};
}

/// A slope without its bias, which is the best one everywhere.
struct PlaneSlope {
  double east = 0;
  double north = 0;
  Matrix2 curvature;

  explicit PlaneSlope(const Slope& slope) {
    const double of_east = slope.east_bias / slope.bias_bias;
    const double of_north = slope.north_bias / slope.bias_bias;
    east = slope.east - of_east * slope.bias;
    north = slope.north - of_north * slope.bias;
    curvature = {slope.east_east - of_east * slope.east_bias,
                 slope.east_north - of_east * slope.north_bias,
                 slope.north_north - of_north * slope.north_bias};
  }
};

Matrix2 Inverse(const Matrix2& matrix) {
  const double determinant = matrix.xx * matrix.yy - matrix.xy * matrix.xy;
  return {matrix.yy / determinant, -matrix.xy / determinant, matrix.xx / determinant};
}

struct Fit {
  Guess guess;
  Slope slope;
};

/// A step of Gauss and Newton's method with Levenberg's and Marquardt's damping.
Guess Step(const Fit& from, double damping) {
  const PlaneSlope slope(from.slope);
  const auto& [xx, xy, yy] = slope.curvature;
  const Matrix2 inverse = Inverse({xx + damping, xy, yy + damping});
  const double east = -inverse.xx * slope.east - inverse.xy * slope.north;
  const double north = -inverse.xy * slope.east - inverse.yy * slope.north;
  const double bias =
      -(from.slope.bias + from.slope.east_bias * east + from.slope.north_bias * north) /
      from.slope.bias_bias;
  return {from.guess.east + east, from.guess.north + north, from.guess.bias + bias};
}

/// No step is much longer than `scale_m`.
Fit Descend(const Misfit& misfit, const Guess& start, double scale_m, double tolerance) {
  constexpr int kSteps = 3;
  constexpr double kWorthAnother = 0.01;
  double damping = 1 / Squared(scale_m);
  Fit fit = {start, misfit.At(start, tolerance)};
  for (int i = 0; i < kSteps; ++i) {
    const Guess next = Step(fit, damping);
    const Slope slope = misfit.At(next, tolerance);
    if (!(slope.misfit <= fit.slope.misfit)) {
      damping *= 8;
      continue;
    }
    const double gained = fit.slope.misfit - slope.misfit;
    fit = {next, slope};
    damping /= 4;
    if (gained < kWorthAnother) break;
  }
  return fit;
}

/// The best fit near `start`; what stations are trusted becomes stricter on the way.
Fit Settle(const Misfit& misfit, const PlanePoint& start, double scale_m) {
  // A little aside, where the way down is not barred by symmetry.
  const PlanePoint aside = {start.east + kAside * scale_m, start.north + 2 * kAside * scale_m};
  Fit fit = {{aside.east, aside.north, misfit.BiasAt(aside)}, {}};
  for (const double tolerance : {9.0, 3.0, 1.0}) {
    fit = Descend(misfit, fit.guess, scale_m, tolerance);
  }
  return fit;
}

/// The best fit. A strong signal of a station that has moved misleads one of the two beginnings,
/// most signals being weak the other.
Fit BestFit(const std::vector<Reach>& reaches, const Misfit& misfit) {
  MiddleOfStations middle;
  std::vector<double> radii_m;
  radii_m.reserve(reaches.size());
  for (const Reach& reach : reaches) {
    middle.Add(reach, 1);
    radii_m.push_back(reach.radius_m);
  }
  const double least_m = *std::min_element(radii_m.begin(), radii_m.end());
  const Fit first = Settle(misfit, middle.Point(), least_m);
  const Fit second = Settle(misfit, MedianStation(reaches), Median(std::move(radii_m)));
  return second.slope.misfit < first.slope.misfit ? second : first;
}

/// What all stations together allow, each by itself.
struct Bounds {
  /// Of those that are trusted.
  double least_radius_m = kHalfCircumferenceM;
  PlanePoint middle;
  /// How far off all stations may be in the same direction.
  double shared_blur_m = 0;
};

Bounds BoundsOf(const std::vector<Reach>& reaches, const std::vector<double>& trusts) {
  // Where none is trusted all are.
  constexpr double kLeastTrust = 1e-9;
  Bounds bounds;
  MiddleOfStations middle;
  double blurs_m2 = 0;
  double all_trusts = kLeastTrust;
  for (std::size_t i = 0; i < reaches.size(); ++i) {
    if (trusts[i] > 0.5) {
      bounds.least_radius_m = std::min(bounds.least_radius_m, reaches[i].radius_m);
    }
    middle.Add(reaches[i], trusts[i] + kLeastTrust);
    blurs_m2 += trusts[i] * reaches[i].blur_m2;
    all_trusts += trusts[i];
  }
  bounds.middle = middle.Point();
  bounds.shared_blur_m = kPlane95 * kSharedBlur * std::sqrt(blurs_m2 / all_trusts);
  return bounds;
}

/// The greater of the two variances along the axes of a covariance.
double LongAxis(const Matrix2& covariance) {
  const double mean = (covariance.xx + covariance.yy) / 2;
  return mean + std::sqrt(Squared((covariance.xx - covariance.yy) / 2) + Squared(covariance.xy));
}

/// How the receiver may be spread around the fit, which is no more than `most` along any axis.
Spread SpreadAround(const Fit& fit, double most) {
  const auto [xx, xy, yy] = PlaneSlope(fit.slope).curvature;
  return {{fit.guess.east, fit.guess.north}, Inverse({xx + 1 / most, xy, yy + 1 / most})};
}

}  // namespace

PlaneEstimate FitRanges(const std::vector<Range>& ranges) {
  const std::vector<Reach> reaches = ReachesOf(ranges);
  if (ranges.size() == 1) return {reaches.front().station, reaches.front().radius_m};
  Misfit misfit(ranges);
  const Fit fit = BestFit(reaches, misfit);
  misfit.Judge(fit.guess);
  const Bounds bounds = BoundsOf(reaches, misfit.trusts());
  const double most = Squared(bounds.least_radius_m) / 4;
  Spread spread = SpreadAround(fit, most);
  // Where a direction is open, as around a single mast, the best point is one of many.
  if (LongAxis(spread.covariance) > kOpen * most) spread = {bounds.middle, {most, 0, most}};
  const Samples samples(misfit, Samples(misfit, spread).Moments());
  const PlanePoint centre = samples.Moments().centre;
  const double radius_m = samples.Radius95(centre) * std::sqrt(misfit.variance_factor());
  return {centre, std::sqrt(Squared(radius_m) + Squared(bounds.shared_blur_m))};
}

}  // namespace kesu_server
