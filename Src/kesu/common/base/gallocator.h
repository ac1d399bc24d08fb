#ifndef KESU_COMMON_BASE_GALLOCATOR_H_
#define KESU_COMMON_BASE_GALLOCATOR_H_

#include <climits>
#include <cstddef>
#include <cstdlib>

#include "kesu/common/base/memory.h"

namespace common_base {

/// Lets containers of the standard library take their memory from GAlloc. Ends the process when
/// there is none.
template <typename T>
struct GAllocator {
  using value_type = T;

  GAllocator() = default;
  template <typename U>
  GAllocator(const GAllocator<U>&) {}

  T* allocate(std::size_t count) {
    if (count > UINT_MAX / sizeof(T)) std::abort();
    void* block = GAlloc(static_cast<unsigned>(count * sizeof(T)));
    if (block == nullptr) std::abort();
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t) { GFree(block); }

  bool operator==(const GAllocator&) const = default;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_GALLOCATOR_H_
