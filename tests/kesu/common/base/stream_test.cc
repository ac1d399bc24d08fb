#include <climits>
#include <string>
#include <utility>

#include <doctest/doctest.h>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/data_output_stream.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;
using In = DataInputStream;
using Out = DataOutputStream;

namespace {

struct NumberCase {
  const char* bytes;
  /// As sign-extended by the signed forms.
  unsigned long long value;
  unsigned long long (*read)(In*);
  void (*write)(Out*, unsigned long long);
};

template <auto kRead, auto kWrite>
NumberCase Number(const char* bytes, unsigned long long value) {
  using Value = decltype((std::declval<In>().*kRead)());
  return {bytes, value, [](In* in) { return static_cast<unsigned long long>((in->*kRead)()); },
          [](Out* out, unsigned long long number) { (out->*kWrite)(static_cast<Value>(number)); }};
}

constexpr int kFirstLittleEndian = 9;
const NumberCase kNumbers[] = {
    Number<&In::ReadUint8, &Out::WriteUint8>("FE", 0xFE),
    Number<&In::ReadInt8, &Out::WriteInt8>("FE", ~1ULL),
    Number<&In::ReadBool, &Out::WriteBool>("01", 1),
    Number<&In::ReadUint16, &Out::WriteUint16>("01 02", 0x0102),
    Number<&In::ReadInt16, &Out::WriteInt16>("80 00", ~0x7FFFULL),
    Number<&In::ReadUint32, &Out::WriteUint32>("01 02 03 04", 0x01020304),
    Number<&In::ReadInt32, &Out::WriteInt32>("80 00 00 01", ~0x7FFFFFFEULL),
    Number<&In::ReadUint64, &Out::WriteUint64>("F1 02 03 04 05 06 07 08", 0xF102030405060708),
    Number<&In::ReadInt64, &Out::WriteInt64>("FF FF FF FF FF FF FF FE", ~1ULL),
    Number<&In::ReadLittleEndianUint32, &Out::WriteLittleEndianUint32>("04 03 02 01", 0x01020304),
    Number<&In::ReadLittleEndianInt32, &Out::WriteLittleEndianInt32>("01 00 00 80", ~0x7FFFFFFEULL),
    Number<&In::ReadLittleEndianUint64, &Out::WriteLittleEndianUint64>("08 07 06 05 04 03 02 F1",
                                                                       0xF102030405060708),
    Number<&In::ReadLittleEndianInt64, &Out::WriteLittleEndianInt64>("FE FF FF FF FF FF FF FF",
                                                                     ~1ULL),
};

}  // namespace

TEST_CASE("numbers are written and read; the missing bytes of one that is cut off read as 0") {
  for (const NumberCase& c : kNumbers) {
    const bool is_little_endian = &c >= kNumbers + kFirstLittleEndian;
    INFO(std::string(c.bytes));
    ByteVector written = Bytes("AA");
    Out out(&written);
    c.write(&out, c.value);
    CHECK(ToHex(written) == std::string("AA ") + c.bytes);

    const ByteVector bytes = Bytes(c.bytes);
    const int length = bytes.length();
    for (int kept = 0; kept <= length; ++kept) {
      CAPTURE(kept);
      const ByteVector cut(kAllocateAndCopy, bytes.data(), kept);
      const ByteView view(cut);
      In in(&view);
      const unsigned long long value = c.read(&in);
      CHECK(in.hit_error() == (kept < length));
      CHECK(in.hit_end_of_file());
      unsigned long long expected = 0;
      for (int i = 0; i < kept; ++i) {
        const int shift = 8 * (is_little_endian ? i : length - 1 - i);
        expected |= static_cast<unsigned long long>(bytes[i]) << shift;
      }
      CHECK((value & ~0ULL >> (64 - 8 * length)) == expected);
      if (kept == length) CHECK(value == c.value);
    }
  }
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
    In in(&view);
    in.ReadUint16();
    CHECK(ToHex(in.ReadByteSpan(c.length)) == c.span);
    CHECK(in.position() == c.position);
    CHECK(in.hit_error() == c.is_error);
    CHECK(in.ReadByteSpan(0).length() == 0);
    CHECK(in.hit_error() == c.is_error);
  }
}

TEST_CASE("the source is read afresh at each access") {
  const ByteVector bytes = Bytes("01 02 03");
  ByteView view(kReferenceExistingBuffer, bytes.data(), 1);
  In in(&view);
  CHECK(in.ReadUint8() == 1);
  CHECK(in.hit_end_of_file());
  view = ByteView(bytes);
  CHECK_FALSE(in.hit_end_of_file());
  CHECK(ToHex(in.ReadFully()) == "02 03");
  CHECK(in.ReadFully().length() == 0);
  CHECK_FALSE(in.hit_error());
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
  In in(&view);
  in.ReadUint8();
  const DataInputStreamState before(&in);
  CHECK(in.ReadBool());
  in.ReadUint16();
  in.ReadByteSpan(1);
  CHECK(ToHex(in.GetByteSpan(before)) == "11 22 33 44");
  CHECK(ToHex(in.GetByteSpan(DataInputStreamState())) == "00 11 22 33 44");
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
      {"00 01 AB CD", "AB", false},
      {"00 00", "", false},
      {"00 03 AB CD", "", true},
      {"FF FF AB", "", true},
      {"00", "", true},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.bytes));
    const ByteVector bytes = Bytes(c.bytes);
    const ByteView view(bytes);
    In in(&view);
    CHECK(ToHex(in.ReadByteBlock()) == c.block);
    CHECK(in.hit_error() == c.is_error);
  }

  ByteVector written;
  Out out(&written);
  out.WriteUtf8String("h\xC3\xA9");
  out.WriteUtf8String(GString());
  out.WriteByteBlock(Bytes("AB CD EF"));
  out.WriteRawBytes(Bytes("77 88"));
  CHECK(ToHex(written) == "00 03 68 C3 A9 00 00 00 03 AB CD EF 77 88");
  const ByteView view(written);
  In in(&view);
  CHECK(TextOf(in.ReadUtfString()) == "h\xC3\xA9");
  CHECK(in.ReadUtfString()->IsEmpty());

  // Of a length of 65536 or more the low 16 bits stand in front.
  ByteVector block;
  block.AdjustLengthAndZero(65536 + 3);
  written.Clear();
  out.WriteByteBlock(block);
  CHECK(written.length() == 2 + 65536 + 3);
  CHECK(ToHex({kReferenceExistingBuffer, written.data(), 2}) == "00 03");
}
