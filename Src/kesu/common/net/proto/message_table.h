#ifndef KESU_COMMON_NET_PROTO_MESSAGE_TABLE_H_
#define KESU_COMMON_NET_PROTO_MESSAGE_TABLE_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

#include "kesu/common/base/gstring.h"
#include "kesu/common/net/proto/field_storage.h"
#include "kesu/common/net/proto/message_descriptor.h"
#include "kesu/common/net/proto/table_message.h"

/// Declares message classes as tables, a line per field:
///
///     class GWifiProfile final : public common_net_proto::TableMessage {
///       KESU_MESSAGE_BEGIN(GWifiProfile);
///       KESU_FIELD(1, kOptional, Int64, timestamp_ms);
///       KESU_MESSAGE_FIELD(2, kRepeated, GWifiDevice, wifidevices);
///       KESU_MESSAGE_END();
///     };
///
/// A .cc file makes the table with KESU_DEFINE_MESSAGE(GWifiProfile). TableMessage is the only
/// base, or at least the first. What does not compile: field number 0 or one used twice, two fields
/// on one line, a class that contains itself. Accessors of a field x:
///
/// | field           | accessors                                          |
/// | --------------- | -------------------------------------------------- |
/// | optional value  | x(), set_x(v), has_x(), clear_x()                  |
/// | optional nested | x(), mutable_x(), has_x(), clear_x()               |
/// | repeated value  | x(i), mutable_x(i), add_x(v), x_size(), clear_x()  |
/// | repeated nested | x(i), mutable_x(i), add_x(), x_size(), clear_x()   |
///
/// An absent x() is zero, or empty; mutable_x() makes it present, and its result stays good until
/// the message goes, or for an element until clear_x(), or for a value until the next add_x().
/// Nested messages stay their parent's.
namespace common_net_proto {

/// The kinds of KESU_FIELD: which wire form, what it is held in, how it is handed in and out.
namespace field_kinds {

template <FieldKind kind, typename Number>
struct NumberKind {
  static constexpr FieldKind kKind = kind;
  using Value = Number;
  using Argument = Number;
  using Result = Number;

  static Result Get(const OptionalValue<Number>& value) { return *value; }
};

struct Int32 : NumberKind<FieldKind::kInt32, int> {};
struct Int64 : NumberKind<FieldKind::kInt64, long long> {};
struct Uint32 : NumberKind<FieldKind::kUint32, unsigned> {};
struct Bool : NumberKind<FieldKind::kBool, bool> {};
struct Fixed32 : NumberKind<FieldKind::kFixed32, int> {};
struct Fixed64 : NumberKind<FieldKind::kFixed64, long long> {};

struct String {
  static constexpr FieldKind kKind = FieldKind::kString;
  using Value = common_base::GString;
  using Argument = const common_base::GString&;
  using Result = const common_base::GString&;

  static Result Get(const OptionalValue<Value>& value) { return value ? *value : EmptyText(); }
};

}  // namespace field_kinds

/// OptionalMessage and RepeatedMessages, with the class of what they hold. As T must be complete,
/// no class can contain itself, directly or through others.
template <typename T>
class OptionalMessageField : public OptionalMessage {
  static_assert(sizeof(T) != 0);

 public:
  const T& Get() const {
    return get() == nullptr ? EmptyMessage<T>() : static_cast<const T&>(*get());
  }
  T* Mutable() { return static_cast<T*>(OptionalMessage::Mutable(T::kDescriptor)); }
};

template <typename T>
class RepeatedMessageField : public RepeatedMessages {
  static_assert(sizeof(T) != 0);

