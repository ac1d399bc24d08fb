#ifndef SERVER_PROCESS_SUPERVISOR_H_
#define SERVER_PROCESS_SUPERVISOR_H_

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <string>
#include <vector>

#include <sys/types.h>

namespace kesu_server {

/// What a worker needs to know of itself.
struct WorkerPlace {
  /// Its number, from 0; one that takes over from another has the same.
  std::size_t number = 0;
  /// Which of the supervisor's blocks is its own for as long as it runs.
  std::size_t block = 0;
  /// To be called once, as soon as it serves; `announcement` is what the first worker wants to have
  /// printed.
  std::function<void(const std::string& announcement)> say_ready;
};

/// The signals that a worker gets.
inline constexpr int kEndSignal = SIGTERM;
/// Another worker has taken over: serve those who are there, and end.
inline constexpr int kRetireSignal = SIGUSR1;

/// Runs workers as processes of their own: starts those anew that die, replaces all of them on
/// SIGHUP, ends them on SIGTERM and SIGINT. The process must not have threads.
class Supervisor {
 public:
  struct Plan {
    std::size_t workers = 1;
    unsigned grace_s = 10;
    /// The program of a worker; yields its exit status.
    std::function<int(const WorkerPlace&)> run;
    /// The first worker serves.
    std::function<void(const std::string& announcement)> on_ready;
    /// No more clients are to be taken; called before the workers are told.
    std::function<void()> on_ending;
    /// The worker that had the block is gone.
    std::function<void(std::size_t block)> on_gone;
    std::function<void(const std::string& line)> log;
  };

  /// So many blocks there are: those of workers that serve, that take over, and that end.
  static std::size_t BlocksFor(std::size_t workers) { return 3 * workers; }

  explicit Supervisor(Plan plan);

  /// Yields the exit status of the program: that of the first worker if it never serves.
  int Run();

 private:
  static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

  enum class State { kStarting, kServing, kRetiring };
  struct Worker {
    pid_t process = -1;
    std::size_t number = 0;
    std::size_t block = 0;
    State state = State::kStarting;
    /// Where it says that it is ready; -1 after that.
    int ready = -1;
    std::int64_t start_ms = 0;
    /// When it has to be gone.
    std::int64_t kill_ms = kNever;
  };
  /// When the place of a worker that died is filled again.
  struct Restart {
    std::int64_t due_ms = kNever;
    std::int64_t delay_ms = 0;
  };
  using Workers = std::list<Worker>;

  bool Start(std::size_t number);
  void RunWorker(const Worker& worker, int ready);
  void StartDue();
  void Reload();
  void EndAll();
  void OnSignal(int signal);
  void OnReady(Worker* worker);
  void OnExit(Workers::iterator worker, int status);
  void OnDeath(const Worker& worker, int status);
  void Wait();
  int WaitMs() const;
  void Reap();
  void End(Worker* worker, int signal) const;
  void TellThatReloaded();
  bool IsBlockFree(std::size_t block) const;
  bool IsAnyIn(State state) const;

  Plan plan_;
  Workers workers_;
  std::vector<Restart> restarts_;
  int signals_ = -1;
  bool has_served_ = false;
  bool is_ending_ = false;
  bool wants_reload_ = false;
  /// The service manager has been told so.
  bool is_reloading_ = false;
  int exit_status_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_PROCESS_SUPERVISOR_H_
