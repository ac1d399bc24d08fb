#include "kesu/mux/transport_error.h"

namespace common_kesu {

const char* TransportErrorKindName(TransportErrorKind kind) {
  switch (kind) {
    case TransportErrorKind::kNone:
      return "none";
    case TransportErrorKind::kNotStarted:
      return "not-started";
    case TransportErrorKind::kCannotResolve:
      return "cannot-resolve";
    case TransportErrorKind::kConnectionRefused:
      return "connection-refused";
    case TransportErrorKind::kNoRoute:
      return "no-route";
    case TransportErrorKind::kTls:
      return "tls";
    case TransportErrorKind::kTimedOut:
      return "timed-out";
    case TransportErrorKind::kClosedEarly:
      return "closed-early";
    case TransportErrorKind::kTooLarge:
      return "too-large";
    case TransportErrorKind::kRedirectRefused:
      return "redirect-refused";
    case TransportErrorKind::kOther:
      return "other";
  }
  return "other";
}

}  // namespace common_kesu
