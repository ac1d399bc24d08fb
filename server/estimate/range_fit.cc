#include "server/estimate/range_fit.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <utility>

namespace kesu_server {
namespace {

/// How much the signals of one observation vary together, because of the receiver's antenna, the
/// hand that holds it and the walls around it: as a part of the variance of one, which comes on
/// top.
constexpr double kSharedVariance = 0.25;
/// How many of 100 stations stand elsewhere than the data say, as a part of one.
constexpr double kMovedPart = 0.05;
/// The density of the signal of such a station over the logarithm of the distance: all that can be
/// received are equally likely.
constexpr double kMovedDensity = 0.2;
/// The same for a station of which no signal is stated, as a part of the density at its position.
constexpr double kMovedDiscDensity = 0.01;
/// The part of the stations' blur that goes in the same direction for all: what is known of each
/// comes from the same streets, and a receiver that moves leaves all behind.
constexpr double kSharedBlur = 0.25;
/// Of the logarithm of a distance: no model is better than that.
constexpr double kLeastVariance = 1e-3;
/// Of the normal distribution: 95 of 100 are below it on a line, and within it on a plane.
constexpr double kLine95 = 1.645;
constexpr double kPlane95 = 2.448;
/// Where the search begins, in parts of the scale.
constexpr double kAside = 0.02;
/// A variance that is more than this part of the greatest possible one is none to rely on.
constexpr double kOpen = 0.5;
/// Nothing is nearer to a station than this.
constexpr double kNearestM2 = 1;

/// A range as the fit has it: a ring around its station, or a disc.
struct Term {
  PlanePoint station;
  bool is_ring = false;
  double log_distance = 0;
  /// Of a ring: 1 / variance of the logarithm. Of a disc: 1 / variance along an axis, in 1 / m^2.
  double weight = 0;
  double blur_m2 = 0;
  double outward = 0;
  /// How likely the station stands where it should, given all others: 0 to 1.
  double trust = 1;
};

struct Vector2 {
  double x = 0;
  double y = 0;
};

/// A symmetrical matrix of two rows.
struct Matrix2 {
  double xx = 0;
  double xy = 0;
  double yy = 0;

  double Determinant() const { return xx * yy - xy * xy; }
};

double Squared(double x) {
  return x * x;
}

/// The natural logarithm of a normal positive number, to five digits: the fit takes thousands of
/// them, and what they are taken of is not known to two.
double QuickLog(double x) {
  constexpr std::uint64_t kRootOfHalf = 0x3FE6A09E667F3BCD;
  constexpr int kMantissaBits = 52;
  const auto bits = std::bit_cast<std::uint64_t>(x);
  const auto exponent = static_cast<std::int64_t>(bits - kRootOfHalf) >> kMantissaBits;
  const auto mantissa =
      std::bit_cast<double>(bits - (static_cast<std::uint64_t>(exponent) << kMantissaBits));
  const double t = (mantissa - 1) / (mantissa + 1);
  const double t2 = t * t;
  return static_cast<double>(exponent) * std::numbers::ln2 + 2 * t * (1 + t2 * (1.0 / 3 + t2 / 5));
}

/// The greater of the two variances along the axes of a covariance.
double LongAxis(const Matrix2& covariance) {
  const double mean = (covariance.xx + covariance.yy) / 2;
  return mean + std::hypot((covariance.xx - covariance.yy) / 2, covariance.xy);
}

/// One range by itself, which leaves every direction open. The chance that a receiver anywhere on
/// the plane, all areas being equal, has the distance d is normal in ln d around the signal's,
/// moved outward by twice the variance since there is more area there.
double RadiusOfOne(const Range& range) {
  const double variance = Squared(range.log_spread);
  // The distance of what is anywhere within the reach: its logarithm is exponentially distributed.
  constexpr double kLogOfDisc = -0.5;
  constexpr double kVarianceOfDisc = 0.25;
  const double log_radius = range.log_distance
                                ? *range.log_distance + 2 * variance + kLine95 * range.log_spread
                                : std::log(range.reach_m) + 2 * variance + kLogOfDisc +
                                      kLine95 * std::sqrt(variance + kVarianceOfDisc);
  return std::hypot(std::exp(log_radius), kPlane95 * range.blur_m);
}

/// Of how many independent signals those from the place of one are worth: several transmitters on a
/// mast, or several names of an access point, are shadowed by the same walls.
double HowManyCount(const Range& one, const std::vector<Range>& ranges) {
  constexpr double kSamePlaceM = 5;
  constexpr double kSharedThere = 0.5;
  double others = -1;
  for (const Range& range : ranges) {
    const bool is_there = std::abs(range.station.east - one.station.east) < kSamePlaceM &&
                          std::abs(range.station.north - one.station.north) < kSamePlaceM;
    if (is_there) ++others;
  }
  return 1 + kSharedThere * others;
}

/// The middle of the stations, the near ones first.
class MiddleOfStations {
 public:
  void Add(const Range& range, double trust) {
    const double distance_m = range.log_distance ? std::exp(*range.log_distance) : range.reach_m;
    const double weight = trust / (Squared(distance_m) + Squared(range.blur_m) + kNearestM2);
    east_ += weight * range.station.east;
    north_ += weight * range.station.north;
    weights_ += weight;
  }
  PlanePoint Point() const { return {east_ / weights_, north_ / weights_}; }

