#ifndef KESU_COMMON_BASE_VECTOR_H_
#define KESU_COMMON_BASE_VECTOR_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "kesu/common/base/vector_impl.h"

namespace common_base {

template <typename T>
class GVectorRef;

/// What GVector and GVectorRef share: typed reading of a GVectorImpl, and a destructor that
/// destroys the elements when the buffer is owned. Elements must survive being moved bitwise. What
/// would change the untyped elements behind their back is out of reach.
template <typename T>
class GTypedVector : protected GVectorImpl {
 public:
  using value_type = std::remove_const_t<T>;

  using GVectorImpl::AssertIndexInRange;
  using GVectorImpl::capacity;
  using GVectorImpl::element_size;
  using GVectorImpl::length;
  using GVectorImpl::owns_buffer;

  T* data() const { return static_cast<T*>(GVectorImpl::data()); }
  T* begin() const { return data(); }
  T* end() const { return data() + length(); }
  bool IsEmpty() const { return length() == 0; }
  T& operator[](int index) const { return data()[index]; }

  /// GVectorImpl's.
  bool BitwiseEquals(const GVectorRef<const value_type>& other) const {
    return GVectorImpl::BitwiseEquals(other);
  }

 protected:
  GTypedVector() : GVectorImpl(sizeof(T)) {}
  template <typename Tag>
  GTypedVector(Tag tag, T* buffer, int count)
      : GVectorImpl(tag, static_cast<int>(sizeof(T)), MutableAddress(buffer), count) {}
  ~GTypedVector() {
    if (capacity() != 0) std::destroy_n(data(), length());
  }

  static void* MutableAddress(T* address) { return const_cast<std::remove_const_t<T>*>(address); }

 private:
  template <typename U>
  friend class GTypedVector;
};

/// A view on elements that live elsewhere: copying it copies the reference, not the elements. What
/// it refers to must outlive it. (Built with kAllocateAndCopy it owns its elements; a copy of such
/// a view still only refers to them.)
template <typename T>
class GVectorRef : public GTypedVector<T> {
  using Base = GTypedVector<T>;

 public:
  GVectorRef() = default;
  GVectorRef(ReferenceExistingBuffer tag, T* buffer, int count) : Base(tag, buffer, count) {}
  GVectorRef(TakeOwnershipOfExistingBuffer tag, T* buffer, int count) : Base(tag, buffer, count) {}
  GVectorRef(AllocateAndCopy tag, T* source,
             int count) requires(std::is_trivially_destructible_v<T>)
      : Base(tag, source, count) {}

  GVectorRef(const GVectorRef& other)
      : Base(kReferenceExistingBuffer, other.data(), other.length()) {}
  GVectorRef(GVectorRef&& other) noexcept { swap(&other); }
  GVectorRef& operator=(GVectorRef other) noexcept {
    swap(&other);
    return *this;
  }
  void swap(GVectorRef* other) noexcept { GVectorImpl::swap(other); }

  /// A view of any vector of the same elements, const added where wanted.
  template <typename U>
  requires(std::is_same_v<std::remove_const_t<T>, std::remove_const_t<U>>&&
               std::is_convertible_v<U*, T*> &&
           !std::is_same_v<T, U>) GVectorRef(const GTypedVector<U>& other)
      : Base(kReferenceExistingBuffer, other.data(), other.length()) {}
  /// A view of the very same kind of elements, out of a GVector.
  template <typename Vector>
  requires(std::is_base_of_v<GTypedVector<T>, Vector> && !std::is_same_v<Vector, GVectorRef>)
      GVectorRef(const Vector& other)
      : Base(kReferenceExistingBuffer, other.data(), other.length()) {}
};

/// A growable array that owns its elements. (Built with kReferenceExistingBuffer, for elements
/// without a destructor, it owns none until it is changed: it then works on a copy.)
template <typename T>
class GVector : public GTypedVector<T> {
  using Base = GTypedVector<T>;
  static constexpr bool kPlain = std::is_trivially_destructible_v<T>;

 public:
  GVector() = default;
  GVector(ReferenceExistingBuffer tag, T* buffer, int count) requires(kPlain)
      : Base(tag, buffer, count) {}
  GVector(TakeOwnershipOfExistingBuffer tag, T* buffer, int count) : Base(tag, buffer, count) {}
  GVector(AllocateAndCopy tag, const T* source, int count) requires(kPlain)
      : Base(tag, const_cast<T*>(source), count) {}
  GVector(const GVector&) = delete;
  GVector& operator=(const GVector&) = delete;
  GVector(GVector&& other) noexcept { swap(&other); }
  GVector& operator=(GVector&& other) noexcept {
    GVector moved(std::move(other));
    swap(&moved);
    return *this;
  }
  void swap(GVector* other) noexcept { GVectorImpl::swap(other); }

  /// GVectorImpl's. Elements with a destructor are destroyed when they are cut off and
  /// default-made when they are new; others are left as they are.
  void AdjustLength(int length) {
    const int old_length = this->length();
    if constexpr (!kPlain) {
      if (length >= 0 && length < old_length) {
        std::destroy_n(this->data() + length, old_length - length);
      }
    }
    GVectorImpl::AdjustLength(length);
    if constexpr (!kPlain) {
      if (length > old_length) {
        std::uninitialized_value_construct_n(this->data() + old_length, length - old_length);
      }
    }
  }

  void AdjustLengthAndZero(int length) requires(kPlain) {
    GVectorImpl::AdjustLengthAndZero(length);
  }

  void Append(T value) {
    GVectorImpl::AddElement();
    new (static_cast<void*>(this->end() - 1)) T(std::move(value));
  }

  /// Appends copies of the elements of `source`, which may be some of this vector's own.
  void AppendAll(const GVectorRef<const T>& source) {
    const T* from = source.data();
    const bool is_own =
        std::less_equal<>()(this->begin(), from) && std::less<>()(from, this->end());
    const std::ptrdiff_t offset = is_own ? from - this->begin() : 0;
    T* gap = static_cast<T*>(GVectorImpl::InsertItems(this->end(), source.length(), nullptr));
    std::uninitialized_copy_n(is_own ? this->begin() + offset : from, source.length(), gap);
  }

  using GVectorImpl::SetReserve;

  /// GVectorImpl's, for elements that are plain bytes.
  void AddElements(int count) requires(kPlain) { GVectorImpl::AddElements(count); }
  void Truncate(int length) requires(kPlain) { GVectorImpl::Truncate(length); }

  /// GVectorImpl's, for elements that are plain bytes.
  T* InsertItems(T* position, int count, const T* source) requires(kPlain) {
    return static_cast<T*>(GVectorImpl::InsertItems(position, count, source));
  }

  /// GVectorImpl's. The elements are destroyed.
  T* EraseItems(T* position, int count) {
    std::destroy_n(position, count);
    return static_cast<T*>(GVectorImpl::EraseItems(position, count));
  }

  void Clear() { AdjustLength(0); }
};

/// The bytes of a payload: owned and growable, or a view.
using ByteVector = GVector<unsigned char>;
using ByteView = GVectorRef<const unsigned char>;

}  // namespace common_base

#endif  // KESU_COMMON_BASE_VECTOR_H_
