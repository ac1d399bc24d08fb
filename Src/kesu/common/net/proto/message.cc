#include "kesu/common/net/proto/message.h"

#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/common/net/proto/proto_util.h"
#include "kesu/common/net/proto/wire_type.h"

namespace common_net_proto {

bool Message::Read(DataInputStream* stream, const ExtensionRegistry* registry) {
  while (!stream->hit_end_of_file() && !stream->hit_error()) {
    unsigned short field = 0;
    unsigned char wire_type = 0;
    ProtoUtil::ReadTagAndType(stream, &field, &wire_type);
    if (wire_type == kWireEndGroup) break;
    if (!ReadSingleFieldOrExtension(field, wire_type, stream, registry)) return false;
  }
  return !stream->hit_error();
}

bool Message::ReadSingleField(unsigned short field, unsigned char wire_type,
                              DataInputStream* stream) {
  return ReadSingleFieldOrExtension(field, wire_type, stream, nullptr);
}

bool Message::ReadSingleFieldOrExtension(unsigned short field, unsigned char wire_type,
                                         DataInputStream* stream, const ExtensionRegistry*) {
  return ReadSingleField(field, wire_type, stream);
}

int Message::MessageTypeId() const {
  return 0;
}

const MessageDescriptor& Message::descriptor() const {
  static constexpr MessageDescriptor kNoFields;
  return kNoFields;
}

}  // namespace common_net_proto
