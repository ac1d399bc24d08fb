#ifndef KESU_COMMON_BASE_INTERNAL_NULL_REQUESTER_H_
#define KESU_COMMON_BASE_INTERNAL_NULL_REQUESTER_H_

#include "kesu/common/base/request_interface.h"

namespace common_base {

/// A requester for a request whose outcome nobody waits for, to be passed to request->Start(). It
/// deletes itself when the request ends, and goes with a request that is destroyed before; the
/// request has to delete itself when it ends.
RequesterInterface* NullRequester(RequestInterface* request);

/// Cancels the requests of all null requesters still outstanding. The argument is not used.
void ResetAsync(int);

/// ResetAsync(), for the end of the program. What the requests need has to be there still: call it
/// before the queue, the multiplexer and the transport go.
void CleanupAsync();

/// Does away with the null requesters of `request`, which will not end. Every request does that
/// when it is destroyed.
void ForgetNullRequesters(const RequestInterface* request);

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_NULL_REQUESTER_H_
