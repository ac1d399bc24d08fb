#include "dovi/dovi_http_request.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include <strings.h>

#include "dovi/curl_error.h"
#include "dovi/dovi_http_request_factory.h"
#include "dovi/easy_handles.h"
#include "dovi/glibcurl.h"
#include "dovi/trace.h"
#include "kesu/common/base/assertions.h"
#include "kesu/mux/header_field_iterator.h"
#include "kesu/mux/http_constants.h"

using common_base::ByteView;
using common_base::GString;
using common_base::GVector;
using common_base::GVectorRef;
using common_kesu::TransportErrorKind;

namespace {

/// Results of Start().
constexpr int kStarted = 0;
constexpr int kCouldNotStart = 1;

/// Of all responses of an exchange. Below what curl itself takes (300 KiB, less one line of up to
/// 100 KiB), so that every version of it stops here, and the exchange fails.
constexpr int kMaxHeaderBytes = 192 << 10;
/// Far above any answer to a POST, and low enough to be borne while it is read. What becomes of it
/// in memory has a limit of its own (SetDecodeMemoryLimit).
constexpr int kMaxBodyBytes = 8 << 20;
constexpr long kMaxRedirects = 10;
/// At a time. The reply to a full POST then mostly comes in one piece.
constexpr long kReceiveBytes = 64 << 10;

constexpr std::string_view kHeaderLineEnd = "\r\n";

bool IsContentLength(std::string_view line) {
  constexpr std::size_t kNameLength = sizeof(common_kesu::kContentLengthHeader) - 1;
  return line.size() > kNameLength && line[kNameLength] == ':' &&
         strncasecmp(line.data(), common_kesu::kContentLengthHeader, kNameLength) == 0;
}

bool HasContentLength(std::string_view header_text) {
  while (true) {
    if (IsContentLength(header_text)) return true;
    const std::size_t line_end = header_text.find(kHeaderLineEnd);
    if (line_end == std::string_view::npos) return false;
    header_text.remove_prefix(line_end + kHeaderLineEnd.size());
  }
}

bool IsSecure(const char* url) {
  return strncasecmp(url, "https:", 6) == 0;
}

void AllowRedirectsTo(CURL* easy, bool is_http_allowed) {
#if LIBCURL_VERSION_NUM >= 0x075500
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, is_http_allowed ? "http,https" : "https");
#else
  const long http = is_http_allowed ? CURLPROTO_HTTP : 0;
  curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS, http | CURLPROTO_HTTPS);
#endif
}

/// Keeps curl to HTTP, and the redirects that it follows too.
void AllowHttpOnly(CURL* easy, const char* url) {
#if LIBCURL_VERSION_NUM >= 0x075500
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
#else
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS, long{CURLPROTO_HTTP | CURLPROTO_HTTPS});
#endif
  AllowRedirectsTo(easy, !IsSecure(url));
}

const char* EffectiveUrlOf(CURL* easy) {
  const char* url = nullptr;
  curl_easy_getinfo(easy, CURLINFO_EFFECTIVE_URL, &url);
  return url == nullptr ? "" : url;
}

/// -1 where the response has none.
curl_off_t ContentLengthOf(CURL* easy) {
  curl_off_t length = -1;
  curl_easy_getinfo(easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
  return length;
}

/// Keeps curl from waiting for the thread that looks up a name when the request is over before the
/// answer is there. Nothing else would run for as long as the name server is silent.
void LeaveNameLookupBehind([[maybe_unused]] CURL* easy) {
#if LIBCURL_VERSION_NUM >= 0x075700
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
#endif
}

}  // namespace

DoviHttpRequest::DoviHttpRequest(DoviHttpRequestFactory* factory,
                                 const GVectorRef<const unsigned char>* request_body,
                                 GVector<unsigned char>* response_body,
                                 HttpRequestFactory::StatusInfo* status_info)
    : response_header_text_(kMaxHeaderBytes),
      received_body_(kMaxBodyBytes),
      factory_(factory),
      status_info_(status_info),
      request_body_(request_body),
      response_body_(response_body) {
  WriteDoviServiceUrl(url_buffer_);
  DoviTrace("constructing DoviHttpRequest()\n");
  // The "%s" is part of the line, deliberately.
  DoviTrace("url is %%s%s\n", url_buffer_);
}

