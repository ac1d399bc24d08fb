#include "server/services/location_messages.h"

#include <cmath>
#include <set>
#include <utility>

#include "server/learn/lesson.h"

namespace kesu_server {
namespace {

constexpr double kUnitsPerDegree = 1e7;

/// A received power that a handset can have measured; some say 0 or a very low value when they
/// have not measured any.
std::optional<double> PlausibleSignal(bool is_stated, long long dbm) {
  constexpr long long kWeakestDbm = -140;
  if (!is_stated || dbm >= 0 || dbm < kWeakestDbm) return std::nullopt;
  return static_cast<double>(dbm);
}

std::optional<double> Age(bool is_stated, long long age_ms) {
  constexpr double kMsPerS = 1000;
  if (!is_stated) return std::nullopt;
  return static_cast<double>(age_ms) / kMsPerS;
}

std::optional<std::string> NameOf(const lbs::GWifiDevice& device) {
  if (!device.has_ssid()) return std::nullopt;
  return TextOf(device.ssid());
}

/// Collects stations, each once however often it is observed.
class ObservationCollector {
 public:
  void Add(const lbs::GCell& cell) {
    Add(CellKey({cell.mcc(), cell.mnc(), cell.area_code(), cell.cell_id()}),
        PlausibleSignal(cell.has_signal_strength_dbm(), cell.signal_strength_dbm()),
        Age(cell.has_age_ms(), cell.age_ms()));
  }
  void Add(const lbs::GWifiDevice& device) {
    const std::optional<StationKey> key = AccessPointKey(TextOf(device.mac_address()));
    Add(key, PlausibleSignal(device.has_signal_strength_dbm(), device.signal_strength_dbm()),
        Age(device.has_age_ms(), device.age_ms()));
    if (key && observations_.back().key == *key) {
      observations_.back().may_be_learned = MayBeLearned(*key, NameOf(device));
    }
  }

  std::vector<Observation> Take() { return std::move(observations_); }

 private:
  void Add(const std::optional<StationKey>& key, std::optional<double> received_dbm,
           std::optional<double> age_s) {
    if (key && seen_.insert(*key).second) observations_.push_back({*key, received_dbm, age_s});
  }

  std::set<StationKey> seen_;
  std::vector<Observation> observations_;
};

void WriteAddress(const DescribedFeature& feature, lbs::GAddress* address) {
  for (const std::string& line : feature.address_lines) {
    address->add_formattedaddressline(GStringOf(line));
  }
  for (const AddressComponent& part : feature.components) {
    lbs::GAddressComponent* const component = address->add_component();
    component->set_name(GStringOf(part.name));
    component->set_component_type(part.type);
  }
}

}  // namespace

std::string TextOf(const common_base::GString& text) {
  common_base::ByteVector utf8;
  text->ToUtf8Vector(&utf8);
  return {utf8.begin(), utf8.end()};
}

common_base::GString GStringOf(const std::string& text) {
  return common_base::NewGStringFromUtf8Vector(common_base::ByteView(
      common_base::kReferenceExistingBuffer, reinterpret_cast<const unsigned char*>(text.data()),
      static_cast<int>(text.size())));
}

std::optional<LatLng> ReadPosition(const lbs::GLocation& location) {
  const lbs::GLatLng& latlng = location.latlng();
  if (!latlng.has_latitude_e7() || !latlng.has_longitude_e7()) return std::nullopt;
  const LatLng position = {latlng.latitude_e7() / kUnitsPerDegree,
                           latlng.longitude_e7() / kUnitsPerDegree};
  if (!IsOnEarth(position)) return std::nullopt;
  return position;
}

void WritePosition(const LatLng& position, lbs::GLatLng* latlng) {
  latlng->set_latitude_e7(static_cast<int>(std::lround(position.latitude * kUnitsPerDegree)));
  latlng->set_longitude_e7(static_cast<int>(std::lround(position.longitude * kUnitsPerDegree)));
}

std::vector<Observation> ReadObservations(const lbs::GLocRequestElement& element) {
  ObservationCollector collector;
  const lbs::GCellularProfile& cells = element.cellularprofile();
  if (cells.has_primarycell()) collector.Add(cells.primarycell());
  for (int i = 0; i < cells.neighbors_size(); ++i) collector.Add(cells.neighbors(i));
  const lbs::GWifiProfile& wifi = element.wifiprofile();
  for (int i = 0; i < wifi.wifidevices_size(); ++i) collector.Add(wifi.wifidevices(i));
  return collector.Take();
}

std::optional<StationKey> AreaOfServingCell(const std::vector<Observation>& observations) {
  for (const Observation& observation : observations) {
    if (!observation.key.is_access_point()) return AreaKey(observation.key);
  }
  return std::nullopt;
}

void WriteFeatures(const std::vector<DescribedFeature>& features, lbs::GLocation* location) {
  for (const DescribedFeature& described : features) {
    lbs::GFeature* const feature = location->add_feature();
    feature->set_name(GStringOf(described.name));
    feature->set_feature_type(described.type);
    if (!described.address_lines.empty()) WriteAddress(described, feature->mutable_address());
    if (described.center) WritePosition(*described.center, feature->mutable_center());
  }
}

}  // namespace kesu_server
