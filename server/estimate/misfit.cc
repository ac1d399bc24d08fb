#include "server/estimate/misfit.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "server/estimate/quick_math.h"

namespace kesu_server {
namespace {

/// How much the signals of one observation vary together, as a part of the variance of one, which
/// comes on top.
constexpr double kSharedVariance = 0.25;
/// How many of 100 stations stand elsewhere than the data say, as a part of one.
constexpr double kMovedPart = 0.05;
/// How likely the signal of such a station is, over the logarithm of the distance: all that can be
/// received are equally likely.
constexpr double kMovedRing = kMovedPart * 0.2;
/// The same for a station of which no signal is stated, as a part of the density at its position.
constexpr double kMovedDisc = kMovedPart * 0.01;
/// Of the logarithm of a distance: no model is better than that.
constexpr double kLeastVariance = 1e-3;
/// Nothing is nearer to a station than this.
constexpr double kNearestM2 = 1;
/// How many signals the spread that the tables state is worth beside the one that is seen.
constexpr double kFaithInSpread = 16;
/// Place and bias are fitted to the signals.
constexpr double kFitted = 3;
/// Of the signals' information this part is left at least, whichever may have moved.
constexpr double kLeastSharpness = 0.5;

double Squared(double x) {
  return x * x;
}

/// Where a station is known less well than the distance from it, the receiver is around it, nothing
/// is known of a ring.
bool IsRing(const Range& range) {
  return range.log_distance && std::exp(*range.log_distance) > range.blur_m;
}

/// Of how many independent signals those from the place of one are worth: several transmitters on a
/// mast, or several names of an access point, are shadowed by the same walls.
std::vector<float> Crowds(const std::vector<float>& east, const std::vector<float>& north) {
  constexpr float kSamePlaceM = 5;
  constexpr float kSharedThere = 0.5F;
  std::vector<float> crowds;
  crowds.reserve(east.size());
  for (std::size_t i = 0; i < east.size(); ++i) {
    int there = 0;
    for (std::size_t j = 0; j < east.size(); ++j) {
      const float apart = std::max(std::abs(east[j] - east[i]), std::abs(north[j] - north[i]));
      there += static_cast<int>(apart < kSamePlaceM);
    }
    crowds.push_back(1 + kSharedThere * static_cast<float>(there - 1));
  }
  return crowds;
}

}  // namespace

struct Misfit::Spread {
  double count = 0;
  double weights = 0;
  double sharp_weights = 0;
  double mean = 0;
  double squares = 0;

