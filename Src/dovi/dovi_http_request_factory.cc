#include "dovi/dovi_http_request_factory.h"

#include <cstdint>

#include "dovi/dovi_http_request.h"
#include "dovi/glibcurl.h"
#include "dovi/trace.h"

using common_base::GString;
using common_base::GVector;
using common_base::GVectorRef;

DoviHttpRequestFactory::DoviHttpRequestFactory() {
  DoviTrace("=========glibcurl_init================\n");
  glibcurl_init();
}

DoviHttpRequestFactory::~DoviHttpRequestFactory() {
  DoviTrace("=========Clean up the curl================\n");
  glibcurl_cleanup();
}

HttpRequestInterface* DoviHttpRequestFactory::NewHttpGetRequest(
    const GString&, GVector<unsigned char>* response_body, StatusInfo* status_info) {
  DoviTrace("=========NewHttpGetRequest================\n");
  return new DoviHttpRequest(this, nullptr, response_body, status_info);
}

HttpRequestInterface* DoviHttpRequestFactory::NewHttpPostRequest(
    const GString&, const GVectorRef<const unsigned char>* body,
    GVector<unsigned char>* response_body, StatusInfo* status_info) {
  DoviTrace("=========NewHttpPostRequest================\n");
  auto* request = new DoviHttpRequest(this, body, response_body, status_info);
  // The low 32 bits of the address, deliberately: they tell requests apart in a trace.
  DoviTrace("=========NewHttpPostRequest req================%d\n",
            static_cast<int>(reinterpret_cast<std::uintptr_t>(request)));
  return request;
}
