#ifndef KESU_TOOL_RESULT_STREAM_H_
#define KESU_TOOL_RESULT_STREAM_H_

#include <cstdio>
#include <string>

namespace kesu_tool {

/// What was standard output at start, for results alone: the library prints trace lines to standard
/// output, and these go to standard error from now on, or nowhere.
class ResultStream {
 public:
  explicit ResultStream(bool wants_trace);
  ResultStream(const ResultStream&) = delete;
  ResultStream& operator=(const ResultStream&) = delete;
  ~ResultStream();

  void WriteLine(const std::string& line) { Write(line + "\n"); }
  void Write(const std::string& text);
  /// Hands everything to the system. False when anything could not be written.
  bool Flush();

 private:
  /// Null when there was no standard output.
  std::FILE* file_;
};

/// Nothing that is written to standard error gets there while this lives.
class SilentStandardError {
 public:
  SilentStandardError();
  SilentStandardError(const SilentStandardError&) = delete;
  SilentStandardError& operator=(const SilentStandardError&) = delete;
  ~SilentStandardError();

 private:
  /// The real one, or -1.
  int saved_;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_RESULT_STREAM_H_
