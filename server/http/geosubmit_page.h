#ifndef SERVER_HTTP_GEOSUBMIT_PAGE_H_
#define SERVER_HTTP_GEOSUBMIT_PAGE_H_

#include <functional>
#include <vector>

#include "server/http/reply.h"
#include "server/http/request_handler.h"
#include "server/learn/lesson.h"

namespace kesu_server {

/// The call of devices that know where they are, POST /v2/geosubmit: reports, the "items" of a JSON
/// object. `teach` is called with what each of them teaches; those that teach nothing are read
/// over. The answer is {}, with status 400 an error when it is no such object, and 403 without
/// `teach`.
Reply Geosubmit(const HttpRequest& request,
                const std::function<void(const std::vector<Lesson>&)>& teach);

}  // namespace kesu_server

#endif  // SERVER_HTTP_GEOSUBMIT_PAGE_H_
