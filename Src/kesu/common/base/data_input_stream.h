#ifndef KESU_COMMON_BASE_DATA_INPUT_STREAM_H_
#define KESU_COMMON_BASE_DATA_INPUT_STREAM_H_

#include <bit>

#include "kesu/common/base/byte_order.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"

namespace common_base {

class DataInputStream;

/// A saved reading position, to look ahead and back up with DataInputStream::Restore().
class DataInputStreamState {
 public:
  DataInputStreamState() = default;
  explicit DataInputStreamState(DataInputStream* stream) { Snapshot(stream); }

  void Snapshot(DataInputStream* stream);

 private:
  friend class DataInputStream;

  DataInputStream* stream_ = nullptr;
  int position_ = 0;
  bool hit_error_ = false;
};

/// Reads numbers, byte spans and strings from a view of bytes. Numbers are big-endian unless the
/// name says otherwise. Reading past the end yields zeros and empty views and sets a sticky error
/// flag, to be tested once after a group of reads; only Restore() to an earlier state clears it.
class DataInputStream : public HeapObject {
 public:
  /// `source` is borrowed and read afresh at each access.
  explicit DataInputStream(const GVectorRef<const unsigned char>* source) : source_(source) {}
  DataInputStream(const DataInputStream&) = delete;
  DataInputStream& operator=(const DataInputStream&) = delete;
  virtual ~DataInputStream() = default;

  unsigned char ReadUint8() {
    if (hit_end_of_file()) {
      hit_error_ = true;
      return 0;
    }
    return (*source_)[position_++];
  }
  signed char ReadInt8() { return static_cast<signed char>(ReadUint8()); }
  bool ReadBool() { return ReadUint8() != 0; }
  unsigned short ReadUint16() { return ReadNumber<std::endian::big, unsigned short>(); }
  short ReadInt16() { return static_cast<short>(ReadUint16()); }
  unsigned ReadUint32() { return ReadNumber<std::endian::big, unsigned>(); }
  int ReadInt32() { return static_cast<int>(ReadUint32()); }
  unsigned long long ReadUint64() { return ReadNumber<std::endian::big, unsigned long long>(); }
  long long ReadInt64() { return static_cast<long long>(ReadUint64()); }
  unsigned ReadLittleEndianUint32() { return ReadNumber<std::endian::little, unsigned>(); }
  int ReadLittleEndianInt32() { return static_cast<int>(ReadLittleEndianUint32()); }
  unsigned long long ReadLittleEndianUint64() {
    return ReadNumber<std::endian::little, unsigned long long>();
  }
  long long ReadLittleEndianInt64() { return static_cast<long long>(ReadLittleEndianUint64()); }

  /// The next `length` bytes, valid as long as the source's are. A negative length, or one that
  /// reaches past the end, is an error: the view is empty and the position moves to the end.
  GVectorRef<const unsigned char> ReadByteSpan(int length) {
    const int start = position_;
    Advance(hit_error_ ? -1 : length);
    if (hit_error_ || length == 0) return {};
    return View(start, length);
  }
  /// Everything from the position to the end.
  GVectorRef<const unsigned char> ReadFully();
  /// A 16-bit length and that many bytes.
  GVectorRef<const unsigned char> ReadByteBlock();
  /// A byte block as UTF-8 text; empty when the read failed.
  GString ReadUtfString();
  /// The bytes consumed since `start` was taken. Does not move the position.
  GVectorRef<const unsigned char> GetByteSpan(const DataInputStreamState& start) const;

  bool hit_error() const { return hit_error_; }
  bool hit_end_of_file() const { return position_ >= source_->length(); }
  int position() const { return position_; }
  /// The bytes from the position to the end, and where they are.
  const unsigned char* next() const { return source_->data() + position_; }
  int remaining() const { return hit_end_of_file() ? 0 : source_->length() - position_; }

  void Restore(const DataInputStreamState& state);

 protected:
  const GVectorRef<const unsigned char>& source() const { return *source_; }
  /// Moves the position forward; beyond the end it stops there and the stream is in error.
  void Advance(int length) {
    if (length < 0 || length > source_->length() - position_) {
      position_ = source_->length();
      hit_error_ = true;
    } else {
      position_ += length;
    }
  }

 private:
  friend class DataInputStreamState;

  /// Zeros stand for the bytes that are not there.
  template <std::endian kOrder, typename Number>
  Number ReadNumber() {
    constexpr int kSize = sizeof(Number);
    unsigned char rest[kSize];
    const bool is_whole = remaining() >= kSize;
    const Number value = LoadNumber<kOrder, Number>(is_whole ? next() : ReadRest(rest, kSize));
    if (is_whole) position_ += kSize;
    return value;
  }
  /// Fewer than `size` bytes are left: they, and zeros, into `bytes`.
  const unsigned char* ReadRest(unsigned char* bytes, int size);
  GVectorRef<const unsigned char> View(int start, int length) const {
    return {kReferenceExistingBuffer, source_->data() + start, length};
  }

  const GVectorRef<const unsigned char>* source_;
  int position_ = 0;
  bool hit_error_ = false;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_DATA_INPUT_STREAM_H_