 private:
  double east_ = 0;
  double north_ = 0;
  double weights_ = 0;
};

PlanePoint Middle(const std::vector<Range>& ranges) {
  MiddleOfStations middle;
  for (const Range& range : ranges) middle.Add(range, 1);
  return middle.Point();
}

/// All ranges together: minus twice the logarithm of how likely they are at a point.
class Misfit {
 public:
  explicit Misfit(const std::vector<Range>& ranges) {
    double variances = 0;
    double rings = 0;
    for (const Range& range : ranges) {
      const double blur_m2 = Squared(range.blur_m);
      Term term{range.station, range.log_distance.has_value()};
      if (term.is_ring) {
        const double variance = Squared(range.log_spread);
        term.log_distance = *range.log_distance;
        const double crowd = HowManyCount(range, ranges);
        term.outward = range.is_one_of_many ? 2 / crowd : 0;
        term.blur_m2 = 2 * blur_m2 + kNearestM2;
        term.weight = 1 /
                      (variance + blur_m2 / (std::exp(2 * term.log_distance) + term.blur_m2) +
                       kLeastVariance) /
                      crowd;
        variances += variance;
        ++rings;
      } else {
        term.weight = 1 / (Squared(range.reach_m) / 4 *
                               std::exp(std::min(6 * Squared(range.log_spread), 3.0)) +
                           blur_m2);
      }
      terms_.push_back(term);
    }
    if (rings > 0) shared_weight_ = 1 / (kSharedVariance * variances / rings + 1e-6);
  }

  double At(const PlanePoint& point) const {
    double sum = 0;
    double rings = 0;
    double weights = shared_weight_;
    for (const Term& term : terms_) {
      const double weight = term.weight * term.trust;
      if (!term.is_ring) {
        sum += weight * DistanceSquared(term, point);
        continue;
      }
      const double excess = ExcessOf(term, point);
      sum += weight * excess * excess;
      rings += weight * excess - term.outward * term.trust;
      weights += weight;
    }
    return sum - rings * rings / weights;
  }

  /// Half the gradient, and half of what the method of Gauss and Newton has for the second
  /// derivatives.
  void Derive(const PlanePoint& point, Vector2* gradient, Matrix2* curvature) const {
    *gradient = {};
    *curvature = {};
    double rings = 0;
    double weights = shared_weight_;
    Vector2 slopes;
    for (const Term& term : terms_) {
      const double x = point.east - term.station.east;
      const double y = point.north - term.station.north;
      const double weight = term.weight * term.trust;
      if (!term.is_ring) {
        gradient->x += weight * x;
        gradient->y += weight * y;
        curvature->xx += weight;
        curvature->yy += weight;
        continue;
      }
      const double d2 = x * x + y * y + term.blur_m2;
      const double excess = 0.5 * QuickLog(d2) - term.log_distance;
      const Vector2 slope{x / d2, y / d2};
      gradient->x += weight * slope.x * excess;
      gradient->y += weight * slope.y * excess;
      curvature->xx += weight * slope.x * slope.x;
      curvature->xy += weight * slope.x * slope.y;
      curvature->yy += weight * slope.y * slope.y;
      slopes.x += weight * slope.x;
      slopes.y += weight * slope.y;
      rings += weight * excess - term.outward * term.trust;
      weights += weight;
    }
    gradient->x -= slopes.x * rings / weights;
    gradient->y -= slopes.y * rings / weights;
    curvature->xx -= slopes.x * slopes.x / weights;
    curvature->xy -= slopes.x * slopes.y / weights;
    curvature->yy -= slopes.y * slopes.y / weights;
  }

