#include "bench/peers/heap_counter.h"

#include <cerrno>
#include <cstddef>

#include <malloc.h>

namespace {

thread_local bool is_counting = false;
thread_local HeapUse heap_use;

void* Count(void* block) {
  if (is_counting && block != nullptr) {
    ++heap_use.allocations;
    heap_use.bytes_held += static_cast<long long>(malloc_usable_size(block));
  }
  return block;
}

void CountRelease(void* block) {
  if (is_counting && block != nullptr) {
    heap_use.bytes_held -= static_cast<long long>(malloc_usable_size(block));
  }
}

}  // namespace

// The names of the C library, so that its callers in every library come here.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

void* malloc(std::size_t size) {
  return Count(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
  return Count(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
  CountRelease(block);
  return Count(__libc_realloc(block, size));
}

void* memalign(std::size_t alignment, std::size_t size) {
  return Count(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

void free(void* block) {
  CountRelease(block);
  __libc_free(block);
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,readability-inconsistent-declaration-parameter-name)

HeapUse CountHeapUse(const std::function<void()>& work) {
  heap_use = {};
  is_counting = true;
  work();
  is_counting = false;
  return heap_use;
}
