#ifndef KESU_PROTO_LBS_CELL_REPORT_H_
#define KESU_PROTO_LBS_CELL_REPORT_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_position.h"
#include "kesu/proto/terrabase.h"

/// Reports about cells and what is known of them.
namespace lbs {

/// How often a value was seen.
class ValueFreqPair final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(ValueFreqPair);
  KESU_FIELD(1, kOptional, String, value);
  KESU_FIELD(2, kOptional, Int64, frequency);
  KESU_MESSAGE_END();
};

class CellIdName final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdName);
  KESU_FIELD(1, kOptional, Int32, cell_id);
  KESU_FIELD(2, kOptional, Int32, area_code);
  KESU_MESSAGE_END();
};

/// A cell received besides the serving one.
class NeighborCell final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(NeighborCell);
  KESU_FIELD(1, kOptional, Int32, cell_id);
  KESU_FIELD(2, kOptional, Int32, area_code);
  KESU_FIELD(3, kOptional, Int32, mcc);
  KESU_FIELD(4, kOptional, Int32, mnc);
  KESU_FIELD(5, kOptional, Int32, signal_strength_dbm);
  KESU_FIELD(6, kOptional, Int32, scrambling_code);
  KESU_FIELD(7, kOptional, Int32, radio_type);
  KESU_MESSAGE_END();
};

/// A cell that served the handset before.
class HistoryCell final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(HistoryCell);
  KESU_FIELD(1, kOptional, Int32, cell_id);
  KESU_FIELD(2, kOptional, Int32, area_code);
  KESU_FIELD(3, kOptional, Int32, mcc);
  KESU_FIELD(4, kOptional, Int32, mnc);
  KESU_FIELD(5, kOptional, Int32, signal_strength_dbm);
  KESU_FIELD(6, kOptional, Int32, age_ms);
  KESU_FIELD(7, kOptional, Int32, radio_type);
  KESU_MESSAGE_END();
};

/// One reception of a cell tower.
class CellTowerSignal final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellTowerSignal);
  KESU_FIELD(1, kOptional, Int32, cell_id);
  KESU_FIELD(2, kOptional, Int32, area_code);
  KESU_FIELD(3, kOptional, String, carrier);
  KESU_FIELD(4, kOptional, String, sim_operator);
  KESU_FIELD(5, kOptional, String, platform);
  KESU_FIELD(6, kOptional, Int32, mcc);
  KESU_FIELD(7, kOptional, Int32, mnc);
  /// Received signal strengths in dBm.
  KESU_FIELD(8, kRepeated, Int32, rssi);
  KESU_MESSAGE_FIELD(9, kRepeated, terrabase::PointProto, current_location);
  KESU_MESSAGE_FIELD(10, kRepeated, NeighborCell, neighbors);
  KESU_FIELD(11, kOptional, Int32, home_mcc);
  KESU_FIELD(12, kOptional, Int32, home_mnc);
  KESU_FIELD(13, kOptional, Int32, radio_type);
  KESU_MESSAGE_END();
};

/// What many receptions of a cell tower say of it.
class CellTowerProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellTowerProfile);
  /// Routing area codes.
  KESU_MESSAGE_FIELD(1, kRepeated, ValueFreqPair, histogram_rac_value);
  KESU_MESSAGE_FIELD(2, kRepeated, ValueFreqPair, histogram_radio_type);
  KESU_MESSAGE_FIELD(3, kRepeated, ValueFreqPair, histogram_sourceip);
  KESU_MESSAGE_FIELD(4, kRepeated, ValueFreqPair, histogram_rssi);
  KESU_MESSAGE_FIELD(5, kRepeated, ValueFreqPair, histogram_carrier);
  KESU_FIELD(6, kOptional, Int32, mcc);
  KESU_FIELD(7, kOptional, Int32, mnc);
  KESU_FIELD(8, kOptional, Int32, area_code);
  KESU_FIELD(9, kOptional, Int32, cell_id);
  KESU_MESSAGE_END();
};

/// Points near each other from which a cell was reported.
class CellIdCluster_Cluster final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdCluster_Cluster);
  KESU_FIELD(4, kOptional, Int64, point_count);
  KESU_FIELD(5, kOptional, Int64, radius_m);
  KESU_FIELD(13, kOptional, Uint32, source_type);
  KESU_FIELD(14, kOptional, Int64, first_seen_ms);
  KESU_FIELD(15, kOptional, Int64, last_seen_ms);
  KESU_FIELD(16, kOptional, String, country_code);
  KESU_FIELD(17, kOptional, Fixed32, latitude_e7);
  KESU_FIELD(18, kOptional, Fixed32, longitude_e7);
  KESU_FIELD(19, kOptional, Fixed32, latitude_spread_e7);
  KESU_FIELD(20, kOptional, Fixed32, longitude_spread_e7);
  KESU_FIELD(22, kOptional, Int64, cluster_id);
  KESU_MESSAGE_END();
};

class CellIdCluster final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdCluster);
  KESU_FIELD(1, kOptional, Int32, cell_id);
  KESU_FIELD(2, kOptional, Int32, area_code);
  KESU_GROUP_FIELD(3, kRepeated, CellIdCluster_Cluster, cluster);
  KESU_FIELD(9, kOptional, Uint32, cluster_count);
  KESU_FIELD(10, kOptional, Bool, is_moving);
  KESU_FIELD(11, kOptional, Uint32, radio_type);
  KESU_FIELD(12, kOptional, Int32, confidence_percent);
  KESU_FIELD(31, kOptional, Int64, timestamp_ms);
  KESU_MESSAGE_END();
};

class CellIdClassification_Classification_Result_Cluster final
    : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdClassification_Classification_Result_Cluster);
  KESU_FIELD(8, kOptional, Int32, latitude_e7);
  KESU_FIELD(9, kOptional, Int32, longitude_e7);
  KESU_FIELD(10, kOptional, Int64, point_count);
  KESU_FIELD(11, kOptional, Int32, radius_m);
  KESU_FIELD(12, kRepeated, Int64, point_timestamp);
  KESU_MESSAGE_FIELD(13, kRepeated, ValueFreqPair, histogram_gps);
  KESU_MESSAGE_FIELD(14, kRepeated, ValueFreqPair, histogram_mcc_mnc);
  KESU_MESSAGE_FIELD(15, kRepeated, ValueFreqPair, histogram_radio_type);
  KESU_MESSAGE_FIELD(16, kRepeated, ValueFreqPair, histogram_platform);
  KESU_MESSAGE_FIELD(17, kRepeated, ValueFreqPair, histogram_carrier_name);
  KESU_MESSAGE_FIELD(18, kRepeated, ValueFreqPair, histogram_source_ip);
  KESU_MESSAGE_END();
};

class CellIdClassification_Classification_Result final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdClassification_Classification_Result);
  KESU_MESSAGE_FIELD(6, kOptional, ValueFreqPair, classifier_and_population);
  KESU_GROUP_FIELD(7, kRepeated, CellIdClassification_Classification_Result_Cluster, cluster);
  KESU_MESSAGE_END();
};

class CellIdClassification_Classification final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdClassification_Classification);
  KESU_FIELD(4, kOptional, Uint32, classification_type);
  KESU_GROUP_FIELD(5, kRepeated, CellIdClassification_Classification_Result, result);
  KESU_MESSAGE_END();
};

class CellIdClassification final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(CellIdClassification);
  KESU_FIELD(1, kOptional, Int32, cell_id);
  KESU_FIELD(2, kOptional, Int32, area_code);
  KESU_GROUP_FIELD(3, kRepeated, CellIdClassification_Classification, classification);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_CELL_REPORT_H_
