#ifndef KESU_MUX_POST_INDEX_H_
#define KESU_MUX_POST_INDEX_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kesu/common/base/gallocator.h"
#include "kesu/common/base/request_interface.h"
#include "kesu/mux/multiplexed_post.h"

namespace common_kesu {

/// Finds the POSTs in flight, which are borrowed, by the requests that end them.
///
/// A hash table with linear probing, whose slots lie close together: when many thousand POSTs end
/// in an order that nothing foretells, each one costs what it takes to fetch its memory, and a
/// table of nodes has twice as much to fetch.
class PostIndex {
 public:
  /// Null if there is none.
  MultiplexedPost* Find(const common_base::RequestInterface* request) const {
    return slots_.empty() ? nullptr : slots_[SlotOf(request)].post;
  }
  void Set(const common_base::RequestInterface* request, MultiplexedPost* post);
  /// As Find(); the index has no entry for `request` afterwards.
  MultiplexedPost* Take(const common_base::RequestInterface* request);
  /// All POSTs, each once, the newest first; the index is empty afterwards.
  std::vector<MultiplexedPost*, common_base::GAllocator<MultiplexedPost*>> TakeAll();

 private:
  struct Slot {
    const common_base::RequestInterface* request = nullptr;
    MultiplexedPost* post = nullptr;
  };
  using Slots = std::vector<Slot, common_base::GAllocator<Slot>>;

  static constexpr std::size_t kFewestSlots = 16;
  /// A larger table goes with the POST after all have ended. With the last one that ends it would
  /// be the allocator's occasion to join what the others left, in one go.
  static constexpr std::size_t kKeptSlots = 1024;

  /// Where the search for a request begins. The number of slots is a power of two.
  std::size_t HomeOf(const common_base::RequestInterface* request) const {
    // 2^64 divided by the golden ratio: the high bits of the product are far apart for addresses
    // that lie at even distances.
    constexpr std::uint64_t kSpread = 0x9e3779b97f4a7c15;
    const std::uint64_t product = reinterpret_cast<std::uintptr_t>(request) * kSpread;
    return static_cast<std::size_t>(product >> std::countl_zero(std::uint64_t{slots_.size()} - 1));
  }
  std::size_t SlotAfter(std::size_t slot, std::size_t steps = 1) const {
    return (slot + steps) & (slots_.size() - 1);
  }
  /// Where the request is, or the free slot that ends the search for it.
  std::size_t SlotOf(const common_base::RequestInterface* request) const;
  void Grow();

  Slots slots_;
  std::size_t count_ = 0;
};

}  // namespace common_kesu

#endif  // KESU_MUX_POST_INDEX_H_
