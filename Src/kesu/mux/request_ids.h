#ifndef KESU_MUX_REQUEST_IDS_H_
#define KESU_MUX_REQUEST_IDS_H_

#include <functional>
#include <map>
#include <utility>

#include "kesu/common/base/gallocator.h"
#include "kesu/mux/request_list.h"

#pragma GCC visibility push(hidden)
namespace common_kesu {

/// Finds the requests of a POST by the ids they had when this was made. As a rule each has the id
/// that follows that of the one before it, and then nothing is stored; that fails where an id was
/// set by somebody else, or where one request is there twice.
class RequestIds {
 public:
  /// `requests` is borrowed; entries may become null meanwhile.
  explicit RequestIds(const RequestList* requests);

  /// The index of the first request with that id whose entry is not null; -1 if there is none.
  int Find(short id);

 private:
  using Indices =
      std::multimap<short, int, std::less<>, common_base::GAllocator<std::pair<const short, int>>>;

  bool AreInSequence() const;

  const RequestList* requests_;
  /// What the request at index 0 has, or would have were it not null, if all are in sequence.
  unsigned first_id_ = 0;
  bool are_in_sequence_;
  /// Otherwise. Those of one id are in the order of the POST.
  Indices indices_;
};

}  // namespace common_kesu
#pragma GCC visibility pop

#endif  // KESU_MUX_REQUEST_IDS_H_
