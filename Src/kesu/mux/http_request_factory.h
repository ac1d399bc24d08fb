#ifndef KESU_MUX_HTTP_REQUEST_FACTORY_H_
#define KESU_MUX_HTTP_REQUEST_FACTORY_H_

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/vector.h"
#include "kesu/mux/http_request_interface.h"

/// The transport: makes HTTP requests.
class HttpRequestFactory : public common_base::HeapObject {
 public:
  /// What a transport reports of an exchange beside its status. Only the URL has a settled meaning.
  struct StatusInfo {
    int code = 0;
    common_base::GString text;
    common_base::GVector<unsigned char> data;
    /// The URL the response came from, after redirects.
    common_base::GString effective_url;
  };

  enum ConnectionStatus { kConnectionUnknown, kConnected, kDisconnected };
  enum BearerType { kBearerUnknown, kBearerMobile, kBearerWifi, kBearerWired };

  virtual ~HttpRequestFactory() = default;
  virtual ConnectionStatus GetConnectionStatus() const { return kConnectionUnknown; }
  /// Does nothing unless the transport SupportsConnectionChange().
  virtual void ChangeConnection() {}
  virtual bool SupportsConnectionChange() const { return false; }
  virtual BearerType GetBearerType() const { return kBearerUnknown; }

  /// New requests, not yet started, owned by the caller. Everything behind a pointer, and the bytes
  /// of `body`, is borrowed until the request is gone. The body of the response is appended to
  /// `response_body`.
  virtual HttpRequestInterface* NewHttpGetRequest(
      const common_base::GString& url, common_base::GVector<unsigned char>* response_body,
      StatusInfo* status_info) = 0;
  virtual HttpRequestInterface* NewHttpPostRequest(
      const common_base::GString& url, const common_base::GVectorRef<const unsigned char>* body,
      common_base::GVector<unsigned char>* response_body, StatusInfo* status_info) = 0;
};

#endif  // KESU_MUX_HTTP_REQUEST_FACTORY_H_
