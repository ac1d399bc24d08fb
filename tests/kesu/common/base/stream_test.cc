#include <climits>

#include <doctest/doctest.h>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;
using In = DataInputStream;
using Out = DataOutputStream;

TEST_CASE("numbers are written and read") {
  ByteVector bytes;
  Out out(&bytes);
  out.WriteUint8(0xFE);
  out.WriteBool(true);
  out.WriteUint16(0x0102);
  out.WriteUint32(0xF1020304);
  out.WriteInt32(-2);
  out.WriteUint64(0xF102030405060708);
  out.WriteInt64(-2);
  out.WriteLittleEndianUint32(0xF1020304);
  out.WriteLittleEndianInt32(-2);
  out.WriteLittleEndianUint64(0xF102030405060708);
  out.WriteLittleEndianInt64(-2);
  CHECK(ToHex(bytes) ==
        "FE 01 01 02 F1 02 03 04 FF FF FF FE "
        "F1 02 03 04 05 06 07 08 FF FF FF FF FF FF FF FE "
        "04 03 02 F1 FE FF FF FF 08 07 06 05 04 03 02 F1 FE FF FF FF FF FF FF FF");
  const ByteView view(bytes);
  In in(&view);
  CHECK(in.ReadUint8() == 0xFE);
  CHECK(in.ReadBool());
  CHECK(in.ReadUint16() == 0x0102);
  CHECK(in.ReadUint32() == 0xF1020304);
  CHECK(in.ReadInt32() == -2);
  CHECK(in.ReadUint64() == 0xF102030405060708);
  CHECK(in.ReadInt64() == -2);
  CHECK(in.ReadLittleEndianUint32() == 0xF1020304);
  CHECK(in.ReadLittleEndianInt32() == -2);
  CHECK(in.ReadLittleEndianUint64() == 0xF102030405060708);
  CHECK(in.ReadLittleEndianInt64() == -2);
  CHECK_FALSE(in.hit_error());
  CHECK_FALSE(in.ReadBool());
  CHECK(in.hit_error());
}

TEST_CASE("the missing bytes of a number that is cut off read as 0") {
  const ByteVector bytes = Bytes("12 34");
  const ByteView view(bytes);
  const DataInputStreamState start;
  In in(&view);
  CHECK(in.ReadUint32() == 0x12340000);
  CHECK(in.hit_error());
  CHECK(in.hit_end_of_file());
  in.Restore(start);
  CHECK(in.ReadLittleEndianUint64() == 0x3412);
  CHECK(in.hit_error());
}

TEST_CASE("ReadByteSpan: whole spans or nothing") {
  struct {
    int length;
    const char* span;
    bool is_error;
  } const kCases[] = {{0, "", false}, {1, "03", false},    {4, "03 04 05 06", false},
                      {5, "", true},  {INT_MIN, "", true}, {INT_MAX, "", true}};
  const ByteVector bytes = Bytes("01 02 03 04 05 06");
  const ByteView view(bytes);
  for (const auto& c : kCases) {
    CAPTURE(c.length);
    In in(&view);
    in.ReadUint16();
    CHECK(ToHex(in.ReadByteSpan(c.length)) == c.span);
    CHECK(in.position() == (c.is_error ? 6 : 2 + c.length));
    CHECK(in.hit_error() == c.is_error);
    CHECK(in.ReadFully().length() == (c.is_error ? 0 : 4 - c.length));
    CHECK(in.hit_error() == c.is_error);
  }
}

TEST_CASE("the source is read afresh; once in error, spans fail even where there are bytes") {
  const ByteVector bytes = Bytes("01 02 03");
  ByteView view(kReferenceExistingBuffer, bytes.data(), 1);
  In in(&view);
  in.ReadUint16();
  CHECK(in.hit_end_of_file());
  view = ByteView(bytes);
  CHECK_FALSE(in.hit_end_of_file());
  CHECK(in.ReadByteSpan(1).length() == 0);
  CHECK(in.position() == 3);
}

TEST_CASE("snapshots look ahead and back up, also from the state of a longer stream") {
  const ByteVector bytes = Bytes("00 11 22 33 44 55 66");
  const ByteView view(bytes);
  In in(&view);
  in.ReadUint8();
  const DataInputStreamState before(&in);
  in.ReadUint32();
  CHECK(ToHex(in.GetByteSpan(before)) == "11 22 33 44");
  const DataInputStreamState after(&in);
  in.ReadUint64();
  CHECK(in.hit_error());
  in.Restore(before);
  CHECK_FALSE(in.hit_error());
  CHECK(in.GetByteSpan(after).length() == 0);
  CHECK(in.ReadUint8() == 0x11);

  const ByteView shorter(kReferenceExistingBuffer, bytes.data(), 3);
  In short_in(&shorter);
  short_in.Restore(after);
  CHECK(ToHex(short_in.GetByteSpan(before)) == "11 22");
  CHECK(short_in.GetByteSpan(after).length() == 0);
  CHECK(short_in.ReadUint8() == 0);
  CHECK(short_in.hit_error());
}

TEST_CASE("byte blocks and strings") {
  ByteVector bytes;
  Out out(&bytes);
  out.WriteUtf8String("h\xC3\xA9");
  out.WriteUtf8String(GString());
  out.WriteByteBlock(Bytes("AB CD EF"));
  out.WriteRawBytes(Bytes("00 03 88 99"));
  CHECK(ToHex(bytes) == "00 03 68 C3 A9 00 00 00 03 AB CD EF 00 03 88 99");
  const ByteView view(bytes);
  In in(&view);
  CHECK(TextOf(in.ReadUtfString()) == "h\xC3\xA9");
  CHECK(in.ReadUtfString()->IsEmpty());
  CHECK(ToHex(in.ReadByteBlock()) == "AB CD EF");
  CHECK_FALSE(in.hit_error());
  CHECK(in.ReadByteBlock().length() == 0);
  CHECK(in.hit_error());

  // Of a length of 65536 or more the low 16 bits stand in front.
  ByteVector block;
  block.AdjustLengthAndZero(65536 + 3);
  bytes.Clear();
  out.WriteByteBlock(block);
  CHECK(bytes.length() == 2 + 65536 + 3);
  CHECK(bytes[1] == 3);
}
