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

/// What came of an exchange without a whole reply, in general.
std::string Describe(TransportErrorKind kind, int http_status) {
  if (kind == TransportErrorKind::kTimedOut) return "no answer in time";
  if (kind == TransportErrorKind::kTooLarge) return "the reply is too large";
  if (http_status == 0) return "no reply from the service";
  if (http_status == kOk) return "the reply broke off";
  std::string text = "the service answered with HTTP status " + std::to_string(http_status);
  if (kind == TransportErrorKind::kRedirectRefused) text += ", a redirect that is not followed";
  return text;
}

Error TransportFailure(const common_kesu::TransportError& failure, int http_status) {
  Error error{KindOf(failure.kind), Describe(failure.kind, http_status), http_status};
  error.reason = TextOf(failure.text);
  if (!error.reason.empty()) error.message += ": " + error.reason;
  error.transport = common_kesu::TransportErrorKindName(failure.kind);
  return error;
}

/// Of a request that failed as a whole.
Error FailureOf(const common_kesu::Response& response) {
  const HttpRequestInterface* exchange = response.http_request();
  if (exchange == nullptr) {
    return TransportFailure({TransportErrorKind::kNotStarted, "the transport made no request"}, 0);
  }
  const common_kesu::TransportError transport_error = exchange->last_transport_error();
  const int http_status = exchange->HttpResponseStatusCode();
  if (transport_error.kind != TransportErrorKind::kNone) {
    return TransportFailure(transport_error, http_status);
  }
  if (http_status == kOk) {
    return {ErrorKind::kMalformed, "the reply is malformed, or holds no answer to this request",
            http_status};
  }
  return {http_status == 0 ? ErrorKind::kCannotConnect : ErrorKind::kServer,
          Describe(TransportErrorKind::kNone, http_status), http_status};
}

}  // namespace

int HttpStatusOf(const common_kesu::Response& response) {
  const HttpRequestInterface* exchange = response.http_request();
  return exchange == nullptr ? 0 : exchange->HttpResponseStatusCode();
}

Error UnreadableAnswer(int http_status) {
  Error error{ErrorKind::kMalformed, "the answer is no message of the service, or too large",
              http_status};
  error.response_status = kOk;
  return error;
}

Error ErrorOf(const common_kesu::Response& response) {
  const int status = response.status_code();
  if (!response.is_error() && status == kOk) return {};
  Error error = response.is_error()
                    ? FailureOf(response)
                    : Error{ErrorKind::kServer,
                            "the service refused the request with status " + std::to_string(status),
                            HttpStatusOf(response), status};
  error.response_status = status;
  return error;
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
