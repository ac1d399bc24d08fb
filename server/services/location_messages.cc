#include "server/services/location_messages.h"

#include <cmath>

#include "server/learn/lesson.h"

namespace kesu_server {
namespace {

constexpr double kUnitsPerDegree = 1e7;

std::optional<double> Signal(bool is_stated, long long dbm) {
  return is_stated ? PlausibleSignal(static_cast<double>(dbm)) : std::nullopt;
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

void Add(const lbs::GCell& cell, ObservationCollector* collector) {
  const std::optional<StationKey> key =
      CellKey({cell.mcc(), cell.mnc(), cell.area_code(), cell.cell_id()});
  if (!key) return;
  collector->Add({*key, Signal(cell.has_signal_strength_dbm(), cell.signal_strength_dbm()),
                  Age(cell.has_age_ms(), cell.age_ms())});
}

void Add(const lbs::GWifiDevice& device, ObservationCollector* collector) {
  const std::optional<StationKey> key = AccessPointKey(TextOf(device.mac_address()));
  if (!key) return;
  collector->Add({*key, Signal(device.has_signal_strength_dbm(), device.signal_strength_dbm()),
                  Age(device.has_age_ms(), device.age_ms()), MayBeLearned(*key, NameOf(device))});
}

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
  if (cells.has_primarycell()) Add(cells.primarycell(), &collector);
  for (int i = 0; i < cells.neighbors_size(); ++i) Add(cells.neighbors(i), &collector);
  const lbs::GWifiProfile& wifi = element.wifiprofile();
  for (int i = 0; i < wifi.wifidevices_size(); ++i) Add(wifi.wifidevices(i), &collector);
  return collector.Take();
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
