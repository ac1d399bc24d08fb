#include "dovi/curl_error.h"

#include <cerrno>
#include <cstring>

#include <glib.h>

#include "dovi/deployment_settings.h"
#include "kesu/common/base/string_buffer.h"

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
    // Where a connection has ended once too often.
    case CURLE_ABORTED_BY_CALLBACK:
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

/// The parts of a URL whose scheme may be missing; each text is empty where there is none.
class Url {
 public:
  explicit Url(const char* text) : url_(curl_url()) {
    curl_url_set(url_, CURLUPART_URL, text, CURLU_DEFAULT_SCHEME);
    curl_url_get(url_, CURLUPART_HOST, &host_, 0);
    curl_url_get(url_, CURLUPART_PORT, &port_, CURLU_DEFAULT_PORT);
  }
  Url(const Url&) = delete;
  Url& operator=(const Url&) = delete;
  ~Url() {
    curl_free(host_);
    curl_free(port_);
    curl_url_cleanup(url_);
  }

  const char* host() const { return host_ == nullptr ? "" : host_; }
  const char* port() const { return port_ == nullptr ? "" : port_; }

 private:
  CURLU* url_;
  char* host_ = nullptr;
  char* port_ = nullptr;
};

void AppendHostAndPort(const char* address, GStringBuffer* text) {
  const Url url(address);
  text->AppendUtf8String(url.host());
  text->AppendUtf8String(":");
  text->AppendUtf8String(url.port());
}

/// "HOST:PORT through PROXY:PORT: ", with a proxy where there is one. `address` may be null.
void AppendPlace(const char* address, GStringBuffer* text) {
  if (address != nullptr) AppendHostAndPort(address, text);
  if (const char* proxy = GetDoviDeploymentSettings().proxy; *proxy != 0) {
    text->AppendUtf8String(" through ");
    AppendHostAndPort(proxy, text);
  }
  text->AppendUtf8String(": ");
}

const char* CauseOf(CURLcode result, long error, const char* details) {
  // Curl's words on a connection that does not come about leave out why, and repeat the address.
  if (result == CURLE_COULDNT_CONNECT && error != 0) return g_strerror(static_cast<int>(error));
  return *details != 0 ? details : curl_easy_strerror(result);
}

}  // namespace

TransportError TransportErrorOf(CURL* done_handle, CURLcode result, const char* details,
                                const char* refusal) {
  if (result == CURLE_OK) return {};
  long error = 0;
  long status = 0;
  const char* address = nullptr;
  curl_easy_getinfo(done_handle, CURLINFO_OS_ERRNO, &error);
  curl_easy_getinfo(done_handle, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(done_handle, CURLINFO_EFFECTIVE_URL, &address);

  GStringBuffer text;
  AppendPlace(address, &text);
  text.AppendUtf8String(refusal != nullptr ? refusal : CauseOf(result, error, details));
  return {KindOf(result, error, status), text.ToString()};
}

TransportError ErrorOfWait(const char* url, int waited_ms) {
  GStringBuffer text;
  AppendPlace(url, &text);
  text.AppendFormattedText("No connection became free within %d milliseconds", waited_ms);
  return {TransportErrorKind::kTimedOut, text.ToString()};
}

bool IsHostAnAddress(const char* url) {
  const Url parts(url);
  // An IPv6 address stands in brackets, and has the only colons.
  return std::strchr(parts.host(), ':') != nullptr ||
         g_hostname_is_ip_address(parts.host()) != FALSE;
}