  /// How the receiver is spread around the best point, which is no more than `most` along any axis.
  Matrix2 CovarianceAt(const PlanePoint& point, double most) const {
    Vector2 gradient;
    Matrix2 curvature;
    Derive(point, &gradient, &curvature);
    curvature.xx += 1 / most;
    curvature.yy += 1 / most;
    const double determinant = curvature.Determinant();
    return {curvature.yy / determinant, -curvature.xy / determinant, curvature.xx / determinant};
  }

  void TrustAll() {
    for (Term& term : terms_) term.trust = 1;
  }

  /// Judges each station by how well it agrees with the receiver being at `point`. `tolerance`
  /// widens all variances.
  void Trust(const PlanePoint& point, double tolerance) {
    const double shared = SharedExcess(point);
    doubt_ = shared_weight_ * shared * shared / 2;
    for (Term& term : terms_) {
      const double weight = term.weight / tolerance;
      double in_place = 1 - kMovedPart;
      double moved = kMovedPart;
      if (term.is_ring) {
        const double excess = ExcessOf(term, point) - shared;
        in_place *=
            std::sqrt(weight / (2 * std::numbers::pi)) * std::exp(-weight * excess * excess / 2);
        moved *= kMovedDensity;
      } else {
        in_place *= std::exp(-weight * DistanceSquared(term, point) / 2);
        moved *= kMovedDiscDensity;
      }
      term.trust = in_place / (in_place + moved);
      doubt_ += term.trust * term.outward * shared - std::log(in_place + moved);
    }
  }
  /// How unlikely all was at the last point that stations were judged by; the smaller the better.
  double Doubt() const { return doubt_; }

  /// `ranges` are those that this was made of.
  double LeastTrustedRadius(const std::vector<Range>& ranges) const {
    double least_m = kHalfCircumferenceM;
    for (std::size_t i = 0; i < terms_.size(); ++i) {
      if (terms_[i].trust > 0.5) least_m = std::min(least_m, RadiusOfOne(ranges[i]));
    }
    return least_m;
  }
  /// How far off all stations may be in the same direction.
  double SharedBlurRadius(const std::vector<Range>& ranges) const {
    double blurs_m2 = 0;
    double trusts = 1e-9;
    for (std::size_t i = 0; i < terms_.size(); ++i) {
      blurs_m2 += terms_[i].trust * Squared(ranges[i].blur_m);
      trusts += terms_[i].trust;
    }
    return kPlane95 * kSharedBlur * std::sqrt(blurs_m2 / trusts);
  }
  PlanePoint TrustedMiddle(const std::vector<Range>& ranges) const {
    MiddleOfStations middle;
    for (std::size_t i = 0; i < terms_.size(); ++i) middle.Add(ranges[i], terms_[i].trust + 1e-9);
    return middle.Point();
  }

 private:
  static double DistanceSquared(const Term& term, const PlanePoint& point) {
    return Squared(point.east - term.station.east) + Squared(point.north - term.station.north);
  }
  static double ExcessOf(const Term& term, const PlanePoint& point) {
    return 0.5 * QuickLog(DistanceSquared(term, point) + term.blur_m2) - term.log_distance;
  }

  double SharedExcess(const PlanePoint& point) const {
    double rings = 0;
    double weights = shared_weight_;
    for (const Term& term : terms_) {
      if (!term.is_ring) continue;
      rings += term.trust * (term.weight * ExcessOf(term, point) - term.outward);
      weights += term.weight * term.trust;
    }
    return rings / weights;
  }

