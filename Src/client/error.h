#ifndef CLIENT_ERROR_H_
#define CLIENT_ERROR_H_

#include <string>

namespace kesu {

/// What became of a call that did not succeed.
enum class ErrorKind {
  /// No error.
  kNone,
  /// The service answered: it knows no position, or no place there.
  kNotFound,
  kCannotConnect,
  kCannotResolve,
  /// The handshake failed, or the certificate was refused.
  kTls,
  /// Nothing came within the deadline of the call, or the transport gave up earlier.
  kTimedOut,
  /// The service, or something on the way to it, answered with an error.
  kServer,
  /// An answer came that cannot be, or is too large.
  kMalformed,
  /// The client went before the answer came.
  kCancelled,
  /// Nothing was sent: what was observed must not be told, see Options::locate_single_access_point.
  kWithheld,
  /// The call cannot be made like that. Nothing was sent.
  kMisuse,
};

inline constexpr int kErrorKindCount = 11;

/// A name for programs, in lower case with hyphens: "not-found". That of kNone is "none".
const char* ErrorKindName(ErrorKind kind);

struct Error {
  ErrorKind kind = ErrorKind::kNone;
  /// One sentence for people, in English, without a full stop.
  std::string message = {};
  /// The HTTP status of the exchange; 0 where there was none.
  int http_status = 0;
  /// The status that the service gave to this one request, or inside its answer; 0 where there was
  /// none.
  int reply_status = 0;
  /// The part of the message that names the cause: host, port and what happened there, or the value
  /// that cannot be. Empty where there is no more to say.
  std::string reason = {};
  /// What kept the reply from coming whole, told apart further than by the kind, for programs:
  /// "connection-refused", say. docs/failures.md lists them. Empty where a whole reply came.
  std::string transport = {};
  /// The status of the response, as the layers below have it: docs/failures.md lists them, too.
  int response_status = 0;
};

}  // namespace kesu

#endif  // CLIENT_ERROR_H_
