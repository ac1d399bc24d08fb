#include "dovi/receive_buffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "kesu/common/base/memory.h"

bool ReceiveBuffer::Append(const char* bytes, std::size_t count) {
  if (count == 0) return true;
  if (count > static_cast<std::size_t>(limit_ - length_) ||
      !Reserve(length_ + static_cast<int>(count))) {
    Free();
    return false;
  }
  common_base::GMemmove(bytes_ + length_, bytes, count);
  length_ += static_cast<int>(count);
  bytes_[length_] = 0;
  return true;
}

bool ReceiveBuffer::AppendText(const char* bytes, std::size_t count) {
  return Append(bytes, strnlen(bytes, count));
}

void ReceiveBuffer::Expect(long long size) {
  constexpr long long kMostOnTrust = 256 << 10;
  if (size > 0) Reserve(static_cast<int>(std::min<long long>({size, kMostOnTrust, limit_})));
}

unsigned char* ReceiveBuffer::Release() {
  length_ = 0;
  capacity_ = 0;
  return std::exchange(bytes_, nullptr);
}

void ReceiveBuffer::Free() {
  common_base::GFree(Release());
}

/// Makes room for `size` bytes and the NUL.
bool ReceiveBuffer::Reserve(int size) {
  if (size < capacity_) return true;
  const int capacity = std::max(size, std::min(2 * capacity_, limit_)) + 1;
  void* grown = common_base::GReallocf(bytes_, static_cast<unsigned>(capacity));
  if (grown == nullptr) return false;
  bytes_ = static_cast<unsigned char*>(grown);
  capacity_ = capacity;
  return true;
}
