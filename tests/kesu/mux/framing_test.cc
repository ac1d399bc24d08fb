#include <functional>
#include <string>

#include <doctest/doctest.h>

#include "kesu/mux/kesu_request_builder.h"
#include "kesu/mux/kesu_response_parser.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using common_base::ByteVector;
using common_base::ByteView;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;

namespace {

struct VarintRow {
  unsigned long long value;
  const char* bytes;
};

constexpr VarintRow kVarints32[] = {
    {0, "00"},
    {1, "01"},
    {127, "7F"},
    {128, "80 01"},
    {300, "AC 02"},
    {16383, "FF 7F"},
    {16384, "80 80 01"},
    {0x1FFFFF, "FF FF 7F"},
    {0x200000, "80 80 80 01"},
    {0xFFFFFFF, "FF FF FF 7F"},
    {0x10000000, "80 80 80 80 01"},
    {0x7FFFFFFF, "FF FF FF FF 07"},
    {0x80000000, "80 80 80 80 08"},
    {0xFFFFFFFF, "FF FF FF FF 0F"},
};

constexpr VarintRow kVarints64[] = {
    {0x100000000, "80 80 80 80 10"},
    {0x7FFFFFFFFFFFFFFF, "FF FF FF FF FF FF FF FF 7F"},
    {0x8000000000000000, "80 80 80 80 80 80 80 80 80 01"},
    {0xFFFFFFFFFFFFFFFF, "FF FF FF FF FF FF FF FF FF 01"},
};

void WriteBytes(KesuRequestBuilder* builder, int count, unsigned char byte) {
  for (int i = 0; i < count; ++i) builder->WriteUint8(byte);
}

std::string Repeated(int count, const char* hex) {
  std::string text;
  for (int i = 0; i < count; ++i) text += std::string(" ") + hex;
  return text;
}

}  // namespace

TEST_CASE("varints are written in as few bytes as possible") {
  for (const VarintRow& row : kVarints32) {
    CAPTURE(row.value);
    ByteVector out = Bytes("EE");
    KesuRequestBuilder builder(&out);
    builder.WriteVarint32(static_cast<unsigned>(row.value));
    builder.WriteVarint64(row.value);
    CHECK(ToHex(out) == std::string("EE ") + row.bytes + " " + row.bytes);
    UInt32ToVarint(static_cast<unsigned>(row.value), &out);
    CHECK(ToHex(out) == row.bytes);
  }
  for (const VarintRow& row : kVarints64) {
    ByteVector out;
    KesuRequestBuilder(&out).WriteVarint64(row.value);
    CHECK(ToHex(out) == row.bytes);
  }
}

TEST_CASE("length marks of every width") {
  using Build = std::function<void(KesuRequestBuilder*)>;
  struct Row {
    std::string what;
    Build build;
    std::string bytes;
  };
  const Row rows[] = {
      {"8 bits",
       [](auto* b) {
         b->Write8bitLengthMark();
         WriteBytes(b, 3, 0xAA);
         b->WriteBackLengthMark();
       },
       "03 AA AA AA"},
      {"8 bits, cut to the low byte",
       [](auto* b) {
         b->Write8bitLengthMark();
         WriteBytes(b, 258, 0xAA);
         b->WriteBackLengthMark();
       },
       "02" + Repeated(258, "AA")},
      {"16 bits",
       [](auto* b) {
         b->Write16bitLengthMark();
         WriteBytes(b, 258, 0xAA);
         b->WriteBackLengthMark();
       },
       "01 02" + Repeated(258, "AA")},
      {"16 bits, cut to the low half",
       [](auto* b) {
         b->Write16bitLengthMark();
         WriteBytes(b, 65537, 0xAA);
         b->WriteBackLengthMark();
       },
       "00 01" + Repeated(65537, "AA")},
      {"32 bits",
       [](auto* b) {
         b->Write32bitLengthMark();
         WriteBytes(b, 65537, 0xAA);
         b->WriteBackLengthMark();
       },
       "00 01 00 01" + Repeated(65537, "AA")},
      {"varint of nothing",
       [](auto* b) {
         b->WriteVarintLengthMark();
         b->WriteBackLengthMark();
       },
       "00"},
      {"varint of one byte",
       [](auto* b) {
         b->WriteVarintLengthMark();
         WriteBytes(b, 127, 0xAA);
         b->WriteBackLengthMark();
       },
       "7F" + Repeated(127, "AA")},
      {"varint of two bytes moves the content",
       [](auto* b) {
         b->WriteVarintLengthMark();
         b->WriteUint8(0xBB);
         WriteBytes(b, 127, 0xAA);
         b->WriteBackLengthMark();
       },
       "80 01 BB" + Repeated(127, "AA")},
      {"an inner varint that grows counts in the outer marks",
       [](auto* b) {
         b->WriteUint8(0xEE);
         b->Write16bitLengthMark();
         b->WriteVarintLengthMark();
         b->WriteUint8(0xCC);
         b->WriteVarintLengthMark();
         WriteBytes(b, 128, 0xAA);
         b->WriteBackLengthMark();
         b->WriteBackLengthMark();
         b->WriteUint8(0xDD);
         b->WriteBackLengthMark();
       },
       // 2 + 128 inside, 1 + 130 = 131 in the middle, 2 + 131 + 1 = 134 outside.
       "EE 00 86 83 01 CC 80 01" + Repeated(128, "AA") + " DD"},
      {"an offset is taken off",
       [](auto* b) {
         b->Write32bitLengthMark();
         WriteBytes(b, 6, 0xAA);
         b->WriteBackLengthMarkWithOffset(2);
       },
       "00 00 00 04" + Repeated(6, "AA")},
      {"an offset beyond the content wraps",
       [](auto* b) {
         b->Write16bitLengthMark();
         b->WriteVarintLengthMark();
         b->WriteBackLengthMarkWithOffset(1);
         b->WriteBackLengthMarkWithOffset(6);
       },
       "FF FF FF FF FF FF 0F"},
      {"text",
       [](auto* b) {
         b->WriteUtf8StringWithNoLength("\xC3\xA9");
         b->WriteTaggedUtf8StringWithVarintLength(0x12, "a\xC3\xA9");
         b->WriteTaggedUtf8StringWithVarintLength(0x1A, "");
       },
       "C3 A9 12 03 61 C3 A9 1A 00"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.what);
    ByteVector out;
    KesuRequestBuilder builder(&out);
    row.build(&builder);
    CHECK(ToHex(out) == row.bytes);
  }
}