DoviHttpRequest::~DoviHttpRequest() {
  DoviTrace("~DoviHttpRequest \n");
  curl_slist_free_all(header_list_);
  DoviTrace("enf curl_slist_free_all()\n");
  // Without a handle nothing was added to the multi handle.
  if (easy_handle_ == nullptr) return;
  glibcurl_remove(easy_handle_);
  DoviTrace("glibcurl_remove()\n");
  GiveBackEasyHandle(easy_handle_);
  DoviTrace("end curl_easy_cleanup()\n");
}

int DoviHttpRequest::Start(common_base::RequesterInterface* requester) {
  const bool is_started = easy_handle_ != nullptr || IsInQueue();
  GWASSERT(!is_started);
  if (is_started) return kCouldNotStart;
  if (const char* refusal = factory_->refusal()) return CannotStart(refusal);
  requester_ = requester;
  if (!EnterQueue(GetDoviDeploymentSettings().total_timeout_ms)) return kStarted;
  return sendPostRequest(url_buffer_);
}

/// The requester may delete this request: nothing follows its call.
void DoviHttpRequest::OnTurn(int waited_ms) {
  const int timeout_ms = GetDoviDeploymentSettings().total_timeout_ms;
  if (timeout_ms == 0 || waited_ms < timeout_ms) {
    waited_ms_ = waited_ms;
    if (sendPostRequest(url_buffer_) == kStarted) return;
  } else {
    status_info_->effective_url = GString(url_buffer_);
    transport_error_ = ErrorOfWait(url_buffer_, waited_ms);
    LeaveQueue();
  }
  requester_->OnRequestFailed(this);
}

void DoviHttpRequest::Cancel() {
  DoviTrace("Cancel \n");
  delete this;
}

void DoviHttpRequest::SetHttpRequestHeader(const GVectorRef<const unsigned char>& name,
                                           const GVectorRef<const unsigned char>& value) {
  if (!request_header_text_.IsEmpty()) request_header_text_.AppendNewline();
  request_header_text_.AppendUtf8Vector(name);
  request_header_text_.AppendUtf8String(": ");
  request_header_text_.AppendUtf8Vector(value);
}

GString DoviHttpRequest::RedirectedToUrl() const {
  return status_info_->effective_url;
}

HeaderFieldIteratorInterface* DoviHttpRequest::HttpResponseHeaders() const {
  // Without a newline, deliberately.
  DoviTrace("HttpResponseHeaders============= m_response_header size %d ",
            response_headers_.length());
  return new HeaderFieldIterator(response_headers_);
}

std::size_t DoviHttpRequest::WriteMemoryCallback(char*, std::size_t size, std::size_t count,
                                                 void*) {
  return size * count;
}

int DoviHttpRequest::CannotStart(const char* why) {
  transport_error_ = {TransportErrorKind::kNotStarted, why};
  LeaveQueue();
  return kCouldNotStart;
}

int DoviHttpRequest::sendPostRequest(const char* url) {
  DoviTrace("======================sendPostRequest\n");
  easy_handle_ = TakeEasyHandle();
  if (easy_handle_ == nullptr) {
    DoviTrace("!m_easyhandle\n");
    return CannotStart("curl has no memory");
  }
  DoviTrace("sendPostRequest handle%p\n", easy_handle_);
  curl_easy_setopt(easy_handle_, CURLOPT_URL, url);
  curl_easy_setopt(easy_handle_, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy_handle_, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy_handle_, CURLOPT_WRITEDATA, this);
  curl_easy_setopt(easy_handle_, CURLOPT_HEADERDATA, this);
  curl_easy_setopt(easy_handle_, CURLOPT_HEADERFUNCTION, &DoviHttpRequest::parse_header);
  curl_easy_setopt(easy_handle_, CURLOPT_WRITEFUNCTION, &DoviHttpRequest::parse_resp);
  SetTransportOptions();
  SetHeaderOption();
  SetBodyOptions();
  glibcurl_set_callback(GlibcurlCallback, nullptr);
  const CURLMcode added = glibcurl_add(easy_handle_);
  glibcurl_start();
  return added == CURLM_OK ? kStarted : CannotStart(curl_multi_strerror(added));
}

