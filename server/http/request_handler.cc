#include "server/http/request_handler.h"

#include <algorithm>
#include <optional>

#include <glib.h>

#include "server/http/fault_effects.h"
#include "server/protocol/reply_writer.h"

namespace kesu_server {
namespace {

constexpr char kMuxContentType[] = "application/binary";

Reply TextReply(unsigned status, const std::string& line) {
  return MakeReply(status, "text/plain; charset=utf-8", line + "\n");
}

/// The media type of a request, without its parameters; empty when it states none.
std::string MediaType(const HttpHeaders& headers) {
  for (const auto& [name, value] : headers) {
    if (g_ascii_strcasecmp(name.c_str(), "Content-Type") != 0) continue;
    std::string type = value.substr(0, value.find(';'));
    while (!type.empty() && g_ascii_isspace(type.back())) type.pop_back();
    return type;
  }
  return {};
}

Reply EchoHeaders(const HttpHeaders& headers) {
  std::string text;
  for (const auto& [name, value] : headers) text += name + ": " + value + "\n";
  return MakeReply(200, "text/plain; charset=utf-8", std::move(text));
}

}  // namespace

Reply RequestHandler::Handle(const HttpRequest& request) const {
  if (request.path != kServicePath) return TextReply(404, "nothing here");
  if (request.method == "GET") return EchoHeaders(request.headers);
  if (request.method == "POST") return HandlePost(request);
  Reply reply = TextReply(405, "only GET and POST");
  reply.headers.emplace_back("Allow", "GET, POST");
  return reply;
}

Reply RequestHandler::HandlePost(const HttpRequest& request) const {
  if (g_ascii_strcasecmp(MediaType(request.headers).c_str(), kMuxContentType) != 0) {
    return TextReply(415, std::string("the content type must be ") + kMuxContentType);
  }
  if (request.is_too_large) {
    return TextReply(413, "the body is longer than " + std::to_string(max_body_bytes_) + " bytes");
  }
  Post post;
  if (const std::optional<ReadError> error = ReadPost(request.body, &post)) {
    const std::string line = "malformed POST: " + error->description + ", at byte offset " +
                             std::to_string(error->offset);
    report_(line);
    return TextReply(400, line);
  }
  ReplyContent content;
  for (const ServiceRequest& service_request : post.requests) {
    ServiceReply answer = Answer(service_request);
    content.blocks.push_back({service_request.id, answer.status, std::move(answer.payload)});
  }
  const Fault* const fault = faults_ == nullptr ? nullptr : faults_->Next();
  if (fault != nullptr) SpoilContent(*fault, &content);
  Reply reply = MakeReply(200, kMuxContentType, WriteReplyBody(content));
  if (fault != nullptr) SpoilReply(*fault, &reply);
  return reply;
}

ServiceReply RequestHandler::Answer(const ServiceRequest& request) const {
  const auto service = services_.find(request.service);
  if (service == services_.end()) return {kUnknownServiceStatus, {}};
  return service->second(request);
}

}  // namespace kesu_server
