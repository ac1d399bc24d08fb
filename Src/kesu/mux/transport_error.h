#ifndef KESU_MUX_TRANSPORT_ERROR_H_
#define KESU_MUX_TRANSPORT_ERROR_H_

#include "kesu/common/base/gstring.h"

namespace common_kesu {

/// Why an exchange got no whole response.
enum class TransportErrorKind {
  /// There was a response, whatever its status, or nothing has ended yet.
  kNone,
  /// The exchange was never started.
  kNotStarted,
  kCannotResolve,
  kConnectionRefused,
  /// The host or its network cannot be reached.
  kNoRoute,
  /// The handshake failed, or the certificate was refused.
  kTls,
  kTimedOut,
  /// The peer closed the connection before the response was whole.
  kClosedEarly,
  /// More arrived than is taken.
  kTooLarge,
  /// There were too many redirects, or one that is never followed.
  kRedirectRefused,
  kOther,
};

struct TransportError {
  TransportErrorKind kind = TransportErrorKind::kNone;
  /// Host, port and cause, for people; empty where there is no error.
  common_base::GString text;
};

/// A name for programs, in lower case with hyphens: "cannot-resolve". That of kNone is "none".
const char* TransportErrorKindName(TransportErrorKind kind);

}  // namespace common_kesu

#endif  // KESU_MUX_TRANSPORT_ERROR_H_
