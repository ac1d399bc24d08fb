#include "kesu/common/net/proto/message_reader.h"

#include <algorithm>
#include <new>

#include "kesu/common/base/posix_string_storage.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/common/net/proto/field_access.h"
#include "kesu/common/net/proto/proto_util.h"
#include "kesu/common/net/proto/varint.h"
#include "kesu/common/net/proto/wire_type.h"

// Readers take where the bytes start and end, and yield where they have read to, or null: then the
// bytes ended too soon, or something was refused.
namespace common_net_proto {
namespace {

using common_base::ByteView;
using common_base::DataInputStream;
using common_base::GString;
using common_base::GStringStorage;
using common_base::PosixGStringStorage;
using Byte = unsigned char;

/// What all that is read at once shares.
struct Reading {
  const ExtensionRegistry* registry;
  /// Where a value was refused although its bytes were there.
  const Byte* refused_at = nullptr;

  const Byte* Refuse(const Byte* at) {
    refused_at = at;
    return nullptr;
  }
};

struct Span {
  const Byte* begin;
  const Byte* end;

  int size() const { return static_cast<int>(end - begin); }
};

/// The bytes behind a length; both ends are null where there are not so many.
KESU_HOT Span ReadSpan(const Byte* at, const Byte* end) {
  const NumberRead length = ReadVarint(at, end);
  if (length.end == nullptr || length.value > static_cast<std::size_t>(end - length.end)) {
    return {nullptr, nullptr};
  }
  return {length.end, length.end + length.value};
}

/// As a stream reads it: 0 in place of the bytes that are not there.
template <typename Number>
KESU_HOT NumberRead ReadLittleEndian(const Byte* at, const Byte* end) {
  constexpr int kSize = sizeof(Number);
  const int count = static_cast<int>(std::min<std::ptrdiff_t>(end - at, kSize));
  Number value = 0;
  if (count == kSize) {
    for (int i = 0; i < kSize; ++i) value |= static_cast<Number>(at[i]) << 8 * i;
    return {value, at + kSize};
  }
  for (int i = 0; i < count; ++i) value |= static_cast<Number>(at[i]) << 8 * i;
  return {value, nullptr};
}

/// What the heap takes for a block beyond what was asked for, and for an element of a block that
/// has just doubled.
constexpr int kBlockOverhead = 16;
constexpr int kElementRoom = 2;
/// The storage of a text, which empty texts share; for each byte the byte and a unit of UTF-16 once
/// somebody asks for it; the place that holds the text.
constexpr long long kTextBytes = 64;
constexpr long long kBytesPerTextByte = 3;
constexpr long long kTextReference = kElementRoom * sizeof(GString);

/// The number of values of a repeated field that stand side by side from `at` on, which is behind
/// the first one's key. Looks no further than pays.
int CountRun(const FieldRow& row, const Byte* at, const Byte* end) {
  constexpr int kLongestRun = 30;
  const int key = row.number << kWireTypeBits | kWireLengthDelimited;
  int count = 0;
  do {
    ++count;
    at = ReadSpan(at, end).end;
  } while (count < kLongestRun && at != nullptr && at != end && *at++ == key);
  return count;
}

/// Makes room, where there is none, for the run of values from `at` on.
template <typename Values>
KESU_HOT void ReserveRun(const FieldRow& row, const Byte* at, const Byte* end, Values* values) {
  constexpr unsigned kShortKeys = kContinuationBit >> kWireTypeBits;
  if (values->is_full() && row.number < kShortKeys) values->Grow(CountRun(row, at, end));
}

template <typename Value>
const Byte* AddNumber(const FieldRow& row, Message* message, NumberRead number, Reading* reading) {
  StorageOf<RepeatedValues<Value>>(row, message).Append(static_cast<Value>(number.value));
  const bool is_taken = DecodeBudget::Take(kElementRoom * sizeof(long long));
  return is_taken || number.end == nullptr ? number.end : reading->Refuse(number.end);
}

template <typename Value>
KESU_HOT const Byte* PutNumber(const FieldRow& row, Message* message, NumberRead number,
                               Reading* reading) {
  if (row.is_repeated()) return AddNumber<Value>(row, message, number, reading);
  StorageOf<OptionalNumber<Value>>(row, message) = static_cast<Value>(number.value);
  return number.end;
}

KESU_HOT const Byte* ReadText(const FieldRow& row, Message* message, const Byte* at,
                              const Byte* end, Reading* reading) {
  const Span utf8 = ReadSpan(at, end);
  const bool is_taken = DecodeBudget::Take(
      kTextReference + (utf8.size() == 0 ? 0 : kTextBytes + kBytesPerTextByte * utf8.size()));
  if (!is_taken) return utf8.end == nullptr ? nullptr : reading->Refuse(utf8.end);
  GStringStorage* storage = nullptr;
  if (utf8.size() != 0) {
    storage = PosixGStringStorage::New(reinterpret_cast<const char*>(utf8.begin), utf8.size());
  }
  if (row.is_repeated()) {
    auto& texts = StorageOf<RepeatedValues<GString>>(row, message);
    ReserveRun(row, at, end, &texts);
    new (texts.AddSlot()) GString(storage);
  } else {
    StorageOf<OptionalText>(row, message).emplace(storage);
  }
  return utf8.end;
}

/// The message that a value goes into, or null when it would be too much.
KESU_HOT Message* TakeMessage(const FieldRow& row, Message* message) {
  const bool is_new = row.is_repeated() || IsAbsent(row, *message);
  const bool is_taken =
      !is_new || DecodeBudget::Take(row.nested->size + kBlockOverhead +
                                    kElementRoom * static_cast<long long>(sizeof(Message*)));
  return is_taken ? PutMessage(row, message) : nullptr;
}

/// Lets somebody read through a stream.
template <typename Reader>
[[gnu::noinline]] const Byte* ReadThroughStream(const Byte* at, const Byte* end, Reading* reading,
                                                const Reader& read) {
  const ByteView bytes(common_base::kReferenceExistingBuffer, at, static_cast<int>(end - at));
  DataInputStream stream(&bytes);
  const bool is_read = read(&stream);
  if (stream.hit_error()) return nullptr;
  at += stream.position();
  return is_read ? at : reading->Refuse(at);
}

const Byte* ReadFields(Message* message, const MessageDescriptor& descriptor, const Byte* at,
                       const Byte* end, Reading* reading);

// Reading recurses into nested messages and groups that the tables know, and only there. A class
// can nest only classes that are complete before it (OptionalMessageField and RepeatedMessageField
// see to that), so none contains itself and the depth is bounded by the schema.
KESU_HOT const Byte* ReadNested(Message* nested, const MessageDescriptor& descriptor,
                                const Byte* at, const Byte* end, Reading* reading) {
  if (descriptor.is_read_by_table) return ReadFields(nested, descriptor, at, end, reading);
  return ReadThroughStream(at, end, reading, [nested, reading](DataInputStream* stream) {
    return nested->Read(stream, reading->registry);
  });
}

KESU_HOT const Byte* ReadNestedMessage(const FieldRow& row, Message* message, const Byte* at,
                                       const Byte* end, Reading* reading) {
  if (row.is_repeated()) ReserveRun(row, at, end, &StorageOf<RepeatedMessages>(row, message));
  Message* nested = TakeMessage(row, message);
  const Span bytes = ReadSpan(at, end);
  if (bytes.end == nullptr) return nullptr;
  const bool is_read = nested != nullptr &&
                       ReadNested(nested, *row.nested, bytes.begin, bytes.end, reading) != nullptr;
  return is_read ? bytes.end : reading->Refuse(bytes.end);
}

KESU_HOT const Byte* ReadGroup(const FieldRow& row, Message* message, const Byte* at,
                               const Byte* end, Reading* reading) {
  Message* group = TakeMessage(row, message);
  if (group == nullptr) return reading->Refuse(at);
  return ReadNested(group, *row.nested, at, end, reading);
}

KESU_HOT const Byte* ReadValue(const FieldRow& row, Message* message, const Byte* at,
                               const Byte* end, Reading* reading) {
  switch (row.kind) {
    case FieldKind::kInt32:
      return PutNumber<int>(row, message, ReadVarint(at, end), reading);
    case FieldKind::kInt64:
      return PutNumber<long long>(row, message, ReadVarint(at, end), reading);
    case FieldKind::kUint32:
      return PutNumber<unsigned>(row, message, ReadVarint(at, end), reading);
    case FieldKind::kBool:
      return PutNumber<bool>(row, message, ReadVarint(at, end), reading);
    case FieldKind::kFixed32:
      return PutNumber<int>(row, message, ReadLittleEndian<unsigned>(at, end), reading);
    case FieldKind::kFixed64:
      return PutNumber<long long>(row, message, ReadLittleEndian<unsigned long long>(at, end),
                                  reading);
    case FieldKind::kString:
      return ReadText(row, message, at, end, reading);
    case FieldKind::kMessage:
      return ReadNestedMessage(row, message, at, end, reading);
    case FieldKind::kGroup:
      return ReadGroup(row, message, at, end, reading);
  }
  return reading->Refuse(at);
}

const Byte* ReadFields(Message* message, const MessageDescriptor& descriptor, const Byte* at,
                       const Byte* end, Reading* reading) {
  while (at != end) {
    const NumberRead key = ReadVarint(at, end);
    at = key.end;
    if (at == nullptr) return nullptr;
    const auto wire_type = static_cast<unsigned char>(key.value & kWireTypeMask);
    if (wire_type == kWireEndGroup) return at;
    const auto field = static_cast<unsigned short>(key.value >> kWireTypeBits);
    const FieldRow* row = descriptor.Find(field);
    if (row != nullptr) {
      at = ReadValue(*row, message, at, end, reading);
    } else {
      at = ReadThroughStream(at, end, reading, [field, wire_type](DataInputStream* stream) {
        return ProtoUtil::SkipValue(field, wire_type, stream);
      });
    }
    if (at == nullptr) return nullptr;
  }
  return at;
}

/// Reads the rest of the stream, from its start to its end.
template <typename Reader>
bool ReadRest(DataInputStream* stream, const ExtensionRegistry* registry, const Reader& read) {
  static constexpr Byte kNoBytes[1] = {};
  const int size = stream->remaining();
  const Byte* start = size == 0 ? kNoBytes : stream->next();
  Reading reading{registry};
  const Byte* at = read(start, start + size, &reading);
  const Byte* stop = at == nullptr ? reading.refused_at : at;
  stream->ReadByteSpan(stop == nullptr ? -1 : static_cast<int>(stop - start));
  return at != nullptr && !stream->hit_error();
}

}  // namespace

bool ReadMessage(Message* message, DataInputStream* stream, const ExtensionRegistry* registry) {
  return ReadRest(stream, registry, [&](const Byte* at, const Byte* end, Reading* reading) {
    return ReadFields(message, message->descriptor(), at, end, reading);
  });
}

bool ReadField(const FieldRow& row, Message* message, DataInputStream* stream,
               const ExtensionRegistry* registry) {
  return ReadRest(stream, registry, [&](const Byte* at, const Byte* end, Reading* reading) {
    return ReadValue(row, message, at, end, reading);
  });
}

}  // namespace common_net_proto
