#ifndef KESU_PROTO_LBS_GEOCODE_H_
#define KESU_PROTO_LBS_GEOCODE_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_position.h"

/// What a request wants to be told about the surroundings of a place.
namespace lbs {

class GGeocodeRequest final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GGeocodeRequest);
  KESU_FIELD(1, kOptional, Fixed32, precision);
  KESU_FIELD(2, kOptional, Bool, want_features);
  KESU_MESSAGE_FIELD(3, kOptional, GRectangle, boundingbox);
  KESU_FIELD(4, kOptional, Int64, max_features);
  KESU_MESSAGE_END();
};

class GeocodeParams final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GeocodeParams);
  KESU_FIELD(1, kOptional, String, query);
  KESU_FIELD(2, kOptional, Int64, precision);
  KESU_FIELD(3, kOptional, Bool, want_features);
  KESU_MESSAGE_FIELD(4, kOptional, GLocation, location);
  KESU_MESSAGE_FIELD(5, kOptional, GRectangle, boundingbox);
  KESU_FIELD(6, kOptional, Int64, max_features);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_GEOCODE_H_
