#ifndef KESU_BENCH_PEERS_PLAIN_MESSAGES_H_
#define KESU_BENCH_PEERS_PLAIN_MESSAGES_H_

#include <cstdint>
#include <optional>
#include <vector>

#include <unicode/unistr.h>

/// The request and the reply of the location lookup as plain structs: what one writes who needs
/// just these messages and no library for them. The fields stand in the order of their numbers.
namespace plain {

using Text = std::optional<icu::UnicodeString>;
using Int32 = std::optional<std::int32_t>;
using Uint32 = std::optional<std::uint32_t>;
using Int64 = std::optional<std::int64_t>;
using Bool = std::optional<bool>;

struct LatLng {
  Int32 latitude_e7;
  Int32 longitude_e7;
};

struct Rectangle {
  std::optional<LatLng> lower_left;
  std::optional<LatLng> upper_right;
};

struct AddressComponent {
  Text name;
  Int64 component_type;
  Text language;
};

struct Address {
  std::vector<icu::UnicodeString> lines;
  std::vector<AddressComponent> components;
};

struct Feature {
  Text name;
  Int32 feature_type;
  std::optional<Address> address;
  std::optional<Rectangle> bounds;
  std::optional<LatLng> center;
};

struct GpsProfile {
  Uint32 satellite_count;
  Int32 hdop_centi;
  Int32 vdop_centi;
  Int32 pdop_centi;
};

struct Location {
  std::optional<LatLng> latlng;
  Text description;
  Int32 accuracy_m;
  Int32 confidence_percent;
  std::vector<Feature> features;
  Int64 timestamp_ms;
  Bool is_stale;
  Uint32 source_type;
  Text source;
  Int32 altitude_m;
  Int32 vertical_accuracy_m;
  Int32 speed_cm_per_s;
  Int32 heading_degrees;
  std::optional<GpsProfile> gps_profile;
  Text map_datum;
};

struct Cell {
  Int32 mcc;
  Int32 mnc;
  Int32 area_code;
  Int32 cell_id;
  Int32 signal_strength_dbm;
  Int32 timing_advance;
  Int32 age_ms;
  Int32 scrambling_code;
};

struct CellularProfile {
  std::optional<Cell> primary_cell;
  Int64 timestamp_ms;
  std::vector<Cell> neighbors;
  std::vector<Cell> historical_cells;
  Int32 radio_type;
};

struct WifiDevice {
  Text mac_address;
  Text ssid;
  Int64 signal_strength_dbm;
  Int64 channel;
  Int64 age_ms;
};

struct WifiProfile {
  Int64 timestamp_ms;
  std::vector<WifiDevice> devices;
  Int64 scan_duration_ms;
};

struct DeviceLocation {
  std::optional<Location> location;
  std::optional<Cell> cell;
  std::optional<WifiDevice> wifi_device;
};

struct ReplyElement {
  Int32 status;
  std::optional<Location> location;
  std::vector<DeviceLocation> device_locations;
};

struct Reply {
  Int32 status;
  std::vector<ReplyElement> elements;
  Text platform_key;
};

struct CellularPlatformProfile {
  Uint32 radio_type;
  Text carrier;
  Text sim_operator;
  Int64 home_mcc;
  Int64 home_mnc;
};

struct WifiPlatformProfile {
  Text scanner_mac_address;
  Text scanner_ssid;
  Uint32 radio_standard;
};

struct PlatformProfile {
  Text version;
  Text platform;
  Text distribution_channel;
  Text locale;
  Text model;
  std::optional<CellularPlatformProfile> cellular;
  std::optional<WifiPlatformProfile> wifi;
  Text platform_key;
  Text session_id;
};

struct AppProfile {
  Text app_name;
  Text app_version;
  Int64 request_count;
  Int64 session_start_ms;
  Text session_id;
  Int64 release_date_ms;
};

struct UserProfile {
  Text user_name;
  Text account_type;
};

struct DebugProfile {
  Int32 level;
  Bool want_device_locations;
  std::vector<DeviceLocation> cache_locations;
  Bool want_trace;
};

struct GeocodeRequest {
  Int32 precision;
  Bool want_features;
  std::optional<Rectangle> bounding_box;
  Int64 max_features;
};

struct RequestElement {
  std::optional<CellularProfile> cellular;
  std::optional<WifiProfile> wifi;
  std::optional<Location> location;
  std::optional<GeocodeRequest> geocode;
  std::optional<DebugProfile> debug;
};

struct Request {
  std::optional<PlatformProfile> platform;
  std::vector<AppProfile> apps;
  std::optional<UserProfile> user;
  std::vector<RequestElement> elements;
};

}  // namespace plain

#endif  // KESU_BENCH_PEERS_PLAIN_MESSAGES_H_