void DoviHttpRequest::SetTransportOptions() {
  const DoviDeploymentSettings& settings = GetDoviDeploymentSettings();
  // HTTP/2 would deliver header names in lower case, and they are compared as they come.
  curl_easy_setopt(easy_handle_, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  curl_easy_setopt(easy_handle_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_handle_, CURLOPT_BUFFERSIZE, kReceiveBytes);
  curl_easy_setopt(easy_handle_, CURLOPT_ERRORBUFFER, curl_error_text_);
  curl_easy_setopt(easy_handle_, CURLOPT_MAXREDIRS, kMaxRedirects);
  // A POST stays one. Turned into a GET it would announce, by our own header, a body that does not
  // come.
  curl_easy_setopt(easy_handle_, CURLOPT_POSTREDIR, long{CURL_REDIR_POST_ALL});
  AllowHttpOnly(easy_handle_, url_buffer_);
  LeaveNameLookupBehind(easy_handle_);
  glibcurl_manage_connections(easy_handle_, &refusal_);
  curl_easy_setopt(easy_handle_, CURLOPT_RESOLVER_START_FUNCTION, &DoviHttpRequest::OnLookupStart);
  curl_easy_setopt(easy_handle_, CURLOPT_RESOLVER_START_DATA, this);
#if LIBCURL_VERSION_NUM >= 0x075000
  curl_easy_setopt(easy_handle_, CURLOPT_PREREQFUNCTION, &DoviHttpRequest::BeforeSending);
  curl_easy_setopt(easy_handle_, CURLOPT_PREREQDATA, this);
#endif
  // Empty texts are set too: they keep curl from asking the environment.
  curl_easy_setopt(easy_handle_, CURLOPT_PROXY, settings.proxy);
  curl_easy_setopt(easy_handle_, CURLOPT_NOPROXY, "");
  if (*settings.ca_file != 0) curl_easy_setopt(easy_handle_, CURLOPT_CAINFO, settings.ca_file);
  curl_easy_setopt(easy_handle_, CURLOPT_CONNECTTIMEOUT_MS, long{settings.connect_timeout_ms});
  const int timeout_ms = settings.total_timeout_ms;
  curl_easy_setopt(easy_handle_, CURLOPT_TIMEOUT_MS,
                   timeout_ms == 0 ? 0L : long{timeout_ms - waited_ms_});
}

/// Hands all headers to curl as one list entry whose lines are joined by CR LF, deliberately.
void DoviHttpRequest::SetHeaderOption() {
  if (request_header_text_.IsEmpty()) return;
  request_header_text_->ToUtf8Vector(&header_bytes_);
  header_bytes_.Append(0);
  const char* text = reinterpret_cast<const char*>(header_bytes_.data());
  header_list_ = curl_slist_append(header_list_, text);
  // Curl does not look inside the entry. An entry without a value keeps it from adding a second
  // Content-Length, which servers refuse.
  if (HasContentLength(text)) header_list_ = curl_slist_append(header_list_, "Content-Length:");
  curl_easy_setopt(easy_handle_, CURLOPT_HTTPHEADER, header_list_);
}

void DoviHttpRequest::SetBodyOptions() {
  if (request_body_ == nullptr || request_body_->length() <= 0) return;
  DoviTrace("======================post data size %d\n", request_body_->length());
  CURLcode result = curl_easy_setopt(easy_handle_, CURLOPT_POST, 1L);
  curl_easy_setopt(easy_handle_, CURLOPT_POSTFIELDSIZE, long{request_body_->length()});
  if (result != CURLE_OK) {
    DoviTrace("======================err in curl_easy_setopt  %d\n", result);
  }
  result = curl_easy_setopt(easy_handle_, CURLOPT_POSTFIELDS, request_body_->data());
  if (result != CURLE_OK) {
    DoviTrace("======================err in CURLOPT_POSTFIELDS  %d\n", result);
  }
}

std::size_t DoviHttpRequest::parse_resp(char* bytes, std::size_t size, std::size_t count,
                                        void* request) {
  return static_cast<DoviHttpRequest*>(request)->parse_my_resp(bytes, size, count);
}

std::size_t DoviHttpRequest::parse_header(char* bytes, std::size_t size, std::size_t count,
                                          void* request) {
  return static_cast<DoviHttpRequest*>(request)->parse_my_header(bytes, size, count);
}

std::size_t DoviHttpRequest::parse_my_resp(const char* bytes, std::size_t size, std::size_t count) {
  const std::size_t length = size * count;
  DoviTrace("In parse resp num of bytes : %d \n", static_cast<int>(length));
  if (length == 0) return 0;
  if (received_body_.length() == 0) {
    DoviTrace("Allocate m_responsebuffer : %d \n", static_cast<int>(length) + 1);
    received_body_.Expect(ContentLengthOf(easy_handle_));
  }
  return received_body_.Append(bytes, length) ? length : 0;
}

std::size_t DoviHttpRequest::parse_my_header(const char* bytes, std::size_t size,
                                             std::size_t count) {
  const std::size_t length = size * count;
  // What once went through TLS does not leave it by a later redirect.
  const bool is_first_line = std::string_view(bytes, length).starts_with("HTTP/");
  if (is_first_line && IsSecure(EffectiveUrlOf(easy_handle_)))
    AllowRedirectsTo(easy_handle_, false);
  return response_header_text_.AppendText(bytes, length) ? length : 0;
}

/// Whether the host that curl is about to connect to is a name, not an address.
bool DoviHttpRequest::IsLookupNeeded() const {
  const char* proxy = GetDoviDeploymentSettings().proxy;
  return !IsHostAnAddress(*proxy != 0 ? proxy : EffectiveUrlOf(easy_handle_));
}

/// Not 0 keeps curl from beginning to look up a name.
int DoviHttpRequest::OnLookupStart(void*, void*, void* request) {
  auto* const self = static_cast<DoviHttpRequest*>(request);
  if (glibcurl_may_look_up() || !self->IsLookupNeeded()) return 0;
  self->refusal_ = "too many look-ups of names are without an answer";
  return 1;
}

#if LIBCURL_VERSION_NUM >= 0x075000
/// Curl sends a POST again for each kept connection that it finds closed under it. With the first
/// sending the kept ones are ruled out, except behind a redirect, where curl does not listen.
int DoviHttpRequest::BeforeSending(void* request, char*, char*, int, int) {
  constexpr int kMaxTimesSent = 2;
  auto* const self = static_cast<DoviHttpRequest*>(request);
  const long redirects_before = self->redirects_followed_;
  curl_easy_getinfo(self->easy_handle_, CURLINFO_REDIRECT_COUNT, &self->redirects_followed_);
  if (self->redirects_followed_ != redirects_before) self->times_sent_ = 0;
  if (++self->times_sent_ > kMaxTimesSent) {
    self->refusal_ = "the server closed two connections without a response";
    return CURL_PREREQFUNC_ABORT;
  }
  curl_easy_setopt(self->easy_handle_, CURLOPT_FRESH_CONNECT, 1L);
  return CURL_PREREQFUNC_OK;
}
#endif

void DoviHttpRequest::CollectAndGiveTurns() {
  while (!CollectFinishedTransfers()) {
  }
}

/// False when a requester has thrown, and others may be left. The requesters may start and cancel
/// any request and run the main loop, so that after each of them nothing is known but what the
/// multi handle says.
bool DoviHttpRequest::CollectFinishedTransfers() {
  try {
    int messages_left = 0;
    while (const CURLMsg* message = curl_multi_info_read(glibcurl_handle(), &messages_left)) {
      if (message->msg != CURLMSG_DONE) continue;
      const CURLcode result = message->data.result;
      DoviTrace("connection closed, CURLMsg:%s\n", curl_easy_strerror(result));
      DoviHttpRequest* request = nullptr;
      if (curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &request) != CURLE_OK) {
        RequestFailed(request);
      } else if (request != nullptr) {
        request->ConnectionDone(message->easy_handle, result);
      }
      GiveTurns();
    }
    GiveTurns();
    return true;
  } catch (...) {
    DoviTrace("================= CurlFactory::GlibcurlCallback uncaught exception\n");
    return false;
  }
}

