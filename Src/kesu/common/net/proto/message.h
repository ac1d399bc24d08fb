#ifndef KESU_COMMON_NET_PROTO_MESSAGE_H_
#define KESU_COMMON_NET_PROTO_MESSAGE_H_

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"
#include "kesu/common/base/memory.h"

namespace common_net_proto {

class ExtensionRegistry;
struct MessageDescriptor;

/// Base of every message. Messages are not copied; write one out and read it back instead.
class Message : public common_base::HeapObject {
 public:
  using DataInputStream = common_base::DataInputStream;
  using DataOutputStream = common_base::DataOutputStream;

  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  virtual ~Message() = default;

  /// Makes every field absent.
  virtual void Clear() = 0;
  /// Adds the fields found up to the end of the stream or to an end-group key of any number, which
  /// is consumed. What was read before a failure stays in the message. `registry` may be null.
  virtual bool Read(DataInputStream* stream, const ExtensionRegistry* registry);
  /// Appends the fields that are present, in ascending order of their numbers.
  virtual void Write(DataOutputStream* stream) const = 0;
  /// Reads the value of a key just read. These two call each other; a message overrides the second.
  virtual bool ReadSingleField(unsigned short field, unsigned char wire_type,
                               DataInputStream* stream);
  virtual bool ReadSingleFieldOrExtension(unsigned short field, unsigned char wire_type,
                                          DataInputStream* stream,
                                          const ExtensionRegistry* registry);
  /// The object that a value of a message or group field would go into: the single one, made
  /// present, or a new element. It stays this message's. Null for any other field.
  virtual Message* GetEmbeddedMessage(unsigned short field) = 0;
  virtual int MessageTypeId() const;
  /// The names and kinds of the fields, for tools; none by default.
  virtual const MessageDescriptor& descriptor() const;

  bool Read(DataInputStream* stream) { return Read(stream, nullptr); }

 protected:
  Message() = default;
};

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_MESSAGE_H_
