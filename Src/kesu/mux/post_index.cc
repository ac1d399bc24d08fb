#include "kesu/mux/post_index.h"

#include <algorithm>
#include <utility>

namespace common_kesu {

using common_base::GAllocator;
using common_base::RequestInterface;

void PostIndex::Set(const RequestInterface* request, MultiplexedPost* post) {
  if (count_ == 0 && slots_.size() > kKeptSlots) slots_ = Slots();
  // At most seven slots of eight are taken, so that each search ends, and soon.
  if ((count_ + 1) * 8 > slots_.size() * 7) Grow();
  Slot& slot = slots_[SlotOf(request)];
  if (slot.request == nullptr) ++count_;
  slot = {request, post};
}

MultiplexedPost* PostIndex::Take(const RequestInterface* request) {
  if (slots_.empty()) return nullptr;
  std::size_t hole = SlotOf(request);
  MultiplexedPost* post = slots_[hole].post;
  if (post == nullptr) return nullptr;
  // Those behind it that are searched for from the hole or from before it move up.
  for (std::size_t i = SlotAfter(hole); slots_[i].request != nullptr; i = SlotAfter(i)) {
    const std::size_t from_home = SlotAfter(i, slots_.size() - HomeOf(slots_[i].request));
    const std::size_t from_hole = SlotAfter(i, slots_.size() - hole);
    if (from_home < from_hole) continue;
    slots_[hole] = slots_[i];
    hole = i;
  }
  slots_[hole] = {};
  --count_;
  return post;
}

std::vector<MultiplexedPost*, GAllocator<MultiplexedPost*>> PostIndex::TakeAll() {
  std::vector<MultiplexedPost*, GAllocator<MultiplexedPost*>> posts;
  for (const Slot& slot : std::exchange(slots_, {})) {
    if (slot.request != nullptr) posts.push_back(slot.post);
  }
  count_ = 0;
  std::sort(posts.begin(), posts.end(), [](const MultiplexedPost* a, const MultiplexedPost* b) {
    return a->number() > b->number();
  });
  posts.erase(std::unique(posts.begin(), posts.end()), posts.end());
  return posts;
}

std::size_t PostIndex::SlotOf(const RequestInterface* request) const {
  std::size_t slot = HomeOf(request);
  while (slots_[slot].request != nullptr && slots_[slot].request != request) slot = SlotAfter(slot);
  return slot;
}

void PostIndex::Grow() {
  const Slots old = std::exchange(slots_, Slots(std::max(kFewestSlots, 2 * slots_.size())));
  for (const Slot& slot : old) {
    if (slot.request != nullptr) slots_[SlotOf(slot.request)] = slot;
  }
}

}  // namespace common_kesu
