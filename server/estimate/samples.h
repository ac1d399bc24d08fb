#ifndef SERVER_ESTIMATE_SAMPLES_H_
#define SERVER_ESTIMATE_SAMPLES_H_

#include "server/estimate/misfit.h"

namespace kesu_server {

/// A symmetrical matrix of two rows.
struct Matrix2 {
  double xx = 0;
  double xy = 0;
  double yy = 0;
};

/// How the probability of a place is spread: where its centre is, and its covariance.
struct Spread {
  PlanePoint centre;
  Matrix2 covariance;
};

/// Points around a centre, each for an area, and how likely the receiver is in it.
class Samples {
 public:
  /// They are stretched as `spread` is, which is a guess at what they will show.
  Samples(const Misfit& misfit, const Spread& spread);

  Spread Moments() const;
  /// The radius around `centre` that holds 95 % of the probability.
  double Radius95(const PlanePoint& centre) const;

 private:
  SampleColumn east_ = {};
  SampleColumn north_ = {};
  SampleColumn weight_ = {};
  double weights_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_ESTIMATE_SAMPLES_H_
