#include <algorithm>
#include <string>

#include <doctest/doctest.h>
#include <zlib.h>

#include "kesu/common/base/zlib_decompression.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;

namespace {

/// A zlib header with a window of 256 bytes, then a stored block of "hello".
constexpr char kHello[] = "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 15";

/// As `deflate` writes it; window bits above 15 ask for a gzip header.
ByteVector Deflated(std::string text, int window_bits) {
  z_stream stream = {};
  REQUIRE(deflateInit2(&stream, 9, Z_DEFLATED, window_bits, 8, Z_DEFAULT_STRATEGY) == Z_OK);
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

/// What is appended, or "error".
std::string Inflated(const ByteView& input) {
  ByteVector output = Bytes("3E");
  bool ok = false;
  DoZlibDecompression(&input, &output, &ok);
  REQUIRE(output[0] == '>');
  return ok ? TextOf(output).substr(1) : "error";
}

/// Text that cannot be compressed.
std::string Unrepetitive(std::size_t size) {
  std::string text;
  unsigned state = 1;
  while (text.size() < size) {
    state = state * 1103515245 + 12345;
    text += static_cast<char>(state >> 16);
  }
  return text;
}

}  // namespace

TEST_CASE("malformed streams") {
  struct {
    const char *name, *bytes;
  } const kCases[] = {
      {"wrong checksum", "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 16"},
      {"neither zlib nor gzip", "00 00 00 00"},
      {"a window of 512 bytes", "18 19 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 15"},
      {"preset dictionary", "08 3C 00 00 00 01 01 05 00 FA FF"},
      {"length and its complement differ", "08 1D 01 05 00 FA FE 68"},
      {"distance before the beginning", "08 1D 63 00 62 00"},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.name));
    CHECK(Inflated(Bytes(c.bytes)) == "error");
  }
}

TEST_CASE("a stream that is cut off yields what it holds, a whole one nothing") {
  const ByteVector whole = Bytes(kHello);
  for (int kept = 0; kept <= whole.length(); ++kept) {
    CAPTURE(kept);
    const auto held = static_cast<std::size_t>(std::clamp(kept - 7, 0, 5));
    const std::string text = kept < whole.length() ? "hello" : "";
    CHECK(Inflated(ByteVector(kAllocateAndCopy, whole.data(), kept)) == text.substr(0, held));
  }
}

TEST_CASE("no more than one buffer is appended, and only when the stream goes on after it") {
  struct {
    std::size_t size, appended;
  } const kCases[] = {{1, 0}, {4096, 0}, {4097, 4096}, {60000, 4096}};
  for (const auto& c : kCases) {
    CAPTURE(c.size);
    // References reach back further than 256 bytes: gzip is not held to a window.
    const std::string half = Unrepetitive(2000);
    for (const std::string& all : {Unrepetitive(60000), half + half + Unrepetitive(56000)}) {
      const std::string text = all.substr(0, c.size);
      CHECK(Inflated(Deflated(text, 16 + 15)) == text.substr(0, c.appended));
    }
  }
  // The usual zlib header asks for a larger window than is granted.
  CHECK(Inflated(Deflated("hello", 15)) == "error");
}