 public:
  T* At(int index) const { return static_cast<T*>((*this)[index].get()); }
  T* Add() { return static_cast<T*>(AddMessage(this, T::kDescriptor)); }
};

/// Mark the row of a field with its line, by which the collector finds it, and claim its number. A
/// second field with the same mark is a compile error there, which names what was broken.
template <int line>
struct OneFieldPerLine {};
template <unsigned short number>
struct EachNumberOnce {};

/// Whether a T and the Message in it have one address, from which the table counts its offsets.
template <typename T>
constexpr bool StartsWithMessage() {
  std::allocator<T> allocator;
  T* room = allocator.allocate(1);
  const bool is_same = static_cast<const void*>(room) == static_cast<const Message*>(room);
  allocator.deallocate(room, 1);
  return is_same;
}

/// Collects the rows of a class, at compile time, from the lines between its begin and its end.
struct MessageTable {
  template <typename T>
  static constexpr MessageDescriptor Describe(const char* name) {
    static_assert(StartsWithMessage<T>(), "TableMessage must be the first base of a message");
    constexpr bool kIsReadByTable = std::is_same_v<decltype(ReaderOf(&T::Read)), TableMessage>;
    const auto& rows = kRows<T>;
    const unsigned short first = rows.empty() ? 0 : rows.begin()->number;
    return {name,     rows.data(),     static_cast<int>(rows.size()),
            &Make<T>, sizeof(T),       kIsReadByTable,
            first,    CountDense(rows)};
  }

 private:
  /// The class whose Read() it is.
  template <typename T>
  static T ReaderOf(bool (T::*read)(Message::DataInputStream*, const ExtensionRegistry*));

  template <std::size_t count>
  static constexpr unsigned short CountDense(const std::array<FieldRow, count>& rows) {
    unsigned short dense = 0;
    while (dense < count && rows[dense].number == rows[0].number + dense) ++dense;
    return dense;
  }

  template <typename T>
  static Message* Make() {
    return new T;
  }

  template <typename T, int line>
  static constexpr bool HasFieldAt() {
    return requires {
      T::RowAt(OneFieldPerLine<line>());
    };
  }

  template <typename T, std::size_t count, int line>
  static constexpr void CollectLine(std::array<FieldRow, count>* rows, std::size_t* filled) {
    if constexpr (HasFieldAt<T, line>()) (*rows)[(*filled)++] = T::RowAt(OneFieldPerLine<line>());
  }

  template <typename T, int... lines>
  static constexpr auto Collect(std::integer_sequence<int, lines...>) {
    constexpr std::size_t kCount = (std::size_t{0} + ... + HasFieldAt<T, T::kFirstLine + lines>());
    std::array<FieldRow, kCount> rows{};
    std::size_t filled = 0;
    (CollectLine<T, kCount, T::kFirstLine + lines>(&rows, &filled), ...);
    std::sort(rows.begin(), rows.end(),
              [](const FieldRow& a, const FieldRow& b) { return a.number < b.number; });
    return rows;
  }

  /// Nobody else's: a library that defines messages can be unloaded.
  template <typename T>
  [[gnu::visibility("hidden")]] static constexpr auto kRows =
      Collect<T>(std::make_integer_sequence<int, T::kLastLine - T::kFirstLine + 1>());
};

}  // namespace common_net_proto

// One accessor a line shows what a field line stands for; the formatter would spread them.
// clang-format off

// The table holds offsets of members. The classes are polymorphic, so offsetof is conditionally
// supported for them; both supported compilers do, as no virtual base is involved.
#define KESU_MESSAGE_BEGIN(Class)                                           \
  _Pragma("GCC diagnostic push")                                            \
  _Pragma("GCC diagnostic ignored \"-Winvalid-offsetof\"")                  \
 public:                                                                    \
  static const ::common_net_proto::MessageDescriptor kDescriptor;           \
  const ::common_net_proto::MessageDescriptor& descriptor() const override; \
                                                                            \
 private:                                                                   \
  friend struct ::common_net_proto::MessageTable;                           \
  using Self = Class;                                                       \
  static constexpr int kFirstLine = __LINE__

#define KESU_MESSAGE_END()                   \
  static constexpr int kLastLine = __LINE__; \
  _Pragma("GCC diagnostic pop")              \
  static_assert(kFirstLine < kLastLine)

/// A number, bool or text; Kind is one of field_kinds.
#define KESU_FIELD(Number, Label, Kind, Name)                                          \
  KESU_ROW(Number, Label, ::common_net_proto::field_kinds::Kind::kKind, Name, nullptr) \
  KESU_VALUE_##Label(::common_net_proto::field_kinds::Kind, Name)

