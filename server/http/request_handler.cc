#include "server/http/request_handler.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <optional>

#include <glib.h>

#include "server/http/fault_effects.h"

namespace kesu_server {
namespace {

constexpr char kMuxContentType[] = "application/binary";

Reply TextReply(unsigned status, const std::string& line) {
  return MakeReply(status, kTextContentType, line + "\n");
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
  return MakeReply(200, kTextContentType, std::move(text));
}

Reply WrongMethod(const std::string& text, const char* allowed) {
  Reply reply = TextReply(405, text);
  reply.headers.emplace_back("Allow", allowed);
  return reply;
}

/// The CPU time that this worker has used.
std::int64_t CpuNanoseconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

Reply RequestHandler::Handle(const HttpRequest& request) const {
  if (const auto page = pages_.find(request.path); page != pages_.end()) {
    return HandlePage(page->second, request);
  }
  if (request.path != kServicePath) return TextReply(404, "nothing here");
  if (request.method == "GET") return EchoHeaders(request.headers);
  if (request.method == "POST") return HandlePost(request);
  return WrongMethod("only GET and POST", "GET, POST");
}

Reply RequestHandler::HandlePage(const PageEntry& entry, const HttpRequest& request) const {
  if (request.method != entry.method) {
    return WrongMethod("only " + entry.method, entry.method.c_str());
  }
  return request.is_too_large ? BodyTooLarge() : entry.page(request);
}

Reply RequestHandler::BodyTooLarge() const {
  return TextReply(413, "the body is longer than " + std::to_string(limits_.body_bytes) + " bytes");
}

Reply RequestHandler::HandlePost(const HttpRequest& request) const {
  if (g_ascii_strcasecmp(MediaType(request.headers).c_str(), kMuxContentType) != 0) {
    return TextReply(415, std::string("the content type must be ") + kMuxContentType);
  }
  if (request.is_too_large) return BodyTooLarge();
  Post post;
  if (const std::optional<ReadError> error = ReadPost(request.body, &post)) {
    const std::string line = "malformed POST: " + error->description + ", at byte offset " +
                             std::to_string(error->offset);
    report_(line);
    return TextReply(400, line);
  }
  if (post.requests.size() > limits_.requests) {
    return TextReply(413, "more than " + std::to_string(limits_.requests) + " requests");
  }
  ReplyContent content;
  content.blocks = Answer(post);
  const auto answered =
      std::count_if(content.blocks.begin(), content.blocks.end(),
                    [](const ReplyBlock& block) { return block.status == kOkStatus; });
  const Fault* const fault = faults_ == nullptr ? nullptr : faults_->Next();
  if (fault != nullptr) SpoilContent(*fault, &content);
  Reply reply = MakeReply(200, kMuxContentType, WriteReplyBody(content));
  reply.requests = post.requests.size();
  reply.answered = static_cast<std::size_t>(answered);
  if (fault != nullptr) SpoilReply(*fault, &reply);
  return reply;
}

std::vector<ReplyBlock> RequestHandler::Answer(const Post& post) const {
  std::vector<ReplyBlock> blocks;
  const std::int64_t end_ns = CpuNanoseconds() + std::int64_t{limits_.cpu_ms} * 1'000'000;
  for (const ServiceRequest& request : post.requests) {
    const bool may_go_on = limits_.cpu_ms == 0 || CpuNanoseconds() < end_ns;
    ServiceReply answer = may_go_on ? Answer(request) : ServiceReply{kUnavailableStatus, {}};
    record_->CountRequest(request.service, answer.status);
    blocks.push_back({request.id, answer.status, std::move(answer.payload)});
  }
  return blocks;
}

ServiceReply RequestHandler::Answer(const ServiceRequest& request) const {
  const auto service = services_.find(request.service);
  if (service == services_.end()) return {kUnknownServiceStatus, {}};
  return service->second(request);
}

}  // namespace kesu_server
