#ifndef DOVI_DOVI_HTTP_REQUEST_FACTORY_H_
#define DOVI_DOVI_HTTP_REQUEST_FACTORY_H_

#include "kesu/mux/http_request_factory.h"

/// The transport over libcurl and GLib's default main context. It outlives its requests and is not
/// destroyed from inside a requester's callback; either ends the process. How the service is
/// reached is set beforehand with SetDoviDeploymentSettings().
///
/// There is one at a time. One that is made while another exists, or on a thread whose default main
/// context is not GLib's, says why in an error line of the log, and its requests do not start.
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

  /// For the application to say that the network has changed: exchanges that begin from now on use
  /// new connections and look names up anew. Those under way go on. Allowed at any time, from a
  /// requester's callback too. Without it the first exchange that times out has the same effect.
  void NetworkHasChanged();

  /// Why requests of this factory do not start, or null.
  const char* refusal() const;
};

#endif  // DOVI_DOVI_HTTP_REQUEST_FACTORY_H_
