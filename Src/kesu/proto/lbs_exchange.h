#ifndef KESU_PROTO_LBS_EXCHANGE_H_
#define KESU_PROTO_LBS_EXCHANGE_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_cell_report.h"
#include "kesu/proto/lbs_geocode.h"
#include "kesu/proto/lbs_observation.h"
#include "kesu/proto/lbs_position.h"
#include "kesu/proto/lbs_request.h"
#include "kesu/proto/lbs_wifi_report.h"

/// The query and update exchanges, and the observations that travel in them.
namespace lbs {

/// An observation of a serving cell, with all that was known at the time.
class CellIdData final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdData);
  KESU_FIELD(1, kOptional, Int64, cell_id);
  KESU_FIELD(2, kOptional, Int64, area_code);
  KESU_FIELD(3, kOptional, Bool, is_registered);
  KESU_FIELD(4, kOptional, Int64, latitude_e7);
  KESU_FIELD(5, kOptional, Int64, longitude_e7);
  KESU_FIELD(6, kOptional, Uint32, radio_type);
  KESU_FIELD(7, kOptional, String, carrier);
  KESU_FIELD(8, kOptional, Int64, mcc);
  KESU_FIELD(9, kOptional, Int64, mnc);
  KESU_FIELD(10, kOptional, String, sim_operator);
  KESU_FIELD(11, kOptional, String, platform);
  KESU_FIELD(12, kOptional, Int64, signal_strength_dbm);
  KESU_FIELD(13, kOptional, String, model);
  KESU_FIELD(14, kOptional, String, app_version);
  KESU_FIELD(15, kOptional, Int64, timing_advance);
  KESU_FIELD(16, kOptional, Int64, scrambling_code);
  KESU_FIELD(17, kOptional, Int64, timestamp_ms);
  KESU_FIELD(18, kOptional, Int64, age_ms);
  KESU_FIELD(19, kOptional, Bool, is_gps_fix);
  KESU_FIELD(20, kOptional, Int64, accuracy_m);
  KESU_MESSAGE_FIELD(21, kRepeated, NeighborCell, neighbors);
  KESU_MESSAGE_FIELD(22, kRepeated, WifiDevice, wifidevices);
  KESU_FIELD(23, kOptional, Int64, altitude_m);
  KESU_FIELD(24, kOptional, Int64, speed_cm_per_s);
  /// Clockwise from north.
  KESU_FIELD(25, kOptional, Int64, heading_degrees);
  KESU_FIELD(26, kOptional, Int64, home_mcc);
  KESU_FIELD(27, kOptional, Int64, home_mnc);
  KESU_FIELD(30, kOptional, String, session_id);
  KESU_FIELD(31, kOptional, Int64, received_ms);
  KESU_MESSAGE_END();
};

/// The location of a user.
class UserLocationProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(UserLocationProto);
  KESU_MESSAGE_FIELD(1, kOptional, GLatLng, latlng);
  KESU_FIELD(2, kOptional, String, description);
  KESU_FIELD(3, kOptional, Int32, accuracy_m);
  KESU_FIELD(4, kOptional, Int32, confidence_percent);
  KESU_MESSAGE_FIELD(5, kOptional, GAddress, address);
  KESU_FIELD(6, kOptional, String, user_name);
  KESU_FIELD(7, kOptional, Bool, is_stale);
  KESU_MESSAGE_FIELD(8, kRepeated, GFeature, feature);
  KESU_FIELD(9, kOptional, String, source);
  KESU_FIELD(16, kOptional, Int64, timestamp_ms);
  KESU_FIELD(17, kOptional, Uint32, source_type);
  KESU_MESSAGE_END();
};

class LocQueryRequest_RequestElement_KeyElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocQueryRequest_RequestElement_KeyElement);
  KESU_FIELD(3, kOptional, Int32, key_type);
  KESU_FIELD(4, kOptional, String, key);
  KESU_MESSAGE_FIELD(5, kOptional, CellTowerSignal, celltowersignalprofile);
  KESU_MESSAGE_FIELD(6, kOptional, WifiDevice, wifidevicesignalprofile);
  KESU_MESSAGE_END();
};

class LocQueryRequest_RequestElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocQueryRequest_RequestElement);
  KESU_GROUP_FIELD(2, kRepeated, LocQueryRequest_RequestElement_KeyElement, keyelement);
  KESU_MESSAGE_FIELD(8, kOptional, GeocodeParams, geocodeparams);
  KESU_MESSAGE_FIELD(99, kOptional, GDebugProfile, debugprofile);
  KESU_MESSAGE_END();
};

class LocQueryRequest final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocQueryRequest);
  KESU_GROUP_FIELD(1, kRepeated, LocQueryRequest_RequestElement, requestelement);
  KESU_FIELD(9, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_END();
};

class LocQueryReply_ReplyElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocQueryReply_ReplyElement);
  KESU_FIELD(3, kOptional, Int32, status);
  KESU_MESSAGE_FIELD(4, kOptional, GLocation, location);
  KESU_MESSAGE_FIELD(5, kRepeated, GDeviceLocation, devicelocation);
  KESU_MESSAGE_END();
};

class LocQueryReply final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocQueryReply);
  KESU_FIELD(1, kOptional, Int32, status);
  KESU_GROUP_FIELD(2, kRepeated, LocQueryReply_ReplyElement, replyelement);
  KESU_MESSAGE_END();
};

class LocUpdateRequest_RequestElement_KeyElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocUpdateRequest_RequestElement_KeyElement);
  KESU_FIELD(4, kOptional, Int64, key_type);
  KESU_FIELD(5, kOptional, String, key);
  KESU_MESSAGE_FIELD(7, kOptional, CellIdData, cellidprofile);
  KESU_MESSAGE_FIELD(8, kOptional, GWifiProfile, wifiprofile);
  KESU_MESSAGE_END();
};

class LocUpdateRequest_RequestElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocUpdateRequest_RequestElement);
  KESU_FIELD(2, kOptional, Int32, update_type);
  KESU_GROUP_FIELD(3, kRepeated, LocUpdateRequest_RequestElement_KeyElement, keyelement);
  KESU_MESSAGE_FIELD(6, kOptional, GLocation, location);
  KESU_FIELD(16, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_FIELD(99, kOptional, GDebugProfile, debugprofile);
  KESU_MESSAGE_END();
};

class LocUpdateRequest final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocUpdateRequest);
  KESU_GROUP_FIELD(1, kRepeated, LocUpdateRequest_RequestElement, requestelement);
  KESU_MESSAGE_END();
};

class LocUpdateReply_ReplyElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocUpdateReply_ReplyElement);
  KESU_FIELD(3, kOptional, Int64, status);
  KESU_MESSAGE_END();
};

class LocUpdateReply final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(LocUpdateReply);
  KESU_FIELD(1, kOptional, Int32, status);
  KESU_GROUP_FIELD(2, kRepeated, LocUpdateReply_ReplyElement, replyelement);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_EXCHANGE_H_
