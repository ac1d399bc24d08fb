#ifndef SERVER_HTTP_REPLY_STREAM_H_
#define SERVER_HTTP_REPLY_STREAM_H_

#include <cstddef>
#include <functional>
#include <utility>

namespace kesu_server {

/// The body of a reply that is written as things happen, and has no end of its own.
class ReplyStream {
 public:
  ReplyStream() = default;
  ReplyStream(const ReplyStream&) = delete;
  ReplyStream& operator=(const ReplyStream&) = delete;
  virtual ~ReplyStream() = default;

  /// Puts what there is into `buffer`, as far as it goes. Yields how many bytes that is, 0 when
  /// there is nothing yet: then it calls Wake() when there is.
  virtual std::size_t Read(char* buffer, std::size_t size) = 0;

  /// Who wants to know that there is more. It does not read from inside.
  void set_on_more(std::function<void()> on_more) { on_more_ = std::move(on_more); }

 protected:
  void Wake() const {
    if (on_more_) on_more_();
  }

 private:
  std::function<void()> on_more_;
};

}  // namespace kesu_server

#endif  // SERVER_HTTP_REPLY_STREAM_H_
