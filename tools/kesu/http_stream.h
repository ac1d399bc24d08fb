#ifndef KESU_TOOL_HTTP_STREAM_H_
#define KESU_TOOL_HTTP_STREAM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kesu/tcp_stream.h"

namespace kesu_tool {

struct HttpMessage {
  struct Line {
    std::uint64_t offset = 0;
    std::string text;
  };

  /// The value of the first header of this name, in lower case; empty where there is none.
  std::string Header(std::string_view name) const;

  bool is_response = false;
  /// The request or status line, and the headers: "Name: value".
  Line start;
  std::vector<Line> headers;
  /// As it was before its transfer and content encodings.
  std::string body;
  /// What is wrong with it; empty where it is whole.
  std::string fault;
};

/// Takes the messages of HTTP/1 out of one direction of a connection, or out of both in turn. What
/// is no message is passed over up to the next.
class HttpStream final : public TcpSink {
 public:
  class Receiver {
   public:
    Receiver() = default;
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    virtual ~Receiver() = default;

    virtual void OnMessage(const HttpMessage& message) = 0;
    /// Bytes that are part of none.
    virtual void OnPassedOver(std::uint64_t offset, std::uint64_t length) = 0;
  };

  static constexpr std::size_t kLargestHead = std::size_t{1} << 18;
  static constexpr std::size_t kLargestBody = std::size_t{1} << 24;

  /// `receiver` is borrowed.
  explicit HttpStream(Receiver* receiver) : receiver_(receiver) {}

  void OnBytes(std::string_view bytes) override;
  void OnGap(std::uint64_t length) override;
  void OnEnd() override;

  /// Bytes that are kept.
  std::size_t held() const { return buffer_.size() + message_.body.size(); }

 private:
  enum class State {
    kStart,
    kBody,
    kChunkSize,
    kChunk,
    kChunkEnd,
    kTrailer,
    kBodyUpToEnd,
    /// Behind something that is no message.
    kLost,
  };

  /// False when more is needed.
  bool Step();
  bool FindStart();
  /// That much is no message.
  bool GetLost(std::size_t length);
  bool ReadHead();
  void BeginBody();
  bool ReadBody(State then);
  bool ReadChunkSize();
  bool ReadTrailerLine();
  /// The next line without its end. False when it is not there yet.
  bool TakeLine(std::string* line);
  void Consume(std::size_t length);
  void PassOver(std::uint64_t length);
  void ReportPassedOver();
  void EndMessage(std::string fault);

  Receiver* receiver_;
  State state_ = State::kStart;
  std::string buffer_;
  /// What of the buffer is done with, and up to where no end of the head is to be found.
  std::size_t consumed_ = 0;
  std::size_t searched_ = 0;
  /// Of the first byte that is not done with.
  std::uint64_t offset_ = 0;
  std::uint64_t passed_over_ = 0;
  HttpMessage message_;
  /// Of the body, or of the chunk at hand.
  std::uint64_t missing_ = 0;
  bool is_too_large_ = false;
};

/// Whether that is how a message begins.
bool LooksLikeHttp(std::string_view beginning);

}  // namespace kesu_tool

#endif  // KESU_TOOL_HTTP_STREAM_H_
