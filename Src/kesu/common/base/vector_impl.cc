#include "kesu/common/base/vector_impl.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace common_base {
namespace {

/// Bytes of `count` elements. A size that GAlloc cannot express ends the process rather than
/// wrapping into a buffer that is too small.
unsigned ByteSize(int count, int element_size) {
  const long long size = static_cast<long long>(count) * element_size;
  if (size < 0 || size > static_cast<long long>(UINT_MAX)) std::abort();
  return static_cast<unsigned>(size);
}

int DoubledCapacity(int capacity) {
  return capacity > INT_MAX / 2 ? INT_MAX : capacity * 2;
}

}  // namespace

GVectorImpl::GVectorImpl(AllocateAndCopy, int element_size, const void* source, int count)
    : GVectorImpl(element_size) {
  AdjustLength(std::max(count, 0));
  if (source != nullptr) GMemmove(data_, source, ByteSize(length_, element_size));
}

char* GVectorImpl::AddressOf(int index) const {
  return static_cast<char*>(data_) + static_cast<std::ptrdiff_t>(index) * element_size_;
}

void GVectorImpl::Reallocate(int capacity) {
  const unsigned size = ByteSize(capacity, element_size_);
  if (owns_buffer()) {
    data_ = GReallocf(data_, size);
  } else {
    const void* foreign = std::exchange(data_, GAlloc(size));
    GMemmove(data_, foreign, ByteSize(std::min(capacity, length_), element_size_));
  }
  capacity_ = capacity;
}

void GVectorImpl::AdjustLength(int length) {
  int capacity = capacity_;
  if (length_ > length && length <= capacity_ / 2) {
    capacity = length;
  } else if (length == 0) {
    capacity = 0;
  } else if (length > capacity_) {
    capacity = std::max(DoubledCapacity(capacity_), length);
  }
  if (capacity != capacity_) Reallocate(capacity);
  length_ = length;
}

void GVectorImpl::AdjustLengthAndZero(int length) {
  const int old_length = length_;
  AdjustLength(length);
  if (length > old_length) {
    GMemset(AddressOf(old_length), 0, ByteSize(length - old_length, element_size_));
  }
}

void GVectorImpl::SetReserve(int capacity) {
  Reallocate(std::max(capacity, length_));
}

void* GVectorImpl::InsertItems(void* position, int count, const void* source) {
  if (count < 0 || count > INT_MAX - length_) std::abort();
  const std::ptrdiff_t offset =
      data_ == nullptr ? 0 : static_cast<char*>(position) - static_cast<char*>(data_);
  const std::ptrdiff_t tail = AddressOf(length_) - AddressOf(0) - offset;
  AdjustLength(length_ + count);
  if (data_ == nullptr) return nullptr;
  char* gap = AddressOf(0) + offset;
  const unsigned gap_size = ByteSize(count, element_size_);
  GMemmove(gap + gap_size, gap, static_cast<std::size_t>(tail));
  if (source != nullptr) GMemmove(gap, source, gap_size);
  return gap;
}

void* GVectorImpl::EraseItems(void* position, int count) {
  if (count == 0) return nullptr;
  const std::ptrdiff_t offset = static_cast<char*>(position) - AddressOf(0);
  if (!owns_buffer()) Reallocate(length_);
  char* erased = AddressOf(0) + offset;
  const char* tail = erased + ByteSize(count, element_size_);
  GMemmove(erased, tail, static_cast<std::size_t>(AddressOf(length_) - tail));
  AdjustLength(length_ - count);
  return data_ == nullptr ? nullptr : AddressOf(0) + offset;
}

bool GVectorImpl::BitwiseEquals(const GVectorImpl& other) const {
  return length_ == other.length_ &&
         GMemcmp(data_, other.data_, ByteSize(length_, element_size_)) == 0;
}

}  // namespace common_base
