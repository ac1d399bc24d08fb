#ifndef KESU_COMMON_NET_PROTO_MESSAGE_BYTES_H_
#define KESU_COMMON_NET_PROTO_MESSAGE_BYTES_H_

#include <string>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/message.h"

#include "support/bytes.h"

namespace kesu_test {

/// Reads the bytes as a top-level message.
inline bool ReadMessage(const common_base::ByteView& bytes, common_net_proto::Message* message,
                        const common_net_proto::ExtensionRegistry* registry = nullptr) {
  common_base::DataInputStream stream(&bytes);
  return message->Read(&stream, registry);
}

/// What is written of the message.
inline std::string HexOf(const common_net_proto::Message& message) {
  common_base::ByteVector bytes;
  common_base::DataOutputStream stream(&bytes);
  message.Write(&stream);
  return ToHex(bytes);
}

}  // namespace kesu_test

#endif  // KESU_COMMON_NET_PROTO_MESSAGE_BYTES_H_
