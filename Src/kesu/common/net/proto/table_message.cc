#include "kesu/common/net/proto/table_message.h"

#include "kesu/common/base/object_region.h"
#include "kesu/common/net/proto/field_access.h"
#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/common/net/proto/message_reader.h"
#include "kesu/common/net/proto/message_writer.h"
#include "kesu/common/net/proto/proto_util.h"

namespace common_net_proto {
namespace {

/// What a message usually takes in memory, by which its region is laid out.
std::size_t TypicalSize(int bytes) {
  return static_cast<std::size_t>(bytes) * 9 / 2;
}

}  // namespace

void TableMessage::Clear() {
  for (const FieldRow& row : descriptor()) {
    if (!IsAbsent(row, *this)) row.Clear(this);
  }
}

bool TableMessage::Read(DataInputStream* stream, const ExtensionRegistry* registry) {
  if (stream->hit_error()) return false;
  const common_base::ObjectRegion region(TypicalSize(stream->remaining()));
  return ReadMessage(this, stream, registry);
}

void TableMessage::Write(common_base::DataOutputStream* stream) const {
  WriteMessage(*this, stream);
}

bool TableMessage::ReadSingleFieldOrExtension(unsigned short field, unsigned char wire_type,
                                              DataInputStream* stream,
                                              const ExtensionRegistry* registry) {
  const FieldRow* row = descriptor().Find(field);
  if (row != nullptr) return ReadField(*row, this, stream, registry);
  return ProtoUtil::SkipValue(field, wire_type, stream) && !stream->hit_error();
}

Message* TableMessage::GetEmbeddedMessage(unsigned short field) {
  const FieldRow* row = descriptor().Find(field);
  return row != nullptr && row->is_nested() ? row->PutMessage(this) : nullptr;
}

}  // namespace common_net_proto
