#ifndef KESU_TOOL_RESULT_WRITER_H_
#define KESU_TOOL_RESULT_WRITER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include <glib.h>

namespace kesu_tool {

/// Writes to a file, a pipe or a terminal as fast as that takes it, on GLib's default main context:
/// a reader that is slow, or has stopped, keeps nothing else from going on.
class ResultWriter {
 public:
  /// `descriptor` is borrowed. `on_progress` is called when something that had to wait is written,
  /// or cannot be.
  ResultWriter(int descriptor, std::function<void()> on_progress);
  ResultWriter(const ResultWriter&) = delete;
  ResultWriter& operator=(const ResultWriter&) = delete;
  ~ResultWriter();

  void Write(std::string_view text);
  /// Whether so much waits that there should be no more for now.
  bool is_full() const { return waiting_.size() - written_ >= kMostWaiting; }
  bool is_idle() const { return waiting_.empty(); }
  bool has_failed() const { return has_failed_; }
  /// Writes what waits, as long as the reader takes some of it every second.
  void WriteRest();

 private:
  static constexpr std::size_t kMostWaiting = std::size_t{1} << 20;

  static gboolean OnWritable(int descriptor, GIOCondition, void* writer);
  /// False when nothing is taken within this time.
  bool WriteSome(int patience_ms);
  void WriteWhatIsTaken(int patience_ms);

  const int descriptor_;
  const std::function<void()> on_progress_;
  /// That much can be written without waiting for the reader, when anything can.
  const std::size_t bytes_at_once_;
  std::string waiting_;
  std::size_t written_ = 0;
  unsigned source_ = 0;
  bool has_failed_ = false;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_RESULT_WRITER_H_
