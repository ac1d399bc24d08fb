#include "kesu/common/net/proto/proto_util.h"

#include <climits>
#include <string>

#include <doctest/doctest.h>

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;

TEST_CASE("varints") {
  struct {
    const char* hex;
    long long value;
    int consumed;
    bool is_error = false;
    bool is_written_so = true;
  } const kCases[] = {
      {"00", 0, 1},
      {"7F", 127, 1},
      {"80 01", 128, 2},
      {"FF FF FF FF FF FF FF FF 7F", LLONG_MAX, 9},
      {"80 80 80 80 F8 FF FF FF FF 01", INT_MIN, 10},
      {"80 80 80 80 80 80 80 80 80 01", LLONG_MIN, 10},
      {"81 80 00", 1, 3, false, false},
      {"80 80 80 80 80 80 80 80 80 7F", LLONG_MIN, 10, false, false},
      {"81 80 80 80 80 80 80 80 80 7E", 1, 10, false, false},
      {"FF FF FF FF FF FF FF FF FF 80 01", 0, 10, false, false},
      {"FF FF", 0, 2, true, false},
      {"", 0, 0, true, false},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.hex);
    const ByteVector bytes = Bytes(c.hex);
    const ByteView view = bytes;
    DataInputStream in(&view);
    CHECK(ProtoUtil::ReadVarint(&in) == c.value);
    CHECK(in.position() == c.consumed);
    CHECK(in.hit_error() == c.is_error);
    ByteVector written;
    DataOutputStream out(&written);
    ProtoUtil::WriteBareVarint(c.value, &out);
    CHECK((ToHex(written) == c.hex) == c.is_written_so);
  }
}

TEST_CASE("keys, flags and zig-zag numbers") {
  using Out = DataOutputStream;
  struct {
    void (*write)(Out*);
    const char* hex;
  } const kCases[] = {
      {[](Out* s) { ProtoUtil::WriteTagAndType(8191, 7, s); }, "FF FF 03"},
      {[](Out* s) { ProtoUtil::WriteTagAndType(65535, 0xFC, s); }, "FC FF 1F"},
      {[](Out* s) { ProtoUtil::WriteBool(2, true, s); }, "10 01"},
      {[](Out* s) { ProtoUtil::WriteBool(2, false, s); }, "10 00"},
      {[](Out* s) { ProtoUtil::WriteZigZagInt(1, -1, s); }, "08 01"},
      {[](Out* s) { ProtoUtil::WriteZigZagInt(1, 64, s); }, "08 80 01"},
      {[](Out* s) { ProtoUtil::WriteZigZagInt(1, LLONG_MIN, s); },
       "08 FF FF FF FF FF FF FF FF FF 01"},
  };
  for (const auto& c : kCases) {
    ByteVector bytes;
    DataOutputStream stream(&bytes);
    c.write(&stream);
    CHECK(ToHex(bytes) == c.hex);
  }
  const ByteVector zigzag = Bytes("01 80 01 FF FF FF FF FF FF FF FF FF 01");
  const ByteView view = zigzag;
  DataInputStream in(&view);
  for (const long long value : {-1LL, 64LL, LLONG_MIN}) {
    CHECK(ProtoUtil::ReadZigZagInt(&in) == value);
  }
}

TEST_CASE("skipping what cannot be skipped, and groups") {
  struct {
    const char *what, *hex;
    int consumed;
    bool is_error = false;
    bool result = true;
  } const kCases[] = {
      {"end group", "0C FF", 1, false, false},
      {"wire type 6", "0E FF", 1, false, false},
      {"wire type 7", "0F FF", 1, false, false},
      {"span of negative length", "0A FF FF FF FF FF FF FF FF FF 01 41", 12, true},
      {"span of length 2 to the 31st", "0A 80 80 80 80 08 41", 7, true},
      {"span of length 2 to the 32nd", "0A 80 80 80 80 10 41", 7, true},
      {"group with fields", "0B 10 05 1A 01 0C 0C FF", 7},
      {"groups of the same number, in it and in turn", "0B 0B 0C 0B 0C 0C FF", 6},
      {"end of the outer group inside the inner", "0B 13 0C 14 0C FF", 5},
      {"wire types 6 and 7 in a group", "0B 16 1F 0C FF", 4},
      {"group without an end", "0B 10 05", 3},
      {"group cut in a key", "0B 80", 2, true},
      {"group with an overrun", "0B 0A 05 0C 0C", 5, true},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.what);
    const ByteVector bytes = Bytes(c.hex);
    const ByteView view = bytes;
    DataInputStream stream(&view);
    unsigned short field = 0;
    unsigned char wire_type = 0;
    ProtoUtil::ReadTagAndType(&stream, &field, &wire_type);
    CHECK(ProtoUtil::SkipValue(field, wire_type, &stream) == c.result);
    CHECK(stream.position() == c.consumed);
    CHECK(stream.hit_error() == c.is_error);
  }
}

TEST_CASE("a megabyte of nested groups needs no call stack") {
  constexpr int kDepth = 1 << 20;
  ByteVector bytes;
  for (int i = 0; i < kDepth; ++i) bytes.Append(0x0B);
  for (int i = 0; i <= kDepth; ++i) bytes.Append(0x0C);
  const ByteView view = bytes;
  DataInputStream stream(&view);
  CHECK(ProtoUtil::SkipValue(1, 3, &stream));
  CHECK(stream.hit_end_of_file());
  CHECK_FALSE(stream.hit_error());
}
