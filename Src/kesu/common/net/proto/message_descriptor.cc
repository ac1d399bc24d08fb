#include "kesu/common/net/proto/message_descriptor.h"

#include <algorithm>
#include <type_traits>

#include "kesu/common/base/assertions.h"
#include "kesu/common/net/proto/field_access.h"

namespace common_net_proto {
namespace {

using common_base::GString;

/// Calls `visit` with the type that holds values of the field's kind, as a std::type_identity.
template <typename Visitor>
auto VisitValueType(FieldKind kind, Visitor visit) {
  switch (kind) {
    case FieldKind::kInt32:
    case FieldKind::kFixed32:
      return visit(std::type_identity<int>());
    case FieldKind::kUint32:
      return visit(std::type_identity<unsigned>());
    case FieldKind::kBool:
      return visit(std::type_identity<bool>());
    case FieldKind::kString:
      return visit(std::type_identity<GString>());
    case FieldKind::kMessage:
    case FieldKind::kGroup:
      return visit(std::type_identity<Message>());
    case FieldKind::kInt64:
    case FieldKind::kFixed64:
      break;
  }
  return visit(std::type_identity<long long>());
}

template <typename Value>
const Value& ValueAt(const FieldRow& row, const Message& message, int index) {
  if (row.is_repeated()) return StorageOf<RepeatedValues<Value>>(row, message)[index];
  return *StorageOf<OptionalValue<Value>>(row, message);
}

/// What is common to the storage of values and of messages.
template <typename Value>
struct StorageTypes {
  using Optional = OptionalValue<Value>;
  using Repeated = RepeatedValues<Value>;
};

template <>
struct StorageTypes<Message> {
  using Optional = OptionalMessage;
  using Repeated = RepeatedMessages;
};

}  // namespace

int FieldRow::Count(const Message& message) const {
  return VisitValueType(kind, [&](auto type) {
    using Storage = StorageTypes<typename decltype(type)::type>;
    if (is_repeated()) return StorageOf<typename Storage::Repeated>(*this, message).length();
    return StorageOf<typename Storage::Optional>(*this, message).has_value() ? 1 : 0;
  });
}

long long FieldRow::NumberAt(const Message& message, int index) const {
  GWASSERT(is_number());
  return VisitValueType(kind, [&](auto type) -> long long {
    using Value = typename decltype(type)::type;
    if constexpr (std::is_arithmetic_v<Value>) {
      return ValueAt<Value>(*this, message, index);
    } else {
      return 0;
    }
  });
}

const GString& FieldRow::TextAt(const Message& message, int index) const {
  return ValueAt<GString>(*this, message, index);
}

const Message& FieldRow::MessageAt(const Message& message, int index) const {
  if (is_repeated()) return *StorageOf<RepeatedMessages>(*this, message)[index];
  return *StorageOf<OptionalMessage>(*this, message).get();
}

void FieldRow::PutNumber(Message* message, long long value) const {
  GWASSERT(is_number());
  VisitValueType(kind, [&](auto type) {
    using Value = typename decltype(type)::type;
    if constexpr (std::is_arithmetic_v<Value>) {
      PutValue<Value>(*this, message, static_cast<Value>(value));
    }
  });
}

void FieldRow::PutText(Message* message, const GString& value) const {
  PutValue<GString>(*this, message, value);
}

Message* FieldRow::PutMessage(Message* message) const {
  return common_net_proto::PutMessage(*this, message);
}

void FieldRow::Clear(Message* message) const {
  VisitValueType(kind, [&](auto type) {
    using Storage = StorageTypes<typename decltype(type)::type>;
    if (is_repeated()) {
      StorageOf<typename Storage::Repeated>(*this, message).Clear();
    } else {
      StorageOf<typename Storage::Optional>(*this, message).reset();
    }
  });
}

const FieldRow* MessageDescriptor::FindSparse(unsigned short number) const {
  const FieldRow* row = std::lower_bound(
      begin(), end(), number,
      [](const FieldRow& candidate, unsigned short wanted) { return candidate.number < wanted; });
  return row != end() && row->number == number ? row : nullptr;
}

}  // namespace common_net_proto
