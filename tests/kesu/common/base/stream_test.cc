#include <climits>
#include <functional>
#include <string>

#include <doctest/doctest.h>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;

namespace {

template <auto kRead>
unsigned long long Read(DataInputStream* in) {
  return static_cast<unsigned long long>((in->*kRead)());
}

template <auto kWrite, typename Number>
void Write(DataOutputStream* out, unsigned long long value) {
  (out->*kWrite)(static_cast<Number>(value));
}

struct NumberCase {
  const char* name;
  const char* bytes;
  bool is_little_endian;
  /// As sign-extended by the signed forms.
  unsigned long long value;
  unsigned long long (*read)(DataInputStream*);
  void (*write)(DataOutputStream*, unsigned long long);
};

using In = DataInputStream;
using Out = DataOutputStream;

const NumberCase kNumbers[] = {
    {"u8", "FE", false, 0xFE, Read<&In::ReadUint8>, Write<&Out::WriteUint8, unsigned char>},
    {"i8", "FE", false, ~1ULL, Read<&In::ReadInt8>, Write<&Out::WriteInt8, signed char>},
    {"bool", "01", false, 1, Read<&In::ReadBool>, Write<&Out::WriteBool, bool>},
    {"u16", "01 02", false, 0x0102, Read<&In::ReadUint16>,
     Write<&Out::WriteUint16, unsigned short>},
    {"i16", "80 00", false, 0xFFFFFFFFFFFF8000, Read<&In::ReadInt16>,
     Write<&Out::WriteInt16, short>},
    {"u32", "01 02 03 04", false, 0x01020304, Read<&In::ReadUint32>,
     Write<&Out::WriteUint32, unsigned>},
    {"i32", "80 00 00 01", false, 0xFFFFFFFF80000001, Read<&In::ReadInt32>,
     Write<&Out::WriteInt32, int>},
    {"u64", "F1 02 03 04 05 06 07 08", false, 0xF102030405060708, Read<&In::ReadUint64>,
     Write<&Out::WriteUint64, unsigned long long>},
    {"i64", "FF FF FF FF FF FF FF FE", false, ~1ULL, Read<&In::ReadInt64>,
     Write<&Out::WriteInt64, long long>},
    {"u32 little", "04 03 02 01", true, 0x01020304, Read<&In::ReadLittleEndianUint32>,
     Write<&Out::WriteLittleEndianUint32, unsigned>},
    {"i32 little", "01 00 00 80", true, 0xFFFFFFFF80000001, Read<&In::ReadLittleEndianInt32>,
     Write<&Out::WriteLittleEndianInt32, int>},
    {"u64 little", "08 07 06 05 04 03 02 F1", true, 0xF102030405060708,
     Read<&In::ReadLittleEndianUint64>, Write<&Out::WriteLittleEndianUint64, unsigned long long>},
    {"i64 little", "FE FF FF FF FF FF FF FF", true, ~1ULL, Read<&In::ReadLittleEndianInt64>,
     Write<&Out::WriteLittleEndianInt64, long long>},
};

}  // namespace

TEST_CASE("numbers are read and written") {
  for (const NumberCase& c : kNumbers) {
    INFO(std::string(c.name));
    const ByteVector bytes = Bytes(c.bytes);
    const ByteView view(bytes);
    DataInputStream in(&view);
    CHECK(c.read(&in) == c.value);
    CHECK_FALSE(in.hit_error());
    CHECK(in.hit_end_of_file());
    CHECK(c.read(&in) == 0);
    CHECK(in.hit_error());

    ByteVector written = Bytes("AA");
    DataOutputStream out(&written);
    c.write(&out, c.value);
    CHECK(ToHex(written) == std::string("AA ") + c.bytes);
  }
}

TEST_CASE("the missing bytes of a number that is cut off read as 0") {
  for (const NumberCase& c : kNumbers) {
    const ByteVector bytes = Bytes(c.bytes);
    for (int kept = 0; kept < bytes.length(); ++kept) {
      INFO(std::string(c.name));
      CAPTURE(kept);
      const ByteVector cut(kAllocateAndCopy, bytes.data(), kept);
      const ByteView view(cut);
      DataInputStream in(&view);
      const unsigned long long value = c.read(&in);
      const int missing_bits = 8 * (bytes.length() - kept);
      const unsigned long long width_mask = ~0ULL >> (64 - 8 * bytes.length());
      const unsigned long long kept_mask =
          c.is_little_endian ? (1ULL << (8 * kept)) - 1 : (kept == 0 ? 0 : ~0ULL << missing_bits);
      CHECK((value & width_mask) == (c.value & kept_mask & width_mask));
      CHECK(in.hit_error());
      CHECK(in.hit_end_of_file());
    }
  }
}

TEST_CASE("ReadBool takes any byte but 0 for true") {
  const ByteVector bytes = Bytes("00 01 80 FF");
  const ByteView view(bytes);
  DataInputStream in(&view);
  for (const bool expected : {false, true, true, true}) CHECK(in.ReadBool() == expected);
}

