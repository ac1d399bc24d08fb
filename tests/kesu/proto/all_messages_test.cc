#include <map>
#include <string>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/proto/lbs.h"
#include "kesu/proto/terrabase.h"

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::kAllocateAndCopy;
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
    for (int i = 0; i < (row.is_repeated() ? 2 : 1); ++i)
      PutSomething(row, row.number + i, message);
  }
}

bool HasGroups(const MessageDescriptor& descriptor) {
  for (const FieldRow& row : descriptor) {
    if (row.kind == FieldKind::kGroup) return true;
  }
  return false;
}

bool IsEmpty(const Message& message) {
  for (const FieldRow& row : message.descriptor()) {
    if (row.Count(message) > 0) return false;
  }
  return BytesOf(message).IsEmpty();
}

/// Counts the numbers of a message and of the groups in it, at any depth.
void CountNumbers(const MessageDescriptor& descriptor, std::map<int, int>* numbers) {
  for (const FieldRow& row : descriptor) {
    ++(*numbers)[row.number];
    if (row.kind == FieldKind::kGroup) CountNumbers(*row.nested, numbers);
  }
}

}  // namespace

TEST_CASE("every message class: filled, written, cut, read, cleared") {
  for (const MessageDescriptor* descriptor : AllMessages()) {
    CAPTURE(descriptor->name);
    const ScopedPtr<Message> message(descriptor->make());
    CHECK(&message->descriptor() == descriptor);
    CHECK(IsEmpty(*message));
    Fill(message.get());
    const ByteVector bytes = BytesOf(*message);
    const std::string hex = ToHex(bytes);

    // What is read without failure is all there was; only groups may end with the stream.
    for (int length = 0; length < bytes.length(); ++length) {
      const ByteVector cut(kAllocateAndCopy, bytes.data(), length);
      const ScopedPtr<Message> part(descriptor->make());
      if (ReadMessage(cut, part.get()) && !HasGroups(*descriptor)) {
        REQUIRE(BytesOf(*part).BitwiseEquals(cut));
      }
    }

    const ScopedPtr<Message> copy(descriptor->make());
    CHECK(ReadMessage(Bytes(kUnknownFields + (" " + hex) + " " + kUnknownFields), copy.get()));
    CHECK(HexOf(*copy) == hex);
    copy->Clear();
    CHECK(IsEmpty(*copy));
    Fill(copy.get());
    CHECK(HexOf(*copy) == hex);
  }
}

TEST_CASE("names are unique, and no number is used twice in a message and its groups") {
  std::map<std::string, int> names;
  for (const MessageDescriptor* descriptor : AllMessages()) {
    CAPTURE(descriptor->name);
    CHECK(++names[descriptor->name] == 1);
    std::map<std::string, int> fields;
    for (const FieldRow& row : *descriptor) CHECK(++fields[row.name] == 1);
    std::map<int, int> numbers;
    CountNumbers(*descriptor, &numbers);
    for (const auto& number_and_uses : numbers) CHECK(number_and_uses.second == 1);
  }
}
