#include "client/response_error.h"

#include <string>

#include "client/text.h"
#include "kesu/common/base/scoped_ptr.h"
#include "kesu/common/net/proto/decode_budget.h"
#include "kesu/mux/transport_error.h"

namespace kesu::detail {
namespace {

using common_kesu::TransportErrorKind;

constexpr int kOk = 200;

/// The kinds of the transport, as applications tell them apart.
ErrorKind KindOf(TransportErrorKind kind) {
  switch (kind) {
    case TransportErrorKind::kNone:
      return ErrorKind::kNone;
    case TransportErrorKind::kCannotResolve:
      return ErrorKind::kCannotResolve;
    case TransportErrorKind::kTls:
      return ErrorKind::kTls;
    case TransportErrorKind::kTimedOut:
      return ErrorKind::kTimedOut;
    case TransportErrorKind::kTooLarge:
      return ErrorKind::kMalformed;
    case TransportErrorKind::kClosedEarly:
    case TransportErrorKind::kRedirectRefused:
      return ErrorKind::kServer;
    case TransportErrorKind::kNotStarted:
    case TransportErrorKind::kConnectionRefused:
    case TransportErrorKind::kNoRoute:
    case TransportErrorKind::kOther:
      break;
  }
  return ErrorKind::kCannotConnect;
}

/// Of a request that failed as a whole.
Error FailureOf(const common_kesu::Response& response) {
  const HttpRequestInterface* exchange = response.http_request();
  if (exchange == nullptr) return {ErrorKind::kCannotConnect, "the transport made no request"};
  const common_kesu::TransportError transport_error = exchange->last_transport_error();
  const int http_status = exchange->HttpResponseStatusCode();
  if (transport_error.kind != TransportErrorKind::kNone) {
    return {KindOf(transport_error.kind), TextOf(transport_error.text), http_status};
  }
  if (http_status == 0) return {ErrorKind::kCannotConnect, "the service cannot be reached"};
  if (http_status != kOk) {
    return {ErrorKind::kServer,
            "the service answered with HTTP status " + std::to_string(http_status), http_status};
  }
  return {ErrorKind::kMalformed, "the reply is malformed, or holds no answer to this request",
          http_status};
}

}  // namespace

int HttpStatusOf(const common_kesu::Response& response) {
  const HttpRequestInterface* exchange = response.http_request();
  return exchange == nullptr ? 0 : exchange->HttpResponseStatusCode();
}

Error UnreadableAnswer(int http_status) {
  return {ErrorKind::kMalformed, "the answer is no message of the service, or too large",
          http_status};
}

Error ErrorOf(const common_kesu::Response& response) {
  if (response.is_error()) return FailureOf(response);
  const int status = response.status_code();
  if (status == kOk) return {};
  return {ErrorKind::kServer,
          "the service refused the request with status " + std::to_string(status),
          HttpStatusOf(response), status};
}

Error ReadAnswer(const common_kesu::Response& response, common_net_proto::Message* message) {
  Error error = ErrorOf(response);
  if (error.kind != ErrorKind::kNone) return error;
  const common_base::ScopedPtr<common_base::DataInputStream> stream(response.GetInputStream());
  const common_net_proto::DecodeBudget budget;
  if (stream && message->Read(stream.get())) return {};
  return UnreadableAnswer(HttpStatusOf(response));
}

}  // namespace kesu::detail
