#ifndef SERVER_INSPECT_EXCHANGE_MAP_H_
#define SERVER_INSPECT_EXCHANGE_MAP_H_

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "server/inspect/exchange.h"
#include "server/services/location_messages.h"
#include "server/storage/station.h"
#include "server/storage/station_key.h"

namespace kesu_server {

/// What was asked and answered, as maps: one for each element of a location request.
class ExchangeMaps {
 public:
  explicit ExchangeMaps(const Exchange& exchange);

  /// The stations to look up.
  const std::vector<StationKey>& keys() const { return keys_; }

  /// A JSON list; maps without anything on them are left out. `stations` has an entry for each key,
  /// or nothing when they could not be looked up.
  std::string Draw(std::span<const std::optional<Station>> stations) const;

 private:
  struct Map {
    nlohmann::ordered_json drawing;
    std::vector<Observation> observations;
    /// That of the first cell, which stands for it where it is not known itself.
    std::optional<StationKey> area;
    /// The device's own.
    std::optional<LatLng> fix;
  };

  static Map NewMap(const lbs::GLocRequestElement& question, const lbs::GLocReplyElement* answer);
  static nlohmann::ordered_json DrawOne(const Map& map,
                                        std::span<const std::optional<Station>> stations);
  void Add(int request_id, const lbs::GLocRequest& request, const lbs::GLocReply* reply);

  std::vector<Map> maps_;
  std::vector<StationKey> keys_;
};

}  // namespace kesu_server

#endif  // SERVER_INSPECT_EXCHANGE_MAP_H_
