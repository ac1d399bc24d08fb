#include "tools/kesu/lookup_run.h"

#include <utility>

#include "tools/kesu/client_options.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/signals.h"

namespace kesu_tool {

LookupRun::LookupRun(const Arguments& arguments)
    : loop_(g_main_loop_new(nullptr, FALSE)), client_(ClientOptions(arguments)) {}

LookupRun::~LookupRun() {
  g_main_loop_unref(loop_);
}

void LookupRun::Ask(const Question& question) {
  const std::size_t number = first_ + slots_.size();
  slots_.emplace_back();
  slots_.back().call =
      question(&client_, [this, number](Answer answer) { OnAnswer(number, std::move(answer)); });
}

int LookupRun::Run() {
  if (client_.error()) return FailUsage(client_.error()->message);
  const SignalWatch watch([this](int signal) { End(signal); });
  if (!slots_.empty()) g_main_loop_run(loop_);
  const bool is_written = FlushResults();
  if (signal_ != 0) return EndBySignal(signal_);
  return is_written ? exit_status_ : kFailureExitStatus;
}

void LookupRun::OnAnswer(std::size_t number, Answer answer) {
  slots_[number - first_].answer = std::move(answer);
  PrintAnswers();
  if (slots_.empty()) End(0);
}

void LookupRun::PrintAnswers() {
  while (!slots_.empty() && slots_.front().answer) {
    const Answer& answer = *slots_.front().answer;
    exit_status_ = Worst(exit_status_, answer.exit_status);
    answer.is_complaint ? PrintError(answer.text) : PrintLine(answer.text);
    slots_.pop_front();
    ++first_;
  }
}

void LookupRun::End(int signal) {
  signal_ = signal;
  g_main_loop_quit(loop_);
}

}  // namespace kesu_tool
