#include "kesu/common/net/proto/table_message.h"

#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/decode_budget.h"
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

/// What the heap takes for a block beyond what was asked for, and for an element of a vector that
/// has just doubled.
constexpr int kBlockOverhead = 16;
constexpr int kElementRoom = 2;
/// The storage of a text, and its UTF-16 form once somebody asks for it.
constexpr int kTextBytes = 112;
constexpr int kBytesPerTextByte = 2;

bool TakeNumber(const FieldRow& row) {
  return !row.is_repeated() || DecodeBudget::Take(kElementRoom * sizeof(long long));
}

bool TakeText(const ByteView& utf8) {
  const int storage = utf8.IsEmpty() ? 0 : kTextBytes;  // All empty texts share one.
  return DecodeBudget::Take(storage + kElementRoom * static_cast<long long>(sizeof(GString)) +
                            kBytesPerTextByte * static_cast<long long>(utf8.length()));
}

/// The message that a value goes into, or null when it would be too much.
Message* TakeMessage(const FieldRow& row, Message* message) {
  const bool is_new = row.is_repeated() || row.Count(*message) == 0;
  const bool is_taken =
      !is_new || DecodeBudget::Take(row.nested->size + kBlockOverhead +
                                    kElementRoom * static_cast<long long>(sizeof(Message*)));
  return is_taken ? row.PutMessage(message) : nullptr;
}

/// False when a nested message was malformed or a value too much; other failures show in the
/// stream.
bool ReadValue(const FieldRow& row, Message* message, DataInputStream* stream,
               const ExtensionRegistry* registry) {
  switch (row.kind) {
    case FieldKind::kInt32:
    case FieldKind::kInt64:
    case FieldKind::kUint32:
    case FieldKind::kBool:
      row.PutNumber(message, ProtoUtil::ReadVarint(stream));
      return TakeNumber(row);
    case FieldKind::kFixed32:
      row.PutNumber(message, stream->ReadLittleEndianInt32());
      return TakeNumber(row);
    case FieldKind::kFixed64:
      row.PutNumber(message, stream->ReadLittleEndianInt64());
      return TakeNumber(row);
    case FieldKind::kString: {
      const ByteView utf8 = ProtoUtil::ReadLengthDelimited(stream);
      if (!TakeText(utf8)) return false;
      row.PutText(message, GString(utf8));
      return true;
    }
    case FieldKind::kMessage: {
      Message* nested = TakeMessage(row, message);
      return nested != nullptr && ReadNestedMessage(nested, stream, registry);
    }
    case FieldKind::kGroup: {
      Message* group = TakeMessage(row, message);
      return group != nullptr && group->Read(stream, registry);
    }
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
