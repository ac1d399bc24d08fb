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

/// Memory for an object, aligned to 8 bytes and never null, and its release; null is allowed there.
/// Objects of a message that is being read come out of blocks that they share.
void* AllocateObject(std::size_t size);
void FreeObject(void* object);

/// Base of the classes whose objects live on the heap: they come from AllocateObject and go
/// to FreeObject. Adds nothing to an object.
class HeapObject {
 public:
  static void* operator new(std::size_t size) { return AllocateObject(size); }
  static void* operator new(std::size_t, void* place) noexcept { return place; }
  static void operator delete(void* object) noexcept { FreeObject(object); }
  static void operator delete(void*, void*) noexcept {}

 protected:
  HeapObject() = default;
  HeapObject(const HeapObject&) = default;
  HeapObject& operator=(const HeapObject&) = default;
  ~HeapObject() = default;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_MEMORY_H_
