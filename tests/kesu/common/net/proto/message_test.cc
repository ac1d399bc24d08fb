#include <climits>

#include <doctest/doctest.h>

#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/common/net/proto/extension_registry.h"
#include "kesu/common/net/proto/message_bytes.h"
#include "kesu/common/net/proto/message_table.h"
#include "kesu/common/net/proto/proto_util.h"

using namespace common_base;
using namespace common_net_proto;
using namespace kesu_test;

namespace {

class Inner final : public TableMessage {
  KESU_MESSAGE_BEGIN(Inner);
  KESU_FIELD(1, kOptional, Int32, value);
  KESU_MESSAGE_END();
};
KESU_DEFINE_MESSAGE(Inner)

/// Remembers the registry it is given to read a field, which then fails: the two ways to read one
/// field lead to each other, and the second of them comes back without a registry.
struct Probe final : Message {
  static const MessageDescriptor kDescriptor;

  void Clear() override {}
  void Write(DataOutputStream*) const override {}
  Message* GetEmbeddedMessage(unsigned short) override { return nullptr; }
  bool ReadSingleFieldOrExtension(unsigned short number, unsigned char wire_type,
                                  DataInputStream* stream,
                                  const ExtensionRegistry* registry) override {
    if (registry == nullptr) return false;
    seen = registry;
    return Message::ReadSingleFieldOrExtension(number, wire_type, stream, registry);
  }

  const ExtensionRegistry* seen = nullptr;
};
const MessageDescriptor Probe::kDescriptor{"Probe", nullptr, 0,
                                           []() -> Message* { return new Probe; }};

/// Every kind; the lines are out of order on purpose.
class Sample final : public TableMessage {
  KESU_MESSAGE_BEGIN(Sample);
  KESU_FIELD(1000, kOptional, String, last);
  KESU_GROUP_FIELD(13, kRepeated, Inner, groups);
  KESU_FIELD(1, kOptional, Int32, i32);
  KESU_FIELD(2, kOptional, Int64, i64);
  KESU_FIELD(3, kOptional, Uint32, u32);
  KESU_FIELD(4, kOptional, Bool, flag);
  KESU_FIELD(5, kOptional, Fixed32, f32);
  KESU_FIELD(7, kOptional, String, text);
  KESU_MESSAGE_FIELD(8, kOptional, Inner, inner);
  KESU_FIELD(9, kRepeated, Int32, numbers);
  KESU_FIELD(10, kRepeated, String, names);
  KESU_MESSAGE_FIELD(11, kRepeated, Inner, inners);
  KESU_GROUP_FIELD(12, kOptional, Inner, group);
  KESU_MESSAGE_FIELD(20, kOptional, Probe, probe);
  KESU_GROUP_FIELD(21, kOptional, Probe, group_probe);
  KESU_MESSAGE_END();
};
KESU_DEFINE_MESSAGE(Sample)

}  // namespace

TEST_CASE("what is read is written back") {
  struct {
    const char *what, *input, *output;
    bool result = true;
  } const kCases[] = {
      {"the greatest number", "10 FF FF FF FF FF FF FF FF 7F", "10 FF FF FF FF FF FF FF FF 7F"},
      {"a tenth byte has 1", "10 80 80 80 80 80 80 80 80 80 7F",
       "10 80 80 80 80 80 80 80 80 80 01"},
      {"a tenth byte has one bit only", "10 81 80 80 80 80 80 80 80 80 7E", "10 01"},
      {"a tenth that goes on gives 0", "10 FF FF FF FF FF FF FF FF FF 80 08 05", "08 05 10 00"},
      {"int32 keeps the low 32 bits", "08 85 80 80 80 10", "08 05"},
      {"int32 is sign-extended", "08 FF FF FF FF 0F", "08 FF FF FF FF FF FF FF FF FF 01"},
      {"uint32 is zero-extended", "18 FF FF FF FF FF FF FF FF FF 01", "18 FF FF FF FF 0F"},
      {"malformed UTF-8 is replaced", "3A 02 41 FF", "3A 04 41 EF BF BD"},
      {"zero and empty are present; the last counts", "08 01 08 00 20 00 3A 00",
       "08 00 20 00 3A 00"},
      {"several single messages are merged", "42 02 08 05 42 00", "42 02 08 05"},
      {"fields are put in order", "C2 3E 01 41 48 02 08 01 48 01", "08 01 48 02 48 01 C2 3E 01 41"},
      {"groups", "63 08 01 64 6B 6C 6B 08 02 6C", "63 08 01 64 6B 6C 6B 08 02 6C"},
      {"a group ends at any end-group key", "63 08 01 0C 08 02", "08 02 63 08 01 64"},
      {"a group ends with the stream", "63 08 01", "63 08 01 64"},
      {"an end-group key in a message ends that", "42 03 0C 08 05 08 01", "08 01 42 00"},
      {"an end-group key at the top ends all", "08 01 0C 08 02", "08 01"},
      {"any wire type: numbers", "0E 05 09 06 13 07", "08 06 10 07"},
      {"any wire type: text and message", "38 01 41 43 02 08 01", "3A 01 41 42 02 08 01"},
      {"any wire type: fixed and group", "28 1 2 3 4 60 08 01 64", "2D 01 02 03 04 63 08 01 64"},
      {"field 65537 is cut to 1", "88 80 20 05", "08 05"},
      {"unknown values", "70 80 01 71 1 2 3 4 5 6 7 8 72 01 08 75 1 2 3 4 08 05", "08 05"},
      {"unknown group in another", "73 10 05 1A 01 74 7B 7C 74 08 05", "08 05"},
      {"unknown groups of one number, nested and in turn", "73 73 74 73 74 74 08 05", "08 05"},
      {"the end of the outer group inside the inner", "73 7B 74 7C 74 08 05", "08 05"},
      {"wire types 6 and 7 in an unknown group", "73 16 1F 74 08 05", "08 05"},
      {"an unknown group without an end", "08 05 73 10 05", "08 05"},
      {"an unknown group cut in a key", "08 05 73 80", "08 05", false},
      {"an overrun in an unknown group", "08 05 73 0A 05 74 74", "08 05", false},
      {"unknown field of wire type 6", "08 01 76 08 02", "08 01", false},
      {"cut in a number", "08 01 10 FF", "08 01 10 00", false},
      {"cut in a text", "3A 02 41", "3A 00", false},
      {"cut in a message", "42 03 08 05", "42 00", false},
      {"text of negative length", "3A FF FF FF FF FF FF FF FF FF 01 41", "3A 00", false},
      {"text of length 2 to the 32nd", "3A 80 80 80 80 10 08 05", "3A 00", false},
      {"failure in a nested message", "42 01 16 08 05", "42 00", false},
      {"failure in a group keeps what came before", "63 08 01 16 64", "63 08 01 64", false},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.what);
    Sample message;
    CHECK(ReadMessage(Bytes(c.input), &message) == c.result);
    CHECK(HexOf(message) == c.output);
  }
}

