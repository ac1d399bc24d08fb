#ifndef KESU_PROTO_LBS_OBSERVATION_H_
#define KESU_PROTO_LBS_OBSERVATION_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_position.h"

/// What a handset observes of the radio networks around it.
namespace lbs {

/// A cell, as its network names it and as it is received.
class GCell final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GCell);
  /// Mobile country code.
  KESU_FIELD(1, kOptional, Int32, mcc);
  /// Mobile network code.
  KESU_FIELD(2, kOptional, Int32, mnc);
  /// Location or tracking area code.
  KESU_FIELD(3, kOptional, Int32, area_code);
  KESU_FIELD(4, kOptional, Int32, cell_id);
  KESU_FIELD(5, kOptional, Int32, signal_strength_dbm);
  KESU_FIELD(6, kOptional, Int32, timing_advance);
  KESU_FIELD(7, kOptional, Int32, age_ms);
  KESU_FIELD(8, kOptional, Int32, scrambling_code);
  KESU_MESSAGE_END();
};

class GCellularProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GCellularProfile);
  /// The cell that serves the handset.
  KESU_MESSAGE_FIELD(1, kOptional, GCell, primarycell);
  KESU_FIELD(2, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_FIELD(3, kRepeated, GCell, neighbors);
  /// Cells that served it before.
  KESU_MESSAGE_FIELD(4, kRepeated, GCell, historicalcells);
  KESU_FIELD(5, kOptional, Int32, radio_type);
  KESU_MESSAGE_END();
};

/// A wifi access point.
class GWifiDevice final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GWifiDevice);
  KESU_FIELD(1, kOptional, String, mac_address);
  KESU_FIELD(2, kOptional, String, ssid);
  KESU_FIELD(3, kOptional, Int64, signal_strength_dbm);
  KESU_FIELD(4, kOptional, Int64, channel);
  KESU_FIELD(5, kOptional, Int64, age_ms);
  KESU_MESSAGE_END();
};

/// The result of one wifi scan.
class GWifiProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GWifiProfile);
  KESU_FIELD(1, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_FIELD(2, kRepeated, GWifiDevice, wifidevices);
  KESU_FIELD(3, kOptional, Int64, scan_duration_ms);
  KESU_MESSAGE_END();
};

/// The location of one cell or access point.
class GDeviceLocation final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GDeviceLocation);
  KESU_MESSAGE_FIELD(1, kOptional, GLocation, location);
  KESU_MESSAGE_FIELD(2, kOptional, GCell, cell);
  KESU_MESSAGE_FIELD(3, kOptional, GWifiDevice, wifidevice);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_OBSERVATION_H_
