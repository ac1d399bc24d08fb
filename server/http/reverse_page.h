#ifndef SERVER_HTTP_REVERSE_PAGE_H_
#define SERVER_HTTP_REVERSE_PAGE_H_

#include <memory>

#include "server/http/reply.h"
#include "server/http/request_handler.h"
#include "server/storage/inquirer.h"

namespace kesu_server {

/// The call that geocoding libraries make, GET /reverse?format=json&lat=LATITUDE&lon=LONGITUDE: a
/// position in degrees to the nearest street address or, without one near, listed place. Status
/// 400 when there is no position on earth in it, 503 when the storage fails; where nothing is near
/// the answer has an error instead.
std::unique_ptr<Inquirer<Reply>> ReverseGeocode(const HttpRequest& request);

}  // namespace kesu_server

#endif  // SERVER_HTTP_REVERSE_PAGE_H_
