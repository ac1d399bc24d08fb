#ifndef KESU_COMMON_BASE_GLOBAL_STATIC_POINTER_H_
#define KESU_COMMON_BASE_GLOBAL_STATIC_POINTER_H_

#pragma GCC visibility push(hidden)
namespace common_base {

inline constexpr int kGlobalStaticPointerCount = 128;

/// The address of slot `index` in the calling thread's table of global pointers; a fresh slot holds
/// null. The index, 0 to kGlobalStaticPointerCount - 1, is not checked. The table is freed when the
/// thread ends, what its slots point at is not.
void** GlobalStaticPointer(int index);

}  // namespace common_base
#pragma GCC visibility pop

#endif  // KESU_COMMON_BASE_GLOBAL_STATIC_POINTER_H_
