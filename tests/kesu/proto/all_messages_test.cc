#include <map>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/net/proto/message.h"
#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/common/net/proto/proto_util.h"
#include "kesu/proto/lbs.h"
#include "kesu/proto/terrabase.h"

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::kReferenceExistingBuffer;
using common_base::ScopedPtr;
using common_net_proto::FieldKind;
using common_net_proto::FieldRow;
using common_net_proto::Message;
using common_net_proto::MessageDescriptor;
using kesu_test::Bytes;
using kesu_test::BytesOf;
using kesu_test::HexOf;
using kesu_test::ReadMessage;
using kesu_test::ToHex;

namespace {

constexpr int kElementsPerRepeatedField = 2;

/// Unknown to every class: a field of each wire type, number 2000. The group nests another, with
/// end-group keys of other numbers in both.
constexpr const char kUnknownFields[] =
    "80 7D FF 01 "
    "81 7D 01 02 03 04 05 06 07 08 "
    "82 7D 02 08 0C "
    "83 7D 0C 08 01 8B 7D 84 7D 1C 8C 7D 64 84 7D "
    "85 7D 01 02 03 04";

std::vector<const MessageDescriptor*> AllMessages() {
  std::vector<const MessageDescriptor*> all;
  for (const auto& messages : {lbs::Messages(), terrabase::Messages()}) {
    all.insert(all.end(), messages.begin(), messages.end());
  }
  return all;
}

void Fill(Message* message);

void PutSomething(const FieldRow& row, int seed, Message* message) {
  switch (row.kind) {
    case FieldKind::kString:
      return row.PutText(message, seed % 2 == 0 ? "" : "\xE2\x82\xAC");
    case FieldKind::kMessage:
    case FieldKind::kGroup:
      return Fill(row.PutMessage(message));
    default:
      return row.PutNumber(message, seed % 2 == 0 ? -seed : 100LL * seed);
  }
}

void Fill(Message* message) {
  for (const FieldRow& row : message->descriptor()) {
    const int count = row.is_repeated() ? kElementsPerRepeatedField : 1;
    for (int i = 0; i < count; ++i) PutSomething(row, row.number + i, message);
  }
}

ByteView Prefix(const ByteVector& bytes, int length) {
  return {kReferenceExistingBuffer, bytes.data(), length};
}

unsigned char WireTypeOf(FieldKind kind) {
  switch (kind) {
    case FieldKind::kFixed64:
      return 1;
    case FieldKind::kString:
    case FieldKind::kMessage:
      return 2;
    case FieldKind::kGroup:
      return 3;
    case FieldKind::kFixed32:
      return 5;
    default:
      return 0;
  }
}

/// The positions where a top-level field ends, 0 first. Checks the keys on the way: each field as
/// often as it was filled, in ascending order, with the wire type of its kind.
std::vector<int> CheckKeys(const ByteVector& bytes, const MessageDescriptor& descriptor) {
  std::vector<int> boundaries = {0};
  const ByteView view = bytes;
  DataInputStream stream(&view);
  for (const FieldRow& row : descriptor) {
    const int count = row.is_repeated() ? kElementsPerRepeatedField : 1;
    for (int i = 0; i < count; ++i) {
      unsigned short number = 0;
      unsigned char wire_type = 0;
      ProtoUtil::ReadTagAndType(&stream, &number, &wire_type);
      CHECK(number == row.number);
      CHECK(wire_type == WireTypeOf(row.kind));
      CHECK(ProtoUtil::SkipValue(number, wire_type, &stream));
      boundaries.push_back(stream.position());
    }
  }
  CHECK(stream.position() == bytes.length());
  CHECK_FALSE(stream.hit_error());
  return boundaries;
}

bool HasGroups(const MessageDescriptor& descriptor) {
  for (const FieldRow& row : descriptor) {
    if (row.kind == FieldKind::kGroup) return true;
  }
  return false;
}

/// A message cut between two fields is the shorter message; cut anywhere else it fails, except in a
/// group, which the end of the stream may end.
void CheckCuts(const ByteVector& bytes, const std::vector<int>& boundaries,
               const MessageDescriptor& descriptor) {
  std::size_t next_boundary = 0;
  for (int length = 0; length < bytes.length(); ++length) {
    const ScopedPtr<Message> message(descriptor.make());
    const bool is_read = ReadMessage(Prefix(bytes, length), message.get());
    if (length == boundaries[next_boundary]) {
      ++next_boundary;
      REQUIRE(is_read);
      REQUIRE(BytesOf(*message).BitwiseEquals(Prefix(bytes, length)));
    } else if (!HasGroups(descriptor)) {
      REQUIRE_FALSE(is_read);
    }
  }
}

ByteVector WithUnknownFields(const ByteVector& bytes, const std::vector<int>& boundaries) {
  const ByteVector unknown = Bytes(kUnknownFields);
  ByteVector all;
  all.AppendAll(unknown);
  for (std::size_t i = 1; i < boundaries.size(); ++i) {
    all.AppendAll({kReferenceExistingBuffer, bytes.data() + boundaries[i - 1],
                   boundaries[i] - boundaries[i - 1]});
    all.AppendAll(unknown);
  }
  return all;
}

int CountValues(const Message& message) {
  int values = 0;
  for (const FieldRow& row : message.descriptor()) values += row.Count(message);
  return values;
}

}  // namespace

