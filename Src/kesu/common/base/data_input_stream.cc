#include "kesu/common/base/data_input_stream.h"

#include <algorithm>

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

const unsigned char* DataInputStream::ReadRest(unsigned char* bytes, int size) {
  for (int i = 0; i < size; ++i) bytes[i] = ReadUint8();
  return bytes;
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