TEST_CASE("ReadByteSpan: whole spans or nothing") {
  struct {
    int length;
    const char* span;
    int position;
    bool is_error;
  } const kCases[] = {
      {0, "", 2, false},      {1, "03", 3, false},        {4, "03 04 05 06", 6, false},
      {5, "", 6, true},       {-1, "", 6, true},          {INT_MIN, "", 6, true},
      {INT_MAX, "", 6, true}, {INT_MAX - 1, "", 6, true},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.length);
    const ByteVector bytes = Bytes("01 02 03 04 05 06");
    const ByteView view(bytes);
    DataInputStream in(&view);
    in.ReadUint16();
    CHECK(ToHex(in.ReadByteSpan(c.length)) == c.span);
    CHECK(in.position() == c.position);
    CHECK(in.hit_error() == c.is_error);
    if (!c.is_error) continue;
    CHECK(in.ReadByteSpan(0).length() == 0);
    CHECK(in.hit_error());
  }
}

TEST_CASE("spans at the end and after an error") {
  const ByteVector bytes = Bytes("01 02 03");
  const ByteView view(bytes);
  DataInputStream in(&view);
  const DataInputStreamState start(&in);
  CHECK(ToHex(in.ReadFully()) == "01 02 03");
  CHECK(in.ReadByteSpan(0).length() == 0);
  CHECK(in.ReadFully().length() == 0);
  CHECK_FALSE(in.hit_error());
  in.ReadUint8();
  CHECK(in.hit_error());
  CHECK(in.ReadFully().length() == 0);
  in.Restore(start);
  CHECK_FALSE(in.hit_error());
  CHECK(in.ReadUint8() == 1);
}

TEST_CASE("the source is read afresh at each access") {
  const ByteVector bytes = Bytes("01 02 03");
  ByteView view(kReferenceExistingBuffer, bytes.data(), 1);
  DataInputStream in(&view);
  CHECK(in.ReadUint8() == 1);
  CHECK(in.hit_end_of_file());
  view = ByteView(bytes);
  CHECK_FALSE(in.hit_end_of_file());
  CHECK(ToHex(in.ReadFully()) == "02 03");
  view = ByteView();
  CHECK(in.ReadByteSpan(0).length() == 0);
  CHECK(in.hit_error());
  CHECK(in.position() == 0);
  // The flag alone makes a span fail, even where the bytes are there.
  view = ByteView(bytes);
  CHECK(in.ReadByteSpan(1).length() == 0);
  CHECK(in.position() == 3);
}

TEST_CASE("snapshots look ahead and back up") {
  const ByteVector bytes = Bytes("00 11 22 33 44 55 66");
  const ByteView view(bytes);
  DataInputStream in(&view);
  in.ReadUint8();
  const DataInputStreamState before(&in);
  CHECK(in.GetByteSpan(before).length() == 0);
  in.ReadUint8();
  in.ReadUint16();
  in.ReadByteSpan(1);
  CHECK(ToHex(in.GetByteSpan(before)) == "11 22 33 44");
  CHECK(ToHex(in.GetByteSpan(DataInputStreamState())) == "00 11 22 33 44");
  CHECK(in.position() == 5);
  const DataInputStreamState after(&in);
  in.ReadUint64();
  CHECK(in.hit_error());
  in.Restore(before);
  CHECK_FALSE(in.hit_error());
  CHECK(in.GetByteSpan(after).length() == 0);
  CHECK(in.ReadUint8() == 0x11);
}

TEST_CASE("byte blocks and strings") {
  struct {
    const char *bytes, *block;
    bool is_error;
  } const kCases[] = {
      {"00 03 AB CD EF", "AB CD EF", false},
      {"00 03 AB CD EF 01", "AB CD EF", false},
      {"00 00", "", false},
      {"00 03 AB CD", "", true},
      {"FF FF AB", "", true},
      {"00", "", true},
      {"", "", true},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.bytes));
    const ByteVector bytes = Bytes(c.bytes);
    const ByteView view(bytes);
    DataInputStream in(&view);
    CHECK(ToHex(in.ReadByteBlock()) == c.block);
    CHECK(in.hit_error() == c.is_error);
    DataInputStream again(&view);
    CHECK(again.ReadUtfString()->IsEmpty() == (std::string(c.block).empty()));
  }

  ByteVector written;
  DataOutputStream out(&written);
  out.WriteByteBlock(Bytes("AB CD EF"));
  out.WriteUtf8String("h\xC3\xA9");
  out.WriteUtf8String(GString());
  out.WriteRawBytes(Bytes("77 88"));
  CHECK(ToHex(written) == "00 03 AB CD EF 00 03 68 C3 A9 00 00 77 88");
  const ByteView view(written);
  DataInputStream in(&view);
  in.ReadByteBlock();
  CHECK(TextOf(in.ReadUtfString()) == "h\xC3\xA9");
}

TEST_CASE("a block of 65536 bytes or more has the low 16 bits of its length in front") {
  ByteVector block;
  block.AdjustLengthAndZero(65536 + 3);
  ByteVector written;
  DataOutputStream(&written).WriteByteBlock(block);
  CHECK(written.length() == 2 + 65536 + 3);
  CHECK(written[0] == 0);
  CHECK(written[1] == 3);
}