TEST_CASE("every message class: filled, written, cut, read, cleared") {
  for (const MessageDescriptor* descriptor : AllMessages()) {
    CAPTURE(descriptor->name);
    const ScopedPtr<Message> message(descriptor->make());
    CHECK(&message->descriptor() == descriptor);
    CHECK(CountValues(*message) == 0);
    CHECK(BytesOf(*message).IsEmpty());

    Fill(message.get());
    const ByteVector bytes = BytesOf(*message);
    const std::vector<int> boundaries = CheckKeys(bytes, *descriptor);
    CheckCuts(bytes, boundaries, *descriptor);

    const ScopedPtr<Message> copy(descriptor->make());
    CHECK(ReadMessage(bytes, copy.get()));
    CHECK(HexOf(*copy) == ToHex(bytes));

    const ScopedPtr<Message> sparse(descriptor->make());
    CHECK(ReadMessage(WithUnknownFields(bytes, boundaries), sparse.get()));
    CHECK(HexOf(*sparse) == ToHex(bytes));

    copy->Clear();
    CHECK(CountValues(*copy) == 0);
    CHECK(BytesOf(*copy).IsEmpty());
    Fill(copy.get());
    CHECK(HexOf(*copy) == ToHex(bytes));
  }
}

TEST_CASE("the tables of all message classes are well-formed") {
  std::map<std::string, int> names;
  for (const MessageDescriptor* descriptor : AllMessages()) {
    CAPTURE(descriptor->name);
    CHECK(++names[descriptor->name] == 1);
    std::map<std::string, int> fields;
    for (const FieldRow& row : *descriptor) {
      CAPTURE(row.name);
      CHECK(descriptor->Find(row.number) == &row);
      CHECK(++fields[row.name] == 1);
      CHECK(row.is_nested() == (row.kind == FieldKind::kMessage || row.kind == FieldKind::kGroup));
    }
    CHECK(descriptor->Find(0) == nullptr);
    CHECK(descriptor->Find(2000) == nullptr);
  }
}

namespace {

/// Counts the numbers of a message and of the groups in it, at any depth.
void CountGroupNumbers(const MessageDescriptor& descriptor, std::map<int, int>* numbers) {
  for (const FieldRow& row : descriptor) {
    ++(*numbers)[row.number];
    if (row.kind == FieldKind::kGroup) CountGroupNumbers(*row.nested, numbers);
  }
}

}  // namespace

TEST_CASE("no field number is used twice in a message and its groups") {
  for (const MessageDescriptor* descriptor : AllMessages()) {
    CAPTURE(descriptor->name);
    std::map<int, int> numbers;
    CountGroupNumbers(*descriptor, &numbers);
    for (const auto& number_and_uses : numbers) {
      CAPTURE(number_and_uses.first);
      CHECK(number_and_uses.second == 1);
    }
  }
}
