#include "tools/kesu/inflation.h"

#include <algorithm>
#include <utility>

#include <zlib.h>

namespace kesu_tool {

bool Inflate(std::size_t most_bytes, std::string* bytes) {
  constexpr std::size_t kBytesPerStep = std::size_t{1} << 16;
  // The largest window, and the header tells which of the two forms it is.
  constexpr int kWindowBits = 15 + 32;
  z_stream stream = {};
  if (inflateInit2(&stream, kWindowBits) != Z_OK) return false;
  const std::string deflated = std::exchange(*bytes, {});
  stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(deflated.data()));
  stream.avail_in = static_cast<uInt>(deflated.size());
  int status = Z_OK;
  while (status == Z_OK && bytes->size() < most_bytes) {
    const std::size_t length = bytes->size();
    bytes->resize(std::min(length + kBytesPerStep, most_bytes));
    stream.next_out = reinterpret_cast<Bytef*>(bytes->data() + length);
    stream.avail_out = static_cast<uInt>(bytes->size() - length);
    status = inflate(&stream, Z_NO_FLUSH);
    bytes->resize(bytes->size() - stream.avail_out);
  }
  inflateEnd(&stream);
  return status == Z_STREAM_END;
}

}  // namespace kesu_tool
