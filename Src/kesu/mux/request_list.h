#ifndef KESU_MUX_REQUEST_LIST_H_
#define KESU_MUX_REQUEST_LIST_H_

#include <vector>

#include "kesu/common/base/gallocator.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/request_place.h"

namespace common_kesu {

/// Requests in order, borrowed. A request that is cancelled, taken or deleted leaves a null entry,
/// so that the others keep their places.
class RequestList {
 public:
  enum class Of { kWaiting, kPost };

  explicit RequestList(Of of = Of::kWaiting) : is_post_(of == Of::kPost) {}
  RequestList(const RequestList&) = delete;
  RequestList& operator=(const RequestList&) = delete;

  int length() const { return static_cast<int>(places_.size()); }
  bool IsEmpty() const { return places_.empty(); }
  Request* operator[](int index) const { return PlaceAt(index).request(); }

  void Append(Request* request) { places_.emplace_back(request, this, is_post_); }
  void AppendAll(const common_base::GVectorRef<Request*>& requests);
  /// The request at `index`, whose entry becomes null.
  Request* Take(int index) { return places_[static_cast<std::size_t>(index)].Take(); }
  /// All entries; the list is empty afterwards.
  common_base::GVector<Request*> TakeAll();
  /// Keeps room for as many as a POST or two carry.
  void Clear();

  /// Null the first entry of the request, or all of them, in time that depends on the number of its
  /// places only. Null is none.
  void CancelFirst(Request* request) { Cancel(request, false); }
  void CancelAll(Request* request) { Cancel(request, true); }

 private:
  static constexpr std::size_t kKeptPlaces = 512;

  const RequestPlace& PlaceAt(int index) const { return places_[static_cast<std::size_t>(index)]; }
  void Cancel(Request* request, bool all);

  std::vector<RequestPlace, common_base::GAllocator<RequestPlace>> places_;
  bool is_post_;
};

}  // namespace common_kesu

#endif  // KESU_MUX_REQUEST_LIST_H_
