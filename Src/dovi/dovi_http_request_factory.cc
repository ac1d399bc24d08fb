#include "dovi/dovi_http_request_factory.h"

#include <cstdint>
#include <cstdio>

#include "dovi/dovi_http_request.h"
#include "dovi/glibcurl.h"

using common_base::GString;
using common_base::GVector;
using common_base::GVectorRef;

DoviHttpRequestFactory::DoviHttpRequestFactory() {
  std::puts("=========glibcurl_init================");
  glibcurl_init();
}

DoviHttpRequestFactory::~DoviHttpRequestFactory() {
  std::puts("=========Clean up the curl================");
  glibcurl_cleanup();
}

HttpRequestInterface* DoviHttpRequestFactory::NewHttpGetRequest(
    const GString&, GVector<unsigned char>* response_body, StatusInfo* status_info) {
  std::puts("=========NewHttpGetRequest================");
  return new DoviHttpRequest(this, nullptr, response_body, status_info);
}

HttpRequestInterface* DoviHttpRequestFactory::NewHttpPostRequest(
    const GString&, const GVectorRef<const unsigned char>* body,
    GVector<unsigned char>* response_body, StatusInfo* status_info) {
  std::puts("=========NewHttpPostRequest================");
  auto* request = new DoviHttpRequest(this, body, response_body, status_info);
  // The low 32 bits of the address, deliberately: they tell requests apart in a trace.
  std::printf("=========NewHttpPostRequest req================%d\n",
              static_cast<int>(reinterpret_cast<std::uintptr_t>(request)));
  return request;
}
