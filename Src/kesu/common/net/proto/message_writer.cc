#include "kesu/common/net/proto/message_writer.h"

#include <bit>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/field_access.h"
#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/common/net/proto/proto_util.h"
#include "kesu/common/net/proto/varint.h"
#include "kesu/common/net/proto/wire_type.h"

namespace common_net_proto {
namespace {

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataOutputStream;
using common_base::GString;
using common_base::PosixGStringStorage;

const PosixGStringStorage& StorageOf(const GString& text) {
  return static_cast<const PosixGStringStorage&>(*text.Storage());
}

/// Writes a message of a class without a table, whose Write() is its own.
ByteVector Written(const Message& message) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  message.Write(&stream);
  return bytes;
}

/// Bytes that are written from their end to their start, so that each length is known when it is
/// put in front of what it counts.
class BackwardBuffer {
 public:
  BackwardBuffer() = default;
  BackwardBuffer(const BackwardBuffer&) = delete;
  BackwardBuffer& operator=(const BackwardBuffer&) = delete;

  const unsigned char* bytes() const { return first_; }
  int length() const { return static_cast<int>(end_ - first_); }
  void Clear() { first_ = end_; }

  /// Room for bytes in front of the others, for the caller to fill in.
  unsigned char* Prepend(int count) {
    if (first_ - begin_ < count) Grow(count);
    first_ -= count;
    return first_;
  }
  KESU_HOT void PutVarint(unsigned long long value) {
    if (value >= kContinuationBit || first_ == begin_) return PutLongVarint(value);
    *--first_ = static_cast<unsigned char>(value);
  }
  void PutText(const PosixGStringStorage& text) {
    // Room for the most that it can be, unless that would be far too much.
    const long long room = text.Utf8Room();
    if (room > kUsualBytes) return text.WriteUtf8(Prepend(text.Utf8Size()));
    if (first_ - begin_ < room) Grow(static_cast<int>(room));
    first_ = text.WriteUtf8Before(first_);
  }
  void PutLittleEndian(unsigned long long value, int width) {
    unsigned char* const out = Prepend(width);
    for (int i = 0; i < width; ++i) out[i] = static_cast<unsigned char>(value >> 8 * i);
  }

 private:
  static constexpr int kUsualBytes = 1024;

  static int VarintSize(unsigned long long value) {
    return (static_cast<int>(std::bit_width(value)) + kPayloadBits - 1) / kPayloadBits;
  }

  [[gnu::noinline]] void PutLongVarint(unsigned long long value) {
    unsigned char* out = Prepend(VarintSize(value));
    for (; value >= kContinuationBit; value >>= kPayloadBits) {
      *out++ = static_cast<unsigned char>(value | kContinuationBit);
    }
    *out = static_cast<unsigned char>(value);
  }

  /// More than an int can count ends the process, as a sink of that size would.
  void Grow(int count) {
    const long long capacity = 2LL * (end_ - begin_) + count;
    if (capacity > INT_MAX) std::abort();
    ByteVector larger;
    larger.SetReserve(static_cast<int>(capacity));
    larger.AdjustLength(static_cast<int>(capacity));
    unsigned char* const first = larger.end() - length();
    std::memcpy(first, first_, static_cast<std::size_t>(length()));
    first_ = first;
    begin_ = larger.begin();
    end_ = larger.end();
    large_ = std::move(larger);
  }

