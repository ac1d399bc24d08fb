#ifndef SERVER_HTTP_REPLY_H_
#define SERVER_HTTP_REPLY_H_

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kesu_server {

class ReplyStream;

using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

/// How a reply leaves the server.
enum class Delivery {
  kWhole,
  /// In chunked transfer encoding, without a Content-Length.
  kChunked,
  /// The headers and `sent_body_bytes` of the body, then the connection is closed.
  kCut,
  /// Not at all: the connection is closed.
  kNone,
};

/// Everything that is sent back, but for what HTTP itself demands: the date, the length.
struct Reply {
  unsigned status = 0;
  HttpHeaders headers;
  std::string body;
  Delivery delivery = Delivery::kWhole;
  std::size_t sent_body_bytes = 0;
  unsigned delay_ms = 0;
  /// The requests that it answers, and those of them that it answers with status 200.
  std::size_t requests = 0;
  std::size_t answered = 0;
  /// The fault that was applied, as it was asked for; empty for none.
  std::string fault = {};
  /// In place of `body`, which is empty then, and of what is said of its delivery.
  std::shared_ptr<ReplyStream> stream = {};
};

inline constexpr char kTextContentType[] = "text/plain; charset=utf-8";

Reply MakeReply(unsigned status, const char* content_type, std::string body);
/// Replaces the value of a header, or adds it.
void SetHeader(const char* name, std::string value, Reply* reply);

}  // namespace kesu_server

#endif  // SERVER_HTTP_REPLY_H_
