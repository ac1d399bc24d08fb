#ifndef KESU_COMMON_NET_PROTO_FIELD_STORAGE_H_
#define KESU_COMMON_NET_PROTO_FIELD_STORAGE_H_

#include <optional>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/message.h"
#include "kesu/common/net/proto/message_descriptor.h"

/// What the fields of a message are held in. None of it allocates before there is a value.
namespace common_net_proto {

/// A number or text and its presence.
template <typename Value>
using OptionalValue = std::optional<Value>;

template <typename Value>
using RepeatedValues = common_base::GVector<Value>;

/// Elements are never null.
using RepeatedMessages = common_base::GVector<common_base::ScopedPtr<Message>>;

/// A nested message, made on first use, and its presence. Once made it stays, so that pointers to
/// it are good as long as the message around it.
class OptionalMessage {
 public:
  bool has_value() const { return is_present_; }
  /// Null when it was never made.
  const Message* get() const { return object_.get(); }
  /// Makes it present.
  Message* Mutable(const MessageDescriptor& descriptor);
  void reset();

 private:
  common_base::ScopedPtr<Message> object_;
  bool is_present_ = false;
};

/// Appends a new element and returns it.
Message* AddMessage(RepeatedMessages* messages, const MessageDescriptor& descriptor);

/// The text of an absent string field.
const common_base::GString& EmptyText();

/// The message that stands for an absent nested message.
template <typename T>
const T& EmptyMessage() {
  static const T empty;
  return empty;
}

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_FIELD_STORAGE_H_
