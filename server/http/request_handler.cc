#include "server/http/request_handler.h"

#include <cstdint>
#include <optional>

#include <glib.h>

#include "server/http/fault_effects.h"
#include "server/http/media_type.h"
#include "server/http/post_work.h"
#include "server/protocol/reply_writer.h"

namespace kesu_server {
namespace {

constexpr unsigned kHttpOk = 200;
constexpr char kMuxContentType[] = "application/binary";

Reply TextReply(unsigned status, const std::string& line) {
  return MakeReply(status, kTextContentType, line + "\n");
}

Reply EchoHeaders(const HttpHeaders& headers) {
  std::string text;
  for (const auto& [name, value] : headers) text += name + ": " + value + "\n";
  return MakeReply(kHttpOk, kTextContentType, std::move(text));
}

Reply WrongMethod(const std::string& text, const char* allowed) {
  Reply reply = TextReply(405, text);
  reply.headers.emplace_back("Allow", allowed);
  return reply;
}

/// One that knows its answer.
class Answered final : public Inquirer<ServiceReply> {
 public:
  explicit Answered(ServiceReply reply) : reply_(std::move(reply)) {}
  std::optional<ServiceReply> GoOn(const Found&, Inquiry*) override { return std::move(reply_); }

 private:
  ServiceReply reply_;
};

}  // namespace

void RequestHandler::AddPlainService(const std::string& name,
                                     std::function<ServiceReply(const ServiceRequest&)> service) {
  AddService(name, [service = std::move(service)](const ServiceRequest& request) {
    return std::make_unique<Answered>(service(request));
  });
}

void RequestHandler::Handle(const HttpRequest& request, Done done) {
  if (const auto page = pages_.find(request.path); page != pages_.end()) {
    return HandlePage(page->second, request, std::move(done));
  }
  if (const Call* const folder = FindFolder(request.path)) {
    return Ask((*folder)(request), std::move(done));
  }
  if (request.path != kServicePath) return done(TextReply(404, "nothing here"));
  if (request.method == "GET") return done(EchoHeaders(request.headers));
  if (request.method == "POST") return HandlePost(request, std::move(done));
  done(WrongMethod("only GET and POST", "GET, POST"));
}

const RequestHandler::Call* RequestHandler::FindFolder(std::string_view path) const {
  for (const auto& [folder, call] : folders_) {
    if (path == folder || path.starts_with(folder + "/")) return &call;
  }
  return nullptr;
}

void RequestHandler::HandlePage(const PageEntry& entry, const HttpRequest& request, Done done) {
  if (request.method != entry.method) {
    return done(WrongMethod("only " + entry.method, entry.method.c_str()));
  }
  if (request.is_too_large) return done(BodyTooLarge());
  if (entry.call) return HandleCall(entry, request, std::move(done));
  done(entry.page(request));
}

void RequestHandler::HandleCall(const PageEntry& entry, const HttpRequest& request, Done done) {
  Ask(entry.call(request), [this, &entry, done = std::move(done)](Reply reply) {
    record_->CountRequest(entry.name, static_cast<int>(reply.status));
    reply.requests = 1;
    reply.answered = static_cast<std::size_t>(reply.status == kHttpOk);
    done(std::move(reply));
  });
}

void RequestHandler::Ask(std::shared_ptr<Inquirer<Reply>> inquirer, Done done) {
  dialogues_.Begin([inquirer = std::move(inquirer), done = std::move(done)](
                       const std::optional<Findings>& findings, Inquiry* inquiry) {
    Found found;
    found.has_failed = !findings;
    if (findings) {
      found.stations = findings->stations;
      found.surroundings = findings->surroundings;
    }
    std::optional<Reply> reply = inquirer->GoOn(found, inquiry);
    if (reply) done(*std::move(reply));
  });
}

Reply RequestHandler::BodyTooLarge() const {
  return TextReply(413, "the body is longer than " + std::to_string(limits_.body_bytes) + " bytes");
}

void RequestHandler::HandlePost(const HttpRequest& request, Done done) {
  if (g_ascii_strcasecmp(MediaType(request.headers).c_str(), kMuxContentType) != 0) {
    return done(TextReply(415, std::string("the content type must be ") + kMuxContentType));
  }
  if (request.is_too_large) return done(BodyTooLarge());
  Post post;
  if (const std::optional<ReadError> error = ReadPost(request.body, &post)) {
    const std::string line = "malformed POST: " + error->description + ", at byte offset " +
                             std::to_string(error->offset);
    report_(line);
    return done(TextReply(400, line));
  }
  if (post.requests.size() > limits_.requests) {
    return done(TextReply(413, "more than " + std::to_string(limits_.requests) + " requests"));
  }
  Answer(std::move(post), std::move(done));
}

void RequestHandler::Answer(Post post, Done done) {
  const Fault* const fault = faults_ == nullptr ? nullptr : faults_->Next();
  const auto finish = [this, fault, done = std::move(done)](const Post& answered,
                                                            std::vector<ReplyBlock> blocks) {
    std::size_t answered_well = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
      record_->CountRequest(answered.requests[i].service, blocks[i].status);
      answered_well += static_cast<std::size_t>(blocks[i].status == kOkStatus);
    }
    ReplyContent content;
    content.blocks = std::move(blocks);
    if (fault != nullptr) SpoilContent(*fault, &content);
    Reply reply = MakeReply(kHttpOk, kMuxContentType, WriteReplyBody(content));
    reply.requests = answered.requests.size();
    reply.answered = answered_well;
    if (fault != nullptr) SpoilReply(*fault, &reply);
    done(std::move(reply));
  };
  const auto work = std::make_shared<PostWork>(
      std::move(post), [this](const ServiceRequest& request) { return Begin(request); },
      limits_.cpu_ms, dialogues_.enough(), finish);
  dialogues_.Begin([work](const std::optional<Findings>& findings, Inquiry* inquiry) {
    work->Step(findings, inquiry);
  });
}

std::unique_ptr<Inquirer<ServiceReply>> RequestHandler::Begin(const ServiceRequest& request) const {
  const auto service = services_.find(request.service);
  if (service != services_.end()) return service->second(request);
  return std::make_unique<Answered>(ServiceReply{kUnknownServiceStatus, {}});
}

}  // namespace kesu_server
