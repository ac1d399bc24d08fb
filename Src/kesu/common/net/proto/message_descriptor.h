#ifndef KESU_COMMON_NET_PROTO_MESSAGE_DESCRIPTOR_H_
#define KESU_COMMON_NET_PROTO_MESSAGE_DESCRIPTOR_H_

#include "kesu/common/base/gstring.h"

namespace common_net_proto {

class Message;
struct MessageDescriptor;

/// How the values of a field are encoded, and what they are held in.
enum class FieldKind : unsigned char {
  kInt32,    ///< varint, sign-extended to 64 bits; int
  kInt64,    ///< varint; long long
  kUint32,   ///< varint, zero-extended; unsigned
  kBool,     ///< varint 0 or 1; bool
  kFixed32,  ///< 4 bytes, little-endian; int
  kFixed64,  ///< 8 bytes, little-endian; long long
  kString,   ///< length-delimited UTF-8; GString
  kMessage,  ///< length-delimited nested message
  kGroup,    ///< nested message between a start-group and an end-group key
};

enum class FieldLabel : unsigned char { kOptional, kRepeated };

/// One field of a message class. The operations work on any message of that class, by the field's
/// place in it; a message of another class is a mistake of the caller.
struct FieldRow {
  unsigned short number;
  FieldKind kind;
  FieldLabel label;
  /// Bytes from the start of the message to what holds the field.
  unsigned offset;
  const char* name;
  /// The class of a nested message; null for every other kind.
  const MessageDescriptor* nested;
  /// Where a single number has the byte that says whether it is present; 0 for every other field,
  /// which is held in a pointer.
  unsigned flag_offset;

  constexpr bool is_repeated() const { return label == FieldLabel::kRepeated; }
  constexpr bool is_nested() const { return nested != nullptr; }
  constexpr bool is_text() const { return kind == FieldKind::kString; }
  constexpr bool is_number() const { return !is_nested() && !is_text(); }

  /// The number of values present: 0 or 1 unless repeated.
  int Count(const Message& message) const;
  /// A value by its index, which is below Count(); each for the kinds it names. NumberAt extends
  /// unsigned kinds with zeros and signed ones with their sign.
  long long NumberAt(const Message& message, int index) const;
  const common_base::GString& TextAt(const Message& message, int index) const;
  const Message& MessageAt(const Message& message, int index) const;
  /// Sets the value of a single field, or appends one to a repeated field. A number is cut to what
  /// the field holds (a bool becomes true for anything but 0).
  void PutNumber(Message* message, long long value) const;
  void PutText(Message* message, const common_base::GString& value) const;
  /// The nested message, made present, or a new element; it stays `message`'s.
  Message* PutMessage(Message* message) const;
  /// Makes the field absent.
  void Clear(Message* message) const;
};

/// A message class: its fields in ascending order of their numbers.
struct MessageDescriptor {
  /// The class without its namespace.
  const char* name = "";
  const FieldRow* rows = nullptr;
  int row_count = 0;
  /// Makes an empty message, which is then the caller's.
  Message* (*make)() = nullptr;
  /// Bytes of an empty message; 0 for a class that has no table.
  unsigned size = 0;

  /// Has a table, and Read() is TableMessage's own.
  bool is_read_by_table = false;
  /// The rows at the start of the table whose numbers follow each other, from that of the first.
  unsigned short first_number = 0;
  unsigned short dense_count = 0;

  constexpr bool has_table() const { return size != 0; }

  constexpr const FieldRow* begin() const { return rows; }
  constexpr const FieldRow* end() const { return rows + row_count; }
  /// Null when there is no such field.
  const FieldRow* Find(unsigned short number) const {
    const unsigned index = number - unsigned{first_number};
    return index < dense_count ? rows + index : FindSparse(number);
  }
  /// The same, without regard to which rows are dense.
  const FieldRow* FindSparse(unsigned short number) const;
};

}  // namespace common_net_proto

#endif  // KESU_COMMON_NET_PROTO_MESSAGE_DESCRIPTOR_H_
