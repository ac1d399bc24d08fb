#ifndef KESU_COMMON_NET_PROTO_TABLE_MESSAGE_H_
#define KESU_COMMON_NET_PROTO_TABLE_MESSAGE_H_

#include "kesu/common/net/proto/message.h"

namespace common_net_proto {

/// A message that is read, written and cleared by walking the table of its fields. Its classes are
/// declared with the macros of message_table.h.
class TableMessage : public Message {
 public:
  using Message::Read;
  void Clear() final;
  /// As Message::Read(), without a virtual call for each field.
  bool Read(DataInputStream* stream, const ExtensionRegistry* registry) override;
  void Write(DataOutputStream* stream) const final;
  /// A known field is read in its declared encoding, whatever `wire_type` says.
  bool ReadSingleFieldOrExtension(unsigned short field, unsigned char wire_type,
                                  DataInputStream* stream, const ExtensionRegistry* registry) final;
  Message* GetEmbeddedMessage(unsigned short field) final;
  const MessageDescriptor& descriptor() const override = 0;
};

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_TABLE_MESSAGE_H_
