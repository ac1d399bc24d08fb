#include "kesu/mux/request_list.h"

#include "kesu/mux/request.h"

namespace common_kesu {

using common_base::GVector;
using common_base::GVectorRef;

void RequestList::AppendAll(const GVectorRef<Request*>& requests) {
  const std::size_t needed = places_.size() + static_cast<std::size_t>(requests.length());
  // To the exact size where there was nothing: most lists get no more than that.
  if (places_.empty()) places_.reserve(needed);
  for (Request* request : requests) Append(request);
}

GVector<Request*> RequestList::TakeAll() {
  GVector<Request*> requests;
  requests.AdjustLength(length());
  for (int i = 0; i < length(); ++i) requests[i] = Take(i);
  Clear();
  return requests;
}

void RequestList::Clear() {
  places_.clear();
  if (places_.capacity() > kKeptPlaces) places_.shrink_to_fit();
}

void RequestList::Cancel(Request* request, bool all) {
  if (request == nullptr) return;
  request->ForEachPlace([&](RequestPlace* place) {
    if (place->holder() != this) return true;
    place->Take();
    return all;
  });
}

}  // namespace common_kesu