  std::vector<Term> terms_;
  double shared_weight_ = 1;
  double doubt_ = 0;
};

/// Gauss and Newton's method with Levenberg's and Marquardt's damping, by which no step is much
/// longer than `scale_m`.
PlanePoint Descend(const Misfit& misfit, PlanePoint point, double scale_m, int steps) {
  double damping = 1 / Squared(scale_m);
  double value = misfit.At(point);
  for (int i = 0; i < steps; ++i) {
    Vector2 gradient;
    Matrix2 curvature;
    misfit.Derive(point, &gradient, &curvature);
    curvature.xx += damping;
    curvature.yy += damping;
    const double determinant = curvature.Determinant();
    const PlanePoint next{
        point.east - (curvature.yy * gradient.x - curvature.xy * gradient.y) / determinant,
        point.north - (curvature.xx * gradient.y - curvature.xy * gradient.x) / determinant};
    const double next_value = misfit.At(next);
    if (next_value <= value) {
      const double gained = value - next_value;
      point = next;
      value = next_value;
      damping /= 4;
      if (gained < 1e-3) break;
    } else {
      damping *= 8;
    }
  }
  return point;
}

/// A point that stands for an area around the fit, and how likely the receiver is in it.
struct Sample {
  PlanePoint point;
  double weight = 0;
};

constexpr std::size_t kDirections = 10;
/// In standard deviations; the area between the middles of two neighbours belongs to one.
constexpr std::array<double, 7> kRadii = {0.3, 0.75, 1.2, 1.7, 2.3, 3, 3.9};
constexpr std::array<double, 8> kEdges = {0, 0.525, 0.975, 1.45, 2, 2.65, 3.45, 4.35};
constexpr std::size_t kSamples = kRadii.size() * kDirections;

/// The samples of the normal distribution, around the origin; the weight is the area.
std::vector<Sample> UnitSamples() {
  std::vector<Sample> samples;
  for (std::size_t i = 0; i < kRadii.size(); ++i) {
    for (std::size_t j = 0; j < kDirections; ++j) {
      const double angle = 2 * std::numbers::pi * static_cast<double>(j) / kDirections;
      samples.push_back({{kRadii[i] * std::cos(angle), kRadii[i] * std::sin(angle)},
                         Squared(kEdges[i + 1]) - Squared(kEdges[i])});
    }
  }
  return samples;
}

/// How the probability is spread: where its centre is, and its covariance.
struct Spread {
  PlanePoint centre;
  Matrix2 covariance;
};

/// Rings of samples around the centre, stretched as the spread is.
std::vector<Sample> TakeSamples(const Misfit& misfit, const Spread& spread) {
  static const std::vector<Sample> unit = UnitSamples();
  // The lower triangle whose square the covariance is.
  const auto& [xx, xy, yy] = spread.covariance;
  const double a = std::sqrt(xx);
  const double b = xy / a;
  const double c = std::sqrt(std::max(yy - b * b, 1e-6 * yy));
  std::vector<Sample> samples;
  samples.reserve(kSamples);
  for (const auto& [at, area] : unit) {
    const PlanePoint point{spread.centre.east + a * at.east,
                           spread.centre.north + b * at.east + c * at.north};
    samples.push_back({point, misfit.At(point)});
  }
  const double best =
      std::min_element(samples.begin(), samples.end(), [](const Sample& one, const Sample& other) {
        return one.weight < other.weight;
      })->weight;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i].weight = unit[i].weight * std::exp((best - samples[i].weight) / 2);
  }
  return samples;
}

Spread Moments(const std::vector<Sample>& samples) {
  Spread spread;
  double weights = 0;
  for (const Sample& sample : samples) {
    spread.centre.east += sample.weight * sample.point.east;
    spread.centre.north += sample.weight * sample.point.north;
    weights += sample.weight;
  }
  spread.centre.east /= weights;
  spread.centre.north /= weights;
  for (const Sample& sample : samples) {
    const double x = sample.point.east - spread.centre.east;
    const double y = sample.point.north - spread.centre.north;
    spread.covariance.xx += sample.weight * x * x / weights;
    spread.covariance.xy += sample.weight * x * y / weights;
    spread.covariance.yy += sample.weight * y * y / weights;
  }
  return spread;
}

