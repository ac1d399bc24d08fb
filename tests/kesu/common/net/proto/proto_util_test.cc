#include "kesu/common/net/proto/proto_util.h"

#include <climits>
#include <string>

#include <doctest/doctest.h>

#include "support/bytes.h"

using common_base::ByteVector;
using common_base::ByteView;
using common_base::DataInputStream;
using common_base::DataOutputStream;
using kesu_test::Bytes;
using kesu_test::ToHex;

namespace {

/// What `write` appends, as hexadecimal text.
template <typename Write>
std::string Written(Write write) {
  ByteVector bytes;
  DataOutputStream stream(&bytes);
  write(&stream);
  return ToHex(bytes);
}

}  // namespace

TEST_CASE("varints are written and read back") {
  struct Row {
    long long value;
    const char* hex;
  };
  const Row rows[] = {
      {0, "00"},
      {1, "01"},
      {127, "7F"},
      {128, "80 01"},
      {300, "AC 02"},
      {INT_MAX, "FF FF FF FF 07"},
      {LLONG_MAX, "FF FF FF FF FF FF FF FF 7F"},
      {-1, "FF FF FF FF FF FF FF FF FF 01"},
      {INT_MIN, "80 80 80 80 F8 FF FF FF FF 01"},
      {LLONG_MIN, "80 80 80 80 80 80 80 80 80 01"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.hex);
    CHECK(Written([&](auto* stream) { ProtoUtil::WriteBareVarint(row.value, stream); }) == row.hex);
    const ByteVector bytes = Bytes(row.hex);
    const ByteView view = bytes;
    DataInputStream stream(&view);
    CHECK(ProtoUtil::ReadVarint(&stream) == row.value);
    CHECK(stream.hit_end_of_file());
    CHECK_FALSE(stream.hit_error());
  }
}

TEST_CASE("odd and broken varints") {
  struct Row {
    const char* what;
    const char* hex;
    long long value;
    int consumed;
    bool is_error;
  };
  const Row rows[] = {
      {"longer than needed", "81 80 00", 1, 3, false},
      {"tenth byte: only the lowest bit counts", "80 80 80 80 80 80 80 80 80 7F", LLONG_MIN, 10,
       false},
      {"tenth byte: lowest bit clear", "81 80 80 80 80 80 80 80 80 7E", 1, 10, false},
      {"goes on after the tenth byte", "FF FF FF FF FF FF FF FF FF 80 01", 0, 10, false},
      {"goes on after the tenth byte, lowest bit set", "81 80 80 80 80 80 80 80 80 81", 0, 10,
       false},
      {"cut", "FF FF", 0, 2, true},
      {"nothing", "", 0, 0, true},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    const ByteVector bytes = Bytes(row.hex);
    const ByteView view = bytes;
    DataInputStream stream(&view);
    CHECK(ProtoUtil::ReadVarint(&stream) == row.value);
    CHECK(stream.position() == row.consumed);
    CHECK(stream.hit_error() == row.is_error);
  }
}

TEST_CASE("zigzag numbers") {
  struct Row {
    long long value;
    unsigned long long encoded;
    const char* field_hex;
  };
  const Row rows[] = {
      {0, 0, "08 00"},
      {-1, 1, "08 01"},
      {1, 2, "08 02"},
      {-64, 127, "08 7F"},
      {LLONG_MAX, ULLONG_MAX - 1, "08 FE FF FF FF FF FF FF FF FF 01"},
      {LLONG_MIN, ULLONG_MAX, "08 FF FF FF FF FF FF FF FF FF 01"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.value);
    CHECK(common_net_proto::ZigZagEncode(row.value) == row.encoded);
    CHECK(common_net_proto::ZigZagDecode(row.encoded) == row.value);
    CHECK(Written([&](auto* stream) { ProtoUtil::WriteZigZagInt(1, row.value, stream); }) ==
          row.field_hex);
    const ByteVector bytes = Bytes(row.field_hex + 3);
    const ByteView view = bytes;
    DataInputStream stream(&view);
    CHECK(ProtoUtil::ReadZigZagInt(&stream) == row.value);
  }
}

TEST_CASE("keys") {
  struct Row {
    unsigned short field;
    unsigned char wire_type;
    const char* hex;
  };
  const Row rows[] = {
      {1, 0, "08"},          {15, 5, "7D"},          {16, 2, "82 01"},       {99, 2, "9A 06"},
      {8191, 7, "FF FF 03"}, {65535, 4, "FC FF 1F"}, {65535, 7, "FF FF 1F"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.hex);
    CHECK(Written([&](auto* stream) {
            ProtoUtil::WriteTagAndType(row.field, row.wire_type, stream);
          }) == row.hex);
    const ByteVector bytes = Bytes(row.hex);
    const ByteView view = bytes;
    DataInputStream stream(&view);
    unsigned short field = 0;
    unsigned char wire_type = 0;
    ProtoUtil::ReadTagAndType(&stream, &field, &wire_type);
    CHECK(field == row.field);
    CHECK(wire_type == row.wire_type);
  }
}

