// Inflating any bytes, against zlib with the largest window.
#include <string>
#include <string_view>

#include <zlib.h>

#include "kesu/common/base/zlib_decompression.h"

#include "fuzz/byte_script.h"

using namespace kesu_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view stream(reinterpret_cast<const char*>(bytes), size);
  const common_base::ByteView input = ViewOf(stream);
  common_base::ByteVector output;
  output.AppendAll(ViewOf("before"));
  bool ok = false;
  common_base::DoZlibDecompression(&input, &output, &ok);

  // A zlib stream may ask for a window of 256 bytes only, a gzip stream does not say.
  const bool is_refused = size >= 2 && !stream.starts_with("\x1F\x8B") && bytes[0] >> 4 != 0;
  std::string expected(4096, '\0');
  z_stream reference = {};
  reference.next_in = const_cast<Bytef*>(bytes);
  reference.avail_in = static_cast<uInt>(size);
  reference.next_out = reinterpret_cast<Bytef*>(expected.data());
  reference.avail_out = static_cast<uInt>(expected.size());
  Require(inflateInit2(&reference, 32 + MAX_WBITS) == Z_OK);
  const int result = inflate(&reference, Z_NO_FLUSH);
  inflateEnd(&reference);
  const bool is_good = result == Z_OK || result == Z_BUF_ERROR;
  Require(ok == (!is_refused && (is_good || result == Z_STREAM_END)));
  // At the end of the stream the bytes of the call are dropped, else one buffer is the most.
  expected.resize(ok && is_good ? expected.size() - reference.avail_out : 0);
  Require(TextOf(output) == "before" + expected);
  return 0;
}
