#include <random>
#include <string>

#include <doctest/doctest.h>
#include <zlib.h>

#include "kesu/common/base/zlib_decompression.h"

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;

namespace {

/// What is appended, or "error".
std::string Inflated(const ByteView& input) {
  ByteVector output = Bytes("3E");
  bool ok = false;
  DoZlibDecompression(&input, &output, &ok);
  REQUIRE(output[0] == '>');
  return ok ? TextOf(output).substr(1) : "error";
}

ByteVector Gzipped(std::string text) {
  constexpr int kWithGzipHeader = 16 + 15;
  z_stream stream = {};
  deflateInit2(&stream, 9, Z_DEFLATED, kWithGzipHeader, 8, Z_DEFAULT_STRATEGY);
  ByteVector out;
  out.AdjustLength(static_cast<int>(deflateBound(&stream, text.size())));
  stream.next_in = reinterpret_cast<Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.length());
  REQUIRE(deflate(&stream, Z_FINISH) == Z_STREAM_END);
  out.AdjustLength(static_cast<int>(stream.total_out));
  deflateEnd(&stream);
  return out;
}

}  // namespace

TEST_CASE("a stream that is cut off yields what it holds, a whole one nothing, a bad one fails") {
  struct {
    const char *what, *bytes, *appended;
  } const kCases[] = {
      {"whole: a header for 256 bytes, a stored block, a checksum",
       "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 15", ""},
      {"cut in the checksum", "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02", "hello"},
      {"cut in the text", "08 1D 01 05 00 FA FF 68 65", "he"},
      {"cut in the header", "08", ""},
      {"nothing", "", ""},
      {"wrong checksum", "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 16", "error"},
      {"neither zlib nor gzip", "00 00 00 00", "error"},
      {"a window of 512 bytes", "18 19 01 05 00 FA FF 68 65 6C 6C 6F", "error"},
      {"preset dictionary", "08 3C 00 00 00 01 01 05 00 FA FF", "error"},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.what);
    CHECK(Inflated(Bytes(c.bytes)) == c.appended);
  }
}

TEST_CASE("no more than one buffer is appended, and only when the stream goes on after it") {
  std::mt19937 random(1);
  std::string text(2000, ' ');
  for (char& c : text) c = static_cast<char>(random());
  while (text.size() < 60000) text += text;  // Reaching back further than the window is fine.
  for (const std::size_t size : {1U, 4096U, 4097U, 60000U}) {
    CAPTURE(size);
    CHECK(Inflated(Gzipped(text.substr(0, size))) == text.substr(0, size > 4096 ? 4096 : 0));
  }
}
