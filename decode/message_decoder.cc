#include "decode/message_decoder.h"

#include <algorithm>

#include "kesu/common/net/proto/proto_util.h"
#include "kesu/common/net/proto/wire_type.h"

namespace kesu_decode {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::DataInputStreamState;
using common_base::DataOutputStream;
using common_net_proto::FieldKind;
using common_net_proto::FieldRow;
using common_net_proto::MessageDescriptor;

unsigned char DeclaredWireType(FieldKind kind) {
  switch (kind) {
    case FieldKind::kFixed32:
      return common_net_proto::kWireFixed32;
    case FieldKind::kFixed64:
      return common_net_proto::kWireFixed64;
    case FieldKind::kString:
    case FieldKind::kMessage:
      return common_net_proto::kWireLengthDelimited;
    case FieldKind::kGroup:
      return common_net_proto::kWireStartGroup;
    default:
      return common_net_proto::kWireVarint;
  }
}

/// A number as its field holds it, cut where the field is narrower than the wire.
long long ReadNumber(FieldKind kind, DataInputStream* stream) {
  switch (kind) {
    case FieldKind::kFixed32:
      return stream->ReadLittleEndianInt32();
    case FieldKind::kFixed64:
      return stream->ReadLittleEndianInt64();
    case FieldKind::kInt32:
      return static_cast<int>(ProtoUtil::ReadVarint(stream));
    case FieldKind::kUint32:
      return static_cast<unsigned>(ProtoUtil::ReadVarint(stream));
    default:
      return ProtoUtil::ReadVarint(stream);
  }
}

/// Takes an end-group key for the group's own when it looks like it.
bool EndsWithKeyOf(unsigned short number, const ByteView& group) {
  ByteVector key;
  DataOutputStream stream(&key);
  ProtoUtil::WriteTagAndType(number, common_net_proto::kWireEndGroup, &stream);
  const int start = group.length() - key.length();
  return start >= 0 && std::equal(key.begin(), key.end(), group.begin() + start);
}

std::string NameOf(const Node& node) {
  std::string name = "field " + std::to_string(node.field_number.value_or(0));
  if (node.name != nullptr) name += std::string(" ") + node.name;
  return name;
}

}  // namespace

bool MessageDecoder::DecodeMessage(const MessageDescriptor& descriptor, Node node, bool is_group,
                                   Cursor* in) {
  node.message = descriptor.name;
  const std::optional<std::size_t> end = node.end_of_encoded();
  writer_->Open(node);
  writer_->OpenList("fields");
  const bool ok = DecodeFields(descriptor, is_group, in);
  writer_->CloseList();
  writer_->Close(end.value_or(is_group ? in->offset() : in->end()));
  return ok;
}

bool MessageDecoder::DecodeFields(const MessageDescriptor& descriptor, bool is_group, Cursor* in) {
  while (!in->at_end()) {
    Key key = {.offset = in->offset()};
    ProtoUtil::ReadTagAndType(in->stream(), &key.number, &key.wire_type);
    if (in->stream()->hit_error()) {
      Fail(key.offset, std::string("the key of a field of ") + descriptor.name + " is cut short");
      return false;
    }
    if (key.wire_type == common_net_proto::kWireEndGroup) {
      if (!is_group) EndEarly(key, in);
      return true;
    }
    const FieldRow* const row = descriptor.Find(key.number);
    const bool ok = row == nullptr ? DecodeUnknownField(key, in) : DecodeKnownField(*row, key, in);
    if (!ok) return false;
  }
  if (is_group) Wonder(in->offset(), std::string("the group ") + descriptor.name + " has no end");
  return true;
}

void MessageDecoder::EndEarly(const Key& key, Cursor* in) {
  Wonder(key.offset, "there is an end of a group where no group is");
  const Cursor::Run rest = in->Take(in->left());
  writer_->Leaf({.offset = key.offset,
                 .name = "end of group",
                 .field_number = key.number,
                 .length = rest.length,
                 .value = RawBytes{rest.bytes, rest.offset},
                 .remark = "these bytes are ignored"},
                rest.end());
}

bool MessageDecoder::DecodeKnownField(const FieldRow& row, const Key& key, Cursor* in) {
  Node node = {.offset = key.offset, .name = row.name, .field_number = row.number};
  if (key.wire_type != DeclaredWireType(row.kind)) {
    node.wire_type = key.wire_type;
    Wonder(key.offset, NameOf(node) + " has wire type " + std::to_string(key.wire_type));
  }
  switch (row.kind) {
    case FieldKind::kString:
      return DecodeText(node, in);
    case FieldKind::kMessage:
      return DecodeNestedMessage(*row.nested, node, in);
    case FieldKind::kGroup:
      return DecodeMessage(*row.nested, node, true, in);
    default:
      return DecodeNumber(row, node, in);
  }
}

