#ifndef SERVER_SERVICES_HTTP_CALL_H_
#define SERVER_SERVICES_HTTP_CALL_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/protocol/byte_cursor.h"
#include "server/protocol/post_reader.h"

namespace kesu_server {

/// A name and a value, bytes as they came.
using HttpField = std::pair<std::string_view, std::string_view>;

/// A part of a multipart body. Its content id and properties are read over.
struct HttpPart {
  std::string mime_type;
  std::string_view body;
};

/// The HTTP-like request that a request block carries. The views point into the block.
struct HttpCall {
  std::string_view method;
  std::vector<HttpField> headers;
  std::string_view body;
  /// These two only in a multipart request.
  std::string mime_type;
  std::vector<HttpPart> parts;
};

/// Takes the payload of a request block apart, in the form that its type stands for; offsets count
/// from the payload's first byte. Bodies in any encoding are refused.
std::optional<ReadError> ReadHttpCall(const ServiceRequest& request, HttpCall* call);

}  // namespace kesu_server

#endif  // SERVER_SERVICES_HTTP_CALL_H_
