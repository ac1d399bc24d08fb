#ifndef KESU_MUX_REQUEST_LIST_H_
#define KESU_MUX_REQUEST_LIST_H_

#include <functional>
#include <unordered_map>
#include <utility>

#include "kesu/common/base/gallocator.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/request.h"

namespace common_kesu {

/// Requests in order, borrowed. A request that is cancelled leaves a null entry, so that the others
/// keep their places. Cancelling is fast however long the list: the first time makes an index.
class RequestList {
 public:
  const common_base::GVector<Request*>& entries() const { return entries_; }
  int length() const { return entries_.length(); }
  bool IsEmpty() const { return entries_.IsEmpty(); }

  void Append(Request* request);
  void AppendAll(const common_base::GVectorRef<Request*>& requests);
  /// The request at `index`, whose entry becomes null.
  Request* Take(int index) { return std::exchange(entries_[index], nullptr); }
  /// All entries; the list is empty afterwards.
  common_base::GVector<Request*> TakeAll();
  void Clear() { TakeAll(); }

  /// Nulls the first entry of the request, or all of them.
  void CancelFirst(const Request* request) { Cancel(request, false); }
  void CancelAll(const Request* request) { Cancel(request, true); }

 private:
  using Index =
      std::unordered_multimap<const Request*, int, std::hash<const Request*>, std::equal_to<>,
                              common_base::GAllocator<std::pair<const Request* const, int>>>;

  void Cancel(const Request* request, bool all);
  /// Enters what has been appended since the last time.
  void UpdateIndex();

  common_base::GVector<Request*> entries_;
  /// Where each request was put; it may have been taken since.
  Index index_;
  int indexed_length_ = 0;
};

}  // namespace common_kesu

#endif  // KESU_MUX_REQUEST_LIST_H_