bool MessageDecoder::DecodeNumber(const FieldRow& row, Node node, Cursor* in) {
  const long long value = ReadNumber(row.kind, in->stream());
  if (in->stream()->hit_error()) return FailCutShort(node);
  if (row.kind == FieldKind::kBool) {
    node.value = value != 0;
  } else {
    node.value = value;
  }
  writer_->Leaf(node, in->offset());
  return true;
}

bool MessageDecoder::DecodeText(Node node, Cursor* in) {
  const Cursor::Run run = TakeRun(in);
  if (in->stream()->hit_error()) return FailCutShort(node);
  node.value = TextBytes{run.bytes};
  writer_->Leaf(node, run.end());
  return IsWhole(run, node);
}

bool MessageDecoder::DecodeNestedMessage(const MessageDescriptor& descriptor, Node node,
                                         Cursor* in) {
  const Cursor::Run run = TakeRun(in);
  if (in->stream()->hit_error()) return FailCutShort(node);
  node.length = run.length;
  const bool is_whole = IsWhole(run, node);
  Cursor nested(run);
  return DecodeMessage(descriptor, node, false, &nested) && is_whole;
}

bool MessageDecoder::DecodeUnknownField(const Key& key, Cursor* in) {
  Node node = {
      .offset = key.offset, .field_number = key.number, .wire_type = unsigned{key.wire_type}};
  if (key.number == 0) Wonder(key.offset, "a field has the number 0");
  DataInputStream* const stream = in->stream();
  switch (key.wire_type) {
    case common_net_proto::kWireVarint:
      node.value = ProtoUtil::ReadVarint(stream);
      break;
    case common_net_proto::kWireFixed64:
      node.value = stream->ReadLittleEndianInt64();
      break;
    case common_net_proto::kWireFixed32:
      node.value = static_cast<long long>(stream->ReadLittleEndianInt32());
      break;
    case common_net_proto::kWireLengthDelimited:
      return DecodeUnknownRun(node, in);
    case common_net_proto::kWireStartGroup:
      return DecodeUnknownGroup(key, node, in);
    default:
      Fail(key.offset, NameOf(node) + " has the wire type " + std::to_string(key.wire_type) +
                           ", which means nothing");
      return false;
  }
  if (stream->hit_error()) return FailCutShort(node);
  writer_->Leaf(node, in->offset());
  return true;
}

bool MessageDecoder::DecodeUnknownRun(Node node, Cursor* in) {
  const Cursor::Run run = TakeRun(in);
  if (in->stream()->hit_error()) return FailCutShort(node);
  node.length = run.length;
  node.value = RawBytes{run.bytes, run.offset};
  writer_->Leaf(node, run.end());
  return IsWhole(run, node);
}

bool MessageDecoder::DecodeUnknownGroup(const Key& key, Node node, Cursor* in) {
  const DataInputStreamState start(in->stream());
  const std::size_t offset = in->offset();
  static_cast<void>(ProtoUtil::SkipValue(key.number, key.wire_type, in->stream()));
  const ByteView group = in->stream()->GetByteSpan(start);
  node.length = group.length();
  node.value = RawBytes{group, offset};
  writer_->Leaf(node, in->offset());
  if (in->stream()->hit_error()) return FailCutShort(node);
  if (!EndsWithKeyOf(key.number, group)) Wonder(key.offset, NameOf(node) + " has no end");
  return true;
}

Cursor::Run MessageDecoder::TakeRun(Cursor* in) {
  return in->Take(ProtoUtil::ReadVarint(in->stream()));
}

bool MessageDecoder::IsWhole(const Cursor::Run& run, const Node& node) {
  if (run.is_whole()) return true;
  Fail(node.offset, NameOf(node) + ": the length is " + std::to_string(run.length) +
                        ", but there are " + std::to_string(run.left) + " bytes");
  return false;
}

bool MessageDecoder::FailCutShort(const Node& node) {
  Fail(node.offset, NameOf(node) + " is cut short");
  return false;
}

void MessageDecoder::Fail(std::size_t offset, const std::string& reason) {
  if (!fault_) fault_ = Fault{offset, reason};
}

void MessageDecoder::Wonder(std::size_t offset, const std::string& reason) {
  if (!oddity_) oddity_ = Fault{offset, reason};
}

}  // namespace kesu_decode
