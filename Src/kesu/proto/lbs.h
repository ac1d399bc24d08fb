#ifndef KESU_PROTO_LBS_H_
#define KESU_PROTO_LBS_H_

#include <span>

#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/proto/lbs_cell_report.h"
#include "kesu/proto/lbs_exchange.h"
#include "kesu/proto/lbs_geocode.h"
#include "kesu/proto/lbs_observation.h"
#include "kesu/proto/lbs_position.h"
#include "kesu/proto/lbs_reply.h"
#include "kesu/proto/lbs_request.h"
#include "kesu/proto/lbs_wifi_report.h"

/// The messages of the location protocol.
namespace lbs {

/// The descriptors of all message classes of this namespace.
std::span<const common_net_proto::MessageDescriptor* const> Messages();

}  // namespace lbs

#endif  // KESU_PROTO_LBS_H_
