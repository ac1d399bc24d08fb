#ifndef KESU_TOOL_LOOKUP_RUN_H_
#define KESU_TOOL_LOOKUP_RUN_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <glib.h>

#include "client/client.h"

#include "tools/kesu/answer.h"
#include "tools/kesu/arguments.h"
#include "tools/kesu/line_reader.h"
#include "tools/kesu/map_file.h"
#include "tools/kesu/progress_line.h"
#include "tools/kesu/result_writer.h"

namespace kesu_tool {

/// Asks on GLib's default main context, and prints the answers in the order of the questions as
/// they come. SIGINT and SIGTERM end it early: what was printed stays. Used once.
class LookupRun {
 public:
  /// To be called with the answer, once.
  using Tell = std::function<void(Answer)>;
  /// Makes the call that gets the answer.
  using Question = std::function<kesu::Call(kesu::Client*, Tell)>;
  /// Makes a line of standard input a question. Yields none, with the reason in `error`, where it
  /// asks nothing sensible.
  using Parser = std::function<std::optional<Question>(std::string_view line, const Label& label,
                                                       std::string* error)>;

  /// `arguments` are borrowed.
  explicit LookupRun(const Arguments& arguments);
  LookupRun(const LookupRun&) = delete;
  LookupRun& operator=(const LookupRun&) = delete;
  ~LookupRun();

  /// Asks at once.
  void Ask(const Question& question);
  /// Asks what the lines of standard input ask, one after another, a bounded number at a time.
  /// Lines with nothing in them are passed over.
  void AskLines(Parser parse);

  /// Empty where there is none.
  std::string platform_key() const { return client_ ? client_->platform_key() : std::string(); }

  /// Until all is answered. Yields the exit status, after a signal by ending the process.
  int Run();

 private:
  struct Slot {
    kesu::Call call;
    std::optional<Answer> answer;
  };

  void AskLine(const LineReader::Line& line);
  void AddAnswer(std::size_t number, Answer answer);
  /// Asks and prints what can be asked and printed now, and ends when there is no more.
  void GoOn();
  bool HasRoom() const;
  void PrintAnswers();
  void Print(const Answer& answer);
  bool IsDone() const;
  std::string Progress() const;
  void OnTimeUp();
  void End(int signal);
  int Finish();
  void WriteMap();

  const Arguments& arguments_;
  GMainLoop* loop_;
  std::optional<kesu::Client> client_;
  std::optional<LineReader> reader_;
  Parser parse_;
  ResultWriter writer_;
  std::optional<ProgressLine> progress_;
  std::optional<MapFile> map_;
  /// Of the questions whose answers are not printed yet, and the number of the first of them.
  std::deque<Slot> slots_;
  std::size_t first_ = 0;
  std::size_t under_way_ = 0;
  std::size_t failures_ = 0;
  ExitStatus exit_status_ = kFoundExitStatus;
  /// Of the client, when it is gone.
  kesu::Counters counters_;
  int signal_ = 0;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOOKUP_RUN_H_
