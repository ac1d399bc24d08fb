#ifndef KESU_COMMON_NET_PROTO_FIELD_ACCESS_H_
#define KESU_COMMON_NET_PROTO_FIELD_ACCESS_H_

#include "kesu/common/net/proto/field_storage.h"
#include "kesu/common/net/proto/message_descriptor.h"

/// The fields of a message by their rows, for those that walk the tables. The types must be those
/// of the row's kind and label.
#pragma GCC visibility push(hidden)
namespace common_net_proto {

template <typename Storage>
Storage& StorageOf(const FieldRow& row, Message* message) {
  return *reinterpret_cast<Storage*>(reinterpret_cast<char*>(message) + row.offset);
}

template <typename Storage>
const Storage& StorageOf(const FieldRow& row, const Message& message) {
  return *reinterpret_cast<const Storage*>(reinterpret_cast<const char*>(&message) + row.offset);
}

/// Whether there is surely no value. (A nested message that was made and cleared is overlooked.)
inline bool IsAbsent(const FieldRow& row, const Message& message) {
  const char* bytes = reinterpret_cast<const char*>(&message);
  if (row.flag_offset != 0) return bytes[row.flag_offset] == 0;
  return *reinterpret_cast<const void* const*>(bytes + row.offset) == nullptr;
}

template <typename Value>
void PutValue(const FieldRow& row, Message* message, const Value& value) {
  if (row.is_repeated()) {
    StorageOf<RepeatedValues<Value>>(row, message).Append(value);
  } else {
    StorageOf<OptionalValue<Value>>(row, message) = value;
  }
}

/// FieldRow::PutMessage().
inline Message* PutMessage(const FieldRow& row, Message* message) {
  if (row.is_repeated()) return AddMessage(&StorageOf<RepeatedMessages>(row, message), *row.nested);
  return StorageOf<OptionalMessage>(row, message).Mutable(*row.nested);
}

/// Calls `visit` with each value of a field of numbers or texts.
template <typename Value, typename Visitor>
void ForEachValue(const FieldRow& row, const Message& message, const Visitor& visit) {
  if (row.is_repeated()) {
    for (const Value& value : StorageOf<RepeatedValues<Value>>(row, message)) visit(value);
  } else if (const auto& value = StorageOf<OptionalValue<Value>>(row, message)) {
    visit(*value);
  }
}

/// Calls `visit` with each message of a field of messages or groups.
template <typename Visitor>
void ForEachMessage(const FieldRow& row, const Message& message, const Visitor& visit) {
  if (row.is_repeated()) {
    for (const auto& element : StorageOf<RepeatedMessages>(row, message)) visit(*element);
  } else if (const auto& single = StorageOf<OptionalMessage>(row, message); single.has_value()) {
    visit(*single.get());
  }
}

/// The same from the last to the first.
template <typename Value, typename Visitor>
void ForEachValueFromBack(const FieldRow& row, const Message& message, const Visitor& visit) {
  if (!row.is_repeated()) return ForEachValue<Value>(row, message, visit);
  const auto& values = StorageOf<RepeatedValues<Value>>(row, message);
  for (int i = values.length(); i-- > 0;) visit(values[i]);
}

template <typename Visitor>
void ForEachMessageFromBack(const FieldRow& row, const Message& message, const Visitor& visit) {
  if (!row.is_repeated()) return ForEachMessage(row, message, visit);
  const auto& messages = StorageOf<RepeatedMessages>(row, message);
  for (int i = messages.length(); i-- > 0;) visit(*messages[i]);
}

}  // namespace common_net_proto
#pragma GCC visibility pop

#endif  // KESU_COMMON_NET_PROTO_FIELD_ACCESS_H_
