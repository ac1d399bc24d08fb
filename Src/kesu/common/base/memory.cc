#include "kesu/common/base/memory.h"

#include <cstdlib>
#include <cstring>

#include <malloc.h>

#include "kesu/common/base/object_region.h"

namespace common_base {

void* GAlloc(unsigned size) {
  return size == 0 ? nullptr : std::malloc(size);
}

void GFree(void* block) {
  std::free(block);
}

void* GReallocf(void* block, unsigned size) {
  if (size == 0) {
    GFree(block);
    return nullptr;
  }
  return std::realloc(block, size);
}

void GMemmove(void* dest, const void* source, std::size_t size) {
  if (size != 0) std::memmove(dest, source, size);
}

void GMemset(void* dest, int byte, std::size_t size) {
  if (size != 0) std::memset(dest, byte, size);
}

int GMemcmp(const void* a, const void* b, std::size_t size) {
  return size == 0 ? 0 : std::memcmp(a, b, size);
}

std::size_t GHeapBlockSize(void* block) {
  return malloc_usable_size(block);
}

void* AllocateObject(std::size_t size) {
  return ObjectRegion::Allocate(size);
}

void FreeObject(void* object) {
  ObjectRegion::Free(object);
}

}  // namespace common_base