void DoviHttpRequest::RequestFailed(DoviHttpRequest* request) {
  if (request == nullptr) return;
  request->LeaveQueue();
  request->response_header_text_.Free();
  request->received_body_.Free();
  request->requester_->OnRequestFailed(request);
}

/// The requester may delete this request: nothing follows its call.
void DoviHttpRequest::ConnectionDone(CURL* done_handle, CURLcode result) {
  LeaveQueue();
  const char* url = nullptr;
  curl_easy_getinfo(done_handle, CURLINFO_EFFECTIVE_URL, &url);
  DoviTrace("lasturll%s\n", url == nullptr ? "" : url);
  status_info_->effective_url = GString(url);

  long status_code = 0;
  curl_easy_getinfo(done_handle, CURLINFO_RESPONSE_CODE, &status_code);
  status_code_ = static_cast<int>(status_code);
  long header_size = 0;
  curl_easy_getinfo(done_handle, CURLINFO_HEADER_SIZE, &header_size);
  if (header_size > 0) KeepResponseHeaders(header_size);
  transport_error_ = TransportErrorOf(done_handle, result, curl_error_text_, refusal_);
  // What it met is most likely true of the connections that are kept, too.
  if (transport_error_.kind == TransportErrorKind::kTimedOut) glibcurl_network_changed();
  DoviTrace("last error is: \n");

  DeliverResponseBody(ContentLengthOf(done_handle));
  DoviTrace("my_GlibcurlCallback============= 2 m_response_header size %d \n",
            response_headers_.length());
  response_header_text_.Free();
  received_body_.Free();

  const bool is_too_large = transport_error_.kind == TransportErrorKind::kTooLarge;
  if (status_code_ == 200 && !is_too_large) {
    DoviTrace("================= OnRequestComplete \n");
    requester_->OnRequestComplete(this);
  } else {
    DoviTrace("================= OnRequestFailed \n");
    requester_->OnRequestFailed(this);
  }
}

