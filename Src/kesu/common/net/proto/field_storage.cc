#include "kesu/common/net/proto/field_storage.h"

namespace common_net_proto {

using common_base::GString;
using common_base::ScopedPtr;

Message* OptionalMessage::Mutable(const MessageDescriptor& descriptor) {
  if (!object_) object_.reset(descriptor.make());
  is_present_ = true;
  return object_.get();
}

void OptionalMessage::reset() {
  if (object_) object_->Clear();
  is_present_ = false;
}

Message* AddMessage(RepeatedMessages* messages, const MessageDescriptor& descriptor) {
  Message* element = descriptor.make();
  messages->Append(ScopedPtr<Message>(element));
  return element;
}

const GString& EmptyText() {
  static const GString empty;
  return empty;
}

}  // namespace common_net_proto
