#ifndef KESU_COMMON_BASE_MEMORY_H_
#define KESU_COMMON_BASE_MEMORY_H_

#include <cstddef>

/// The memory primitives through which every buffer and object of the library passes.
namespace common_base {

/// `size` bytes from the C heap; null for size 0, and null when the heap is exhausted.
void* GAlloc(unsigned size);

/// Releases a block of GAlloc or GReallocf; null is allowed.
void GFree(void* block);

/// Resizes a block of GAlloc or GReallocf, or makes one from null. Size 0 releases the block and
/// yields null. When the heap is exhausted the result is null and `block` is still valid.
void* GReallocf(void* block, unsigned size);

void GMemmove(void* dest, const void* source, std::size_t size);
void GMemset(void* dest, int byte, std::size_t size);
int GMemcmp(const void* a, const void* b, std::size_t size);

/// The usable size of a heap block in bytes, at least what was asked for; 0 for null.
std::size_t GHeapBlockSize(void* block);

/// Base of the classes whose objects live on the heap: they come from GAlloc and go to GFree like
/// every other byte of the library. Adds nothing to an object.
class HeapObject {
 public:
  static void* operator new(std::size_t size);
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* block) noexcept { GFree(block); }
  static void operator delete(void*, void*) noexcept {}

 protected:
  HeapObject() = default;
  HeapObject(const HeapObject&) = default;
  HeapObject& operator=(const HeapObject&) = default;
  ~HeapObject() = default;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_MEMORY_H_
