#ifndef SERVER_GEO_RADIO_MODEL_H_
#define SERVER_GEO_RADIO_MODEL_H_

namespace kesu_server {

/// How the signal of one transmitter fades with distance: the log-distance path-loss model. At d
/// metres it is received with
///     reference_power_dbm - 10 * path_loss_exponent * log10(d / 1 m) + X   dBm,
/// X being normally distributed around 0 with the standard deviation shadowing_db.
struct RadioModel {
  double reference_power_dbm = 0;
  double path_loss_exponent = 0;
  double shadowing_db = 0;

  /// The distance at which `received_dbm` is the expected signal: at least a metre, at most half
  /// way around the earth.
  double DistanceM(double received_dbm) const;
  /// The factor by which the true distance may exceed that one when the signal is one standard
  /// deviation stronger than expected.
  double DistanceSpread() const;
};

}  // namespace kesu_server

#endif  // SERVER_GEO_RADIO_MODEL_H_
