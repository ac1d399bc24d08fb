#ifndef KESU_TOOL_LINE_READER_H_
#define KESU_TOOL_LINE_READER_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include <glib.h>

namespace kesu_tool {

/// Reads lines of a file, a pipe or a terminal as they come and as they are wanted, on GLib's
/// default main context: no more than one of the longest lines is kept.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

  struct Line {
    /// Counted from 1.
    std::size_t number = 0;
    /// Without its end, be it LF or CR LF; empty where it is too long.
    std::string text;
    bool is_too_long = false;
  };

  /// `descriptor` is borrowed. `on_input` is called when there is more to take, or the end.
  LineReader(int descriptor, std::function<void()> on_input);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader() { Stop(); }

  /// The next line, if it is there already; otherwise `on_input` tells when to ask again. The last
  /// one needs no end.
  std::optional<Line> Take();
  /// Whether there will never be another line.
  bool is_at_end() const { return is_at_end_ && buffer_.empty(); }
  /// Why reading failed, as errno has it; 0 if it did not.
  int failure() const { return failure_; }
  /// As if the input ended here.
  void Stop();

 private:
  static gboolean OnReadable(int descriptor, GIOCondition, void* reader);
  void Read();
  std::optional<Line> TakeLast();
  Line TakeUpTo(std::size_t end);

  const int descriptor_;
  const std::function<void()> on_input_;
  unsigned source_ = 0;
  bool is_at_end_ = false;
  int failure_ = 0;
  std::size_t lines_ = 0;
  std::string buffer_;
  /// What of the buffer is taken already, and how far no end of a line is to be found.
  std::size_t taken_ = 0;
  std::size_t searched_ = 0;
  /// The beginning of the line at hand is dropped, because it is too long.
  bool is_dropping_ = false;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_LINE_READER_H_
