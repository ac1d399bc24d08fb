#include "kesu/common/net/proto/field_storage.h"

namespace common_net_proto {

using common_base::GString;

OptionalText& OptionalText::operator=(const GString& text) {
  if (has_value()) {
    text_ = text;
  } else {
    new (&text_) GString(text);
  }
  return *this;
}

void OptionalMessage::reset() {
  if (Message* made = object()) made->Clear();
  tagged_ -= Tag();
}

const GString& EmptyText() {
  static const GString empty;
  return empty;
}

}  // namespace common_net_proto
