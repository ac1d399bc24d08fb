#include "kesu/mux/request_list.h"

#include "kesu/mux/request.h"

namespace common_kesu {

using common_base::GVector;
using common_base::GVectorRef;

void RequestList::AppendAll(const GVectorRef<Request*>& requests) {
  for (Request* request : requests) Append(request);
}

GVector<Request*> RequestList::TakeAll() {
  GVector<Request*> requests;
  requests.AdjustLength(length());
  for (int i = 0; i < length(); ++i) requests[i] = Take(i);
  Clear();
  return requests;
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
