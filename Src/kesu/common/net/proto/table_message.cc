#include "kesu/common/net/proto/table_message.h"

#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/common/net/proto/proto_util.h"
#include "kesu/common/net/proto/wire_type.h"

namespace common_net_proto {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::DataOutputStream;
using common_base::GString;

/// Spares a nested message that fits the steps of growing from nothing.
constexpr int kTypicalNestedBytes = 128;

void WriteNestedMessage(unsigned short number, const Message& nested, DataOutputStream* stream) {
  ByteVector bytes;
  bytes.SetReserve(kTypicalNestedBytes);
  DataOutputStream nested_stream(&bytes);
  nested.Write(&nested_stream);
  ProtoUtil::WriteBytes(number, bytes, stream);
}

void WriteGroup(unsigned short number, const Message& group, DataOutputStream* stream) {
  ProtoUtil::WriteTagAndType(number, kWireStartGroup, stream);
  group.Write(stream);
  ProtoUtil::WriteTagAndType(number, kWireEndGroup, stream);
}

void WriteValue(const FieldRow& row, const Message& message, int index, DataOutputStream* stream) {
  switch (row.kind) {
    case FieldKind::kInt32:
    case FieldKind::kInt64:
    case FieldKind::kUint32:
    case FieldKind::kBool:
      return ProtoUtil::WriteVarint(row.number, row.NumberAt(message, index), stream);
    case FieldKind::kFixed32:
      return ProtoUtil::WriteFixed32(row.number, static_cast<int>(row.NumberAt(message, index)),
                                     stream);
    case FieldKind::kFixed64:
      return ProtoUtil::WriteFixed64(row.number, row.NumberAt(message, index), stream);
    case FieldKind::kString:
      return ProtoUtil::WriteString(row.number, row.TextAt(message, index), stream);
    case FieldKind::kMessage:
      return WriteNestedMessage(row.number, row.MessageAt(message, index), stream);
    case FieldKind::kGroup:
      return WriteGroup(row.number, row.MessageAt(message, index), stream);
  }
}

// Reading recurses into nested messages and groups that the tables know, and only there. A class
// can nest only classes that are complete before it (OptionalMessageField and RepeatedMessageField
// see to that), so none contains itself and the depth is bounded by the schema.
bool ReadNestedMessage(Message* nested, DataInputStream* stream,
                       const ExtensionRegistry* registry) {
  const ByteView bytes = ProtoUtil::ReadLengthDelimited(stream);
  DataInputStream nested_stream(&bytes);
  return nested->Read(&nested_stream, registry);
}

/// False when a nested message was malformed; other failures show in the stream.
bool ReadValue(const FieldRow& row, Message* message, DataInputStream* stream,
               const ExtensionRegistry* registry) {
  switch (row.kind) {
    case FieldKind::kInt32:
    case FieldKind::kInt64:
    case FieldKind::kUint32:
    case FieldKind::kBool:
      row.PutNumber(message, ProtoUtil::ReadVarint(stream));
      return true;
    case FieldKind::kFixed32:
      row.PutNumber(message, stream->ReadLittleEndianInt32());
      return true;
    case FieldKind::kFixed64:
      row.PutNumber(message, stream->ReadLittleEndianInt64());
      return true;
    case FieldKind::kString:
      row.PutText(message, GString(ProtoUtil::ReadLengthDelimited(stream)));
      return true;
    case FieldKind::kMessage:
      return ReadNestedMessage(row.PutMessage(message), stream, registry);
    case FieldKind::kGroup:
      return row.PutMessage(message)->Read(stream, registry);
  }
  return false;
}

}  // namespace

void TableMessage::Clear() {
  for (const FieldRow& row : descriptor()) row.Clear(this);
}

void TableMessage::Write(DataOutputStream* stream) const {
  for (const FieldRow& row : descriptor()) {
    const int count = row.Count(*this);
    for (int i = 0; i < count; ++i) WriteValue(row, *this, i, stream);
  }
}

bool TableMessage::ReadSingleFieldOrExtension(unsigned short field, unsigned char wire_type,
                                              DataInputStream* stream,
                                              const ExtensionRegistry* registry) {
  const FieldRow* row = descriptor().Find(field);
  const bool is_read = row == nullptr ? ProtoUtil::SkipValue(field, wire_type, stream)
                                      : ReadValue(*row, this, stream, registry);
  return is_read && !stream->hit_error();
}

Message* TableMessage::GetEmbeddedMessage(unsigned short field) {
  const FieldRow* row = descriptor().Find(field);
  return row != nullptr && row->is_nested() ? row->PutMessage(this) : nullptr;
}

}  // namespace common_net_proto
