#include "kesu/proto/terrabase.h"

#include "kesu/common/net/proto/message_table.h"

// Every message class of this family, once: a class that is used but not listed does not link.
#define KESU_TERRABASE_MESSAGES(X) \
  X(PointProto)                    \
  X(FeatureIdProto)                \
  X(NameProto)                     \
  X(AddressRangeProto)             \
  X(AddressComponentProto)         \
  X(AddressProto)

namespace terrabase {

KESU_TERRABASE_MESSAGES(KESU_DEFINE_MESSAGE)

std::span<const common_net_proto::MessageDescriptor* const> Messages() {
  static constexpr const common_net_proto::MessageDescriptor* kMessages[] = {
      KESU_TERRABASE_MESSAGES(KESU_MESSAGE_LIST_ENTRY)};
  return kMessages;
}

}  // namespace terrabase
