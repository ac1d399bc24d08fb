#ifndef DECODE_CURSOR_H_
#define DECODE_CURSOR_H_

#include <cstddef>

#include "kesu/common/base/data_input_stream.h"
#include "kesu/common/base/vector.h"

namespace kesu_decode {

/// A place in some bytes that knows its offset in the whole they are a part of.
class Cursor {
 public:
  /// Bytes whose length was read in front of them.
  struct Run {
    common_base::ByteView bytes;
    std::size_t offset = 0;
    /// As it was read; more than the bytes when they are cut short, or negative.
    long long length = 0;
    /// How many bytes there were to take them from.
    int left = 0;

    bool is_whole() const { return length == bytes.length(); }
    /// One past the last byte that there is.
    std::size_t end() const { return offset + static_cast<std::size_t>(bytes.length()); }
  };

  Cursor(const common_base::ByteView& bytes, std::size_t offset)
      : bytes_(bytes), stream_(&bytes_), offset_(offset) {}
  explicit Cursor(const Run& run) : Cursor(run.bytes, run.offset) {}
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  /// One past the last byte.
  std::size_t end() const { return offset_ + static_cast<std::size_t>(bytes_.length()); }
  bool at_end() const { return stream_.hit_end_of_file(); }
  int left() const { return bytes_.length() - stream_.position(); }
  std::size_t offset() const { return offset_ + static_cast<std::size_t>(stream_.position()); }

  /// The stream that the cursor stands on, for reading numbers from it.
  common_base::DataInputStream* stream() { return &stream_; }
  /// Passes over the next `length` bytes, or over what there is of them: nothing when negative.
  Run Take(long long length);

 private:
  const common_base::ByteView bytes_;
  common_base::DataInputStream stream_;
  const std::size_t offset_;
};

}  // namespace kesu_decode

#endif  // DECODE_CURSOR_H_
