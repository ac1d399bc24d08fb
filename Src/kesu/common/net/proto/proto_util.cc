#include "kesu/common/net/proto/proto_util.h"

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/net/proto/varint.h"
#include "kesu/common/net/proto/wire_type.h"

using common_base::ByteVector;
using common_base::DataInputStream;
using common_base::GVector;
using common_net_proto::kContinuationBit;
using common_net_proto::kPayloadBits;
using common_net_proto::kWireEndGroup;
using common_net_proto::kWireFixed32;
using common_net_proto::kWireFixed64;
using common_net_proto::kWireLengthDelimited;
using common_net_proto::kWireStartGroup;
using common_net_proto::kWireTypeBits;
using common_net_proto::kWireTypeMask;
using common_net_proto::kWireVarint;

namespace {

constexpr unsigned char kPayloadMask = 0x7F;
constexpr int kLastVarintShift = 63;

/// The numbers of the groups that are open, outermost first. Unlike a bare vector it keeps its room
/// when it shrinks, so that no sequence of starts and ends costs more than constant time a step.
class OpenGroups {
 public:
  bool IsEmpty() const { return depth_ == 0; }
  unsigned short innermost() const { return numbers_[depth_ - 1]; }

  void Start(unsigned short number) {
    if (depth_ == numbers_.length()) {
      numbers_.Append(number);
    } else {
      numbers_[depth_] = number;
    }
    ++depth_;
  }

  void End() { --depth_; }

 private:
  GVector<unsigned short> numbers_;
  int depth_ = 0;
};

/// SkipValue for everything but groups.
bool SkipPlainValue(unsigned char wire_type, DataInputStream* stream) {
  switch (wire_type) {
    case kWireVarint:
      ProtoUtil::ReadVarint(stream);
      return true;
    case kWireFixed64:
      stream->ReadInt64();
      return true;
    case kWireLengthDelimited:
      ProtoUtil::ReadLengthDelimited(stream);
      return true;
    case kWireFixed32:
      stream->ReadInt32();
      return true;
    default:
      return false;
  }
}

void SkipGroup(unsigned short field, DataInputStream* stream) {
  OpenGroups open;
  open.Start(field);
  while (!open.IsEmpty() && !stream->hit_end_of_file() && !stream->hit_error()) {
    unsigned short inner_field = 0;
    unsigned char inner_type = 0;
    ProtoUtil::ReadTagAndType(stream, &inner_field, &inner_type);
    if (inner_type == kWireStartGroup) {
      open.Start(inner_field);
    } else if (inner_type == kWireEndGroup && inner_field == open.innermost()) {
      open.End();
    } else {
      // False for a stray end-group key or an unknown wire type: the key alone is passed over.
      static_cast<void>(SkipPlainValue(inner_type, stream));
    }
  }
}

}  // namespace

/// The first byte, which says that others follow, has been read. It cannot have been the end of the
/// stream, which reads as 0.
long long ProtoUtil::ReadLongVarint(unsigned char first, DataInputStream* stream) {
  unsigned long long value = first & kPayloadMask;
  for (int shift = kPayloadBits; shift <= kLastVarintShift; shift += kPayloadBits) {
    const unsigned char byte = stream->ReadUint8();
    value |= static_cast<unsigned long long>(byte & kPayloadMask) << shift;
    if ((byte & kContinuationBit) == 0)
      return stream->hit_error() ? 0 : static_cast<long long>(value);
  }
  return 0;
}

long long ProtoUtil::ReadZigZagInt(DataInputStream* stream) {
  return common_net_proto::ZigZagDecode(static_cast<unsigned long long>(ReadVarint(stream)));
}

bool ProtoUtil::SkipValue(unsigned short field, unsigned char wire_type, DataInputStream* stream) {
  if (wire_type != kWireStartGroup) return SkipPlainValue(wire_type, stream);
  SkipGroup(field, stream);
  return true;
}

void ProtoUtil::WriteBareVarint(long long value, DataOutputStream* stream) {
  auto rest = static_cast<unsigned long long>(value);
  while (rest > kPayloadMask) {
    stream->WriteUint8(static_cast<unsigned char>((rest & kPayloadMask) | kContinuationBit));
    rest >>= kPayloadBits;
  }
  stream->WriteUint8(static_cast<unsigned char>(rest));
}

void ProtoUtil::WriteTagAndType(unsigned short field, unsigned char wire_type,
                                DataOutputStream* stream) {
  WriteBareVarint((static_cast<long long>(field) << kWireTypeBits) | (wire_type & kWireTypeMask),
                  stream);
}

void ProtoUtil::WriteVarint(unsigned short field, long long value, DataOutputStream* stream) {
  WriteTagAndType(field, kWireVarint, stream);
  WriteBareVarint(value, stream);
}

void ProtoUtil::WriteBool(unsigned short field, bool value, DataOutputStream* stream) {
  WriteVarint(field, value ? 1 : 0, stream);
}

void ProtoUtil::WriteZigZagInt(unsigned short field, long long value, DataOutputStream* stream) {
  WriteVarint(field, static_cast<long long>(common_net_proto::ZigZagEncode(value)), stream);
}

void ProtoUtil::WriteFixed32(unsigned short field, int value, DataOutputStream* stream) {
  WriteTagAndType(field, kWireFixed32, stream);
  stream->WriteLittleEndianInt32(value);
}

void ProtoUtil::WriteFixed64(unsigned short field, long long value, DataOutputStream* stream) {
  WriteTagAndType(field, kWireFixed64, stream);
  stream->WriteLittleEndianInt64(value);
}

void ProtoUtil::WriteBytes(unsigned short field, const ByteView& bytes, DataOutputStream* stream) {
  if (stream->IsInSink(bytes)) {
    const ByteVector copy(common_base::kAllocateAndCopy, bytes.data(), bytes.length());
    return WriteBytes(field, copy, stream);
  }
  WriteTagAndType(field, kWireLengthDelimited, stream);
  WriteBareVarint(bytes.length(), stream);
  stream->WriteRawBytes(bytes);
}

void ProtoUtil::WriteString(unsigned short field, const GString& text, DataOutputStream* stream) {
  const auto& storage = static_cast<const common_base::PosixGStringStorage&>(*text.Storage());
  const int size = storage.Utf8Size();
  WriteTagAndType(field, kWireLengthDelimited, stream);
  WriteBareVarint(size, stream);
  unsigned char* const bytes = stream->Extend(size);
  if (size > 0) storage.WriteUtf8(bytes);
}
