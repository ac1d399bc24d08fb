#include "server/http/reply_sender.h"

#include <algorithm>
#include <string>
#include <utility>

namespace kesu_server {
namespace {

constexpr char kDelayedReplyKey[] = "kesu-server-delayed-reply";

void Pause([[maybe_unused]] SoupServer* server, SoupServerMessage* message) {
#if SOUP_CHECK_VERSION(3, 2, 0)
  soup_server_message_pause(message);
#else
  soup_server_pause_message(server, message);
#endif
}

void Unpause([[maybe_unused]] SoupServer* server, SoupServerMessage* message) {
#if SOUP_CHECK_VERSION(3, 2, 0)
  soup_server_message_unpause(message);
#else
  soup_server_unpause_message(server, message);
#endif
}

/// Lets libsoup send it.
void Respond(const Reply& reply, SoupServerMessage* message) {
  SoupMessageHeaders* const headers = soup_server_message_get_response_headers(message);
  for (const auto& [name, value] : reply.headers) {
    soup_message_headers_append(headers, name.c_str(), value.c_str());
  }
  if (reply.delivery == Delivery::kChunked) {
    soup_message_headers_set_encoding(headers, SOUP_ENCODING_CHUNKED);
  }
  SoupMessageBody* const body = soup_server_message_get_response_body(message);
  soup_message_body_append(body, SOUP_MEMORY_COPY, reply.body.data(), reply.body.size());
  soup_message_body_complete(body);
  soup_server_message_set_status(message, reply.status, nullptr);
}

/// A reply that waits for its time. It belongs to the message and ends with it.
struct DelayedReply {
  Reply reply;
  SoupServer* server = nullptr;
  SoupServerMessage* message = nullptr;
  unsigned timer = 0;
};

void DeleteDelayedReply(void* data) {
  auto* const delayed = static_cast<DelayedReply*>(data);
  if (delayed->timer != 0) g_source_remove(delayed->timer);
  delete delayed;
}

gboolean OnDelayOver(void* data) {
  auto* const delayed = static_cast<DelayedReply*>(data);
  delayed->timer = 0;
  Respond(delayed->reply, delayed->message);
  Unpause(delayed->server, delayed->message);
  return G_SOURCE_REMOVE;
}

void RespondLater(const Reply& reply, SoupServer* server, SoupServerMessage* message) {
  auto* const delayed = new DelayedReply{reply, server, message, 0};
  g_object_set_data_full(G_OBJECT(message), kDelayedReplyKey, delayed, DeleteDelayedReply);
  Pause(server, message);
  delayed->timer = g_timeout_add(reply.delay_ms, OnDelayOver, delayed);
}

std::string RawText(const Reply& reply) {
  std::string text("HTTP/1.1 ");
  text.append(std::to_string(reply.status)).append(" ");
  text.append(soup_status_get_phrase(reply.status)).append("\r\n");
  for (const auto& [name, value] : reply.headers) {
    text.append(name).append(": ").append(value).append("\r\n");
  }
  text.append("\r\n");
  return text.append(reply.body, 0, std::min(reply.sent_body_bytes, reply.body.size()));
}

/// Bytes on their way into a connection that is closed behind them.
struct LastWords {
  std::string bytes;
  GIOStream* connection = nullptr;
};

void OnWritten(GObject* stream, GAsyncResult* result, void* data) {
  auto* const words = static_cast<LastWords*>(data);
  g_output_stream_write_all_finish(G_OUTPUT_STREAM(stream), result, nullptr, nullptr);
  g_io_stream_close(words->connection, nullptr, nullptr);
  g_object_unref(words->connection);
  delete words;
}

/// Writes `bytes` and closes the connection, past libsoup, which keeps to the rules.
void EndConnection(std::string bytes, SoupServerMessage* message) {
  auto* const words =
      new LastWords{std::move(bytes), soup_server_message_steal_connection(message)};
  g_output_stream_write_all_async(g_io_stream_get_output_stream(words->connection),
                                  words->bytes.data(), words->bytes.size(), G_PRIORITY_DEFAULT,
                                  nullptr, OnWritten, words);
}

}  // namespace

void SendReply(const Reply& reply, SoupServer* server, SoupServerMessage* message) {
  if (reply.delivery == Delivery::kNone) return EndConnection({}, message);
  if (reply.delivery == Delivery::kCut) return EndConnection(RawText(reply), message);
  if (reply.delay_ms > 0) return RespondLater(reply, server, message);
  Respond(reply, message);
}

}  // namespace kesu_server
