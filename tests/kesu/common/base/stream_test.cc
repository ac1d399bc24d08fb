#include <climits>
#include <string>
#include <type_traits>

#include <doctest/doctest.h>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;
using In = DataInputStream;
using Out = DataOutputStream;

template <typename Number>
static void CheckNumber(void (Out::*write)(Number), Number (In::*read)(),
                        std::type_identity_t<Number> value, const char* hex) {
  ByteVector bytes;
  Out out(&bytes);
  (out.*write)(value);
  CHECK(ToHex(bytes) == hex);
  const ByteView view(bytes);
  In in(&view);
  CHECK(((in.*read)() == value && !in.hit_error()));
}

TEST_CASE("numbers are written and read") {
  CheckNumber(&Out::WriteBool, &In::ReadBool, true, "01");
  CheckNumber(&Out::WriteUint8, &In::ReadUint8, 0xFE, "FE");
  CheckNumber(&Out::WriteInt8, &In::ReadInt8, -2, "FE");
  CheckNumber(&Out::WriteUint16, &In::ReadUint16, 0xF102, "F1 02");
  CheckNumber(&Out::WriteInt16, &In::ReadInt16, -2, "FF FE");
  CheckNumber(&Out::WriteUint32, &In::ReadUint32, 0xF1020304, "F1 02 03 04");
  CheckNumber(&Out::WriteInt32, &In::ReadInt32, -2, "FF FF FF FE");
  CheckNumber(&Out::WriteLittleEndianUint32, &In::ReadLittleEndianUint32, 0xF1020304,
              "04 03 02 F1");
  CheckNumber(&Out::WriteLittleEndianInt32, &In::ReadLittleEndianInt32, -2, "FE FF FF FF");
  CheckNumber(&Out::WriteUint64, &In::ReadUint64, 0xF102030405060708, "F1 02 03 04 05 06 07 08");
  CheckNumber(&Out::WriteInt64, &In::ReadInt64, -2, "FF FF FF FF FF FF FF FE");
  CheckNumber(&Out::WriteLittleEndianUint64, &In::ReadLittleEndianUint64, 0xF102030405060708,
              "08 07 06 05 04 03 02 F1");
}

TEST_CASE("past the end: missing bytes read as 0, spans are whole or empty, the error stays") {
  const ByteVector bytes = Bytes("12 34 56 78");
  ByteView view(kReferenceExistingBuffer, bytes.data(), 2);
  In in(&view);
  CHECK(in.ReadUint32() == 0x12340000);
  CHECK(in.hit_end_of_file());
  view = ByteView(bytes);  // The source is read afresh.
  CHECK_FALSE(in.hit_end_of_file());
  CHECK(in.ReadByteSpan(1).length() == 0);
  CHECK(in.position() == 4);
  CHECK(in.hit_error());
  for (const int length : {0, 3, 4, INT_MIN, INT_MAX}) {
    CAPTURE(length);
    In spans(&view);
    spans.ReadUint8();
    CHECK(ToHex(spans.ReadByteSpan(length)) == (length == 3 ? "34 56 78" : ""));
    CHECK(spans.hit_error() == (length != 0 && length != 3));
    CHECK(spans.ReadFully().length() == (length == 0 ? 3 : 0));
    CHECK(spans.position() == 4);
  }
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
  CHECK(in.ReadLittleEndianUint64() == 0x6655);
  CHECK(in.hit_error());
  in.Restore(before);
  CHECK_FALSE(in.hit_error());
  CHECK(in.GetByteSpan(after).length() == 0);

  const ByteView shorter(kReferenceExistingBuffer, bytes.data(), 3);
  In short_in(&shorter);
  short_in.Restore(after);
  CHECK(ToHex(short_in.GetByteSpan(before)) == "11 22");
  CHECK(short_in.GetByteSpan(after).length() == 0);
  CHECK(short_in.ReadUint8() == 0);
}

TEST_CASE("byte blocks and strings") {
  ByteVector bytes;
  Out out(&bytes);
  out.WriteUtf8String("\xC3\xA9");
  out.WriteUtf8String(GString());
  // What is written may lie in the sink, which moves as it grows.
  out.WriteByteBlock(bytes);
  out.WriteRawBytes(ByteView(kReferenceExistingBuffer, bytes.data() + 2, 2));
  out.WriteRawBytes(bytes);
  const std::string hex = "00 02 C3 A9 00 00 00 06 00 02 C3 A9 00 00 C3 A9";
  CHECK(ToHex(bytes) == hex + " " + hex);
  const ByteView view(bytes);
  In in(&view);
  CHECK(TextOf(in.ReadUtfString()) == "\xC3\xA9");
  CHECK(in.ReadUtfString()->IsEmpty());
  CHECK(ToHex(in.ReadByteBlock()) == "00 02 C3 A9 00 00");
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
