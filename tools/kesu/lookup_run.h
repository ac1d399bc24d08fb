#ifndef KESU_TOOL_LOOKUP_RUN_H_
#define KESU_TOOL_LOOKUP_RUN_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>

#include <glib.h>

#include "client/client.h"

#include "tools/kesu/answer.h"
#include "tools/kesu/arguments.h"

namespace kesu_tool {

/// Asks on GLib's default main context, and prints the answers in the order of the questions as
/// they come. SIGINT and SIGTERM end it early: what was printed stays. Used once.
class LookupRun {
 public:
  /// To be called with the answer, once.
  using Tell = std::function<void(Answer)>;
  /// Makes the call that gets the answer.
  using Question = std::function<kesu::Call(kesu::Client*, Tell)>;

  explicit LookupRun(const Arguments& arguments);
  LookupRun(const LookupRun&) = delete;
  LookupRun& operator=(const LookupRun&) = delete;
  ~LookupRun();

  /// Asks at once.
  void Ask(const Question& question);

  /// Until all is answered. Yields the exit status, after a signal by ending the process.
  int Run();

 private:
  struct Slot {
    kesu::Call call;
    std::optional<Answer> answer;
  };

  void OnAnswer(std::size_t number, Answer answer);
  void PrintAnswers();
  void End(int signal);

  GMainLoop* loop_;
  kesu::Client client_;
  /// Of the questions whose answers are not printed yet, and the number of the first of them.
  std::deque<Slot> slots_;
  std::size_t first_ = 0;
  ExitStatus exit_status_ = kFoundExitStatus;
  int signal_ = 0;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_LOOKUP_RUN_H_
