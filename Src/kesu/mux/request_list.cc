#include "kesu/mux/request_list.h"

namespace common_kesu {

using common_base::GVector;
using common_base::GVectorRef;

void RequestList::Append(Request* request) {
  entries_.Append(request);
}

void RequestList::AppendAll(const GVectorRef<Request*>& requests) {
  entries_.AppendAll(requests);
}

GVector<Request*> RequestList::TakeAll() {
  index_.clear();
  indexed_length_ = 0;
  return std::move(entries_);
}

void RequestList::UpdateIndex() {
  for (; indexed_length_ < length(); ++indexed_length_) {
    const Request* request = entries_[indexed_length_];
    if (request != nullptr) index_.emplace(request, indexed_length_);
  }
}

void RequestList::Cancel(const Request* request, bool all) {
  UpdateIndex();
  const auto [begin, end] = index_.equal_range(request);
  auto first = end;
  for (auto place = begin; place != end; ++place) {
    if (entries_[place->second] != request) continue;
    if (all) entries_[place->second] = nullptr;
    if (first == end || place->second < first->second) first = place;
  }
  if (all) {
    index_.erase(begin, end);
  } else if (first != end) {
    entries_[first->second] = nullptr;
    index_.erase(first);
  }
}

}  // namespace common_kesu
