#ifndef KESU_PROTO_TERRABASE_H_
#define KESU_PROTO_TERRABASE_H_

#include <span>

#include "kesu/common/net/proto/message_table.h"

/// An address model in more detail than that of the location replies.
namespace terrabase {

/// A point in degrees times 10,000,000, north and east positive.
class PointProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(PointProto);
  KESU_FIELD(1, kOptional, Fixed32, latitude_e7);
  KESU_FIELD(2, kOptional, Fixed32, longitude_e7);
  KESU_MESSAGE_END();
};

/// A 128-bit identifier.
class FeatureIdProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(FeatureIdProto);
  KESU_FIELD(1, kOptional, Fixed64, first_half);
  KESU_FIELD(2, kOptional, Fixed64, second_half);
  KESU_MESSAGE_END();
};

/// A name in one language.
class NameProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(NameProto);
  KESU_FIELD(1, kOptional, String, text);
  KESU_FIELD(2, kOptional, String, language);
  KESU_FIELD(3, kRepeated, Uint32, flag);
  KESU_FIELD(4, kOptional, Uint32, name_type);
  KESU_FIELD(5, kOptional, String, short_text);
  KESU_FIELD(6, kOptional, String, pronunciation);
  KESU_MESSAGE_END();
};

/// The house numbers of a piece of street. There is no field 2.
class AddressRangeProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(AddressRangeProto);
  KESU_FIELD(1, kRepeated, Int32, number);
  /// All numbers are even, or all are odd.
  KESU_FIELD(3, kOptional, Bool, same_parity);
  KESU_FIELD(4, kOptional, String, prefix);
  KESU_FIELD(5, kOptional, String, suffix);
  KESU_FIELD(6, kOptional, Bool, is_interpolated);
  KESU_MESSAGE_END();
};

/// There is no field 2.
class AddressComponentProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(AddressComponentProto);
  KESU_FIELD(1, kOptional, Uint32, component_type);
  KESU_MESSAGE_FIELD(3, kRepeated, NameProto, parsed_name);
  KESU_FIELD(4, kOptional, Int32, index);
  KESU_MESSAGE_FIELD(5, kOptional, FeatureIdProto, feature_id);
  KESU_MESSAGE_FIELD(6, kOptional, AddressRangeProto, range);
  KESU_MESSAGE_END();
};

class AddressProto final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(AddressProto);
  KESU_FIELD(1, kOptional, String, formatted_address);
  KESU_MESSAGE_FIELD(2, kRepeated, AddressComponentProto, component);
  KESU_FIELD(3, kOptional, Bool, is_approximate);
  KESU_FIELD(4, kOptional, Bool, is_interpolated);
  KESU_MESSAGE_FIELD(5, kRepeated, AddressComponentProto, cross_street);
  KESU_MESSAGE_END();
};

/// The descriptors of all message classes of this namespace.
std::span<const common_net_proto::MessageDescriptor* const> Messages();

}  // namespace terrabase

#endif  // KESU_PROTO_TERRABASE_H_
