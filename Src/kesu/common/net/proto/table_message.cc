#include "kesu/common/net/proto/table_message.h"

#include <new>

#include "kesu/common/base/object_region.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/byte_cursor.h"
#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/common/net/proto/field_access.h"
#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/common/net/proto/message_writer.h"
#include "kesu/common/net/proto/proto_util.h"
#include "kesu/common/net/proto/wire_type.h"

namespace common_net_proto {
namespace {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;

/// What a message usually takes in memory, by which its region is laid out.
std::size_t TypicalSize(int bytes) {
  return static_cast<std::size_t>(bytes) * 9 / 2;
}

/// What the heap takes for a block beyond what was asked for, and for an element of a block that
/// has just doubled.
constexpr int kBlockOverhead = 16;
constexpr int kElementRoom = 2;
/// The storage of a text, and for each byte the byte and a unit of UTF-16 once somebody asks for
/// it.
constexpr int kTextBytes = 64;
constexpr int kBytesPerTextByte = 3;

bool TakeNumber(const FieldRow& row) {
  return !row.is_repeated() || DecodeBudget::Take(kElementRoom * sizeof(long long));
}

bool TakeText(int length) {
  const int storage = length == 0 ? 0 : kTextBytes;  // All empty texts share one.
  return DecodeBudget::Take(storage + kElementRoom * static_cast<long long>(sizeof(GString)) +
                            kBytesPerTextByte * static_cast<long long>(length));
}

/// The message that a value goes into, or null when it would be too much.
Message* TakeMessage(const FieldRow& row, Message* message) {
  const bool is_new = row.is_repeated() || IsAbsent(row, *message);
  const bool is_taken =
      !is_new || DecodeBudget::Take(row.nested->size + kBlockOverhead +
                                    kElementRoom * static_cast<long long>(sizeof(Message*)));
  return is_taken ? PutMessage(row, message) : nullptr;
}

bool ReadFields(Message* message, const MessageDescriptor& descriptor, ByteCursor* in,
                const ExtensionRegistry* registry);

/// Lets somebody read the rest of the cursor through a stream.
template <typename Reader>
bool ReadThroughStream(ByteCursor* in, const Reader& read) {
  const ByteView rest(common_base::kReferenceExistingBuffer, in->next(), in->remaining());
  DataInputStream stream(&rest);
  const bool is_read = read(&stream);
  in->Skip(stream.position());
  if (stream.hit_error()) in->Fail();
  return is_read;
}

// Reading recurses into nested messages and groups that the tables know, and only there. A class
// can nest only classes that are complete before it (OptionalMessageField and RepeatedMessageField
// see to that), so none contains itself and the depth is bounded by the schema.
bool ReadNested(Message* nested, const MessageDescriptor& descriptor, ByteCursor* in,
                const ExtensionRegistry* registry) {
  if (descriptor.is_read_by_table) return ReadFields(nested, descriptor, in, registry);
  return ReadThroughStream(in,
                           [&](DataInputStream* stream) { return nested->Read(stream, registry); });
}

void ReadText(const FieldRow& row, Message* message, const unsigned char* utf8, int length) {
  auto* storage = length == 0 ? nullptr
                              : common_base::NewGStringStorageFromUtf8(
                                    reinterpret_cast<const char*>(utf8), length);
  if (row.is_repeated()) {
    new (StorageOf<RepeatedValues<GString>>(row, message).AddSlot()) GString(storage);
  } else {
    StorageOf<OptionalText>(row, message).emplace(storage);
  }
}

/// False when a nested message was malformed or a value too much; other failures show in the
/// cursor.
inline bool ReadValue(const FieldRow& row, Message* message, ByteCursor* in,
                      const ExtensionRegistry* registry) {
  switch (row.kind) {
    case FieldKind::kInt32:
      PutValue(row, message, static_cast<int>(in->ReadVarint()));
      return TakeNumber(row);
    case FieldKind::kInt64:
      PutValue(row, message, static_cast<long long>(in->ReadVarint()));
      return TakeNumber(row);
    case FieldKind::kUint32:
      PutValue(row, message, static_cast<unsigned>(in->ReadVarint()));
      return TakeNumber(row);
    case FieldKind::kBool:
      PutValue(row, message, in->ReadVarint() != 0);
      return TakeNumber(row);
    case FieldKind::kFixed32:
      PutValue(row, message, static_cast<int>(in->ReadLittleEndian<unsigned>()));
      return TakeNumber(row);
    case FieldKind::kFixed64:
      PutValue(row, message, static_cast<long long>(in->ReadLittleEndian<unsigned long long>()));
      return TakeNumber(row);
    case FieldKind::kString: {
      const ByteCursor utf8 = in->ReadLengthDelimited();
      if (!TakeText(utf8.remaining())) return false;
      ReadText(row, message, utf8.next(), utf8.remaining());
      return true;
    }
    case FieldKind::kMessage: {
      Message* nested = TakeMessage(row, message);
      ByteCursor bytes = in->ReadLengthDelimited();
      return nested != nullptr && ReadNested(nested, *row.nested, &bytes, registry);
    }
    case FieldKind::kGroup: {
      Message* group = TakeMessage(row, message);
      return group != nullptr && ReadNested(group, *row.nested, in, registry);
    }
  }
  return false;
}

bool ReadFields(Message* message, const MessageDescriptor& descriptor, ByteCursor* in,
                const ExtensionRegistry* registry) {
  // Fields mostly arrive in ascending order.
  const FieldRow* expected = descriptor.begin();
  while (in->remaining() > 0 && !in->hit_error()) {
    const unsigned long long key = in->ReadVarint();
    const auto field = static_cast<unsigned short>(key >> kWireTypeBits);
    const auto wire_type = static_cast<unsigned char>(key & kWireTypeMask);
    if (wire_type == kWireEndGroup) break;
    const FieldRow* row = expected != descriptor.end() && expected->number == field
                              ? expected
                              : descriptor.Find(field);
    if (row != nullptr) {
      if (!ReadValue(*row, message, in, registry)) return false;
      expected = row->is_repeated() ? row : row + 1;
    } else if (!ReadThroughStream(in, [&](DataInputStream* stream) {
                 return ProtoUtil::SkipValue(field, wire_type, stream);
               })) {
      return false;
    }
  }
  return !in->hit_error();
}

/// Lets somebody read the rest of the stream through a cursor.
template <typename Reader>
bool ReadThroughCursor(DataInputStream* stream, const Reader& read) {
  ByteCursor in(stream->next(), stream->remaining());
  const bool is_read = read(&in);
  stream->ReadByteSpan(in.hit_error() ? -1 : stream->remaining() - in.remaining());
  return is_read && !stream->hit_error();
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
  return ReadThroughCursor(
      stream, [&](ByteCursor* in) { return ReadFields(this, descriptor(), in, registry); });
}

void TableMessage::Write(common_base::DataOutputStream* stream) const {
  WriteMessage(*this, stream);
}

bool TableMessage::ReadSingleFieldOrExtension(unsigned short field, unsigned char wire_type,
                                              DataInputStream* stream,
                                              const ExtensionRegistry* registry) {
  const FieldRow* row = descriptor().Find(field);
  if (row == nullptr) {
    return ProtoUtil::SkipValue(field, wire_type, stream) && !stream->hit_error();
  }
  return ReadThroughCursor(stream,
                           [&](ByteCursor* in) { return ReadValue(*row, this, in, registry); });
}

Message* TableMessage::GetEmbeddedMessage(unsigned short field) {
  const FieldRow* row = descriptor().Find(field);
  return row != nullptr && row->is_nested() ? row->PutMessage(this) : nullptr;
}

}  // namespace common_net_proto
