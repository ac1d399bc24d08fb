#ifndef SERVER_HTTP_GEOLOCATE_PAGE_H_
#define SERVER_HTTP_GEOLOCATE_PAGE_H_

#include <memory>

#include "server/http/reply.h"
#include "server/http/request_handler.h"
#include "server/storage/inquirer.h"

namespace kesu_server {

/// The call that location daemons make, POST /v1/geolocate: the cellTowers and wifiAccessPoints of
/// a JSON object to a location and its accuracy in metres. Status 400 when it is no such object,
/// 404 when nothing is known of what it names, 503 when the storage fails.
std::unique_ptr<Inquirer<Reply>> Geolocate(const HttpRequest& request);

}  // namespace kesu_server

#endif  // SERVER_HTTP_GEOLOCATE_PAGE_H_
