#include "tools/kesu/track_command.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>

#include <glib.h>

#include "client/client.h"
#include "client/main_loop.h"
#include "here/here.h"

#include "tools/kesu/answer.h"
#include "tools/kesu/client_options.h"
#include "tools/kesu/hearing.h"
#include "tools/kesu/printing.h"
#include "tools/kesu/signals.h"
#include "tools/kesu/stats_text.h"

namespace kesu_tool {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

std::string Now() {
  GDateTime* const now = g_date_time_new_now_utc();
  char* const text = g_date_time_format(now, "%Y-%m-%dT%H:%M:%SZ");
  std::string result = text;
  g_free(text);
  g_date_time_unref(now);
  return result;
}

kesu::here::Options HearingOptions(const Arguments& arguments) {
  kesu::here::Options options;
  // Each time, as far as NetworkManager allows.
  options.scan_interval = milliseconds(arguments.interval_ms / 2);
  return options;
}

class Tracker {
 public:
  /// `arguments` are borrowed.
  explicit Tracker(const Arguments& arguments)
      : arguments_(arguments), client_(ClientOptions(arguments)) {}
  Tracker(const Tracker&) = delete;
  Tracker& operator=(const Tracker&) = delete;
  ~Tracker() {
    if (timer_ != 0) g_source_remove(timer_);
  }

  int Run() {
    if (client_.error()) return FailUsage(client_.error()->message);
    const SignalWatch watch([this](int signal) {
      signal_ = signal;
      loop_.Quit();
    });
    if (arguments_.timeout_ms) {
      loop_.Every(milliseconds(*arguments_.timeout_ms), [this] { loop_.Quit(); });
    }
    Listen();
    loop_.Run();
    if (arguments_.wants_stats) PrintError(StatsText(client_.counters()));
    if (signal_ != 0) return EndBySignal(signal_);
    return exit_status_;
  }

 private:
  using Describe = std::function<Answer(const Label&)>;

  void Listen() {
    started_ = Clock::now();
    hearing_ =
        kesu::here::Observe(HearingOptions(arguments_),
                            [this](const kesu::here::Sightings& sightings) { Locate(sightings); });
  }

  void Locate(const kesu::here::Sightings& heard) {
    TraceMissing(arguments_, heard.missing);
    if (IsEmpty(heard.observation)) return TellFailure(UnheardError(heard.missing));
    lookup_ = client_.Locate(heard.observation, [this](const kesu::LocateResult& result) {
      if (IsFailure(ExitStatusOf(result.error()))) return TellFailure(result.error());
      TellPosition(result);
    });
  }

  void TellPosition(const kesu::LocateResult& result) {
    // As text it would be the same in each line.
    const bool tells_key = arguments_.format != Format::kText;
    const std::string key = tells_key ? client_.platform_key() : std::string();
    if (result) exit_status_ = kFoundExitStatus;
    Tell([&](const Label& label) { return LocationAnswer(arguments_.format, label, result, key); });
  }

  /// To standard error, in whatever format the positions are.
  void TellFailure(const kesu::Error& error) {
    Tell([&](const Label& label) { return FailureAnswer(Format::kText, label, error); });
  }

  /// Unless it is what was told last.
  void Tell(const Describe& describe) {
    const std::string news = describe({}).text;
    if (news != told_) {
      const std::string now = Now();
      const Answer answer = describe({.words = now, .time = now});
      answer.is_complaint ? PrintError(answer.text) : PrintLine(answer.text);
      told_ = news;
    }
    if (FlushResults()) return ListenLater();
    exit_status_ = kFailureExitStatus;
    loop_.Quit();
  }

  void ListenLater() {
    const auto listen = [](void* self) -> gboolean {
      static_cast<Tracker*>(self)->timer_ = 0;
      static_cast<Tracker*>(self)->Listen();
      return G_SOURCE_REMOVE;
    };
    const auto passed = std::chrono::duration_cast<milliseconds>(Clock::now() - started_);
    const auto rest = std::max(milliseconds(arguments_.interval_ms) - passed, milliseconds(0));
    timer_ = g_timeout_add(static_cast<unsigned>(rest.count()), listen, this);
  }

  const Arguments& arguments_;
  kesu::MainLoop loop_;
  kesu::Client client_;
  kesu::here::Call hearing_;
  kesu::Call lookup_;
  Clock::time_point started_;
  unsigned timer_ = 0;
  std::string told_;
  int signal_ = 0;
  /// Until there is a position.
  ExitStatus exit_status_ = kTimeoutExitStatus;
};

}  // namespace

int RunTrack(const Arguments& arguments) {
  return Tracker(arguments).Run();
}

}  // namespace kesu_tool
