#include "bench/peers/plain/codec.h"

namespace plain {

template <typename Nested, typename Out>
static void WriteOptional(std::uint32_t number, const std::optional<Nested>& nested, Out* out) {
  if (nested) out->Nested(number, [&] { Write(*nested, out); });
}

template <typename Nested, typename Out>
static void WriteElements(std::uint32_t number, const std::vector<Nested>& elements, Out* out) {
  for (const Nested& nested : elements) {
    out->Nested(number, [&] { Write(nested, out); });
  }
}

template <typename Out>
static void Write(const LatLng& in, Out* out) {
  out->OptionalFixed32(1, in.latitude_e7);
  out->OptionalFixed32(2, in.longitude_e7);
}

template <typename Out>
static void Write(const Rectangle& in, Out* out) {
  WriteOptional(1, in.lower_left, out);
  WriteOptional(2, in.upper_right, out);
}

template <typename Out>
static void Write(const AddressComponent& in, Out* out) {
  out->OptionalText(1, in.name);
  out->Optional(2, in.component_type);
  out->OptionalText(3, in.language);
}

template <typename Out>
static void Write(const Address& in, Out* out) {
  for (const icu::UnicodeString& text : in.lines) out->String(1, text);
  WriteElements(2, in.components, out);
}

template <typename Out>
static void Write(const Feature& in, Out* out) {
  out->OptionalText(1, in.name);
  out->Optional(2, in.feature_type);
  WriteOptional(3, in.address, out);
  WriteOptional(4, in.bounds, out);
  WriteOptional(5, in.center, out);
}

template <typename Out>
static void Write(const GpsProfile& in, Out* out) {
  out->Optional(1, in.satellite_count);
  out->Optional(2, in.hdop_centi);
  out->Optional(3, in.vdop_centi);
  out->Optional(4, in.pdop_centi);
}

template <typename Out>
static void Write(const Location& in, Out* out) {
  WriteOptional(1, in.latlng, out);
  out->OptionalText(2, in.description);
  out->Optional(3, in.accuracy_m);
  out->Optional(4, in.confidence_percent);
  WriteElements(5, in.features, out);
  out->Optional(6, in.timestamp_ms);
  out->Optional(7, in.is_stale);
  out->Optional(8, in.source_type);
  out->OptionalText(9, in.source);
  out->Optional(10, in.altitude_m);
  out->Optional(11, in.vertical_accuracy_m);
  out->Optional(12, in.speed_cm_per_s);
  out->Optional(13, in.heading_degrees);
  WriteOptional(14, in.gps_profile, out);
  out->OptionalText(15, in.map_datum);
}

template <typename Out>
static void Write(const Cell& in, Out* out) {
  out->Optional(1, in.mcc);
  out->Optional(2, in.mnc);
  out->Optional(3, in.area_code);
  out->Optional(4, in.cell_id);
  out->Optional(5, in.signal_strength_dbm);
  out->Optional(6, in.timing_advance);
  out->Optional(7, in.age_ms);
  out->Optional(8, in.scrambling_code);
}

template <typename Out>
static void Write(const CellularProfile& in, Out* out) {
  WriteOptional(1, in.primary_cell, out);
  out->Optional(2, in.timestamp_ms);
  WriteElements(3, in.neighbors, out);
  WriteElements(4, in.historical_cells, out);
  out->Optional(5, in.radio_type);
}

template <typename Out>
static void Write(const WifiDevice& in, Out* out) {
  out->OptionalText(1, in.mac_address);
  out->OptionalText(2, in.ssid);
  out->Optional(3, in.signal_strength_dbm);
  out->Optional(4, in.channel);
  out->Optional(5, in.age_ms);
}

template <typename Out>
static void Write(const WifiProfile& in, Out* out) {
  out->Optional(1, in.timestamp_ms);
  WriteElements(2, in.devices, out);
  out->Optional(3, in.scan_duration_ms);
}

template <typename Out>
static void Write(const DeviceLocation& in, Out* out) {
  WriteOptional(1, in.location, out);
  WriteOptional(2, in.cell, out);
  WriteOptional(3, in.wifi_device, out);
}

template <typename Out>
static void Write(const ReplyElement& in, Out* out) {
  out->Optional(1, in.status);
  WriteOptional(2, in.location, out);
  WriteElements(3, in.device_locations, out);
}

template <typename Out>
static void Write(const Reply& in, Out* out) {
  out->Optional(1, in.status);
  WriteElements(2, in.elements, out);
  out->OptionalText(3, in.platform_key);
}

template <typename Out>
static void Write(const CellularPlatformProfile& in, Out* out) {
  out->Optional(1, in.radio_type);
  out->OptionalText(2, in.carrier);
  out->OptionalText(3, in.sim_operator);
  out->Optional(4, in.home_mcc);
  out->Optional(5, in.home_mnc);
}

template <typename Out>
static void Write(const WifiPlatformProfile& in, Out* out) {
  out->OptionalText(1, in.scanner_mac_address);
  out->OptionalText(2, in.scanner_ssid);
  out->Optional(3, in.radio_standard);
}

template <typename Out>
static void Write(const PlatformProfile& in, Out* out) {
  out->OptionalText(1, in.version);
  out->OptionalText(2, in.platform);
  out->OptionalText(3, in.distribution_channel);
  out->OptionalText(4, in.locale);
  out->OptionalText(5, in.model);
  WriteOptional(6, in.cellular, out);
  WriteOptional(7, in.wifi, out);
  out->OptionalText(8, in.platform_key);
  out->OptionalText(9, in.session_id);
}

template <typename Out>
static void Write(const AppProfile& in, Out* out) {
  out->OptionalText(1, in.app_name);
  out->OptionalText(2, in.app_version);
  out->Optional(3, in.request_count);
  out->Optional(4, in.session_start_ms);
  out->OptionalText(5, in.session_id);
  out->Optional(6, in.release_date_ms);
}

template <typename Out>
static void Write(const UserProfile& in, Out* out) {
  out->OptionalText(1, in.user_name);
  out->OptionalText(2, in.account_type);
}

template <typename Out>
static void Write(const DebugProfile& in, Out* out) {
  out->Optional(1, in.level);
  out->Optional(2, in.want_device_locations);
  WriteElements(3, in.cache_locations, out);
  out->Optional(4, in.want_trace);
}

template <typename Out>
static void Write(const GeocodeRequest& in, Out* out) {
  out->OptionalFixed32(1, in.precision);
  out->Optional(2, in.want_features);
  WriteOptional(3, in.bounding_box, out);
  out->Optional(4, in.max_features);
}

template <typename Out>
static void Write(const RequestElement& in, Out* out) {
  WriteOptional(1, in.cellular, out);
  WriteOptional(2, in.wifi, out);
  WriteOptional(3, in.location, out);
  WriteOptional(4, in.geocode, out);
  WriteOptional(99, in.debug, out);
}

template <typename Out>
static void Write(const Request& in, Out* out) {
  WriteOptional(1, in.platform, out);
  WriteElements(2, in.apps, out);
  WriteOptional(3, in.user, out);
  WriteElements(4, in.elements, out);
}

void WriteReply(const Reply& reply, Buffer* out) {
  Write(reply, out);
}

void WriteReply(const Reply& reply, TunedBuffer* out) {
  Write(reply, out);
}

void WriteRequest(const Request& request, Buffer* out) {
  Write(request, out);
}

void WriteRequest(const Request& request, TunedBuffer* out) {
  Write(request, out);
}

}  // namespace plain
