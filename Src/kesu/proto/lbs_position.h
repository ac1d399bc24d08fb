#ifndef KESU_PROTO_LBS_POSITION_H_
#define KESU_PROTO_LBS_POSITION_H_

#include "kesu/common/net/proto/message_table.h"

/// Places on earth: points, areas, features with their addresses, and locations.
namespace lbs {

/// A point in degrees times 10,000,000, north and east positive.
class GLatLng final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GLatLng);
  KESU_FIELD(1, kOptional, Fixed32, latitude_e7);
  KESU_FIELD(2, kOptional, Fixed32, longitude_e7);
  KESU_MESSAGE_END();
};

class GRectangle final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GRectangle);
  KESU_MESSAGE_FIELD(1, kOptional, GLatLng, lowerleft);
  KESU_MESSAGE_FIELD(2, kOptional, GLatLng, upperright);
  KESU_MESSAGE_END();
};

/// A piece of an address, such as its street or its country.
class GAddressComponent final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GAddressComponent);
  KESU_FIELD(1, kOptional, String, name);
  KESU_FIELD(2, kOptional, Int64, component_type);
  KESU_FIELD(3, kOptional, String, language);
  KESU_MESSAGE_END();
};

class GAddress final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GAddress);
  KESU_FIELD(1, kRepeated, String, formattedaddressline);
  KESU_MESSAGE_FIELD(2, kRepeated, GAddressComponent, component);
  KESU_MESSAGE_END();
};

/// A named place.
class GFeature final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GFeature);
  KESU_FIELD(1, kOptional, String, name);
  KESU_FIELD(2, kOptional, Int32, feature_type);
  KESU_MESSAGE_FIELD(3, kOptional, GAddress, address);
  KESU_MESSAGE_FIELD(4, kOptional, GRectangle, bounds);
  KESU_MESSAGE_FIELD(5, kOptional, GLatLng, center);
  KESU_MESSAGE_END();
};

/// The quality of a GPS fix: dilutions of precision are in hundredths.
class GGpsProfile final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GGpsProfile);
  KESU_FIELD(1, kOptional, Uint32, satellite_count);
  KESU_FIELD(2, kOptional, Int32, hdop_centi);
  KESU_FIELD(3, kOptional, Int32, vdop_centi);
  KESU_FIELD(4, kOptional, Int32, pdop_centi);
  KESU_MESSAGE_END();
};

/// A location estimate, or a fix that the handset made itself.
class GLocation final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GLocation);
  KESU_MESSAGE_FIELD(1, kOptional, GLatLng, latlng);
  KESU_FIELD(2, kOptional, String, description);
  KESU_FIELD(3, kOptional, Int32, accuracy_m);
  KESU_FIELD(4, kOptional, Int32, confidence_percent);
  KESU_MESSAGE_FIELD(5, kRepeated, GFeature, feature);
  KESU_FIELD(6, kOptional, Int64, timestamp_ms);
  KESU_FIELD(7, kOptional, Bool, is_stale);
  KESU_FIELD(8, kOptional, Uint32, source_type);
  KESU_FIELD(9, kOptional, String, source);
  KESU_FIELD(10, kOptional, Int32, altitude_m);
  KESU_FIELD(11, kOptional, Int32, vertical_accuracy_m);
  KESU_FIELD(12, kOptional, Int32, speed_cm_per_s);
  /// Clockwise from north.
  KESU_FIELD(13, kOptional, Int32, heading_degrees);
  KESU_MESSAGE_FIELD(14, kOptional, GGpsProfile, gpsprofile);
  KESU_FIELD(15, kOptional, String, map_datum);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_POSITION_H_
