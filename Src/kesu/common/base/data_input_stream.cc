#include "kesu/common/base/data_input_stream.h"

#include <algorithm>
#include <cstddef>

namespace common_base {

void DataInputStreamState::Snapshot(DataInputStream* stream) {
  stream_ = stream;
  position_ = stream->position_;
  hit_error_ = stream->hit_error_;
}

void DataInputStream::Restore(const DataInputStreamState& state) {
  position_ = state.position_;
  hit_error_ = state.hit_error_;
}

template <typename Number>
Number DataInputStream::ReadBigEndian() {
  Number value = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    value = static_cast<Number>((value << 8) | ReadUint8());
  }
  return value;
}

template <typename Number>
Number DataInputStream::ReadLittleEndian() {
  Number value = 0;
  for (std::size_t i = 0; i < sizeof(Number); ++i) {
    value |= static_cast<Number>(ReadUint8()) << (8 * i);
  }
  return value;
}

unsigned short DataInputStream::ReadUint16() {
  return ReadBigEndian<unsigned short>();
}

unsigned DataInputStream::ReadUint32() {
  return ReadBigEndian<unsigned>();
}

unsigned long long DataInputStream::ReadUint64() {
  return ReadBigEndian<unsigned long long>();
}

unsigned DataInputStream::ReadLittleEndianUint32() {
  return ReadLittleEndian<unsigned>();
}

unsigned long long DataInputStream::ReadLittleEndianUint64() {
  return ReadLittleEndian<unsigned long long>();
}

GVectorRef<const unsigned char> DataInputStream::ReadFully() {
  return ReadByteSpan(source_->length() - position_);
}

GVectorRef<const unsigned char> DataInputStream::ReadByteBlock() {
  return ReadByteSpan(ReadUint16());
}

GString DataInputStream::ReadUtfString() {
  return GString(ReadByteBlock());
}

GVectorRef<const unsigned char> DataInputStream::GetByteSpan(
    const DataInputStreamState& start) const {
  // The position may lie beyond the end, in a stream restored to the state of a longer one.
  const int end = std::min(position_, source_->length());
  if (start.position_ >= end) return {};
  return View(start.position_, end - start.position_);
}

}  // namespace common_base