/// Keeps `header_size` bytes of the header text and the one after them, deliberately: callers see
/// the NUL that ends the text (or the first byte of a trailer, which curl does not count) behind
/// the headers. Where a NUL arrived inside it, the text is shorter than curl's count.
void DoviHttpRequest::KeepResponseHeaders(long header_size) {
  response_headers_.Clear();
  if (response_header_text_.bytes() != nullptr) {
    const long kept = std::min<long>(header_size, response_header_text_.length()) + 1;
    response_headers_.AppendAll(ByteView(common_base::kReferenceExistingBuffer,
                                         response_header_text_.bytes(), static_cast<int>(kept)));
  }
  DoviTrace("my_GlibcurlCallback============= m_response_header size %d  \n",
            response_headers_.length());
}

/// A body that is longer than its Content-Length is cut to it, a shorter one comes as far as it
/// arrived.
void DoviHttpRequest::DeliverResponseBody(curl_off_t content_length) {
  if (content_length > 0) {
    const auto length =
        static_cast<int>(std::min<curl_off_t>(content_length, received_body_.length()));
    if (response_body_->capacity() == 0 && response_body_->IsEmpty()) {
      *response_body_ = GVector<unsigned char>(common_base::kTakeOwnershipOfExistingBuffer,
                                               received_body_.Release(), length);
    } else {
      response_body_->AppendAll(
          ByteView(common_base::kReferenceExistingBuffer, received_body_.bytes(), length));
    }
  } else if (received_body_.bytes() != nullptr) {
    DoviTrace("Nnnnnnooooooooooooooo respbody: \n");
  }
}
