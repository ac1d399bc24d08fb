#ifndef KESU_COMMON_NET_PROTO_MESSAGE_READER_H_
#define KESU_COMMON_NET_PROTO_MESSAGE_READER_H_

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/net/proto/message.h"
#include "kesu/common/net/proto/message_descriptor.h"

#pragma GCC visibility push(hidden)
namespace common_net_proto {

/// Message::Read() for a message that has a table, without a virtual call for each field.
bool ReadMessage(Message* message, common_base::DataInputStream* stream,
                 const ExtensionRegistry* registry);

/// The same for the value of one field, whose key has been read.
bool ReadField(const FieldRow& row, Message* message, common_base::DataInputStream* stream,
               const ExtensionRegistry* registry);

}  // namespace common_net_proto
#pragma GCC visibility pop

#endif  // KESU_COMMON_NET_PROTO_MESSAGE_READER_H_
