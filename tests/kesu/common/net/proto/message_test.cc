#include <doctest/doctest.h>

#include "kesu/common/net/proto/extension_registry.h"
#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/common/net/proto/message_table.h"

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_net_proto::ExtensionRegistry;
using common_net_proto::Message;
using common_net_proto::MessageDescriptor;
using kesu_test::Bytes;
using kesu_test::HexOf;
using kesu_test::ReadMessage;

namespace {

class Inner final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(Inner);
  KESU_FIELD(1, kOptional, Int32, value);
  KESU_MESSAGE_END();
};
KESU_DEFINE_MESSAGE(Inner)

/// Every kind; the lines are out of order on purpose.
class Sample final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(Sample);
  KESU_FIELD(1000, kOptional, String, last);
  KESU_GROUP_FIELD(13, kRepeated, Inner, groups);
  KESU_FIELD(1, kOptional, Int32, i32);
  KESU_FIELD(2, kOptional, Int64, i64);
  KESU_FIELD(3, kOptional, Uint32, u32);
  KESU_FIELD(4, kOptional, Bool, flag);
  KESU_FIELD(5, kOptional, Fixed32, f32);
  KESU_FIELD(6, kOptional, Fixed64, f64);
  KESU_FIELD(7, kOptional, String, text);
  KESU_MESSAGE_FIELD(8, kOptional, Inner, inner);
  KESU_FIELD(9, kRepeated, Int32, numbers);
  KESU_FIELD(10, kRepeated, String, names);
  KESU_MESSAGE_FIELD(11, kRepeated, Inner, inners);
  KESU_GROUP_FIELD(12, kOptional, Inner, group);
  KESU_MESSAGE_END();
};
KESU_DEFINE_MESSAGE(Sample)

}  // namespace

TEST_CASE("what is read is written back") {
  struct {
    const char *what, *input;
    bool result;
    const char* output;
  } const kCases[] = {
      {"int32 is sign-extended", "08 FF FF FF FF FF FF FF FF FF 01", true,
       "08 FF FF FF FF FF FF FF FF FF 01"},
      {"int32 keeps the low 32 bits", "08 85 80 80 80 10", true, "08 05"},
      {"uint32 is zero-extended", "18 FF FF FF FF FF FF FF FF FF 01", true, "18 FF FF FF FF 0F"},
      {"fixed", "2D FE FF FF FF 31 01 02 03 04 05 06 07 88", true,
       "2D FE FF FF FF 31 01 02 03 04 05 06 07 88"},
      {"malformed UTF-8 is replaced", "3A 02 41 FF", true, "3A 04 41 EF BF BD"},
      {"zero and empty values are present; the last counts", "08 01 08 00 20 00 3A 00 42 00", true,
       "08 00 20 00 3A 00 42 00"},
      {"several single messages are merged", "42 02 08 05 42 00", true, "42 02 08 05"},
      {"repeated values keep their order", "48 02 52 01 42 48 01 52 01 41", true,
       "48 02 48 01 52 01 42 52 01 41"},
      {"fields are written in ascending order", "C2 3E 01 41 08 01", true, "08 01 C2 3E 01 41"},
      {"groups", "63 08 01 64 6B 6C 6B 08 02 6C", true, "63 08 01 64 6B 6C 6B 08 02 6C"},
      {"a group ends at any end-group key", "63 08 01 0C 08 02", true, "08 02 63 08 01 64"},
      {"a group ends with the stream", "63 08 01", true, "63 08 01 64"},
      {"a group in a group skips unknown groups", "63 1B 24 1C 08 01 64", true, "63 08 01 64"},
      {"an end-group key in a nested message ends that", "42 03 0C 08 05 08 01", true,
       "08 01 42 00"},
      {"an end-group key at the top ends all", "08 01 0C 08 02", true, "08 01"},
      {"unknown fields are skipped",
       "08 01 70 05 71 01 02 03 04 05 06 07 08 72 01 08 73 08 05 7C 74 75 01 02 03 04 10 02", true,
       "08 01 10 02"},
      {"unknown field of wire type 6", "08 01 76 08 02", false, "08 01"},
      {"unknown field of wire type 7", "08 01 77 08 02", false, "08 01"},
      {"the wire type of a known field is not looked at: number", "0E 05 09 06 13 07", true,
       "08 06 10 07"},
      {"the same: text and message", "38 01 41 43 02 08 01", true, "3A 01 41 42 02 08 01"},
      {"the same: fixed and group", "28 01 02 03 04 60 08 01 64", true,
       "2D 01 02 03 04 63 08 01 64"},
      {"field 65537 is cut to 1", "88 80 20 05", true, "08 05"},
      {"cut in a number", "08 01 10 80", false, "08 01 10 00"},
      {"cut in a text", "3A 02 41", false, "3A 00"},
      {"cut in a message", "42 03 08 05", false, "42 00"},
      {"negative length", "42 FF FF FF FF FF FF FF FF FF 01 08", false, "42 00"},
      {"failure in a nested message", "42 01 16 08 05", false, "42 00"},
      {"failure in a group keeps what came before", "63 08 01 16 64", false, "63 08 01 64"},
      {"over-long varint is 0", "08 FF FF FF FF FF FF FF FF FF FF", true, "08 00"},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.what);
    Sample message;
    CHECK(ReadMessage(Bytes(c.input), &message) == c.result);
    CHECK(HexOf(message) == c.output);
  }
}

