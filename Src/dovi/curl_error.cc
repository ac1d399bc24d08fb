#include "dovi/curl_error.h"

#include <cerrno>
#include <cstring>

#include "dovi/deployment_settings.h"
#include "kesu/common/base/string_buffer.h"

using common_base::GString;
using common_base::GStringBuffer;
using common_kesu::TransportError;
using common_kesu::TransportErrorKind;

namespace {

/// CURLE_TOO_LARGE, which older versions of curl do not have. They say that they are out of memory.
constexpr int kCurlTooLarge = 100;

TransportErrorKind KindOfErrno(long error) {
  switch (error) {
    case ECONNREFUSED:
      return TransportErrorKind::kConnectionRefused;
    case EHOSTUNREACH:
    case EHOSTDOWN:
    case ENETUNREACH:
    case ENETDOWN:
    case EADDRNOTAVAIL:
      return TransportErrorKind::kNoRoute;
    case ETIMEDOUT:
      return TransportErrorKind::kTimedOut;
    case ECONNRESET:
    case EPIPE:
      return TransportErrorKind::kClosedEarly;
    default:
      return TransportErrorKind::kOther;
  }
}

/// `error` is the errno of the connection, or 0.
TransportErrorKind KindOf(int result, long error, long status) {
  switch (result) {
    case CURLE_OK:
      return TransportErrorKind::kNone;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return TransportErrorKind::kCannotResolve;
    case CURLE_COULDNT_CONNECT:
      return KindOfErrno(error);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return TransportErrorKind::kTls;
    case CURLE_OPERATION_TIMEDOUT:
      return TransportErrorKind::kTimedOut;
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
      return error == 0 ? TransportErrorKind::kClosedEarly : KindOfErrno(error);
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
      return TransportErrorKind::kClosedEarly;
    case CURLE_OUT_OF_MEMORY:
    case CURLE_WRITE_ERROR:
    case kCurlTooLarge:
      return TransportErrorKind::kTooLarge;
    case CURLE_TOO_MANY_REDIRECTS:
      return TransportErrorKind::kRedirectRefused;
    case CURLE_UNSUPPORTED_PROTOCOL: {
      const bool is_redirect = status >= 300 && status < 400;
      return is_redirect ? TransportErrorKind::kRedirectRefused : TransportErrorKind::kOther;
    }
    default:
      return TransportErrorKind::kOther;
  }
}

void AppendUrlPart(CURLU* url, CURLUPart part, GStringBuffer* text) {
  char* value = nullptr;
  if (curl_url_get(url, part, &value, CURLU_DEFAULT_PORT) == CURLUE_OK) {
    text->AppendUtf8String(value);
  }
  curl_free(value);
}

/// Appends "host:port" of a URL; its scheme may be missing.
void AppendHostAndPort(const char* address, GStringBuffer* text) {
  CURLU* url = curl_url();
  if (curl_url_set(url, CURLUPART_URL, address, CURLU_DEFAULT_SCHEME) == CURLUE_OK) {
    AppendUrlPart(url, CURLUPART_HOST, text);
    text->AppendUtf8String(":");
    AppendUrlPart(url, CURLUPART_PORT, text);
  }
  curl_url_cleanup(url);
}

}  // namespace

TransportError TransportErrorOf(CURL* done_handle, CURLcode result, const char* details) {
  if (result == CURLE_OK) return {};
  long error = 0;
  long status = 0;
  const char* address = nullptr;
  curl_easy_getinfo(done_handle, CURLINFO_OS_ERRNO, &error);
  curl_easy_getinfo(done_handle, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(done_handle, CURLINFO_EFFECTIVE_URL, &address);

  GStringBuffer text;
  if (address != nullptr) AppendHostAndPort(address, &text);
  if (const char* proxy = GetDoviDeploymentSettings().proxy; *proxy != 0) {
    text.AppendUtf8String(" through ");
    AppendHostAndPort(proxy, &text);
  }
  text.AppendUtf8String(": ");
  // Curl's words on a connection that does not come about leave out why, and repeat the address.
  const bool has_errno = result == CURLE_COULDNT_CONNECT && error != 0;
  const char* cause = has_errno ? std::strerror(static_cast<int>(error)) : details;
  text.AppendUtf8String(*cause != 0 ? cause : curl_easy_strerror(result));
  return {KindOf(result, error, status), text.ToString()};
}