#define KESU_MESSAGE_FIELD(Number, Label, Class, Name)                                        \
  KESU_ROW(Number, Label, ::common_net_proto::FieldKind::kMessage, Name, &Class::kDescriptor) \
  KESU_NESTED_##Label(Class, Name)

#define KESU_GROUP_FIELD(Number, Label, Class, Name)                                        \
  KESU_ROW(Number, Label, ::common_net_proto::FieldKind::kGroup, Name, &Class::kDescriptor) \
  KESU_NESTED_##Label(Class, Name)

#define KESU_ROW(Number, Label, Kind, Name, Nested)                    \
 private:                                                              \
  static_assert((Number) != 0, "field numbers start at 1");            \
  static void ClaimNumber(::common_net_proto::EachNumberOnce<Number>); \
  static constexpr ::common_net_proto::FieldRow RowAt(                 \
      ::common_net_proto::OneFieldPerLine<__LINE__>) {                 \
    constexpr auto kLabel = ::common_net_proto::FieldLabel::Label;     \
    constexpr unsigned kOffset = offsetof(Self, Name##_);              \
    return {Number, Kind, kLabel, kOffset, #Name, Nested,              \
            ::common_net_proto::FlagOffset(Kind, kLabel, kOffset)};    \
  }

#define KESU_VALUE_kOptional(Kind, Name)                     \
 public:                                                     \
  Kind::Result Name() const { return Kind::Get(Name##_); }   \
  void set_##Name(Kind::Argument value) { Name##_ = value; } \
  bool has_##Name() const { return Name##_.has_value(); }    \
  void clear_##Name() { Name##_.reset(); }                   \
                                                             \
 private:                                                    \
  ::common_net_proto::OptionalValue<Kind::Value> Name##_

#define KESU_VALUE_kRepeated(Kind, Name)                                 \
 public:                                                                 \
  Kind::Result Name(int index) const { return Name##_[index]; }          \
  Kind::Value* mutable_##Name(int index) { return &Name##_[index]; }     \
  void add_##Name(Kind::Argument value) { Name##_.Append(value); }       \
  int Name##_size() const { return Name##_.length(); }                   \
  void clear_##Name() { Name##_.Clear(); }                               \
                                                                         \
 private:                                                                \
  ::common_net_proto::RepeatedValues<Kind::Value> Name##_

#define KESU_NESTED_kOptional(Class, Name)                \
 public:                                                  \
  const Class& Name() const { return Name##_.Get(); }     \
  Class* mutable_##Name() { return Name##_.Mutable(); }   \
  bool has_##Name() const { return Name##_.has_value(); } \
  void clear_##Name() { Name##_.reset(); }                \
                                                          \
 private:                                                 \
  ::common_net_proto::OptionalMessageField<Class> Name##_

#define KESU_NESTED_kRepeated(Class, Name)                          \
 public:                                                            \
  const Class& Name(int index) const { return *Name##_.At(index); } \
  Class* mutable_##Name(int index) { return Name##_.At(index); }    \
  Class* add_##Name() { return Name##_.Add(); }                     \
  int Name##_size() const { return Name##_.length(); }              \
  void clear_##Name() { Name##_.Clear(); }                          \
                                                                    \
 private:                                                           \
  ::common_net_proto::RepeatedMessageField<Class> Name##_

/// Makes the table of a class; belongs into one .cc file, in the namespace of the class.
#define KESU_DEFINE_MESSAGE(Class)                                           \
  constinit const ::common_net_proto::MessageDescriptor Class::kDescriptor = \
      ::common_net_proto::MessageTable::Describe<Class>(#Class);             \
  const ::common_net_proto::MessageDescriptor& Class::descriptor() const { return kDescriptor; }

/// An entry in an array of descriptors.
#define KESU_MESSAGE_LIST_ENTRY(Class) &Class::kDescriptor,

// clang-format on

#endif  // KESU_COMMON_NET_PROTO_MESSAGE_TABLE_H_
