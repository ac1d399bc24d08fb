#ifndef CLIENT_RESPONSE_ERROR_H_
#define CLIENT_RESPONSE_ERROR_H_

#include "client/error.h"
#include "kesu/common/net/proto/message.h"
#include "kesu/mux/response.h"

namespace kesu::detail {

/// Why there is no answer in a response; of kind kNone where there is one.
Error ErrorOf(const common_kesu::Response& response);

/// The same, and reads the answer into `message`, within the limit on memory.
Error ReadAnswer(const common_kesu::Response& response, common_net_proto::Message* message);

int HttpStatusOf(const common_kesu::Response& response);

/// That a payload could not be read as the answer it should be.
Error UnreadableAnswer(int http_status);

}  // namespace kesu::detail

#endif  // CLIENT_RESPONSE_ERROR_H_
