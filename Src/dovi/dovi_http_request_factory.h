#ifndef DOVI_DOVI_HTTP_REQUEST_FACTORY_H_
#define DOVI_DOVI_HTTP_REQUEST_FACTORY_H_

#include "kesu/mux/http_request_factory.h"

/// The transport over libcurl and GLib's default main context. There is one at a time; it outlives
/// its requests and is not destroyed from inside a requester's callback. How the service is reached
/// is set beforehand with SetDoviDeploymentSettings().
///
/// Forks are excluded while it exists: a child of the process must not use or destroy this, its
/// requests or anything else of the library. What a child may do is exec.
class DoviHttpRequestFactory : public HttpRequestFactory {
 public:
  DoviHttpRequestFactory();
  DoviHttpRequestFactory(const DoviHttpRequestFactory&) = delete;
  DoviHttpRequestFactory& operator=(const DoviHttpRequestFactory&) = delete;
  ~DoviHttpRequestFactory() override;

  /// Both ignore the URL, see DoviHttpRequest.
  HttpRequestInterface* NewHttpGetRequest(const common_base::GString& url,
                                          common_base::GVector<unsigned char>* response_body,
                                          StatusInfo* status_info) override;
  HttpRequestInterface* NewHttpPostRequest(const common_base::GString& url,
                                           const common_base::GVectorRef<const unsigned char>* body,
                                           common_base::GVector<unsigned char>* response_body,
                                           StatusInfo* status_info) override;
};

#endif  // DOVI_DOVI_HTTP_REQUEST_FACTORY_H_
