#ifndef SERVER_SERVICES_OBSERVATION_H_
#define SERVER_SERVICES_OBSERVATION_H_

#include <cstddef>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "server/storage/station_key.h"

namespace kesu_server {

/// A station that was received, known or not, and how well and how many seconds ago, if that was
/// said.
struct Observation {
  StationKey key;
  std::optional<double> received_dbm = {};
  std::optional<double> age_s = {};
  /// Its owner has nothing against it, see MayBeLearned().
  bool may_be_learned = true;
};

/// A received power that a handset can have measured; some say 0 or a very low value when they
/// have not measured any.
inline std::optional<double> PlausibleSignal(double dbm) {
  constexpr double kWeakestDbm = -140;
  return dbm < 0 && dbm >= kWeakestDbm ? std::optional(dbm) : std::nullopt;
}

/// Collects stations, each once however often it is observed: as it is observed first. It may be
/// learned unless that is denied once.
class ObservationCollector {
 public:
  void Add(const Observation& observation) {
    const auto [place, is_new] = places_.try_emplace(observation.key, observations_.size());
    if (is_new) return observations_.push_back(observation);
    if (!observation.may_be_learned) observations_[place->second].may_be_learned = false;
  }
  std::size_t size() const { return observations_.size(); }

  std::vector<Observation> Take() { return std::move(observations_); }

 private:
  std::map<StationKey, std::size_t> places_;
  std::vector<Observation> observations_;
};

}  // namespace kesu_server

#endif  // SERVER_SERVICES_OBSERVATION_H_