TEST_CASE("fields are written with their key") {
  const ByteVector blob = Bytes("DE AD");
  CHECK(Written([](auto* s) { ProtoUtil::WriteVarint(1, -1, s); }) ==
        "08 FF FF FF FF FF FF FF FF FF 01");
  CHECK(Written([](auto* s) { ProtoUtil::WriteBool(2, true, s); }) == "10 01");
  CHECK(Written([](auto* s) { ProtoUtil::WriteBool(2, false, s); }) == "10 00");
  CHECK(Written([](auto* s) { ProtoUtil::WriteFixed32(1, -2, s); }) == "0D FE FF FF FF");
  CHECK(Written([](auto* s) { ProtoUtil::WriteFixed64(1, 0x0102030405060708, s); }) ==
        "09 08 07 06 05 04 03 02 01");
  CHECK(Written([&](auto* s) { ProtoUtil::WriteBytes(3, blob, s); }) == "1A 02 DE AD");
  CHECK(Written([](auto* s) { ProtoUtil::WriteString(3, "h\xC3\xA9", s); }) == "1A 03 68 C3 A9");
  CHECK(Written([](auto* s) { ProtoUtil::WriteString(3, "", s); }) == "1A 00");
}

TEST_CASE("skipping the value of a key") {
  struct Row {
    const char* what;
    const char* hex;
    bool result;
    int consumed;
    bool is_error;
  };
  const Row rows[] = {
      {"varint", "08 96 01 FF", true, 3, false},
      {"fixed 64", "09 01 02 03 04 05 06 07 08 FF", true, 9, false},
      {"span", "0A 02 41 42 FF", true, 4, false},
      {"fixed 32", "0D 01 02 03 04 FF", true, 5, false},
      {"end group", "0C FF", false, 1, false},
      {"wire type 6", "0E FF", false, 1, false},
      {"wire type 7", "0F FF", false, 1, false},
      {"span past the end", "0A 05 41", true, 3, true},
      {"span of negative length", "0A FF FF FF FF FF FF FF FF FF 01 41", true, 12, true},
      {"span of length 2 to the 31st", "0A 80 80 80 80 08 41", true, 7, true},
      {"span of length 2 to the 32nd", "0A 80 80 80 80 10 41", true, 7, true},
      {"empty group", "0B 0C FF", true, 2, false},
      {"group with fields", "0B 10 05 1A 01 0C 0C FF", true, 7, false},
      {"group in a group", "0B 13 14 0C FF", true, 4, false},
      {"group in a group of the same number", "0B 0B 0C 0C FF", true, 4, false},
      {"stray end of another number", "0B 14 10 05 0C FF", true, 5, false},
      {"end of the outer group inside the inner", "0B 13 0C 14 0C FF", true, 5, false},
      {"wire types 6 and 7 in a group", "0B 16 1F 0C FF", true, 4, false},
      {"group without an end", "0B 10 05", true, 3, false},
      {"group of which only the inner one ends", "0B 13 14", true, 3, false},
      {"group cut in a key", "0B 80", true, 2, true},
      {"group with an overrun", "0B 0A 05 0C 0C", true, 5, true},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    const ByteVector bytes = Bytes(row.hex);
    const ByteView view = bytes;
    DataInputStream stream(&view);
    unsigned short field = 0;
    unsigned char wire_type = 0;
    ProtoUtil::ReadTagAndType(&stream, &field, &wire_type);
    CHECK(ProtoUtil::SkipValue(field, wire_type, &stream) == row.result);
    CHECK(stream.position() == row.consumed);
    CHECK(stream.hit_error() == row.is_error);
  }
}

TEST_CASE("a megabyte of nested groups needs no call stack") {
  constexpr int kDepth = 1 << 20;
  ByteVector bytes;
  for (int i = 0; i < kDepth; ++i) bytes.Append(0x0B);

  SUBCASE("left open") {}
  SUBCASE("all but the outermost closed, between starts and ends without number") {
    for (int i = 0; i < kDepth; ++i) {
      bytes.Append(0x0B);
      bytes.Append(0x0C);
    }
    for (int i = 0; i < kDepth; ++i) bytes.Append(0x0C);
  }

  const ByteView view = bytes;
  DataInputStream stream(&view);
  CHECK(ProtoUtil::SkipValue(1, 3, &stream));
  CHECK(stream.hit_end_of_file());
  CHECK_FALSE(stream.hit_error());
}
