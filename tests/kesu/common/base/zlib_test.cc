#include <algorithm>
#include <string>

#include <doctest/doctest.h>
#include <zlib.h>

#include "kesu/common/base/zlib_decompression.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ViewOf;

namespace {

constexpr std::size_t kBuffer = 4096;

/// 08 1D: a zlib header with a window of 256 bytes.
constexpr char kHello[] = "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 15";

/// As `deflate` writes it; window bits above 15 ask for a gzip header.
ByteVector Deflated(const std::string& text, int window_bits) {
  z_stream stream = {};
  REQUIRE(deflateInit2(&stream, 9, Z_DEFLATED, window_bits, 8, Z_DEFAULT_STRATEGY) == Z_OK);
  ByteVector out;
  out.AdjustLength(static_cast<int>(deflateBound(&stream, text.size())));
  std::string input = text;
  stream.next_in = reinterpret_cast<Bytef*>(input.data());
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.length());
  REQUIRE(deflate(&stream, Z_FINISH) == Z_STREAM_END);
  out.AdjustLength(static_cast<int>(stream.total_out));
  deflateEnd(&stream);
  return out;
}

/// A zlib stream of stored blocks with a window of 256 bytes.
ByteVector Stored(const std::string& text) {
  ByteVector out = Bytes("08 1D 01");
  const auto size = static_cast<unsigned>(text.size());
  for (const unsigned byte : {size, size >> 8, ~size, ~size >> 8}) {
    out.Append(static_cast<unsigned char>(byte));
  }
  out.AppendAll(ViewOf(text));
  const auto sum = adler32(1, reinterpret_cast<const Bytef*>(text.data()), size);
  for (int shift = 24; shift >= 0; shift -= 8) out.Append(static_cast<unsigned char>(sum >> shift));
  return out;
}

struct Outcome {
  bool ok;
  std::string output;
};

Outcome Inflate(const ByteView& input) {
  Outcome outcome{false, {}};
  ByteVector output = Bytes("3E");
  DoZlibDecompression(&input, &output, &outcome.ok);
  outcome.output = TextOf(output);
  REQUIRE(outcome.output.starts_with('>'));
  outcome.output.erase(0, 1);
  return outcome;
}

/// Text without repetitions that a window of 256 bytes could reach.
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

TEST_CASE("short streams and malformed ones") {
  struct {
    const char *name, *bytes;
    bool ok;
  } const kCases[] = {
      {"empty", "", true},
      {"whole: the bytes of the last call are dropped", kHello, true},
      {"whole, with bytes behind", "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 15 FF FF", true},
      {"wrong checksum", "08 1D 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 16", false},
      {"wrong header checksum", "08 1E 01", false},
      {"neither zlib nor gzip", "00 00 00 00", false},
      {"a window of 512 bytes", "18 19 01 05 00 FA FF 68 65 6C 6C 6F 06 2C 02 15", false},
      {"preset dictionary", "08 3C 00 00 00 01 01 05 00 FA FF", false},
      {"reserved block type", "08 1D 07", false},
      {"length and its complement differ", "08 1D 01 05 00 FA FE 68", false},
      {"distance before the beginning", "08 1D 63 00 62 00", false},
      {"cut in a gzip header", "1F 8B 08 00", true},
      {"gzip with an unknown method", "1F 8B 07 00 00 00 00 00 00 03", false},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.name));
    const Outcome outcome = Inflate(Bytes(c.bytes));
    CHECK(outcome.ok == c.ok);
    CHECK(outcome.output.empty());
  }
}

TEST_CASE("a stream that is cut off yields what it holds") {
  const ByteVector whole = Bytes(kHello);
  constexpr int kHeaders = 7;
  for (int kept = 0; kept < whole.length(); ++kept) {
    CAPTURE(kept);
    const ByteVector cut(kAllocateAndCopy, whole.data(), kept);
    const Outcome outcome = Inflate(cut);
    CHECK(outcome.ok);
    const int held = std::clamp(kept - kHeaders, 0, 5);
    CHECK(outcome.output == std::string("hello").substr(0, static_cast<std::size_t>(held)));
  }
}

TEST_CASE("no more than one buffer is appended, and only when the stream goes on after it") {
  struct {
    std::size_t size, appended;
  } const kCases[] = {{1, 0},
                      {kBuffer - 1, 0},
                      {kBuffer, 0},
                      {kBuffer + 1, kBuffer},
                      {3 * kBuffer, kBuffer},
                      {60000, kBuffer}};
  for (const auto& c : kCases) {
    CAPTURE(c.size);
    const std::string text = Unrepetitive(c.size);
    for (const ByteVector& stream : {Stored(text), Deflated(text, 16 + 15)}) {
      const Outcome outcome = Inflate(stream);
      CHECK(outcome.ok);
      CHECK(outcome.output == text.substr(0, c.appended));
    }
  }
}

TEST_CASE("gzip may refer back further than 256 bytes within the buffer") {
  const std::string half = Unrepetitive(2000);
  const std::string text = half + half + half;
  const Outcome outcome = Inflate(Deflated(text, 16 + 15));
  CHECK(outcome.ok);
  CHECK(outcome.output == text.substr(0, kBuffer));
}

TEST_CASE("the usual zlib header asks for a larger window than is granted") {
  CHECK_FALSE(Inflate(Deflated("hello", 15)).ok);
}

TEST_CASE("a view of writable bytes is taken as well") {
  ByteVector bytes = Stored(Unrepetitive(kBuffer + 1));
  const GVectorRef<unsigned char> view(kReferenceExistingBuffer, bytes.data(), bytes.length());
  ByteVector output;
  bool ok = false;
  DoZlibDecompression(&view, &output, &ok);
  CHECK(ok);
  CHECK(output.length() == static_cast<int>(kBuffer));
}
