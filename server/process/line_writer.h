#ifndef SERVER_PROCESS_LINE_WRITER_H_
#define SERVER_PROCESS_LINE_WRITER_H_

#include <cstdint>
#include <string>
#include <string_view>

namespace kesu_server {

/// Writes lines to a file, pipe, socket or terminal, and never waits for whoever reads there: what
/// has no room is dropped, and the next line that has tells how many were.
class LineWriter {
 public:
  /// `descriptor` stays the caller's. Others who have it open are not affected.
  explicit LineWriter(int descriptor);
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  ~LineWriter();

  /// Writes one line; what is longer than kMaxBytes is cut.
  void Write(std::string_view line);
  std::uint64_t dropped_lines() const { return all_dropped_; }

  /// Lines of several processes do not mix up to this length.
  static constexpr std::size_t kMaxBytes = 4096;

 private:
  /// Whether it was taken, or is lost for ever.
  bool TryToWrite(std::string_view bytes);

  int descriptor_;
  bool is_own_ = false;
  bool is_socket_ = false;
  /// The end of a line whose beginning had room in a socket.
  std::string rest_;
  std::uint64_t newly_dropped_ = 0;
  std::uint64_t all_dropped_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_PROCESS_LINE_WRITER_H_