TEST_CASE("accessors set, get and clear") {
  Sample message;
  message.set_u32(0xFFFFFFFF);
  message.set_text("a");
  message.mutable_inner()->set_value(3);
  message.add_names("b");
  message.add_inners()->set_value(4);
  message.add_groups();
  message.mutable_groups(0)->set_value(5);
  CHECK(HexOf(message) ==
        "18 FF FF FF FF 0F 3A 01 61 42 02 08 03 52 01 62 5A 02 08 04 6B 08 05 6C");
  CHECK(message.u32() == 0xFFFFFFFF);
  CHECK(message.names(0) == "b");
  CHECK(message.inners(0).value() == 4);

  message.clear_u32();
  message.clear_text();
  message.clear_inner();
  message.clear_names();
  message.clear_inners();
  CHECK(HexOf(message) == "6B 08 05 6C");
  CHECK(message.u32() == 0);
  CHECK(message.text() == "");
  CHECK_FALSE(message.mutable_inner()->has_value());
}

TEST_CASE("embedded messages are those that a value would go into") {
  Sample message;
  const Message* group = message.GetEmbeddedMessage(12);
  const Message* element = message.GetEmbeddedMessage(13);
  CHECK(group == &message.group());
  CHECK(element == &message.groups(0));
  CHECK(message.GetEmbeddedMessage(8) == message.GetEmbeddedMessage(8));
  CHECK(message.GetEmbeddedMessage(11) != message.GetEmbeddedMessage(11));
  const unsigned short others[] = {0, 1, 7, 9, 10, 14, 999, 1000, 1001, 65535};
  for (const auto other : others) CHECK(message.GetEmbeddedMessage(other) == nullptr);
  CHECK(HexOf(message) == "42 00 5A 00 5A 00 63 64 6B 6C");
}

namespace {

/// Remembers what it is given to read a field.
class Probe final : public Message {
 public:
  static const MessageDescriptor kDescriptor;

  void Clear() override {}
  void Write(DataOutputStream*) const override {}
  Message* GetEmbeddedMessage(unsigned short) override { return nullptr; }
  bool ReadSingleField(unsigned short number, unsigned char, DataInputStream*) override {
    field = number;
    return number != 2;
  }
  bool ReadSingleFieldOrExtension(unsigned short number, unsigned char wire_type,
                                  DataInputStream* stream,
                                  const ExtensionRegistry* registry) override {
    seen = registry;
    return Message::ReadSingleFieldOrExtension(number, wire_type, stream, registry);
  }

  unsigned short field = 0;
  const ExtensionRegistry* seen = nullptr;
};
const MessageDescriptor Probe::kDescriptor{"Probe", nullptr, 0,
                                           []() -> Message* { return new Probe; }};

class ProbeHolder final : public common_net_proto::TableMessage {
  KESU_MESSAGE_BEGIN(ProbeHolder);
  KESU_MESSAGE_FIELD(1, kOptional, Probe, message);
  KESU_GROUP_FIELD(2, kOptional, Probe, group);
  KESU_MESSAGE_END();
};
KESU_DEFINE_MESSAGE(ProbeHolder)

}  // namespace

TEST_CASE("the registry is passed down, and the two ways to read one field lead to each other") {
  const ExtensionRegistry registry;
  const ByteVector bytes = Bytes("0A 01 18 13 10");
  const ByteView view = bytes;
  DataInputStream stream(&view);
  ProbeHolder holder;
  Message& message = holder;
  CHECK_FALSE(message.Read(&stream, &registry));
  CHECK(holder.message().seen == &registry);
  CHECK(holder.message().field == 3);
  CHECK(holder.group().seen == &registry);
  CHECK(holder.group().field == 2);

  DataInputStream again(&view);
  CHECK_FALSE(message.ReadSingleField(2, 3, &again));
  CHECK(holder.group().seen == nullptr);
  CHECK(message.MessageTypeId() == 0);
}
