#include "server/process/supervisor.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <glib.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include "server/process/service_manager.h"

namespace kesu_server {
namespace {

/// A worker that dies this soon after another did is waited for, twice as long each time.
constexpr std::int64_t kHealthyMs = 10'000;
constexpr std::int64_t kFirstDelayMs = 100;
constexpr std::int64_t kLongestDelayMs = 10'000;
/// What a worker takes for its end beyond the grace time before it is killed.
constexpr std::int64_t kKillMs = 2000;
constexpr int kServerError = 3;
constexpr std::size_t kMaxAnnouncementBytes = 4096;

std::int64_t NowMs() {
  return g_get_monotonic_time() / 1000;
}

sigset_t HandledSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGCHLD, SIGHUP, SIGINT, kEndSignal, kRetireSignal}) {
    sigaddset(&set, signal);
  }
  return set;
}

std::string EndOf(int status) {
  if (WIFSIGNALED(status)) return std::string("by ") + strsignal(WTERMSIG(status));
  return "with exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Supervisor::Supervisor(Plan plan) : plan_(std::move(plan)), restarts_(plan_.workers) {}

int Supervisor::Run() {
  const sigset_t handled = HandledSignals();
  sigprocmask(SIG_BLOCK, &handled, nullptr);
  signals_ = signalfd(-1, &handled, SFD_NONBLOCK | SFD_CLOEXEC);
  // The others follow as soon as the first one has shown that there is something to serve.
  if (signals_ < 0 || !Start(0)) {
    plan_.log(std::string("cannot start a worker: ") + std::strerror(errno));
    return kServerError;
  }
  while (!workers_.empty() || !is_ending_) Wait();
  close(signals_);
  return exit_status_;
}

bool Supervisor::IsBlockFree(std::size_t block) const {
  return std::none_of(workers_.begin(), workers_.end(),
                      [block](const Worker& worker) { return worker.block == block; });
}

bool Supervisor::IsAnyIn(State state) const {
  return std::any_of(workers_.begin(), workers_.end(),
                     [state](const Worker& worker) { return worker.state == state; });
}

bool Supervisor::Start(std::size_t number) {
  Worker worker;
  worker.number = number;
  worker.start_ms = NowMs();
  // There are enough, since no worker is replaced while another one retires.
  while (!IsBlockFree(worker.block)) ++worker.block;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  worker.ready = ends[0];
  const pid_t parent = getpid();
  worker.process = fork();
  if (worker.process == 0) {
    prctl(PR_SET_PDEATHSIG, kEndSignal);
    if (getppid() != parent) std::_Exit(0);
    RunWorker(worker, ends[1]);
  }
  close(ends[1]);
  if (worker.process < 0) {
    close(ends[0]);
    return false;
  }
  workers_.push_back(worker);
  return true;
}

/// In the new process. The signals stay blocked: it reads those that it wants.
void Supervisor::RunWorker(const Worker& worker, int ready) {
  close(signals_);
  close(worker.ready);
  for (const Worker& other : workers_) {
    if (other.ready >= 0) close(other.ready);
  }
  const WorkerPlace place = {worker.number, worker.block, [ready](const std::string& announcement) {
                               // The zero byte says that it is ready, even with nothing to say.
                               std::string bytes =
                                   announcement.substr(0, kMaxAnnouncementBytes - 1);
                               bytes.push_back('\0');
                               if (write(ready, bytes.data(), bytes.size()) < 0)
                                 std::_Exit(kServerError);
                               close(ready);
                             }};
  std::exit(plan_.run(place));
}

int Supervisor::WaitMs() const {
  std::int64_t due_ms = kNever;
  for (const Restart& restart : restarts_) due_ms = std::min(due_ms, restart.due_ms);
  for (const Worker& worker : workers_) due_ms = std::min(due_ms, worker.kill_ms);
  if (due_ms == kNever) return -1;
  return static_cast<int>(std::clamp(due_ms - NowMs(), std::int64_t{0}, kLongestDelayMs));
}

void Supervisor::Wait() {
  std::vector<pollfd> files = {{signals_, POLLIN, 0}};
  std::vector<Worker*> starting;
  for (Worker& worker : workers_) {
    if (worker.ready < 0) continue;
    files.push_back({worker.ready, POLLIN, 0});
    starting.push_back(&worker);
  }
  poll(files.data(), files.size(), WaitMs());
  for (std::size_t i = 0; i < starting.size(); ++i) {
    if (files[i + 1].revents != 0) OnReady(starting[i]);
  }
  signalfd_siginfo info = {};
  while (read(signals_, &info, sizeof info) == sizeof info) {
    OnSignal(static_cast<int>(info.ssi_signo));
  }
  StartDue();
  for (const Worker& worker : workers_) {
    if (NowMs() >= worker.kill_ms) kill(worker.process, SIGKILL);
  }
}

void Supervisor::OnReady(Worker* worker) {
  char bytes[kMaxAnnouncementBytes];
  const ssize_t count = read(worker->ready, bytes, sizeof bytes);
  if (count < 0) return;
  close(std::exchange(worker->ready, -1));
  // It has died; that is heard of by a signal.
  if (count == 0) return;
  worker->state = State::kServing;
  for (Worker& other : workers_) {
    if (&other == worker || other.number != worker->number) continue;
    other.state = State::kRetiring;
    End(&other, kRetireSignal);
  }
  if (has_served_) return TellThatReloaded();
  has_served_ = true;
  plan_.on_ready({bytes, static_cast<std::size_t>(count) - 1});
  for (std::size_t number = 1; number < plan_.workers; ++number) {
    restarts_[number].due_ms = NowMs();
  }
  NotifyServiceManager("READY=1");
}

void Supervisor::OnSignal(int signal) {
  if (signal == SIGCHLD) return Reap();
  if (is_ending_) return;
  if (signal == SIGHUP) {
    wants_reload_ = true;
  } else if (signal == SIGINT || signal == kEndSignal) {
    EndAll();
  }
}

void Supervisor::StartDue() {
  if (is_ending_) return;
  for (std::size_t number = 0; number < restarts_.size(); ++number) {
    Restart& restart = restarts_[number];
    if (restart.due_ms > NowMs()) continue;
    restart.due_ms = kNever;
    if (!Start(number)) restart.due_ms = NowMs() + kLongestDelayMs;
  }
  const bool is_settled = !IsAnyIn(State::kStarting) && !IsAnyIn(State::kRetiring);
  if (wants_reload_ && has_served_ && is_settled) Reload();
}

/// One generation takes over from another; a third waits until that is done.
void Supervisor::Reload() {
  wants_reload_ = false;
  is_reloading_ = true;
  NotifyServiceManager(ReloadingState());
  for (std::size_t number = 0; number < plan_.workers; ++number) {
    restarts_[number].due_ms = kNever;
    if (!Start(number)) plan_.log(std::string("cannot start a worker: ") + std::strerror(errno));
  }
}

void Supervisor::EndAll() {
  is_ending_ = true;
  NotifyServiceManager("STOPPING=1");
  plan_.on_ending();
  for (Worker& worker : workers_) End(&worker, kEndSignal);
}

/// It has the grace time to end by itself.
void Supervisor::End(Worker* worker, int signal) const {
  kill(worker->process, signal);
  worker->kill_ms = NowMs() + std::int64_t{plan_.grace_s} * 1000 + kKillMs;
}

void Supervisor::TellThatReloaded() {
  if (is_reloading_ && !IsAnyIn(State::kStarting)) {
    is_reloading_ = false;
    NotifyServiceManager("READY=1");
  }
}

void Supervisor::Reap() {
  int status = 0;
  for (pid_t process = 0; (process = waitpid(-1, &status, WNOHANG)) > 0;) {
    const auto worker =
        std::find_if(workers_.begin(), workers_.end(),
                     [process](const Worker& listed) { return listed.process == process; });
    if (worker != workers_.end()) OnExit(worker, status);
  }
}

void Supervisor::OnExit(Workers::iterator worker, int status) {
  const Worker gone = *worker;
  if (gone.ready >= 0) close(gone.ready);
  workers_.erase(worker);
  plan_.on_gone(gone.block);
  if (is_ending_) return;
  if (!has_served_) {
    // It has said why.
    is_ending_ = true;
    exit_status_ = WIFEXITED(status) ? WEXITSTATUS(status) : kServerError;
    return;
  }
  if (gone.state != State::kRetiring) OnDeath(gone, status);
}

void Supervisor::OnDeath(const Worker& worker, int status) {
  const std::string name = "worker " + std::to_string(worker.number);
  const bool is_replaced = std::any_of(workers_.begin(), workers_.end(), [&](const Worker& other) {
    return other.number == worker.number;
  });
  if (is_replaced) {
    plan_.log(name + " cannot take over, it ended " + EndOf(status) + "; the old one stays");
    return TellThatReloaded();
  }
  Restart& restart = restarts_[worker.number];
  const bool was_healthy = NowMs() - worker.start_ms >= kHealthyMs;
  const std::int64_t delay_ms = was_healthy ? 0 : restart.delay_ms;
  restart.due_ms = NowMs() + delay_ms;
  restart.delay_ms = std::clamp(2 * delay_ms, kFirstDelayMs, kLongestDelayMs);
  plan_.log(name + " ended " + EndOf(status) + "; another starts in " + std::to_string(delay_ms) +
            " ms");
}

}  // namespace kesu_server
