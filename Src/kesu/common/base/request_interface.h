#ifndef KESU_COMMON_BASE_REQUEST_INTERFACE_H_
#define KESU_COMMON_BASE_REQUEST_INTERFACE_H_

#include "kesu/common/base/memory.h"

/// The model of everything that finishes later. Single-threaded: a requester is told from inside
/// whatever event drives the request, never from inside Start().
namespace common_base {

class RequesterInterface;

/// An operation that finishes later. Once started, it ends in exactly one OnRequestComplete() or
/// OnRequestFailed() of its requester, unless it is cancelled first.
class RequestInterface : public HeapObject {
 public:
  /// Called once. `requester` is borrowed until it is told of the end or Cancel() returns. The
  /// result is 0, or not 0 when the operation could not be started: then the requester is never
  /// told, and the owner has still to Cancel() or delete the request.
  virtual int Start(RequesterInterface* requester) = 0;
  /// Stops the request: its requester hears nothing more. Most requests delete themselves here, so
  /// the caller must not touch the request afterwards.
  virtual void Cancel() = 0;
  /// A null requester that waits for the request goes with it.
  virtual ~RequestInterface();
};

/// The party that waits for a request. The request passes itself, for comparison only: it may
/// delete itself as soon as the call returns.
class RequesterInterface : public HeapObject {
 public:
  virtual void OnRequestComplete(RequestInterface* request) = 0;
  virtual void OnRequestFailed(RequestInterface* request) = 0;
  virtual void OnRequestMadeProgress(RequestInterface*) {}
  virtual ~RequesterInterface() = default;
};

/// Where deferred work runs.
class RequestQueueInterface : public HeapObject {
 public:
  virtual ~RequestQueueInterface() = default;
  /// A new request that completes once `delay` clock ticks (microseconds) have passed since its
  /// start. It does not fail, and deletes itself after completing; Cancel() it to be rid of it
  /// earlier.
  virtual RequestInterface* NewDeferredRequest(long long delay) = 0;
};

}  // namespace common_base

#endif  // KESU_COMMON_BASE_REQUEST_INTERFACE_H_
