#ifndef KESU_COMMON_BASE_INTERNAL_REQUEST_ADAPTER_H_
#define KESU_COMMON_BASE_INTERNAL_REQUEST_ADAPTER_H_

#include "kesu/common/base/internal/life_watch.h"
#include "kesu/common/base/request_interface.h"

namespace common_base {

/// A request around an inner request: a subclass looks at the inner outcome, may change it or chain
/// a further inner request, and the adapter then reports once to its own requester. Deletes itself
/// after reporting and on Cancel(), which is allowed from inside every callback.
class RequestAdapter : public RequestInterface, public RequesterInterface {
 public:
  RequestAdapter(const RequestAdapter&) = delete;
  RequestAdapter& operator=(const RequestAdapter&) = delete;

  /// The requester may delete whatever it likes from inside its callback, the subclass's service
  /// included. The result is the inner request's.
  int Start(RequesterInterface* requester) override;
  /// Cancels the inner request, if any; the requester is not told.
  void Cancel() override;
  /// Cancels the inner request, if one is still held.
  ~RequestAdapter() override;

 protected:
  RequestAdapter() = default;

  /// The inner request has ended: take what is needed from it (and delete it, if the subclass owns
  /// it). SetSucceeded() may change the outcome, ResetInnerRequest() adds a step; after Cancel()
  /// the adapter is gone.
  virtual void OnInnerRequestComplete(RequestInterface* request) = 0;
  virtual void OnInnerRequestFailed(RequestInterface*) {}

 public:
  void OnRequestComplete(RequestInterface* request) override;
  void OnRequestFailed(RequestInterface* request) override;
  void OnRequestMadeProgress(RequestInterface* request) override;

 protected:
  /// To be called by the subclass's constructor. `inner` is cancelled with the adapter; `name` is a
  /// static text for log lines.
  void InitRequestAdapter(RequestInterface* inner, const char* name);
  /// Starts `next` in place of the inner request that has just ended. A `next` that cannot be
  /// started is a failure of the adapter.
  void ResetInnerRequest(RequestInterface* next);
  void SetSucceeded(bool succeeded) { succeeded_ = succeeded; }
  /// Tells the requester the outcome.
  void InformRequester();

 private:
  void OnInnerRequestEnded(RequestInterface* request, bool succeeded);
  /// The address for log lines, its low 32 bits.
  int LogId() const;

  RequesterInterface* requester_ = nullptr;
  RequestInterface* inner_request_ = nullptr;
  const char* name_ = "";
  bool succeeded_ = false;
  LifeWatch life_;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_REQUEST_ADAPTER_H_
