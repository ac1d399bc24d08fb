#include "kesu/common/base/object_region.h"

#include <algorithm>
#include <cstdlib>

#include "kesu/common/base/memory.h"

#if defined(__SANITIZE_ADDRESS__)
#define KESU_OBJECTS_APART
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define KESU_OBJECTS_APART
#endif
#endif

namespace common_base {
namespace {

#ifdef KESU_OBJECTS_APART
constexpr bool kHasBlocks = false;
#else
// Elsewhere the heap's grid is finer, and its objects could not be told from those in a block.
constexpr bool kHasBlocks = alignof(std::max_align_t) >= 16;
#endif

void* Checked(void* memory) {
  if (memory == nullptr) std::abort();
  return memory;
}

}  // namespace

constinit bool ObjectRegion::is_open_ = false;
constinit std::size_t ObjectRegion::expected_size_ = 0;
constinit char* ObjectRegion::next_ = nullptr;
constinit char* ObjectRegion::end_ = nullptr;

void* ObjectRegion::AllocateSlowly(std::size_t size) {
  if (!kHasBlocks || !is_open_ || size > kLargestInBlock) {
    // What is smaller than a step of the grid need not stand on it.
    return Checked(GAlloc(static_cast<unsigned>(std::max(size, kGrid))));
  }
  LeaveBlock();
  // More than was expected, and there may be much more: whole blocks from then on.
  const std::size_t wanted = expected_size_ == 0 ? kBlockSize : expected_size_;
  const std::size_t block_size = std::clamp(wanted / kGrid * kGrid, kSmallestBlock, kBlockSize);
  expected_size_ -= std::min(block_size, expected_size_);
  auto* block = static_cast<Block*>(Checked(std::aligned_alloc(kBlockSpan, block_size)));
  block->object_count = 1;
  next_ = reinterpret_cast<char*>(block + 1);
  end_ = reinterpret_cast<char*>(block) + block_size;
  return Allocate(size);
}

void ObjectRegion::FreeToHeap(void* memory) {
  GFree(memory);
}

void ObjectRegion::LeaveBlock() {
  if (next_ == nullptr) return;
  Block* block = BlockOf(end_ - 1);
  if (--block->object_count == 0) FreeToHeap(block);
  next_ = nullptr;
  end_ = nullptr;
}

void ObjectRegion::Open(std::size_t expected_size) {
  is_open_ = expected_size >= kBlockSize / 2;
  expected_size_ = expected_size;
}

void ObjectRegion::Close() {
  LeaveBlock();
  is_open_ = false;
}

}  // namespace common_base
