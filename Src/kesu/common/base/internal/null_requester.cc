#include "kesu/common/base/internal/null_requester.h"

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

 private:
  struct List : HeapObject {
    NullRequesterImpl* first = nullptr;
    NullRequesterImpl* last = nullptr;
    int count = 0;
  };

  void Unlink();

  static List* outstanding_;
  static bool cleanup_done_;

  NullRequesterImpl* previous_ = nullptr;
  NullRequesterImpl* next_ = nullptr;
  RequestInterface* request_;
};

NullRequesterImpl::List* NullRequesterImpl::outstanding_ = nullptr;
bool NullRequesterImpl::cleanup_done_ = false;

NullRequesterImpl::NullRequesterImpl(RequestInterface* request) : request_(request) {
  if (outstanding_ == nullptr) outstanding_ = new List;
  previous_ = outstanding_->last;
  (previous_ == nullptr ? outstanding_->first : previous_->next_) = this;
  outstanding_->last = this;
  ++outstanding_->count;
}

void NullRequesterImpl::Unlink() {
  (previous_ == nullptr ? outstanding_->first : previous_->next_) = next_;
  (next_ == nullptr ? outstanding_->last : next_->previous_) = previous_;
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

}  // namespace

RequesterInterface* NullRequester(RequestInterface* request) {
  return new NullRequesterImpl(request);
}

void ResetAsync(int unused) {
  NullRequesterImpl::CancelRequests(unused);
}

void CleanupAsync() {
  NullRequesterImpl::Cleanup();
}

}  // namespace common_base
