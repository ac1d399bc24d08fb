#ifndef KESU_COMMON_BASE_OBJECT_REGION_H_
#define KESU_COMMON_BASE_OBJECT_REGION_H_

#include <cstddef>
#include <cstdint>

#pragma GCC visibility push(hidden)
namespace common_base {

/// Where the objects of the library come from: each from the heap for itself or, as long as an
/// ObjectRegion lives, close together in blocks of up to 4 KiB. A block goes back to the heap when
/// the last object in it is gone, whenever that is; an object that outlives the rest keeps its
/// block. Messages that are read open a region for their tree. Not for use on more than one thread.
/// Under a sanitizer, which wants to see each object, all come from the heap.
///
///     const ObjectRegion region(4 * bytes.length());
///     auto* object = new Object;  // A HeapObject.
class ObjectRegion {
 public:
  /// `expected_size` is what the objects may take, by which the last block is cut to size. For less
  /// than half a block there is none: a small block would spoil its span for others. Inside another
  /// region it changes nothing.
  explicit ObjectRegion(std::size_t expected_size) : is_outermost_(!is_open_) {
    if (is_outermost_) Open(expected_size);
  }
  ObjectRegion(const ObjectRegion&) = delete;
  ObjectRegion& operator=(const ObjectRegion&) = delete;
  ~ObjectRegion() {
    if (is_outermost_) Close();
  }

  /// Memory for an object of any kind, aligned to 8 bytes. Ends the process when there is none: a
  /// constructor cannot run on nothing, and there is nobody to report to.
  static void* Allocate(std::size_t size) {
    const std::size_t slot = (size + kGrid - 1) & ~(kGrid - 1);
    if (slot > static_cast<std::size_t>(end_ - next_)) return AllocateSlowly(size);
    char* object = next_;
    next_ += slot;
    ++BlockOf(object)->object_count;
    return object;
  }

  static void Free(void* object) {
    if (!IsInBlock(object)) return FreeToHeap(object);
    Block* block = BlockOf(object);
    if (--block->object_count == 0) FreeToHeap(block);
  }

 private:
  /// The heap puts what it gives out on this grid, and a region half a step beside it, by which the
  /// two are told apart.
  static constexpr std::size_t kGrid = 16;
  static constexpr std::size_t kBlockSpan = 4096;
  /// Blocks start where a span does. Each leaves what the heap puts between two of its blocks, or
  /// no two of ours could stand side by side.
  static constexpr std::size_t kBlockSize = kBlockSpan - 64;
  static constexpr std::size_t kSmallestBlock = 512;
  static constexpr std::size_t kLargestInBlock = kSmallestBlock / 2;

  struct alignas(kGrid / 2) Block {
    /// One more while the region may put others there.
    int object_count;
  };
  static_assert(sizeof(Block) == kGrid / 2);

  static bool IsInBlock(const void* object) {
    return reinterpret_cast<std::uintptr_t>(object) % kGrid != 0;
  }
  static Block* BlockOf(void* object) {
    const std::size_t offset = reinterpret_cast<std::uintptr_t>(object) % kBlockSpan;
    return reinterpret_cast<Block*>(static_cast<char*>(object) - offset);
  }
  static void* AllocateSlowly(std::size_t size);
  static void FreeToHeap(void* memory);
  static void LeaveBlock();
  static void Open(std::size_t expected_size);
  static void Close();

  static bool is_open_;
  static std::size_t expected_size_;
  /// The room left in the block that is being filled.
  static char* next_;
  static char* end_;

  bool is_outermost_;
};

}  // namespace common_base
#pragma GCC visibility pop

#endif  // KESU_COMMON_BASE_OBJECT_REGION_H_