  unsigned char usual_[kUsualBytes];
  ByteVector large_;
  unsigned char* begin_ = usual_;
  unsigned char* end_ = usual_ + kUsualBytes;
  unsigned char* first_ = end_;
};

unsigned Key(const FieldRow& row, unsigned char wire_type) {
  return static_cast<unsigned>(row.number) << kWireTypeBits | wire_type;
}

void PrependFields(const Message& message, const MessageDescriptor& descriptor,
                   BackwardBuffer* out);

void PrependNested(const Message& nested, const MessageDescriptor& descriptor,
                   BackwardBuffer* out) {
  if (descriptor.has_table()) return PrependFields(nested, descriptor, out);
  const ByteVector bytes = Written(nested);
  unsigned char* const room = out->Prepend(bytes.length());
  common_base::GMemmove(room, bytes.data(), static_cast<std::size_t>(bytes.length()));
}

void PrependField(const FieldRow& row, const Message& message, BackwardBuffer* out) {
  const auto put_varint = [&](long long value) {
    out->PutVarint(static_cast<unsigned long long>(value));
    out->PutVarint(Key(row, kWireVarint));
  };
  switch (row.kind) {
    case FieldKind::kInt32:
      return ForEachValueFromBack<int>(row, message, put_varint);
    case FieldKind::kInt64:
      return ForEachValueFromBack<long long>(row, message, put_varint);
    case FieldKind::kUint32:
      return ForEachValueFromBack<unsigned>(row, message, put_varint);
    case FieldKind::kBool:
      return ForEachValueFromBack<bool>(row, message, put_varint);
    case FieldKind::kFixed32:
      return ForEachValueFromBack<int>(row, message, [&](int value) {
        out->PutLittleEndian(static_cast<unsigned>(value), 4);
        out->PutVarint(Key(row, kWireFixed32));
      });
    case FieldKind::kFixed64:
      return ForEachValueFromBack<long long>(row, message, [&](long long value) {
        out->PutLittleEndian(static_cast<unsigned long long>(value), 8);
        out->PutVarint(Key(row, kWireFixed64));
      });
    case FieldKind::kString:
      return ForEachValueFromBack<GString>(row, message, [&](const GString& text) {
        const int behind = out->length();
        out->PutText(StorageOf(text));
        out->PutVarint(static_cast<unsigned>(out->length() - behind));
        out->PutVarint(Key(row, kWireLengthDelimited));
      });
    case FieldKind::kMessage:
      return ForEachMessageFromBack(row, message, [&](const Message& nested) {
        const int behind = out->length();
        PrependNested(nested, *row.nested, out);
        out->PutVarint(static_cast<unsigned>(out->length() - behind));
        out->PutVarint(Key(row, kWireLengthDelimited));
      });
    case FieldKind::kGroup:
      return ForEachMessageFromBack(row, message, [&](const Message& group) {
        out->PutVarint(Key(row, kWireEndGroup));
        PrependNested(group, *row.nested, out);
        out->PutVarint(Key(row, kWireStartGroup));
      });
  }
}

void PrependFields(const Message& message, const MessageDescriptor& descriptor,
                   BackwardBuffer* out) {
  for (const FieldRow* row = descriptor.end(); row-- != descriptor.begin();) {
    if (!IsAbsent(*row, message)) PrependField(*row, message, out);
  }
}

void WriteFields(const Message& message, BackwardBuffer* scratch, DataOutputStream* stream);

/// Writes the fields of a message, or of a group in it, that are no part of a nested message.
void WriteField(const FieldRow& row, const Message& message, BackwardBuffer* scratch,
                DataOutputStream* stream) {
  const auto write_varint = [&](long long value) {
    ProtoUtil::WriteVarint(row.number, value, stream);
  };
  switch (row.kind) {
    case FieldKind::kInt32:
      return ForEachValue<int>(row, message, write_varint);
    case FieldKind::kInt64:
      return ForEachValue<long long>(row, message, write_varint);
    case FieldKind::kUint32:
      return ForEachValue<unsigned>(row, message, write_varint);
    case FieldKind::kBool:
      return ForEachValue<bool>(row, message, write_varint);
    case FieldKind::kFixed32:
      return ForEachValue<int>(
          row, message, [&](int value) { ProtoUtil::WriteFixed32(row.number, value, stream); });
    case FieldKind::kFixed64:
      return ForEachValue<long long>(row, message, [&](long long value) {
        ProtoUtil::WriteFixed64(row.number, value, stream);
      });
    case FieldKind::kString:
      return ForEachValue<GString>(row, message, [&](const GString& text) {
        ProtoUtil::WriteString(row.number, text, stream);
      });
    case FieldKind::kMessage:
      return ForEachMessage(row, message, [&](const Message& nested) {
        scratch->Clear();
        PrependNested(nested, *row.nested, scratch);
        ProtoUtil::WriteBytes(
            row.number,
            ByteView(common_base::kReferenceExistingBuffer, scratch->bytes(), scratch->length()),
            stream);
      });
    case FieldKind::kGroup:
      return ForEachMessage(row, message, [&](const Message& group) {
        ProtoUtil::WriteTagAndType(row.number, kWireStartGroup, stream);
        if (row.nested->has_table()) {
          WriteFields(group, scratch, stream);
        } else {
          group.Write(stream);
        }
        ProtoUtil::WriteTagAndType(row.number, kWireEndGroup, stream);
      });
  }
}

void WriteFields(const Message& message, BackwardBuffer* scratch, DataOutputStream* stream) {
  for (const FieldRow& row : message.descriptor()) {
    if (!IsAbsent(row, message)) WriteField(row, message, scratch, stream);
  }
}

}  // namespace

void WriteMessage(const Message& message, DataOutputStream* stream) {
  BackwardBuffer scratch;
  WriteFields(message, &scratch, stream);
}

}  // namespace common_net_proto
