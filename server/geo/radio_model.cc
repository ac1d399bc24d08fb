#include "server/geo/radio_model.h"

#include <algorithm>
#include <cmath>

#include "server/geo/geodesy.h"

namespace kesu_server {

double RadioModel::DistanceM(double received_dbm) const {
  const double distance =
      std::pow(10, (reference_power_dbm - received_dbm) / (10 * path_loss_exponent));
  return std::clamp(distance, 1.0, kHalfCircumferenceM);
}

double RadioModel::DistanceSpread() const {
  return std::pow(10, shadowing_db / (10 * path_loss_exponent));
}

}  // namespace kesu_server