  double VarianceFactor() const {
    if (weights <= 0) return 1;
    const double around_mean = squares - mean * mean / weights;
    const double freedom = kFaithInSpread + std::max(count - kFitted, 0.0);
    const double excess = (kFaithInSpread + around_mean) / freedom;
    // Of Student's distribution on a plane, beside the normal one.
    const double widening = freedom * (std::pow(20, 2 / freedom) - 1) / 5.991;
    return widening * excess / std::max(sharp_weights / weights, kLeastSharpness);
  }
};

Misfit::Misfit(const std::vector<Range>& ranges) : size_(ranges.size()) {
  PlaceRows(ranges);
  columns_.weight.assign(size_, 0);
  columns_.density.assign(size_, 0);
  for (std::vector<float>* const column :
       {&columns_.log_distance, &columns_.blur_m2, &columns_.outward, &columns_.count}) {
    column->assign(rings_, 0);
  }
  trusts_of_rows_.assign(size_, 1);
  trusts_.assign(size_, 1);
  const std::vector<float> crowds = Crowds(columns_.east, columns_.north);
  double variances = 0;
  for (std::size_t i = 0; i < size_; ++i) {
    const std::size_t row = rows_[i];
    if (row >= rings_) {
      SetDisc(row, ranges[i]);
      continue;
    }
    SetRing(row, ranges[i], crowds[row]);
    variances += Squared(ranges[i].log_spread);
  }
  if (rings_ > 0) {
    bias_weight_ = 1 / (kSharedVariance * variances / static_cast<double>(rings_) + 1e-6);
  }
}

void Misfit::PlaceRows(const std::vector<Range>& ranges) {
  rows_.resize(size_);
  columns_.east.reserve(size_);
  columns_.north.reserve(size_);
  for (const bool is_ring : {true, false}) {
    for (std::size_t i = 0; i < size_; ++i) {
      if (IsRing(ranges[i]) != is_ring) continue;
      rows_[i] = columns_.east.size();
      columns_.east.push_back(static_cast<float>(ranges[i].station.east));
      columns_.north.push_back(static_cast<float>(ranges[i].station.north));
    }
    if (is_ring) rings_ = columns_.east.size();
  }
}

void Misfit::SetRing(std::size_t row, const Range& range, double crowd) {
  const double blur_m2 = Squared(range.blur_m);
  const double near_m2 = 2 * blur_m2 + kNearestM2;
  const double of_blur = blur_m2 / (std::exp(2 * *range.log_distance) + near_m2);
  const double own = (1 - kSharedVariance) * Squared(range.log_spread);
  const double variance = own + of_blur + kLeastVariance;
  const double weight = 1 / (variance * crowd);
  columns_.weight[row] = static_cast<float>(weight);
  columns_.density[row] =
      static_cast<float>((1 - kMovedPart) * std::sqrt(weight / (2 * std::numbers::pi)));
  columns_.log_distance[row] = static_cast<float>(*range.log_distance);
  columns_.blur_m2[row] = static_cast<float>(near_m2);
  columns_.outward[row] = static_cast<float>(range.is_one_of_many ? 2 / crowd : 0);
  columns_.count[row] = static_cast<float>(1 / crowd);
}

void Misfit::SetDisc(std::size_t row, const Range& range) {
  const double widened = std::exp(std::min(6 * Squared(range.log_spread), 3.0));
  // Along an axis, of a ring and of a disc.
  const double alone_m2 =
      range.log_distance ? std::exp(2 * *range.log_distance) / 2 : Squared(range.reach_m) / 4;
  const double variance_m2 = alone_m2 * widened + Squared(range.blur_m);
  columns_.weight[row] = static_cast<float>(1 / variance_m2);
  columns_.density[row] = static_cast<float>(1 - kMovedPart);
}

double Misfit::DistanceSquared(std::size_t row, double east, double north) const {
  return Squared(east - columns_.east[row]) + Squared(north - columns_.north[row]);
}

double Misfit::Excess(std::size_t ring, double east, double north) const {
  const double d2 = DistanceSquared(ring, east, north) + columns_.blur_m2[ring];
  return 0.5 * std::log(d2) - columns_.log_distance[ring];
}

double Misfit::BiasAt(const PlanePoint& point) const {
  double sum = 0;
  double weights = bias_weight_;
  for (std::size_t i = 0; i < rings_; ++i) {
    sum += columns_.weight[i] * Excess(i, point.east, point.north) - columns_.outward[i];
    weights += columns_.weight[i];
  }
  return sum / weights;
}

Slope Misfit::At(const Guess& guess, double tolerance) const {
  Slope slope;
  slope.misfit = bias_weight_ * Squared(guess.bias);
  slope.bias = bias_weight_ * guess.bias;
  slope.bias_bias = bias_weight_;
  AddRingsTo(guess, static_cast<float>(tolerance), &slope);
  if (rings_ < size_) AddDiscsTo(guess, static_cast<float>(tolerance), &slope);
  return slope;
}

void Misfit::AddRingsTo(const Guess& guess, float tolerance, Slope* slope) const {
  const auto guess_east = static_cast<float>(guess.east);
  const auto guess_north = static_cast<float>(guess.north);
  const auto bias = static_cast<float>(guess.bias);
  const float narrowing = 1 / tolerance;
  const float lowering = std::sqrt(narrowing);
  constexpr auto kMoved = static_cast<float>(kMovedRing);
  // Sums that stand alone, not in a structure, are what the compiler keeps in registers.
  float misfit = 0;
  float outward = 0;
  float by_east = 0;
  float by_north = 0;
  float by_bias = 0;
  float east_east = 0;
  float east_north = 0;
  float north_north = 0;
  float east_bias = 0;
  float north_bias = 0;
  float bias_bias = 0;
  for (std::size_t i = 0; i < rings_; ++i) {
    const float x = guess_east - columns_.east[i];
    const float y = guess_north - columns_.north[i];
    const float d2 = x * x + y * y + columns_.blur_m2[i];
    const float excess = 0.5F * QuickLog(d2) - columns_.log_distance[i] - bias;
    const float weight = columns_.weight[i] * narrowing;
    const float in_place =
        columns_.density[i] * lowering * QuickExp(-0.5F * weight * excess * excess);
    const float anywhere = in_place + kMoved;
    const float trust = in_place / anywhere;
    const float trusted = trust * weight;
    const float per_east = x / d2;
    const float per_north = y / d2;
    misfit -= 2 * QuickLog(anywhere);
    outward += trust * columns_.outward[i];
    by_east += trusted * excess * per_east;
    by_north += trusted * excess * per_north;
    by_bias += trusted * excess;
    east_east += trusted * per_east * per_east;
    east_north += trusted * per_east * per_north;
    north_north += trusted * per_north * per_north;
    east_bias += trusted * per_east;
    north_bias += trusted * per_north;
    bias_bias += trusted;
  }
  slope->misfit += misfit + 2 * outward * bias;
  slope->east += by_east;
  slope->north += by_north;
  slope->bias += outward - by_bias;
  slope->east_east += east_east;
  slope->east_north += east_north;
  slope->north_north += north_north;
  slope->east_bias -= east_bias;
  slope->north_bias -= north_bias;
  slope->bias_bias += bias_bias;
}

void Misfit::AddDiscsTo(const Guess& guess, float tolerance, Slope* slope) const {
  const auto guess_east = static_cast<float>(guess.east);
  const auto guess_north = static_cast<float>(guess.north);
  const float narrowing = 1 / tolerance;
  constexpr auto kMoved = static_cast<float>(kMovedDisc);
  float misfit = 0;
  float by_east = 0;
  float by_north = 0;
  float weights = 0;
  for (std::size_t i = rings_; i < size_; ++i) {
    const float x = guess_east - columns_.east[i];
    const float y = guess_north - columns_.north[i];
    const float weight = columns_.weight[i] * narrowing;
    const float in_place = columns_.density[i] * QuickExp(-0.5F * weight * (x * x + y * y));
    const float anywhere = in_place + kMoved;
    const float trusted = in_place / anywhere * weight;
    misfit -= 2 * QuickLog(anywhere);
    by_east += trusted * x;
    by_north += trusted * y;
    weights += trusted;
  }
  slope->misfit += misfit;
  slope->east += by_east;
  slope->north += by_north;
  slope->east_east += weights;
  slope->north_north += weights;
}

void Misfit::Judge(const Guess& guess) {
  Spread spread;
  for (std::size_t i = 0; i < size_; ++i) {
    const std::size_t row = rows_[i];
    trusts_[i] = row < rings_ ? JudgeRing(row, guess, &spread) : JudgeDisc(row, guess);
    trusts_of_rows_[row] = static_cast<float>(trusts_[i]);
  }
  variance_factor_ = spread.VarianceFactor();
}

double Misfit::JudgeRing(std::size_t row, const Guess& guess, Spread* spread) const {
  const double excess = Excess(row, guess.east, guess.north) - guess.bias;
  const double square = columns_.weight[row] * Squared(excess);
  const double in_place = columns_.density[row] * std::exp(-0.5 * square);
  const double trust = in_place / (in_place + kMovedRing);
  const double weight = trust * columns_.weight[row];
  spread->count += trust * columns_.count[row];
  spread->weights += weight;
  spread->sharp_weights += weight * (1 - (1 - trust) * square);
  spread->mean += weight * excess;
  spread->squares += trust * square;
  return trust;
}

double Misfit::JudgeDisc(std::size_t row, const Guess& guess) const {
  const double d2 = DistanceSquared(row, guess.east, guess.north);
  const double in_place = columns_.density[row] * std::exp(-0.5 * columns_.weight[row] * d2);
  return in_place / (in_place + kMovedDisc);
}

void Misfit::Sample(const SampleColumn& east, const SampleColumn& north,
                    SampleColumn* misfit) const {
  SampleColumn sum = {};
  SampleColumn biases = {};
  auto weights = static_cast<float>(bias_weight_);
  for (std::size_t i = 0; i < size_; ++i) {
    const float trusted = columns_.weight[i] * trusts_of_rows_[i];
    const float station_east = columns_.east[i];
    const float station_north = columns_.north[i];
    if (i >= rings_) {
      for (std::size_t j = 0; j < kSamples; ++j) {
        const float x = east[j] - station_east;
        const float y = north[j] - station_north;
        sum[j] += trusted * (x * x + y * y);
      }
      continue;
    }
    const float log_distance = columns_.log_distance[i];
    const float blur_m2 = columns_.blur_m2[i];
    const float outward = columns_.outward[i] * trusts_of_rows_[i];
    weights += trusted;
    for (std::size_t j = 0; j < kSamples; ++j) {
      const float x = east[j] - station_east;
      const float y = north[j] - station_north;
      const float excess = 0.5F * QuickLog(x * x + y * y + blur_m2) - log_distance;
      sum[j] += trusted * excess * excess;
      biases[j] += trusted * excess - outward;
    }
  }
  for (std::size_t j = 0; j < kSamples; ++j) {
    (*misfit)[j] = sum[j] - biases[j] * biases[j] / weights;
  }
}

}  // namespace kesu_server
