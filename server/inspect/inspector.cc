#include "server/inspect/inspector.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>
#include <vector>

#include <glib.h>

#include "server/http/media_type.h"
#include "server/inspect/body_json.h"
#include "server/inspect/exchange_map.h"
#include "server/inspect/summary_json.h"

namespace kesu_server {
namespace {

constexpr char kPage[] = "index.html";
constexpr std::string_view kPosts = "posts/";
constexpr char kJsonContentType[] = "application/json";

/// The page runs its own scripts and styles, shows its own images, asks this server, and nothing
/// else; and nobody shows the page inside another one, or reads along.
constexpr std::pair<const char*, const char*> kGuards[] = {
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
     "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cache-Control", "no-store"},
};

/// One that is there at once.
class PlainAnswer final : public Inquirer<Reply> {
 public:
  explicit PlainAnswer(Reply reply) : reply_(std::move(reply)) {
    for (const auto& [name, value] : kGuards) SetHeader(name, value, &reply_);
  }
  std::optional<Reply> GoOn(const Found&, Inquiry*) override { return std::move(reply_); }

 private:
  Reply reply_;
};

std::unique_ptr<Inquirer<Reply>> Plain(Reply reply) {
  return std::make_unique<PlainAnswer>(std::move(reply));
}

std::unique_ptr<Inquirer<Reply>> Text(unsigned status, const char* line) {
  return Plain(MakeReply(status, kTextContentType, std::string(line) + "\n"));
}

std::unique_ptr<Inquirer<Reply>> NotFound() {
  return Text(404, "nothing here, or not any more");
}

/// All about an exchange; the storage is asked where the stations are that it names.
class ExchangeAnswer final : public Inquirer<Reply> {
 public:
  explicit ExchangeAnswer(const Exchange& exchange)
      : json_("{\"summary\":" + SummaryJson(exchange) +
              ",\"request\":" + BodyJson(exchange.request, true) +
              ",\"reply\":" + BodyJson(exchange.reply, false) + ",\"maps\":"),
        maps_(exchange) {}

  std::optional<Reply> GoOn(const Found& found, Inquiry* inquiry) override {
    const bool must_ask = !maps_.keys().empty() && found.stations.empty() && !found.has_failed;
    if (must_ask) {
      inquiry->keys.insert(inquiry->keys.end(), maps_.keys().begin(), maps_.keys().end());
      return std::nullopt;
    }
    // Without the stations there are the answers.
    return PlainAnswer(MakeReply(200, kJsonContentType, json_ + maps_.Draw(found.stations) + "}"))
        .GoOn(found, inquiry);
  }

 private:
  std::string json_;
  ExchangeMaps maps_;
};

/// None when it is no number.
std::optional<std::uint64_t> NumberOf(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The last of that name.
std::string_view ValueOf(const HttpHeaders& values, const char* name) {
  std::string_view found;
  for (const auto& [listed, value] : values) {
    if (g_ascii_strcasecmp(listed.c_str(), name) == 0) found = value;
  }
  return found;
}

/// The last event that a page has seen, as a browser says it that comes back, or the page itself.
std::uint64_t LastSeen(const HttpRequest& request) {
  const auto header = NumberOf(ValueOf(request.headers, "Last-Event-ID"));
  return header ? *header : NumberOf(ValueOf(request.arguments, "after")).value_or(0);
}

std::unique_ptr<Inquirer<Reply>> Export(const Exchange& exchange, const KeptBody& body,
                                        const char* what) {
  Reply reply = MakeReply(200, "application/octet-stream", body.bytes);
  SetHeader("Content-Disposition",
            "attachment; filename=\"kesu-" + std::to_string(exchange.id) + "-" + what + ".bin\"",
            &reply);
  return Plain(std::move(reply));
}

}  // namespace

void Inspector::Observe(const HttpRequest& request, const Reply& reply, std::int64_t duration_us,
                        const std::string& client) {
  if (request.method != "POST" || request.path != kServicePath) return;
  Exchange exchange;
  exchange.time_us = g_get_real_time();
  exchange.duration_us = duration_us;
  exchange.client = client;
  exchange.status = reply.status;
  exchange.fault = reply.fault;
  exchange.request = Keep(request.body, request.headers);
  exchange.reply = Keep(reply.body, reply.headers);
  if (request.is_too_large) {
    exchange.request.length = NumberOf(ValueOf(request.headers, "Content-Length")).value_or(1);
  }
  ring_.Add(std::move(exchange));
  feed_.OnAdded();
}

KeptBody Inspector::Keep(std::string_view body, const HttpHeaders& headers) const {
  KeptBody kept;
  kept.length = body.size();
  kept.bytes = body.substr(0, ring_.KeptBytes(body.size()));
  kept.media_type = MediaType(headers);
  return kept;
}

std::unique_ptr<Inquirer<Reply>> Inspector::Begin(const HttpRequest& request) {
  if (!IsFromOwnSite(request.headers, visitors_)) {
    return Text(403, "the inspector is for its own page, at an address of this machine");
  }
  if (request.method == "GET" || request.method == "HEAD") return Find(request);
  Reply reply = MakeReply(405, kTextContentType, "only GET and HEAD\n");
  SetHeader("Allow", "GET, HEAD", &reply);
  return Plain(std::move(reply));
}

Inspector::Answer Inspector::Find(const HttpRequest& request) {
  std::string_view path = request.path;
  path.remove_prefix(std::string_view(kFolder).size());
  if (path.starts_with('/')) path.remove_prefix(1);
  if (path.empty()) return FindFile(kPage);
  if (path == "events") return FollowEvents(request);
  if (path.starts_with(kPosts)) return FindPost(path.substr(kPosts.size()));
  return FindFile(path);
}

Inspector::Answer Inspector::FindFile(std::string_view name) const {
  const auto file = std::find_if(files_.begin(), files_.end(),
                                 [name](const EmbeddedFile& it) { return it.name == name; });
  if (file == files_.end()) return NotFound();
  return Plain(MakeReply(200, std::string(file->media_type).c_str(), std::string(file->content)));
}

Inspector::Answer Inspector::FindPost(std::string_view path) const {
  const std::size_t slash = std::min(path.find('/'), path.size());
  const auto id = NumberOf(path.substr(0, slash));
  const Exchange* const exchange = id ? ring_.Find(*id) : nullptr;
  if (exchange == nullptr) return NotFound();
  const std::string_view part = path.substr(slash);
  if (part.empty()) return std::make_unique<ExchangeAnswer>(*exchange);
  if (part == "/request") return Export(*exchange, exchange->request, "request");
  if (part == "/reply") return Export(*exchange, exchange->reply, "reply");
  return NotFound();
}

Inspector::Answer Inspector::FollowEvents(const HttpRequest& request) {
  Reply reply = MakeReply(200, "text/event-stream", {});
  if (request.method == "HEAD") return Plain(std::move(reply));
  reply.stream = feed_.NewReader(LastSeen(request));
  if (!reply.stream) return Text(503, "too many pages are open");
  return Plain(std::move(reply));
}

}  // namespace kesu_server