TEST_CASE("what one reply may become is bounded, and nothing else") {
  // Numbers, texts, empty ones, a text again and again, messages, groups; a message and a number
  // again and again, which take nothing more.
  const char* const kFields[] = {"48 01", "52 01 41", "52 00", "3A 01 41",
                                 "5A 00", "6B 6C",    "42 00", "08 01"};
  for (int i = 0; i < 8; ++i) {
    CAPTURE(kFields[i]);
    const ByteVector field = Bytes(kFields[i]);
    ByteVector bytes;
    for (int n = 0; n < 1000; ++n) bytes.AppendAll(field);
    for (const long long limit : {12'000LL, kDefaultDecodeMemoryLimit}) {
      SetDecodeMemoryLimit(limit);
      const DecodeBudget budget;
      Sample message;
      CHECK(ReadMessage(bytes, &message) == (i >= 6 || limit > 12'000));
      const DecodeBudget fresh;
      CHECK(ReadMessage(field, &message));
    }
    Sample message;
    CHECK(ReadMessage(bytes, &message));
  }
}

TEST_CASE("a megabyte of unknown nested groups needs no call stack") {
  constexpr int kDepth = 1 << 20;
  ByteVector bytes;
  for (int i = 0; i < kDepth; ++i) bytes.Append(0x73);
  for (int i = 0; i < kDepth; ++i) bytes.Append(0x74);
  bytes.AppendAll(Bytes("08 05"));
  Sample message;
  CHECK(ReadMessage(bytes, &message));
  CHECK(HexOf(message) == "08 05");
}

TEST_CASE("keys, flags and zig-zag numbers") {
  ByteVector bytes = Bytes("01 02");
  DataOutputStream out(&bytes);
  ProtoUtil::WriteBytes(1, bytes, &out);
  ProtoUtil::WriteTagAndType(8191, 7, &out);
  ProtoUtil::WriteTagAndType(65535, 0xFC, &out);
  ProtoUtil::WriteBool(2, true, &out);
  for (const long long value : {-1LL, 64LL, LLONG_MIN}) ProtoUtil::WriteZigZagInt(1, value, &out);
  CHECK(ToHex(bytes) ==
        "01 02 0A 02 01 02 FF FF 03 FC FF 1F 10 01 "
        "08 01 08 80 01 08 FF FF FF FF FF FF FF FF FF 01");
  const ByteView view = bytes;
  DataInputStream in(&view);
  in.ReadByteSpan(14);
  for (const long long value : {-1LL, 64LL, LLONG_MIN}) {
    in.ReadUint8();  // The key.
    CHECK(ProtoUtil::ReadZigZagInt(&in) == value);
  }
}

TEST_CASE("accessors set, get and clear; embedded messages are those a value would go into") {
  Sample message;
  message.set_u32(0xFFFFFFFF);
  message.set_text("a");
  message.mutable_inner()->set_value(3);
  message.add_names("b");
  message.add_inners()->set_value(4);
  CHECK(message.GetEmbeddedMessage(8) == &message.inner());
  const Message* element = message.GetEmbeddedMessage(11);
  CHECK(element == &message.inners(1));
  for (const int other : {0, 7, 10, 14, 999, 1000, 65535}) {
    CHECK(message.GetEmbeddedMessage(static_cast<unsigned short>(other)) == nullptr);
  }
  message.add_groups();
  message.mutable_groups(0)->set_value(5);
  CHECK(HexOf(message) ==
        "18 FF FF FF FF 0F 3A 01 61 42 02 08 03 52 01 62 5A 02 08 04 5A 00 6B 08 05 6C");
  CHECK(Sample().inner().value() == 0);
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

TEST_CASE("the registry is passed down to messages and groups") {
  const ExtensionRegistry registry;
  Sample message;
  CHECK_FALSE(ReadMessage(Bytes("A2 01 01 18"), &message, &registry));
  CHECK_FALSE(ReadMessage(Bytes("AB 01 18"), &message, &registry));
  CHECK(message.probe().seen == &registry);
  CHECK(message.group_probe().seen == &registry);
  CHECK(message.probe().MessageTypeId() == 0);
}
