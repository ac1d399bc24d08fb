#include "server/simulation/figures.h"

#include <algorithm>
#include <cstddef>

namespace kesu_server {
namespace {

double Quantile(std::vector<double> numbers, double part) {
  if (numbers.empty()) return 0;
  const auto place = static_cast<std::ptrdiff_t>(part * static_cast<double>(numbers.size() - 1));
  std::nth_element(numbers.begin(), numbers.begin() + place, numbers.end());
  return numbers[static_cast<std::size_t>(place)];
}

}  // namespace

void Figures::Add(const Estimate& estimate, const LatLng& truth) {
  errors_m_.push_back(DistanceM(estimate.position, truth));
  accuracies_m_.push_back(estimate.accuracy_m);
  if (errors_m_.back() <= estimate.accuracy_m) ++covered_;
}

double Figures::ErrorM(double part) const {
  return Quantile(errors_m_, part);
}

double Figures::MedianAccuracyM() const {
  return Quantile(accuracies_m_, 0.5);
}

double Figures::Coverage() const {
  return errors_m_.empty() ? 0 : 100.0 * covered_ / static_cast<double>(errors_m_.size());
}

}  // namespace kesu_server
