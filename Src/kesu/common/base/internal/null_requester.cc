#include "kesu/common/base/internal/null_requester.h"

#include <functional>
#include <map>
#include <utility>

#include "kesu/common/base/gallocator.h"

namespace common_base {
namespace {

/// Waits for one request and forgets the outcome. Deletes itself.
class NullRequesterImpl final : public RequesterInterface {
 public:
  explicit NullRequesterImpl(RequestInterface* request);

  void OnRequestComplete(RequestInterface* request) override;
  void OnRequestFailed(RequestInterface* request) override;
  ~NullRequesterImpl() override = default;

  static void CancelRequests(int);
  static void Cleanup();
  static void Forget(const RequestInterface* request);

 private:
  using Index =
      std::multimap<const RequestInterface*, NullRequesterImpl*, std::less<>,
                    GAllocator<std::pair<const RequestInterface* const, NullRequesterImpl*>>>;

  struct List : HeapObject {
    NullRequesterImpl* first = nullptr;
    NullRequesterImpl* last = nullptr;
    int count = 0;
    Index by_request;
  };

  void Unlink();

  static List* outstanding_;
  static bool cleanup_done_;

  NullRequesterImpl* previous_ = nullptr;
  NullRequesterImpl* next_ = nullptr;
  RequestInterface* request_;
  Index::iterator place_;
};

NullRequesterImpl::List* NullRequesterImpl::outstanding_ = nullptr;
bool NullRequesterImpl::cleanup_done_ = false;

NullRequesterImpl::NullRequesterImpl(RequestInterface* request) : request_(request) {
  if (outstanding_ == nullptr) outstanding_ = new List;
  previous_ = outstanding_->last;
  (previous_ == nullptr ? outstanding_->first : previous_->next_) = this;
  outstanding_->last = this;
  place_ = outstanding_->by_request.emplace(request, this);
  ++outstanding_->count;
}

void NullRequesterImpl::Unlink() {
  (previous_ == nullptr ? outstanding_->first : previous_->next_) = next_;
  (next_ == nullptr ? outstanding_->last : next_->previous_) = previous_;
  outstanding_->by_request.erase(place_);
  --outstanding_->count;
}

void NullRequesterImpl::OnRequestComplete(RequestInterface*) {
  Unlink();
  delete this;
}

void NullRequesterImpl::OnRequestFailed(RequestInterface* request) {
  OnRequestComplete(request);
}

void NullRequesterImpl::CancelRequests(int) {
  // A request may call this again from inside its Cancel(): the list is then gone.
  while (outstanding_ != nullptr && outstanding_->first != nullptr) {
    NullRequesterImpl* entry = outstanding_->first;
    entry->Unlink();
    entry->request_->Cancel();
    delete entry;
  }
  delete outstanding_;
  outstanding_ = nullptr;
}

void NullRequesterImpl::Cleanup() {
  CancelRequests(-1);
  cleanup_done_ = true;
}

void NullRequesterImpl::Forget(const RequestInterface* request) {
  if (outstanding_ == nullptr) return;
  const auto [begin, end] = outstanding_->by_request.equal_range(request);
  for (auto entry = begin; entry != end;) {
    NullRequesterImpl* requester = (entry++)->second;
    requester->Unlink();
    delete requester;
  }
}

}  // namespace

RequestInterface::~RequestInterface() {
  ForgetNullRequesters(this);
}

RequesterInterface* NullRequester(RequestInterface* request) {
  return new NullRequesterImpl(request);
}

void ResetAsync(int unused) {
  NullRequesterImpl::CancelRequests(unused);
}

void CleanupAsync() {
  NullRequesterImpl::Cleanup();
}

void ForgetNullRequesters(const RequestInterface* request) {
  NullRequesterImpl::Forget(request);
}

}  // namespace common_base
