#ifndef SERVER_STORAGE_POSTGRES_LOOKUP_H_
#define SERVER_STORAGE_POSTGRES_LOOKUP_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "server/storage/lookup.h"
#include "server/storage/postgres_channel.h"
#include "server/storage/postgres_target.h"

namespace kesu_server {

/// Looks up in a database of PostgreSQL's over a few connections, which are made as they are needed
/// and made anew, on another host if there is one, when they are lost. What was asked meanwhile is
/// asked again, so that only who has waited for longer than the limit gets nothing.
class PostgresLookup final : public Lookup {
 public:
  struct Limits {
    /// For an answer.
    int seconds = 3;
    std::size_t connections = 4;
  };
  /// Gets a line when connections are lost, and when there are some again.
  using Report = std::function<void(const std::string& line)>;

  PostgresLookup(PostgresTarget target, Limits limits, Report report);
  ~PostgresLookup() override;

  void Ask(Inquiry inquiry, Done done) override;
  std::size_t enough() const override { return std::numeric_limits<std::size_t>::max(); }

 private:
  struct Question;
  struct Slot;

  PostgresChannel::Events EventsOf(Slot* slot);
  void Dispatch();
  PostgresChannel* ChooseChannel();
  void OpenAnother();
  void Finish(Question* question, std::optional<Findings> findings);
  void OnReady(Slot* slot);
  void OnDone(const std::shared_ptr<PostgresChannel::Job>& job);
  void OnLost(Slot* slot, std::vector<std::shared_ptr<PostgresChannel::Job>> jobs,
              const std::string& error);
  void StartTicking();
  /// Whether anything is left to be watched.
  bool Tick();
  void Note(const std::string& error);

  PostgresTarget target_;
  Limits limits_;
  Report report_;
  std::vector<std::unique_ptr<Slot>> slots_;
  /// In the order of their deadlines.
  std::deque<std::weak_ptr<Question>> asked_;
  /// Those of them that have not been sent.
  std::deque<std::shared_ptr<Question>> waiting_;
  unsigned timer_ = 0;
  /// What was last reported to be wrong; empty when all is well.
  std::string trouble_;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_POSTGRES_LOOKUP_H_
