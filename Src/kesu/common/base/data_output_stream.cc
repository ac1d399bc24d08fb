#include "kesu/common/base/data_output_stream.h"

#include <functional>

namespace common_base {
namespace {

ByteVector CopyOf(const ByteView& bytes) {
  return ByteVector(kAllocateAndCopy, bytes.data(), bytes.length());
}

}  // namespace

void DataOutputStream::WriteUint16(unsigned short value) {
  WriteUint8(static_cast<unsigned char>(value >> 8));
  WriteUint8(static_cast<unsigned char>(value));
}

void DataOutputStream::WriteUint32(unsigned value) {
  WriteUint16(static_cast<unsigned short>(value >> 16));
  WriteUint16(static_cast<unsigned short>(value));
}

void DataOutputStream::WriteUint64(unsigned long long value) {
  WriteUint32(static_cast<unsigned>(value >> 32));
  WriteUint32(static_cast<unsigned>(value));
}

void DataOutputStream::WriteLittleEndianUint32(unsigned value) {
  for (int shift = 0; shift < 32; shift += 8)
    WriteUint8(static_cast<unsigned char>(value >> shift));
}

void DataOutputStream::WriteLittleEndianUint64(unsigned long long value) {
  WriteLittleEndianUint32(static_cast<unsigned>(value));
  WriteLittleEndianUint32(static_cast<unsigned>(value >> 32));
}

bool DataOutputStream::IsInSink(const GVectorRef<const unsigned char>& bytes) const {
  const std::less<> before;
  return before(bytes.begin(), sink_->end()) && before(sink_->begin(), bytes.end());
}

unsigned char* DataOutputStream::Extend(int count) {
  sink_->AdjustLength(sink_->length() + count);
  return sink_->end() - count;
}

void DataOutputStream::WriteRawBytes(const GVectorRef<const unsigned char>& bytes) {
  if (IsInSink(bytes)) return sink_->AppendAll(CopyOf(bytes));
  sink_->AppendAll(bytes);
}

void DataOutputStream::WriteByteBlock(const GVectorRef<const unsigned char>& bytes) {
  if (IsInSink(bytes)) return WriteByteBlock(CopyOf(bytes));
  WriteUint16(static_cast<unsigned short>(bytes.length()));
  sink_->AppendAll(bytes);
}

void DataOutputStream::WriteUtf8String(const GString& text) {
  GVector<unsigned char> utf8;
  text->ToUtf8Vector(&utf8);
  WriteByteBlock(utf8);
}

}  // namespace common_base
