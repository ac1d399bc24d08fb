#ifndef KESU_COMMON_NET_PROTO_MESSAGE_WRITER_H_
#define KESU_COMMON_NET_PROTO_MESSAGE_WRITER_H_

#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/net/proto/message.h"

#pragma GCC visibility push(hidden)
namespace common_net_proto {

/// Writes a message that has a table. Its nested messages are written whole before they go to the
/// sink, each as a run of bytes.
void WriteMessage(const Message& message, common_base::DataOutputStream* stream);

}  // namespace common_net_proto
#pragma GCC visibility pop

#endif  // KESU_COMMON_NET_PROTO_MESSAGE_WRITER_H_
