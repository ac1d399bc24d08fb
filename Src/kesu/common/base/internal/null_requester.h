#ifndef KESU_COMMON_BASE_INTERNAL_NULL_REQUESTER_H_
#define KESU_COMMON_BASE_INTERNAL_NULL_REQUESTER_H_

#include "kesu/common/base/request_interface.h"

namespace common_base {

/// A requester for a request whose outcome nobody waits for, to be passed to request->Start(). It
/// deletes itself when the request ends; the request has to do the same.
RequesterInterface* NullRequester(RequestInterface* request);

/// Cancels the requests of all null requesters still outstanding. The argument is not used.
void ResetAsync(int);

/// ResetAsync(), for the end of the program.
void CleanupAsync();

}  // namespace common_base

#endif  // KESU_COMMON_BASE_INTERNAL_NULL_REQUESTER_H_
