#ifndef KESU_TOOL_PROGRESS_LINE_H_
#define KESU_TOOL_PROGRESS_LINE_H_

#include <functional>
#include <string>

#include <glib.h>

namespace kesu_tool {

/// A line at the bottom of a terminal, on standard error, that tells how far things are.
class ProgressLine {
 public:
  /// Asks for the text a few times a second. Shows nothing where standard error is no terminal.
  explicit ProgressLine(std::function<std::string()> text);
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ~ProgressLine();

  /// Makes room for something else; the line comes back by itself.
  void Clear();

 private:
  static gboolean Show(void* line);

  const std::function<std::string()> text_;
  unsigned source_ = 0;
  bool is_shown_ = false;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_PROGRESS_LINE_H_
