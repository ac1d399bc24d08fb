#ifndef KESU_PROTO_LBS_WIFI_REPORT_H_
#define KESU_PROTO_LBS_WIFI_REPORT_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_position.h"

/// Reports about wifi access points and positions, and containers to debug them.
namespace lbs {

class Position final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(Position);
  KESU_FIELD(1, kOptional, Int64, latitude_e7);
  KESU_FIELD(2, kOptional, Int64, longitude_e7);
  KESU_FIELD(3, kOptional, String, source);
  KESU_FIELD(4, kOptional, Uint32, source_type);
  KESU_FIELD(5, kOptional, Int64, accuracy_m);
  KESU_FIELD(100, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_END();
};

/// An access point, with its location where that is known.
class WifiDevice final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(WifiDevice);
  KESU_FIELD(1, kOptional, String, mac_address);
  KESU_FIELD(2, kOptional, String, ssid);
  KESU_FIELD(3, kOptional, Int64, signal_strength_dbm);
  KESU_FIELD(4, kOptional, Int64, channel);
  KESU_FIELD(5, kOptional, Int64, age_ms);
  KESU_MESSAGE_FIELD(6, kOptional, GLocation, location);
  KESU_MESSAGE_END();
};

/// The adapter that scans.
class WifiScanner final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(WifiScanner);
  KESU_FIELD(1, kOptional, String, mac_address);
  KESU_FIELD(2, kOptional, String, ssid);
  KESU_FIELD(3, kOptional, String, vendor);
  KESU_FIELD(4, kOptional, Uint32, radio_standard);
  KESU_FIELD(5, kOptional, String, driver_version);
  KESU_MESSAGE_END();
};

class WifiScannerReport final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(WifiScannerReport);
  KESU_MESSAGE_FIELD(1, kOptional, WifiScanner, scanner);
  KESU_MESSAGE_FIELD(2, kOptional, GLocation, location);
  KESU_MESSAGE_FIELD(3, kRepeated, WifiDevice, wifidevicecollection);
  KESU_MESSAGE_END();
};

class WifiDataCollectionReport final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(WifiDataCollectionReport);
  KESU_MESSAGE_FIELD(1, kRepeated, WifiScannerReport, wifiscannerprofile);
  KESU_FIELD(2, kOptional, Fixed32, timestamp_s);
  KESU_FIELD(3, kOptional, String, collector_name);
  KESU_FIELD(4, kOptional, Int64, duration_ms);
  KESU_FIELD(5, kOptional, String, app_name);
  KESU_FIELD(6, kOptional, String, app_version);
  KESU_FIELD(7, kOptional, String, platform);
  KESU_FIELD(8, kOptional, String, model);
  KESU_FIELD(9, kOptional, String, session_id);
  KESU_MESSAGE_END();
};

class WifiDeviceReport final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(WifiDeviceReport);
  KESU_FIELD(1, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_FIELD(2, kOptional, WifiScanner, scanner);
  KESU_MESSAGE_FIELD(3, kOptional, Position, position);
  KESU_MESSAGE_FIELD(4, kRepeated, WifiDevice, wifi_devices);
  KESU_FIELD(5, kOptional, Fixed32, sequence_number);
  KESU_MESSAGE_END();
};

/// The access points received together with one.
class NeighborReport final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(NeighborReport);
  KESU_FIELD(1, kOptional, String, scanner_mac_address);
  KESU_FIELD(2, kOptional, Int64, timestamp_ms);
  /// Spelt as the protocol spells it.
  KESU_FIELD(3, kRepeated, String, mac_adderss);
  KESU_MESSAGE_END();
};

/// Where an access point was received.
class LocationReport final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocationReport);
  KESU_FIELD(1, kOptional, String, mac_address);
  KESU_FIELD(2, kOptional, Fixed32, timestamp_s);
  KESU_MESSAGE_FIELD(3, kRepeated, Position, locations);
  KESU_MESSAGE_END();
};

class ApleProcessingContainer final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(ApleProcessingContainer);
  KESU_MESSAGE_FIELD(1, kOptional, NeighborReport, neighbor);
  KESU_MESSAGE_FIELD(2, kOptional, WifiDeviceReport, device);
  KESU_MESSAGE_FIELD(3, kOptional, Position, position);
  KESU_MESSAGE_END();
};

/// The access points that went into a location.
class DebugContainer final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(DebugContainer);
  KESU_FIELD(1, kOptional, String, mac_address);
  KESU_FIELD(2, kOptional, Fixed32, timestamp_s);
  KESU_MESSAGE_FIELD(3, kOptional, GLocation, location);
  KESU_FIELD(4, kOptional, Int32, used_ap_count);
  KESU_FIELD(5, kOptional, Int32, reported_ap_count);
  KESU_FIELD(6, kRepeated, String, used_aps);
  KESU_FIELD(7, kRepeated, String, reported_aps);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_WIFI_REPORT_H_
