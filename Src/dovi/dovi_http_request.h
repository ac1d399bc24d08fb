#ifndef DOVI_DOVI_HTTP_REQUEST_H_
#define DOVI_DOVI_HTTP_REQUEST_H_

#include <cstddef>

#include <curl/curl.h>

#include "dovi/deployment_settings.h"
#include "dovi/exchange_queue.h"
#include "dovi/receive_buffer.h"
#include "kesu/common/base/string_buffer.h"
#include "kesu/mux/http_request_factory.h"

class DoviHttpRequestFactory;

/// One HTTP exchange over libcurl. Deletes itself on Cancel(), which is also how its owner is rid
/// of it when it has ended.
///
/// It goes to the URL of the deployment settings whatever URL its maker was given, deliberately: a
/// deployment has one endpoint. With a body that is not empty it is a POST, otherwise a GET.
///
/// It completes with status 200 and fails with any other, 0 included, and when more arrives than it
/// takes: 8 MiB of body, 192 KiB of headers, 100 KiB for one of them. Two things follow from that,
/// deliberately: a response that breaks off after its status 200 completes, with the bytes that
/// came; and only a response with a Content-Length delivers a body, one in chunks completes with
/// none.
///
/// With many started already it waits for its turn, see QueuedExchange.
///
/// A POST may reach the service twice, not more often: when a connection that was used before ends
/// without a whole status line, it is sent once more, over a new connection. Each redirect that is
/// followed is a POST of its own.
class DoviHttpRequest : public HttpRequestInterface, private QueuedExchange {
 public:
  /// Everything is borrowed until the request is gone. `request_body` may be null.
  DoviHttpRequest(DoviHttpRequestFactory* factory,
                  const common_base::GVectorRef<const unsigned char>* request_body,
                  common_base::GVector<unsigned char>* response_body,
                  HttpRequestFactory::StatusInfo* status_info);
  DoviHttpRequest(const DoviHttpRequest&) = delete;
  DoviHttpRequest& operator=(const DoviHttpRequest&) = delete;
  ~DoviHttpRequest() override;

  int Start(common_base::RequesterInterface* requester) override;
  void Cancel() override;
  void SetHttpRequestHeader(const common_base::GVectorRef<const unsigned char>& name,
                            const common_base::GVectorRef<const unsigned char>& value) override;
  int HttpResponseStatusCode() const override { return status_code_; }
  common_base::GString RedirectedToUrl() const override;
  /// The header text of every response of the exchange, redirects included, with the one byte that
  /// follows it, mostly a NUL.
  HeaderFieldIteratorInterface* HttpResponseHeaders() const override;
  /// Set also where the exchange completes and its body is not whole.
  common_kesu::TransportError last_transport_error() const override { return transport_error_; }

  DoviHttpRequestFactory* factory() const { return factory_; }

  /// For the main loop: tells of the transfers that have ended, and lets others begin.
  static void CollectAndGiveTurns();

  /// A write function of libcurl that takes everything and keeps nothing.
  static std::size_t WriteMemoryCallback(char* bytes, std::size_t size, std::size_t count,
                                         void* closure);

 private:
  int CannotStart(const char* why);
  void OnTurn(int waited_ms) override;
  int sendPostRequest(const char* url);
  void SetTransportOptions();
  void SetHeaderOption();
  void SetBodyOptions();

  static std::size_t parse_resp(char* bytes, std::size_t size, std::size_t count, void* request);
  static std::size_t parse_header(char* bytes, std::size_t size, std::size_t count, void* request);
  std::size_t parse_my_resp(const char* bytes, std::size_t size, std::size_t count);
  std::size_t parse_my_header(const char* bytes, std::size_t size, std::size_t count);

  static int OnLookupStart(void* resolver, void*, void* request);
  static int BeforeSending(void* request, char*, char*, int, int);
  bool IsLookupNeeded() const;

  static void GlibcurlCallback(void*) { CollectAndGiveTurns(); }
  static bool CollectFinishedTransfers();
  static void RequestFailed(DoviHttpRequest* request);
  void ConnectionDone(CURL* done_handle, CURLcode result);
  void KeepResponseHeaders(long header_size);
  void DeliverResponseBody(curl_off_t content_length);

  common_base::GVector<unsigned char> header_bytes_;
  char url_buffer_[kDoviUrlBufferSize];
  ReceiveBuffer response_header_text_;
  ReceiveBuffer received_body_;
  common_base::RequesterInterface* requester_ = nullptr;
  DoviHttpRequestFactory* factory_;
  HttpRequestFactory::StatusInfo* status_info_;
  int status_code_ = 0;
  const common_base::GVectorRef<const unsigned char>* request_body_;
  common_base::GVector<unsigned char>* response_body_;
  common_base::GStringBuffer request_header_text_;
  common_base::GVector<unsigned char> response_headers_;
  curl_slist* header_list_ = nullptr;
  CURL* easy_handle_ = nullptr;
  common_kesu::TransportError transport_error_;
  char curl_error_text_[CURL_ERROR_SIZE] = "";
  /// Why we ourselves let the exchange fail, or null.
  const char* refusal_ = nullptr;
  /// Milliseconds of the total time-out that it has waited for its turn.
  int waited_ms_ = 0;
  /// How often the POST to the current URL has been sent.
  int times_sent_ = 0;
  long redirects_followed_ = 0;
};

#endif  // DOVI_DOVI_HTTP_REQUEST_H_
