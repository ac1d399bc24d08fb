#include "server/http/http_response.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

namespace kesu_server {
namespace {

/// So much of a body is handed over at a time where it is not handed over as a whole.
constexpr std::size_t kBlockBytes = std::size_t{64} << 10;
/// A stream says little at a time.
constexpr std::size_t kStreamBlockBytes = 4096;

/// The body of a reply that is not sent as a whole.
struct PartialBody {
  std::string bytes;
  /// What it says at its end.
  ssize_t end = 0;
};

ssize_t ReadPartialBody(void* partial_body, std::uint64_t position, char* buffer,
                        std::size_t buffer_bytes) {
  const auto* const body = static_cast<const PartialBody*>(partial_body);
  if (position >= body->bytes.size()) return body->end;
  return static_cast<ssize_t>(
      body->bytes.copy(buffer, buffer_bytes, static_cast<std::size_t>(position)));
}

MHD_Response* NewPartialResponse(std::uint64_t stated_bytes, std::string bytes, ssize_t end) {
  auto* const body = new PartialBody{std::move(bytes), end};
  MHD_Response* const response = MHD_create_response_from_callback(
      stated_bytes, kBlockBytes, ReadPartialBody, body,
      [](void* owned) { delete static_cast<PartialBody*>(owned); });
  if (response == nullptr) delete body;
  return response;
}

MHD_Response* NewWholeResponse(std::string bytes) {
  auto* const body = new std::string(std::move(bytes));
  MHD_Response* const response = MHD_create_response_from_buffer_with_free_callback_cls(
      body->size(), body->data(), [](void* owned) { delete static_cast<std::string*>(owned); },
      body);
  if (response == nullptr) delete body;
  return response;
}

MHD_Response* NewResponse(Reply* reply) {
  if (reply->delivery == Delivery::kChunked) {
    return NewPartialResponse(MHD_SIZE_UNKNOWN, std::move(reply->body),
                              MHD_CONTENT_READER_END_OF_STREAM);
  }
  if (reply->delivery == Delivery::kCut && reply->sent_body_bytes < reply->body.size()) {
    const std::size_t stated_bytes = reply->body.size();
    reply->body.resize(reply->sent_body_bytes);
    return NewPartialResponse(stated_bytes, std::move(reply->body),
                              MHD_CONTENT_READER_END_WITH_ERROR);
  }
  return NewWholeResponse(std::move(reply->body));
}

HttpResponse WithHeaders(MHD_Response* created, const HttpHeaders& headers) {
  HttpResponse response(created, MHD_destroy_response);
  if (!response) return response;
  for (const auto& [name, value] : headers) {
    MHD_add_response_header(response.get(), name.c_str(), value.c_str());
  }
  return response;
}

}  // namespace

HttpResponse NewHttpResponse(Reply reply) {
  // The connection is closed behind a whole body too, then.
  if (reply.delivery == Delivery::kCut) SetHeader("Connection", "close", &reply);
  MHD_Response* const response = NewResponse(&reply);
  return WithHeaders(response, reply.headers);
}

HttpResponse NewStreamResponse(const Reply& reply, MHD_ContentReaderCallback read, void* data) {
  return WithHeaders(
      MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kStreamBlockBytes, read, data, nullptr),
      reply.headers);
}

}  // namespace kesu_server