/// The radius around `centre` within which 95 % of the weight is.
double Radius95(const std::vector<Sample>& samples, const PlanePoint& centre) {
  struct Step {
    double distance_m = 0;
    double weight = 0;
  };
  std::vector<Step> steps;
  steps.reserve(samples.size());
  double weights = 0;
  for (const auto& [point, weight] : samples) {
    steps.push_back({std::hypot(point.east - centre.east, point.north - centre.north), weight});
    weights += weight;
  }
  std::sort(steps.begin(), steps.end(),
            [](const Step& a, const Step& b) { return a.distance_m < b.distance_m; });
  double sum = 0;
  double last_m = 0;
  for (const auto& [distance_m, weight] : steps) {
    const double wanted = 0.95 * weights - sum;
    if (weight >= wanted) return last_m + (distance_m - last_m) * wanted / weight;
    sum += weight;
    last_m = distance_m;
  }
  return last_m;
}

double Median(std::vector<double> numbers) {
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  std::nth_element(numbers.begin(), middle, numbers.end());
  return *middle;
}

/// Where half of the stations are on either side, whatever the signals say.
PlanePoint MedianStation(const std::vector<Range>& ranges) {
  std::vector<double> easts;
  std::vector<double> norths;
  for (const Range& range : ranges) {
    easts.push_back(range.station.east);
    norths.push_back(range.station.north);
  }
  return {Median(std::move(easts)), Median(std::move(norths))};
}

/// The best point near `start`; what stations are trusted becomes stricter on the way.
PlanePoint Settle(const PlanePoint& start, double scale_m, Misfit* misfit) {
  // A little aside, where the way down is not barred by symmetry.
  PlanePoint point{start.east + kAside * scale_m, start.north + 2 * kAside * scale_m};
  misfit->TrustAll();
  for (const double tolerance : {9.0, 3.0, 1.0}) {
    misfit->Trust(point, tolerance);
    point = Descend(*misfit, point, scale_m, 4);
  }
  misfit->Trust(point, 1);
  return point;
}

/// The best point. A strong signal of a station that has moved misleads one of the two beginnings,
/// most signals being weak the other.
PlanePoint BestPoint(const std::vector<Range>& ranges, Misfit* misfit) {
  std::vector<double> radii_m;
  for (const Range& range : ranges) radii_m.push_back(RadiusOfOne(range));
  const double least_m = *std::min_element(radii_m.begin(), radii_m.end());
  const PlanePoint first = Settle(Middle(ranges), least_m, misfit);
  const double first_doubt = misfit->Doubt();
  Misfit other = *misfit;
  const PlanePoint second = Settle(MedianStation(ranges), Median(std::move(radii_m)), &other);
  if (first_doubt <= other.Doubt()) return first;
  *misfit = std::move(other);
  return second;
}

}  // namespace

PlaneEstimate FitRanges(const std::vector<Range>& ranges) {
  if (ranges.size() == 1) return {ranges.front().station, RadiusOfOne(ranges.front())};
  Misfit misfit(ranges);
  const PlanePoint point = BestPoint(ranges, &misfit);
  const double scale2 = Squared(misfit.LeastTrustedRadius(ranges)) / 4;
  Spread spread{point, misfit.CovarianceAt(point, scale2)};
  // Where a direction is open, as around a single mast, the best point is one of many.
  if (LongAxis(spread.covariance) > kOpen * scale2) {
    spread = {misfit.TrustedMiddle(ranges), {scale2, 0, scale2}};
  }
  spread = Moments(TakeSamples(misfit, spread));
  const std::vector<Sample> samples = TakeSamples(misfit, spread);
  const PlanePoint centre = Moments(samples).centre;
  return {centre, std::hypot(Radius95(samples, centre), misfit.SharedBlurRadius(ranges))};
}

}  // namespace kesu_server
