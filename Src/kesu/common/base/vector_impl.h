#ifndef KESU_COMMON_BASE_VECTOR_IMPL_H_
#define KESU_COMMON_BASE_VECTOR_IMPL_H_

#include <utility>

#include "kesu/common/base/memory.h"

namespace common_base {

/// Construction tags of the vectors.
/// The vector is a view: the buffer is somebody else's, must outlive the view and is never freed.
struct ReferenceExistingBuffer {};
/// The vector becomes the owner of a buffer that came from GAlloc.
struct TakeOwnershipOfExistingBuffer {};
/// The vector allocates room for the elements and copies them bitwise, unless the source is null.
struct AllocateAndCopy {};

inline constexpr ReferenceExistingBuffer kReferenceExistingBuffer{};
inline constexpr TakeOwnershipOfExistingBuffer kTakeOwnershipOfExistingBuffer{};
inline constexpr AllocateAndCopy kAllocateAndCopy{};

/// The one growable array behind GVector and GVectorRef. To it elements are plain bytes: they are
/// moved with GMemmove and never constructed or destroyed. A capacity of 0 with a length above 0
/// is a view on a foreign buffer, which is never written to: what changes the vector, other than
/// emptying it, copies the elements into a buffer of its own first. Negative counts of elements are
/// 0 for a constructor; elsewhere they, and those beyond what an int can count, end the process.
class GVectorImpl {
 public:
  explicit GVectorImpl(int element_size) : element_size_(element_size) {}
  GVectorImpl(ReferenceExistingBuffer, int element_size, void* buffer, int count)
      : data_(buffer), length_(count < 0 ? 0 : count), element_size_(element_size) {}
  GVectorImpl(TakeOwnershipOfExistingBuffer, int element_size, void* buffer, int count)
      : GVectorImpl(kReferenceExistingBuffer, element_size, buffer, count) {
    capacity_ = length_;
  }
  GVectorImpl(AllocateAndCopy, int element_size, const void* source, int count);
  GVectorImpl(const GVectorImpl&) = delete;
  GVectorImpl& operator=(const GVectorImpl&) = delete;
  ~GVectorImpl() {
    if (capacity_ >= 1) GFree(data_);
  }

  void* data() const { return data_; }
  int capacity() const { return capacity_; }
  int length() const { return length_; }
  int element_size() const { return element_size_; }
  bool owns_buffer() const { return capacity_ > 0; }

  /// Sets the length. Growing doubles the buffer (or takes exactly `length` where that is more),
  /// falling to half the capacity or below cuts the buffer to `length`, 0 frees it. New elements
  /// are not initialised.
  void AdjustLength(int length);

  /// AdjustLength(length() + 1), without a call where there is room.
  void AddElement() {
    if (length_ < capacity_) {
      ++length_;
    } else {
      AdjustLength(length_ + 1);
    }
  }

  /// AdjustLength(length() + count), without a call where there is room.
  void AddElements(int count) {
    if (count <= capacity_ - length_ && count >= 0) {
      length_ += count;
    } else {
      AdjustLength(length_ + count);
    }
  }

  /// Cuts the elements from `length` on off, if there are so many, and keeps the buffer as it is.
  void Truncate(int length) {
    if (length >= 0 && length < length_) length_ = length;
  }

  /// AdjustLength, with the new elements filled with zero bytes.
  void AdjustLengthAndZero(int length);

  /// Reallocates to exactly max(capacity, length()) elements.
  void SetReserve(int capacity);

  /// Opens a gap of `count` elements at `position` (the address of an element, or the end), copies
  /// `count` elements from `source` into it unless that is null, and returns the gap's address.
  /// `source` must not lie in this vector.
  void* InsertItems(void* position, int count, const void* source);

  /// Removes `count` elements at `position` and returns the address of the element that now stands
  /// there. With `count` 0 it does nothing and returns null.
  void* EraseItems(void* position, int count);

  /// Whether lengths and bytes are equal.
  bool BitwiseEquals(const GVectorImpl& other) const;

  /// Exchanges data, capacity and length; the element sizes stay.
  void swap(GVectorImpl* other) {
    std::swap(data_, other->data_);
    std::swap(capacity_, other->capacity_);
    std::swap(length_, other->length_);
  }

  /// Performs no check, deliberately: an index is the caller's affair.
  void AssertIndexInRange(int) const {}

 private:
  char* AddressOf(int index) const;
  /// Moves the elements, as far as they fit, into a buffer for `capacity` elements.
  void Reallocate(int capacity);

  void* data_ = nullptr;
  int capacity_ = 0;
  int length_ = 0;
  int element_size_;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_VECTOR_IMPL_H_
