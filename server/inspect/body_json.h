#ifndef SERVER_INSPECT_BODY_JSON_H_
#define SERVER_INSPECT_BODY_JSON_H_

#include <string>

#include "server/inspect/exchange.h"

namespace kesu_server {

/// {"hex":"0001...","tree":[NODE...],"error":null}: the bytes, what they mean, and what is wrong
/// with them. A node is {"name":"id","value":"7","from":40,"to":42,"children":[NODE...]}; what came
/// encoded inside another node has that one's range. Whatever the bytes are, this is bounded.
std::string BodyJson(const KeptBody& body, bool is_post);

}  // namespace kesu_server

#endif  // SERVER_INSPECT_BODY_JSON_H_
