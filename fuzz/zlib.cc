// Inflating any bytes, and streams made of any text, whole, cut or damaged.
#include <algorithm>
#include <string>
#include <string_view>

#include <zlib.h>

#include "kesu/common/base/zlib_decompression.h"

#include "fuzz/byte_script.h"

using common_base::ByteVector;
using namespace kesu_fuzz;

namespace {

constexpr std::size_t kBufferBytes = 4096;
constexpr std::size_t kMaxTextBytes = 3 * kBufferBytes;
constexpr std::string_view kBefore = "before";

/// What is appended to an output that holds something already; false for a corrupt stream.
bool Inflate(std::string_view stream, std::string* appended) {
  ByteVector input;
  input.AppendAll(ViewOf(stream));
  const common_base::GVectorRef<unsigned char> view(input);
  ByteVector output;
  output.AppendAll(ViewOf(kBefore));
  bool ok = false;
  common_base::DoZlibDecompression(&view, &output, &ok);
  const std::string all(output.begin(), output.end());
  Require(all.starts_with(kBefore) && all.size() <= kBefore.size() + kBufferBytes);
  Require(input.BitwiseEquals(ViewOf(stream)));
  *appended = all.substr(kBefore.size());
  return ok;
}

z_stream StreamOf(std::string_view input, std::string* output) {
  z_stream stream = {};
  stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(input.data()));
  stream.avail_in = static_cast<uInt>(input.size());
  stream.next_out = reinterpret_cast<Bytef*>(output->data());
  stream.avail_out = static_cast<uInt>(output->size());
  return stream;
}

/// Any bytes, against zlib with the largest window.
void CheckStream(std::string_view input) {
  std::string appended;
  const bool ok = Inflate(input, &appended);
  // A zlib stream may ask for a window of 256 bytes only, a gzip stream does not say.
  const bool is_gzip = input.starts_with("\x1F\x8B");
  const bool is_refused =
      input.size() >= 2 && !is_gzip && static_cast<unsigned char>(input[0]) >> 4 != 0;
  std::string expected(kBufferBytes, '\0');
  z_stream stream = StreamOf(input, &expected);
  Require(inflateInit2(&stream, 32 + MAX_WBITS) == Z_OK);
  const int result = inflate(&stream, Z_NO_FLUSH);
  inflateEnd(&stream);
  const bool is_good = result == Z_OK || result == Z_BUF_ERROR;
  Require(ok == (!is_refused && (is_good || result == Z_STREAM_END)));
  // At the end of the stream the bytes of the call are dropped.
  expected.resize(ok && is_good ? expected.size() - stream.avail_out : 0);
  Require(appended == expected);
}

/// `text` as a zlib stream with a window of 256 bytes.
std::string Deflated(const std::string& text, int level, int strategy) {
  std::string out(2 * kMaxTextBytes, '\0');
  z_stream stream = StreamOf(text, &out);
  Require(deflateInit2(&stream, level, Z_DEFLATED, -9, 1, strategy) == Z_OK);
  Require(deflate(&stream, Z_FINISH) == Z_STREAM_END);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  const uLong sum = adler32(1, ViewOf(text).data(), static_cast<uInt>(text.size()));
  return "\x08\x1D" + out + kesu_test::BigEndian(sum, 4);
}

/// A repeated text, compressed; then without some bytes at the end; then with one byte changed.
void CheckText(ByteScript script, int level, int strategy) {
  const int repetitions = 1 + script.Pick(256);
  const std::size_t cut = script.TakeByte();
  const std::size_t position = static_cast<std::uint16_t>(script.TakeInt16());
  const std::string piece(script.TakeRest());
  std::string text;
  for (int i = 0; i < repetitions && text.size() + piece.size() <= kMaxTextBytes; ++i) {
    text += piece;
  }
  std::string stream = Deflated(text, level, strategy);
  std::string appended;
  Require(Inflate(stream, &appended));
  // Nothing of a stream that ends within the first call.
  Require(appended == (text.size() <= kBufferBytes ? "" : text.substr(0, kBufferBytes)));
  stream.resize(stream.size() - std::min(stream.size(), cut));
  CheckStream(stream);
  if (position >= stream.size()) return;
  stream[position] = static_cast<char>(~stream[position]);
  CheckStream(stream);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  ByteScript script(bytes, size);
  const unsigned mode = script.TakeByte();
  if (mode % 2 == 0) {
    CheckStream(script.TakeRest());
  } else {
    CheckText(script, static_cast<int>(mode / 2 % 10), static_cast<int>(mode / 20 % 5));
  }
  return 0;
}
