#ifndef SERVER_STORAGE_POSTGRES_CHANNEL_H_
#define SERVER_STORAGE_POSTGRES_CHANNEL_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <glib.h>
#include <libpq-fe.h>

#include "server/storage/postgres_inquiry.h"
#include "server/storage/postgres_target.h"

namespace kesu_server {

/// One connection to PostgreSQL on the default main context, which never waits. What it is asked
/// goes out at once, behind what it was asked before (libpq's pipeline mode).
class PostgresChannel {
 public:
  /// Something to be asked, owned by whoever asks.
  struct Job {
    explicit Job(Inquiry asked) : inquiry(std::move(asked)) {}

    PostgresInquiry inquiry;
    /// What PostgreSQL found wrong with it.
    std::string error;
  };

  /// They are called from the main loop, or from inside CheckTime(), and may call any function.
  struct Events {
    std::function<void()> on_ready;
    /// The oldest job has its results, or its error.
    std::function<void(const std::shared_ptr<Job>& job)> on_done;
    /// No host could be connected to, or the connection has been lost with these jobs.
    std::function<void(std::vector<std::shared_ptr<Job>> jobs, const std::string& error)> on_lost;
  };

  /// `target` is borrowed. `settings` are statements that the connection begins with.
  PostgresChannel(const PostgresTarget* target, std::vector<std::string> settings, Events events);
  PostgresChannel(const PostgresChannel&) = delete;
  PostgresChannel& operator=(const PostgresChannel&) = delete;
  /// Nobody is told.
  ~PostgresChannel();

  /// Tries one host after the other, once; only while it is closed.
  void Connect();
  /// Only while it is ready.
  void Send(const std::shared_ptr<Job>& job);
  /// To be called now and then: gives up a host that does not let itself be connected to, and a
  /// connection on which a job has waited longer than `limit_us`.
  void CheckTime(std::int64_t now_us, std::int64_t limit_us);

  /// kBroken: it is about to be closed.
  enum class State { kClosed, kConnecting, kPreparing, kReady, kBroken };
  State state() const { return state_; }
  std::size_t jobs() const { return jobs_.size(); }
  /// Since when the oldest of its jobs has had its turn, or the host, in GLib's monotonic time.
  std::int64_t busy_since_us() const { return busy_since_us_; }

 private:
  struct Sent {
    /// Null stands for what the connection begins with.
    std::shared_ptr<Job> job;
    /// The query that each result is of; none for a preparation.
    std::vector<std::optional<std::size_t>> results = {};
  };

  void TryHosts();
  void Poll();
  void Prepare();
  void Expect(Sent sent);
  bool SendQuery(std::size_t number, Sent* sent);
  void Watch(GIOCondition condition);
  void OnSocket();
  void Flush();
  void Read();
  void Take(const PGresult* result);
  void EndJob();
  /// From the main loop only, as the last thing that is done.
  void Lose();
  void LoseSoon(const std::string& error = {});
  void Close();
  std::string ConnectionError() const;

  const PostgresTarget* target_;
  std::vector<std::string> settings_;
  Events events_;
  State state_ = State::kClosed;
  std::size_t attempt_ = 0;
  PGconn* connection_ = nullptr;
  unsigned watch_ = 0;
  GIOCondition watched_ = G_IO_IN;
  unsigned soon_ = 0;
  std::string error_;
  std::deque<Sent> jobs_;
  /// Which of the oldest job's results comes next.
  std::size_t next_result_ = 0;
  /// Those whose tables have been needed so far: others may be locked.
  std::set<const PostgresStatement*> prepared_;
  std::int64_t busy_since_us_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_CHANNEL_H_
