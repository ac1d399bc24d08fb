// What the fuzz targets cannot show of the framing: varints, length marks, what the log says.
#include <string>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

#include "kesu/mux/http_utils.h"
#include "kesu/mux/kesu_request_builder.h"
#include "kesu/mux/kesu_response_parser.h"
#include "kesu/mux/non_multipart_response.h"

#include "support/bytes.h"
#include "support/log_capture.h"

using common_base::ByteVector;
using common_base::ByteView;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;

TEST_CASE("varints are written in as few bytes as possible") {
  const std::pair<unsigned long long, std::string> rows[] = {
      {0, "00"},
      {127, "7F"},
      {128, "80 01"},
      {0xFFFFFFFF, "FF FF FF FF 0F"},
      {0xFFFFFFFFFFFFFFFF, "FF FF FF FF FF FF FF FF FF 01"}};
  for (const auto& [value, bytes] : rows) {
    ByteVector out;
    KesuRequestBuilder(&out).WriteVarint64(value);
    CHECK(ToHex(out) == bytes);
    if (value > 0xFFFFFFFF) continue;
    UInt32ToVarint(static_cast<unsigned>(value), &out);
    KesuRequestBuilder(&out).WriteVarint32(static_cast<unsigned>(value));
    CHECK(ToHex(out) == bytes + " " + bytes);
  }
}

TEST_CASE("length marks of every width") {
  /// '1', '2', '4' and 'v' open a mark, 'a' writes so many bytes AA, '.' closes with that offset.
  struct Row {
    std::vector<std::pair<char, int>> steps;
    std::string head;
    int bytes_behind_head;
  };
  const Row rows[] = {
      {{{'1', 0}, {'a', 258}, {'.', 0}}, "02", 258},
      {{{'2', 0}, {'a', 65537}, {'.', 0}}, "00 01", 65537},
      {{{'v', 0}, {'a', 127}, {'.', 0}}, "7F", 127},
      // 2 + 128 inside, 1 + 130 = 131 in the middle, 2 + 131 = 133 outside.
      {{{'2', 0}, {'v', 0}, {'a', 1}, {'v', 0}, {'a', 128}, {'.', 0}, {'.', 0}, {'.', 0}},
       "00 85 83 01 AA 80 01",
       128},
      {{{'4', 0}, {'a', 6}, {'.', 2}}, "00 00 00 04", 6},
      {{{'2', 0}, {'v', 0}, {'.', 1}, {'.', 6}}, "FF FF FF FF FF FF 0F", 0},
  };
  for (const Row& row : rows) {
    CAPTURE(row.head);
    ByteVector out;
    KesuRequestBuilder builder(&out);
    for (const auto& [step, count] : row.steps) {
      if (step == '1') builder.Write8bitLengthMark();
      if (step == '2') builder.Write16bitLengthMark();
      if (step == '4') builder.Write32bitLengthMark();
      if (step == 'v') builder.WriteVarintLengthMark();
      if (step == '.') builder.WriteBackLengthMarkWithOffset(count);
      for (int i = 0; step == 'a' && i < count; ++i) builder.WriteUint8(0xAA);
    }
    std::string expected = row.head;
    for (int i = 0; i < row.bytes_behind_head; ++i) expected += " AA";
    CHECK(ToHex(out) == expected);
  }
  ByteVector out;
  KesuRequestBuilder(&out).WriteTaggedUtf8StringWithVarintLength(0x12, "a\xC3\xA9");
  const kesu_test::LogCapture log(common_base::kLogErrors);
  KesuRequestBuilder(&out).WriteBackLengthMark();
  CHECK(ToHex(out) == "12 03 61 C3 A9");
  CHECK(log.lines().size() == 1);
}

TEST_CASE("varints are read back") {
  struct Row {
    std::string bytes;
    unsigned value32;
    int taken32;
    unsigned long long value64;
    int taken64;
    std::string errors;
  };
  // Bit 31 is extended into the upper half of a 64-bit result, and what lies above is dropped.
  const Row rows[] = {
      {"80 01", 128, 2, 128, 2, ""},
      {"80 80 80 80 08", 0x80000000, 5, 0xFFFFFFFF80000000, 5, ""},
      {"81 80 80 80 90 01", 1, 5, 1, 6, ""},
      {"85 80 80 80 80 80 80 80 80 FF 01", 5, 5, 5, 10, ""},
      {"", 0, 0, 0, 0, "32 64"},
      {"81 82", 0x101, 2, 0x101, 2, "32 64"},
      {"FF FF FF FF FF", 0xFFFFFFFF, 5, 0xFFFFFFFFFFFFFFFF, 5, "64"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.bytes);
    const ByteVector bytes = Bytes(row.bytes);
    const ByteView view(bytes);
    KesuResponseParser parser32(&view);
    CHECK(parser32.ReadVarint32() == row.value32);
    CHECK(parser32.position() == row.taken32);
    CHECK(parser32.hit_error() == (row.errors == "32 64"));
    KesuResponseParser parser64(&view);
    CHECK(parser64.ReadVarint64() == row.value64);
    CHECK(parser64.position() == row.taken64);
    CHECK(parser64.hit_error() == !row.errors.empty());
  }
  const std::pair<const char*, std::string> strings[] = {
      {"03 61 C3 A9 62", "a\xC3\xA9"}, {"02 61", ""}, {"FF FF FF FF 0F 61", ""}};
  for (const auto& [hex, text] : strings) {
    const ByteVector bytes = Bytes(hex);
    const ByteView view(bytes);
    KesuResponseParser parser(&view);
    CHECK(TextOf(parser.ReadVarintLengthString()) == text);
    CHECK(parser.hit_error() == text.empty());
  }
}

TEST_CASE("redirects") {
  std::vector<int> redirects;
  for (int status = -1; status < 600; ++status) {
    if (HttpUtils::IsRedirect(status)) redirects.push_back(status);
  }
  CHECK(redirects == std::vector<int>{301, 302, 303, 307});
}

TEST_CASE("the payload of a reply is logged, and not copied for each encoding that does nothing") {
  std::string encodings = "n";
  while (encodings.size() < 65535) encodings += ",n";
  const kesu_test::LogCapture log(common_base::kLogDebug);
  for (const int length : {0, 1024, 1025}) {
    const std::string body = std::string("\0\7\0\xC8\xFF\xFF", 6) + encodings + "....";
    const std::string block = body + std::string(static_cast<std::size_t>(length), 'p');
    const ByteView view = kesu_test::ViewOf(block);
    common_base::DataInputStream stream(&view);
    common_kesu::NonMultipartResponse response;
    bool ok = false;
    response.Initialize(&stream, view.length(), &ok);
    CHECK(ok);
    CHECK(response.payload().data() == response.raw_payload().data());
  }
  CHECK(log.lines() ==
        std::vector<std::string>{
            "  D: There is no kesu response payload",
            "  D: response body size is: [1024], the body follows",
            "  D: response body size is: [1025], which is large so only the first [1024] follow"});
}
