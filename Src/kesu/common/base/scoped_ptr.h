#ifndef KESU_COMMON_BASE_SCOPED_PTR_H_
#define KESU_COMMON_BASE_SCOPED_PTR_H_

#include <utility>

namespace common_base {

/// Sole owner of one heap object, or of none.
template <typename T>
class ScopedPtr {
 public:
  ScopedPtr() = default;
  explicit ScopedPtr(T* object) : object_(object) {}
  ScopedPtr(ScopedPtr&& other) noexcept : object_(other.release()) {}
  ScopedPtr& operator=(ScopedPtr&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~ScopedPtr() { delete object_; }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

  /// Hands the object to the caller, who then owns it.
  T* release() { return std::exchange(object_, nullptr); }

  /// Deletes the object held, unless it is `object`, and becomes the owner of `object`.
  void reset(T* object = nullptr) {
    if (object == object_) return;
    T* old = std::exchange(object_, object);
    delete old;
  }

 private:
  T* object_ = nullptr;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_SCOPED_PTR_H_
