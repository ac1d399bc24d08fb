#ifndef SERVER_INSPECT_OWN_SITE_H_
#define SERVER_INSPECT_OWN_SITE_H_

#include "server/http/reply.h"

namespace kesu_server {

/// Whose browsers may come.
enum class Visitors {
  /// Those that address this machine by a name of the loopback.
  kLocal,
  /// Also those that address it by an IP address.
  kAny,
};

/// Whether a request was made by a page of this server, or by whoever typed its address. A page of
/// another site can make a browser send requests here too, or let its own name stand for this
/// address (DNS rebinding), and is to learn nothing.
bool IsFromOwnSite(const HttpHeaders& headers, Visitors visitors);

}  // namespace kesu_server

#endif  // SERVER_INSPECT_OWN_SITE_H_
