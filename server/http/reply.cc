#include "server/http/reply.h"

namespace kesu_server {

Reply MakeReply(unsigned status, const char* content_type, std::string body) {
  Reply reply;
  reply.status = status;
  reply.headers = {{"Content-Type", content_type}};
  reply.body = std::move(body);
  return reply;
}

void SetHeader(const char* name, std::string value, Reply* reply) {
  std::erase_if(reply->headers, [name](const auto& header) { return header.first == name; });
  reply->headers.emplace_back(name, std::move(value));
}

}  // namespace kesu_server
