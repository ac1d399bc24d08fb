#ifndef SERVER_SIMULATION_FIGURES_H_
#define SERVER_SIMULATION_FIGURES_H_

#include <cstddef>
#include <vector>

#include "server/estimate/location_estimator.h"

namespace kesu_server {

/// How far off estimates were, and how often the truth was within their accuracy.
class Figures {
 public:
  void Add(const Estimate& estimate, const LatLng& truth);

  std::size_t count() const { return errors_m_.size(); }
  /// `part` of the errors are smaller; half of them for the median.
  double ErrorM(double part) const;
  double MedianAccuracyM() const;
  /// In parts of 100.
  double Coverage() const;

 private:
  std::vector<double> errors_m_;
  std::vector<double> accuracies_m_;
  int covered_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_SIMULATION_FIGURES_H_
