#ifndef KESU_COMMON_NET_PROTO_FIELD_STORAGE_H_
#define KESU_COMMON_NET_PROTO_FIELD_STORAGE_H_

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/base/vector.h"
#include "kesu/common/net/proto/message.h"
#include "kesu/common/net/proto/message_descriptor.h"

/// What the fields of a message are held in. None of it allocates before there is a value.
namespace common_net_proto {

/// A text and its presence, in one pointer: a string's is never null.
class OptionalText {
 public:
  OptionalText() : absent_(nullptr) {}
  OptionalText(const OptionalText&) = delete;
  OptionalText& operator=(const OptionalText&) = delete;
  OptionalText& operator=(const common_base::GString& text);
  ~OptionalText() { reset(); }

  bool has_value() const { return absent_ != nullptr; }
  explicit operator bool() const { return has_value(); }
  const common_base::GString& operator*() const { return text_; }
  /// Takes the storage; null is the empty text.
  void emplace(common_base::GStringStorage* storage) {
    reset();
    new (&text_) common_base::GString(storage);
  }
  void reset() {
    if (has_value()) text_.~GString();
    absent_ = nullptr;
  }

 private:
  static_assert(sizeof(common_base::GString) == sizeof(void*));
  union {
    common_base::GString text_;
    const void* absent_;
  };
};

/// A number and its presence, which is the byte behind it.
template <typename Number>
class OptionalNumber {
 public:
  bool has_value() const { return is_present_; }
  explicit operator bool() const { return has_value(); }
  const Number& operator*() const { return value_; }
  OptionalNumber& operator=(Number value) {
    value_ = value;
    is_present_ = true;
    return *this;
  }
  void reset() { *this = OptionalNumber(); }

 private:
  Number value_ = {};
  bool is_present_ = false;
};

/// FieldRow::flag_offset of a field whose storage starts at `offset`.
constexpr unsigned FlagOffset(FieldKind kind, FieldLabel label, unsigned offset) {
  if (label == FieldLabel::kRepeated) return 0;
  switch (kind) {
    case FieldKind::kInt32:
    case FieldKind::kUint32:
    case FieldKind::kFixed32:
      return offset + sizeof(int);
    case FieldKind::kInt64:
    case FieldKind::kFixed64:
      return offset + sizeof(long long);
    case FieldKind::kBool:
      return offset + sizeof(bool);
    default:
      return 0;
  }
}

template <typename Value>
using OptionalValue = std::conditional_t<std::is_same_v<Value, common_base::GString>, OptionalText,
                                         OptionalNumber<Value>>;

/// The values of a repeated field, in a block that is there once there is a value. They survive
/// being moved bitwise.
template <typename Value>
class RepeatedValues {
 public:
  RepeatedValues() = default;
  RepeatedValues(const RepeatedValues&) = delete;
  RepeatedValues& operator=(const RepeatedValues&) = delete;
  ~RepeatedValues() { Clear(); }

  int length() const { return block_ == nullptr ? 0 : block_->length; }
  /// Whether one more value needs new room.
  bool is_full() const { return block_ == nullptr || block_->length == block_->capacity; }
  Value* begin() const {
    return block_ == nullptr ? nullptr : reinterpret_cast<Value*>(block_ + 1);
  }
  Value* end() const { return begin() + length(); }
  Value& operator[](int index) const { return begin()[index]; }

  void Append(Value value) { new (AddSlot()) Value(std::move(value)); }
  /// The place for one more value, which the caller makes there.
  void* AddSlot() {
    if (is_full()) Grow(kFirstCapacity);
    return begin() + block_->length++;
  }
  /// Makes room for `more` values, or as many again as there are.
  void Grow(int more) {
    const int length = this->length();
    const int capacity = length + std::max(length, more);
    const std::size_t size = sizeof(Block) + sizeof(Value) * static_cast<std::size_t>(capacity);
    auto* block = static_cast<Block*>(common_base::AllocateObject(size));
    if (length > 0) {
      common_base::GMemmove(block + 1, block_ + 1,
                            sizeof(Value) * static_cast<std::size_t>(length));
      common_base::FreeObject(block_);
    }
    block->length = length;
    block->capacity = capacity;
    block_ = block;
  }
  void Clear() {
    if (block_ == nullptr) return;
    std::destroy_n(begin(), block_->length);
    common_base::FreeObject(block_);
    block_ = nullptr;
  }

 private:
  struct Block {
    int length;
    int capacity;
  };
  static_assert(alignof(Value) <= sizeof(Block));
  /// Texts often come alone or in twos.
  static constexpr int kFirstCapacity = std::is_same_v<Value, common_base::GString> ? 2 : 4;

  Block* block_ = nullptr;
};

/// Elements are never null.
using RepeatedMessages = RepeatedValues<common_base::ScopedPtr<Message>>;

/// A nested message, made on first use, and its presence, in one pointer. Once made it stays, so
/// that pointers to it are good as long as the message around it.
class OptionalMessage {
 public:
  OptionalMessage() = default;
  OptionalMessage(const OptionalMessage&) = delete;
  OptionalMessage& operator=(const OptionalMessage&) = delete;
  ~OptionalMessage() { delete object(); }

  bool has_value() const { return Tag() != 0; }
  /// Null when it was never made.
  const Message* get() const { return object(); }
  /// Makes it present.
  Message* Mutable(const MessageDescriptor& descriptor) {
    if (tagged_ == nullptr) tagged_ = reinterpret_cast<char*>(descriptor.make());
    if (!has_value()) ++tagged_;
    return object();
  }
  void reset();

 private:
  std::uintptr_t Tag() const { return reinterpret_cast<std::uintptr_t>(tagged_) & 1; }
  Message* object() const { return reinterpret_cast<Message*>(tagged_ - Tag()); }

  /// The address of the message, which is even, or the next one where it is present.
  char* tagged_ = nullptr;
};

/// Appends a new element and returns it.
inline Message* AddMessage(RepeatedMessages* messages, const MessageDescriptor& descriptor) {
  Message* element = descriptor.make();
  messages->Append(common_base::ScopedPtr<Message>(element));
  return element;
}

/// The text of an absent string field.
const common_base::GString& EmptyText();

/// The message that stands for an absent nested message.
template <typename T>
const T& EmptyMessage() {
  static const T empty;
  return empty;
}

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_FIELD_STORAGE_H_
