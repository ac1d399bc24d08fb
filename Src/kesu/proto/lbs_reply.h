#ifndef KESU_PROTO_LBS_REPLY_H_
#define KESU_PROTO_LBS_REPLY_H_

#include "kesu/common/net/proto/message_table.h"
#include "kesu/proto/lbs_observation.h"
#include "kesu/proto/lbs_position.h"

/// The reply of the location lookup.
namespace lbs {

/// The answer to one GLocRequestElement.
class GLocReplyElement final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GLocReplyElement);
  KESU_FIELD(1, kOptional, Int32, status);
  KESU_MESSAGE_FIELD(2, kOptional, GLocation, location);
  KESU_MESSAGE_FIELD(3, kRepeated, GDeviceLocation, devicelocation);
  KESU_MESSAGE_END();
};

/// The top-level reply.
class GLocReply final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GLocReply);
  KESU_FIELD(1, kOptional, Int32, status);
  KESU_MESSAGE_FIELD(2, kRepeated, GLocReplyElement, replyelements);
  /// To be sent with later requests.
  KESU_FIELD(3, kOptional, String, platform_key);
  KESU_MESSAGE_END();
};

/// Without fields.
class GPrefetchMode final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(GPrefetchMode);
  KESU_MESSAGE_END();
};

/// Without fields.
class ResponseCodes final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(ResponseCodes);
  KESU_MESSAGE_END();
};

}  // namespace lbs

#endif  // KESU_PROTO_LBS_REPLY_H_
