#ifndef KESU_PROTO_LBS_REQUEST_H_
#define KESU_PROTO_LBS_REQUEST_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_geocode.h"
#include "kesu/proto/lbs_observation.h"
#include "kesu/proto/lbs_position.h"

/// The request of the location lookup: who asks, from what device, and what it observes.
namespace lbs {

/// The cellular modem and the SIM of the device.
class GCellularPlatformProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GCellularPlatformProfile);
  KESU_FIELD(1, kOptional, Uint32, radio_type);
  KESU_FIELD(2, kOptional, String, carrier);
  KESU_FIELD(3, kOptional, String, sim_operator);
  /// Mobile country code of the home network.
  KESU_FIELD(4, kOptional, Int64, home_mcc);
  /// Mobile network code of the home network.
  KESU_FIELD(5, kOptional, Int64, home_mnc);
  KESU_MESSAGE_END();
};

/// The wifi adapter of the device.
class GWifiPlatformProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GWifiPlatformProfile);
  KESU_FIELD(1, kOptional, String, scanner_mac_address);
  KESU_FIELD(2, kOptional, String, scanner_ssid);
  KESU_FIELD(3, kOptional, Uint32, radio_standard);
  KESU_MESSAGE_END();
};

/// The device and its system.
class GPlatformProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GPlatformProfile);
  KESU_FIELD(1, kOptional, String, version);
  KESU_FIELD(2, kOptional, String, platform);
  KESU_FIELD(3, kOptional, String, distribution_channel);
  KESU_FIELD(4, kOptional, String, locale);
  KESU_FIELD(5, kOptional, String, model);
  KESU_MESSAGE_FIELD(6, kOptional, GCellularPlatformProfile, cellularplatformprofile);
  KESU_MESSAGE_FIELD(7, kOptional, GWifiPlatformProfile, wifiplatformprofile);
  /// The key that an earlier reply issued.
  KESU_FIELD(8, kOptional, String, platform_key);
  KESU_FIELD(9, kOptional, String, session_id);
  KESU_MESSAGE_END();
};

/// An application that asks.
class GAppProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GAppProfile);
  KESU_FIELD(1, kOptional, String, app_name);
  KESU_FIELD(2, kOptional, String, app_version);
  KESU_FIELD(3, kOptional, Int64, request_count);
  KESU_FIELD(4, kOptional, Int64, session_start_ms);
  KESU_FIELD(5, kOptional, String, session_id);
  KESU_FIELD(6, kOptional, Int64, release_date_ms);
  KESU_MESSAGE_END();
};

class GUserProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GUserProfile);
  KESU_FIELD(1, kOptional, String, user_name);
  KESU_FIELD(2, kOptional, String, account_type);
  KESU_MESSAGE_END();
};

class GDebugProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GDebugProfile);
  KESU_FIELD(1, kOptional, Int32, level);
  KESU_FIELD(2, kOptional, Bool, want_device_locations);
  KESU_MESSAGE_FIELD(3, kRepeated, GDeviceLocation, cachelocation);
  KESU_FIELD(4, kOptional, Bool, want_trace);
  KESU_MESSAGE_END();
};

/// One question about one place.
class GLocRequestElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GLocRequestElement);
  KESU_MESSAGE_FIELD(1, kOptional, GCellularProfile, cellularprofile);
  KESU_MESSAGE_FIELD(2, kOptional, GWifiProfile, wifiprofile);
  KESU_MESSAGE_FIELD(3, kOptional, GLocation, location);
  KESU_MESSAGE_FIELD(4, kOptional, GGeocodeRequest, geocode);
  KESU_MESSAGE_FIELD(99, kOptional, GDebugProfile, debugprofile);
  KESU_MESSAGE_END();
};

/// The top-level request.
class GLocRequest final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GLocRequest);
  KESU_MESSAGE_FIELD(1, kOptional, GPlatformProfile, platformprofile);
  KESU_MESSAGE_FIELD(2, kRepeated, GAppProfile, appprofiles);
  KESU_MESSAGE_FIELD(3, kOptional, GUserProfile, userprofile);
  KESU_MESSAGE_FIELD(4, kRepeated, GLocRequestElement, requestelements);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_REQUEST_H_
