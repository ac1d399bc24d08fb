#ifndef SERVER_STORAGE_DIALOGUES_H_
#define SERVER_STORAGE_DIALOGUES_H_

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "server/storage/lookup.h"

namespace kesu_server {

/// Lets many ask the storage in turn, each waiting for its own answers only.
class Dialogues {
 public:
  /// Called at first with empty findings, then with those of what it added to `inquiry` the last
  /// time, none when the storage failed; until it adds nothing.
  using Step = std::function<void(const std::optional<Findings>& findings, Inquiry* inquiry)>;

  /// `lookup` is borrowed. Whoever would have to wait while `most_waiting` others do is told that
  /// the storage failed.
  Dialogues(Lookup* lookup, std::size_t most_waiting)
      : lookup_(lookup), most_waiting_(most_waiting) {}
  Dialogues(const Dialogues&) = delete;
  Dialogues& operator=(const Dialogues&) = delete;

  /// Calls `step` from inside, for as long as nothing has to be waited for.
  void Begin(Step step);

  std::size_t enough() const { return lookup_->enough(); }

 private:
  struct Dialogue {
    Step step;
    std::optional<Findings> findings = Findings();
    enum class State { kGoesOn, kAsks, kWaits } state = State::kGoesOn;
  };

  void Continue(const std::shared_ptr<Dialogue>& dialogue);

  Lookup* lookup_;
  std::size_t most_waiting_;
  std::size_t waiting_ = 0;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_DIALOGUES_H_
