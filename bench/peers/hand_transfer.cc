#include "bench/peers/hand_transfer.h"

#include <cstring>

#include "bench/peers/comparison.h"
#include "bench/peers/mux_format.h"

namespace {

/// Of every POST; freed with the process.
curl_slist* Headers() {
  static curl_slist* const headers =
      curl_slist_append(nullptr, (std::string("Content-Type: ") + plain::kMuxContentType).c_str());
  return headers;
}

}  // namespace

HandTransfer::HandTransfer(const std::string& url, std::size_t number)
    : easy_(curl_easy_init()), number_(number) {
  curl_easy_setopt(easy_, CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy_, CURLOPT_HTTPHEADER, Headers());
  curl_easy_setopt(easy_, CURLOPT_POST, 1L);
  curl_easy_setopt(easy_, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  curl_easy_setopt(easy_, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy_, CURLOPT_PRIVATE, this);
  curl_easy_setopt(easy_, CURLOPT_WRITEFUNCTION, &OnBytes);
  curl_easy_setopt(easy_, CURLOPT_WRITEDATA, this);
}

void HandTransfer::SetBody(const char* body, std::size_t size) {
  response_.clear();
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(easy_, CURLOPT_POSTFIELDSIZE, static_cast<long>(size));
}

HandTransfer* HandTransfer::Of(CURL* easy) {
  HandTransfer* transfer = nullptr;
  curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
  return transfer;
}

void HandTransfer::RequireGood(CURLcode result) const {
  long status = 0;
  curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
  const char* type = nullptr;
  curl_easy_getinfo(easy_, CURLINFO_CONTENT_TYPE, &type);
  RequireSame(result == CURLE_OK && status == plain::kStatusOk && type != nullptr &&
                  std::strcmp(type, plain::kMuxContentType) == 0,
              "a POST by hand has failed");
}

std::size_t HandTransfer::OnBytes(char* bytes, std::size_t size, std::size_t count,
                                  void* transfer) {
  static_cast<HandTransfer*>(transfer)->response_.append(bytes, size * count);
  return size * count;
}
