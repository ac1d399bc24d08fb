#include "tools/kesu/lookup_run.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include <unistd.h>

#include "tools/kesu/client_options.h"
#include "tools/kesu/map_json.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/signals.h"
#include "tools/kesu/stats_text.h"

namespace kesu_tool {
namespace {

/// A POST takes about as many.
constexpr std::size_t kMostUnderWay = 500;
/// Answers may wait for an earlier one that is late.
constexpr std::size_t kMostSlots = 5000;

constexpr char kCollectionStart[] = "{\"type\":\"FeatureCollection\",\"features\":[";
constexpr char kCollectionEnd[] = "\n]}\n";

/// What comes bit by bit is written as it comes: a Feature a line.
bool IsCollection(const Arguments& arguments) {
  return arguments.format == Format::kGeoJson && !arguments.reads_input && !arguments.hears;
}

/// Where nobody asks for it, only while nothing else is seen of what goes on.
bool WantsProgress(const Arguments& arguments) {
  return arguments.wants_progress ||
         (arguments.reads_input && isatty(STDIN_FILENO) == 0 && isatty(STDOUT_FILENO) == 0);
}

bool IsBlank(std::string_view line) {
  return line.find_first_not_of(" \t") == std::string_view::npos;
}

}  // namespace

LookupRun::LookupRun(const Arguments& arguments)
    : arguments_(arguments),
      loop_(g_main_loop_new(nullptr, FALSE)),
      client_(std::in_place, ClientOptions(arguments)),
      writer_(STDOUT_FILENO, [this] { GoOn(); }) {
  if (!arguments.map_file.empty()) map_.emplace(arguments.map_file);
  if (WantsProgress(arguments)) progress_.emplace([this] { return Progress(); });
}

LookupRun::~LookupRun() {
  g_main_loop_unref(loop_);
}

void LookupRun::Ask(const Question& question) {
  const std::size_t number = first_ + slots_.size();
  slots_.emplace_back();
  ++under_way_;
  slots_.back().call = question(&*client_, [this, number](Answer answer) {
    --under_way_;
    AddAnswer(number, std::move(answer));
    GoOn();
  });
}

void LookupRun::AskLines(Parser parse) {
  parse_ = std::move(parse);
  reader_.emplace(STDIN_FILENO, [this] { GoOn(); });
}

int LookupRun::Run() {
  if (client_->error()) return FailUsage(client_->error()->message);
  if (IsCollection(arguments_)) writer_.Write(kCollectionStart);
  const SignalWatch watch([this](int signal) { End(signal); });
  unsigned time_up = 0;
  if (arguments_.timeout_ms) {
    const auto on_time_up = [](void* run) -> gboolean {
      static_cast<LookupRun*>(run)->OnTimeUp();
      return G_SOURCE_CONTINUE;
    };
    time_up = g_timeout_add(static_cast<unsigned>(*arguments_.timeout_ms), on_time_up, this);
  }
  GoOn();
  if (!IsDone()) g_main_loop_run(loop_);
  if (time_up != 0) g_source_remove(time_up);
  return Finish();
}

void LookupRun::GoOn() {
  PrintAnswers();
  while (reader_ && HasRoom()) {
    const std::optional<LineReader::Line> line = reader_->Take();
    if (!line) break;
    if (line->is_too_long || !IsBlank(line->text)) AskLine(*line);
  }
  PrintAnswers();
  if (IsDone()) g_main_loop_quit(loop_);
}

bool LookupRun::IsDone() const {
  if (writer_.has_failed()) return true;
  return slots_.empty() && writer_.is_idle() && (!reader_ || reader_->is_at_end());
}

bool LookupRun::HasRoom() const {
  return under_way_ < kMostUnderWay && slots_.size() < kMostSlots && !writer_.is_full();
}

void LookupRun::AskLine(const LineReader::Line& line) {
  const Label label{"line " + std::to_string(line.number), line.number};
  std::string error;
  std::optional<Question> question;
  if (line.is_too_long) {
    error = "longer than " + std::to_string(LineReader::kLongestLine) + " bytes";
  } else {
    question = parse_(line.text, label, &error);
  }
  if (question) return Ask(*question);
  const std::size_t number = first_ + slots_.size();
  slots_.emplace_back();
  const kesu::Error misuse{kesu::ErrorKind::kMisuse, error};
  Answer answer = FailureAnswer(arguments_.format, label, misuse);
  if (map_) answer.map = FailureMap(label.words, misuse);
  AddAnswer(number, std::move(answer));
}

void LookupRun::AddAnswer(std::size_t number, Answer answer) {
  slots_[number - first_].answer = std::move(answer);
}

void LookupRun::PrintAnswers() {
  while (!slots_.empty() && slots_.front().answer && !writer_.is_full()) {
    const Answer answer = std::move(*slots_.front().answer);
    slots_.pop_front();
    Print(answer);
    ++first_;
  }
}

void LookupRun::Print(const Answer& answer) {
  exit_status_ = Worst(exit_status_, answer.exit_status);
  if (IsFailure(answer.exit_status)) ++failures_;
  if (progress_) progress_->Clear();
  if (map_) map_->Add(answer.map);
  if (answer.is_complaint) return PrintError(answer.text);
  if (!IsCollection(arguments_)) return writer_.Write(answer.text + "\n");
  writer_.Write((first_ == 0 ? "\n" : ",\n") + answer.text);
}

std::string LookupRun::Progress() const {
  return "kesu: " + std::to_string(first_) + " done, " + std::to_string(failures_) + " failed, " +
         std::to_string(under_way_) + " under way";
}

/// What is not answered ends as out of time.
void LookupRun::OnTimeUp() {
  if (reader_ && !reader_->is_at_end()) {
    PrintError("the time is up before the end of standard input");
    exit_status_ = Worst(exit_status_, kTimeoutExitStatus);
    reader_->Stop();
  }
  counters_ = client_->counters();
  client_.reset();
  GoOn();
}

void LookupRun::End(int signal) {
  signal_ = signal;
  g_main_loop_quit(loop_);
}

int LookupRun::Finish() {
  if (client_) counters_ = client_->counters();
  progress_.reset();
  if (IsCollection(arguments_)) writer_.Write(kCollectionEnd);
  writer_.WriteRest();
  if (arguments_.wants_stats) PrintError(StatsText(counters_));
  if (signal_ != 0) return EndBySignal(signal_);
  if (reader_ && reader_->failure() != 0) {
    PrintError(std::string("standard input cannot be read: ") + std::strerror(reader_->failure()));
    exit_status_ = Worst(exit_status_, kUsageExitStatus);
  }
  if (map_) WriteMap();
  if (!writer_.has_failed()) return exit_status_;
  PrintError("the results could not be written");
  return kFailureExitStatus;
}

void LookupRun::WriteMap() {
  std::string error;
  if (map_->Write(&error)) return;
  PrintError("the map could not be written: " + error);
  exit_status_ = Worst(exit_status_, kFailureExitStatus);
}

}  // namespace kesu_tool