TEST_CASE("writing back a mark that nobody opened is reported and does nothing") {
  const kesu_test::LogCapture log(common_base::kLogErrors);
  ByteVector out = Bytes("AA");
  KesuRequestBuilder(&out).WriteBackLengthMark();
  CHECK(ToHex(out) == "AA");
  CHECK(log.lines().size() == 1);
}

TEST_CASE("varints are read back") {
  struct Row {
    std::string bytes;
    unsigned value32;
    int taken32;
    bool error32;
    unsigned long long value64;
    int taken64;
    bool error64;
  };
  // Bit 31 is extended into the upper half of a 64-bit result, and what lies above is dropped.
  const Row rows[] = {
      {"00", 0, 1, false, 0, 1, false},
      {"7F 80", 127, 1, false, 127, 1, false},
      {"80 01", 128, 2, false, 128, 2, false},
      {"80 00", 0, 2, false, 0, 2, false},
      {"FF FF FF FF 07", 0x7FFFFFFF, 5, false, 0x7FFFFFFF, 5, false},
      {"80 80 80 80 08", 0x80000000, 5, false, 0xFFFFFFFF80000000, 5, false},
      {"FF FF FF FF 0F", 0xFFFFFFFF, 5, false, 0xFFFFFFFFFFFFFFFF, 5, false},
      {"80 80 80 80 10", 0, 5, false, 0, 5, false},
      {"81 80 80 80 90 01", 1, 5, false, 1, 6, false},
      {"FF FF FF FF FF 00", 0xFFFFFFFF, 5, false, 0xFFFFFFFFFFFFFFFF, 6, false},
      {"85 80 80 80 80 80 80 80 80 FF 01", 5, 5, false, 5, 10, false},
      {"", 0, 0, true, 0, 0, true},
      {"80", 0, 1, true, 0, 1, true},
      {"81 82", 0x101, 2, true, 0x101, 2, true},
      {"FF FF FF FF FF", 0xFFFFFFFF, 5, false, 0xFFFFFFFFFFFFFFFF, 5, true},
  };
  for (const Row& row : rows) {
    CAPTURE(row.bytes);
    const ByteVector bytes = Bytes(row.bytes);
    const ByteView view(bytes);
    KesuResponseParser parser32(&view);
    CHECK(parser32.ReadVarint32() == row.value32);
    CHECK(parser32.position() == row.taken32);
    CHECK(parser32.hit_error() == row.error32);
    KesuResponseParser parser64(&view);
    CHECK(parser64.ReadVarint64() == row.value64);
    CHECK(parser64.position() == row.taken64);
    CHECK(parser64.hit_error() == row.error64);
  }
}

TEST_CASE("strings with a varint length are read, and those that overrun are errors") {
  struct Row {
    std::string bytes;
    const char* text;
    bool error;
  };
  const Row rows[] = {
      {"00", "", false}, {"03 61 C3 A9 62", "a\xC3\xA9", false}, {"02 61", "", true},
      {"80", "", true},  {"FF FF FF FF 07 61", "", true},        {"FF FF FF FF 0F 61", "", true},
  };
  for (const Row& row : rows) {
    CAPTURE(row.bytes);
    const ByteVector bytes = Bytes(row.bytes);
    const ByteView view(bytes);
    KesuResponseParser parser(&view);
    CHECK(TextOf(parser.ReadVarintLengthString()) == row.text);
    CHECK(parser.hit_error() == row.error);
  }
}
