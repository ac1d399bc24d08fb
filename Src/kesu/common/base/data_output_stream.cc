#include "kesu/common/base/data_output_stream.h"

#include <functional>

#include "kesu/common/base/posix_string_storage.h"

namespace common_base {
namespace {

ByteVector CopyOf(const ByteView& bytes) {
  return ByteVector(kAllocateAndCopy, bytes.data(), bytes.length());
}

}  // namespace

bool DataOutputStream::IsInSink(const GVectorRef<const unsigned char>& bytes) const {
  const std::less<> before;
  return before(bytes.begin(), sink_->end()) && before(sink_->begin(), bytes.end());
}

void DataOutputStream::WriteRawBytes(const GVectorRef<const unsigned char>& bytes) {
  if (IsInSink(bytes)) return WriteRawBytes(CopyOf(bytes));
  GMemmove(Extend(bytes.length()), bytes.data(), static_cast<std::size_t>(bytes.length()));
}

void DataOutputStream::WriteByteBlock(const GVectorRef<const unsigned char>& bytes) {
  if (IsInSink(bytes)) return WriteByteBlock(CopyOf(bytes));
  WriteUint16(static_cast<unsigned short>(bytes.length()));
  WriteRawBytes(bytes);
}

void DataOutputStream::WriteUtf8String(const GString& text) {
  // Every text has a storage of this kind.
  const auto& storage = *static_cast<const PosixGStringStorage*>(text.Storage());
  const int size = storage.Utf8Size();
  WriteUint16(static_cast<unsigned short>(size));
  if (size > 0) storage.WriteUtf8(Extend(size));
}

}  // namespace common_base
