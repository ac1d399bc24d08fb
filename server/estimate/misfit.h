#ifndef SERVER_ESTIMATE_MISFIT_H_
#define SERVER_ESTIMATE_MISFIT_H_

#include <array>
#include <cstddef>
#include <vector>

#include "server/estimate/range_fit.h"

namespace kesu_server {

/// Where the receiver might be, and how much too long its signals make the distances: all of them,
/// because of its antenna, the hand that holds it and the walls around it.
struct Guess {
  double east = 0;
  double north = 0;
  /// Of the natural logarithm.
  double bias = 0;
};

/// What a guess is worth: minus twice the logarithm of how likely all ranges are, half of its
/// gradient, and half of what the method of Gauss and Newton has for its second derivatives.
struct Slope {
  double misfit = 0;
  double east = 0;
  double north = 0;
  double bias = 0;
  double east_east = 0;
  double east_north = 0;
  double north_north = 0;
  double east_bias = 0;
  double north_bias = 0;
  double bias_bias = 0;
};

/// A fixed number of points, in columns.
constexpr std::size_t kSamples = 48;
using SampleColumn = std::array<float, kSamples>;

/// All ranges together. Its sums run over plain columns, of which the compiler takes four rows at a
/// time.
class Misfit {
 public:
  explicit Misfit(const std::vector<Range>& ranges);

  /// The best bias at a point, all stations being trusted.
  double BiasAt(const PlanePoint& point) const;
  /// `tolerance` widens all variances.
  Slope At(const Guess& guess, double tolerance) const;

  /// Judges each station by how well it agrees with the guess.
  void Judge(const Guess& guess);
  /// How likely the station of each range stands where it should, by the last judgement: 0 to 1.
  const std::vector<double>& trusts() const { return trusts_; }
  /// By that judgement, the variance of a position as a multiple of what At() has for it: signals
  /// may be spread more or less than the tables say, and a signal that may as well be that of a
  /// station that has moved says less.
  double variance_factor() const { return variance_factor_; }
  /// The misfit at many points, with those trusts and the best bias at each.
  void Sample(const SampleColumn& east, const SampleColumn& north, SampleColumn* misfit) const;

 private:
  /// What is known of each range, those that tell a distance (a ring around the station) first; the
  /// others are discs.
  struct Columns {
    std::vector<float> east;
    std::vector<float> north;
    /// Of a ring: 1 / variance of the logarithm. Of a disc: 1 / variance along an axis, in 1 / m^2.
    std::vector<float> weight;
    /// How likely the very middle is.
    std::vector<float> density;
    // Only of rings:
    std::vector<float> log_distance;
    std::vector<float> blur_m2;
    std::vector<float> outward;
    /// How many signals it is worth.
    std::vector<float> count;
  };
  /// The sums by which the spread of the signals is judged.
  struct Spread;

  /// Those that tell a distance first.
  void PlaceRows(const std::vector<Range>& ranges);
  void SetRing(std::size_t row, const Range& range, double crowd);
  void SetDisc(std::size_t row, const Range& range);
  void AddRingsTo(const Guess& guess, float tolerance, Slope* slope) const;
  void AddDiscsTo(const Guess& guess, float tolerance, Slope* slope) const;
  double JudgeRing(std::size_t row, const Guess& guess, Spread* spread) const;
  double JudgeDisc(std::size_t row, const Guess& guess) const;
  double DistanceSquared(std::size_t row, double east, double north) const;
  double Excess(std::size_t ring, double east, double north) const;

  Columns columns_;
  std::size_t rings_ = 0;
  std::size_t size_ = 0;
  /// The row of each range.
  std::vector<std::size_t> rows_;
  std::vector<float> trusts_of_rows_;
  std::vector<double> trusts_;
  double variance_factor_ = 1;
  double bias_weight_ = 1;
};

}  // namespace kesu_server

#endif  // SERVER_ESTIMATE_MISFIT_H_
