#ifndef SERVER_LEARN_LEARNER_H_
#define SERVER_LEARN_LEARNER_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "server/learn/lesson.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// Collects lessons and writes them from a thread of its own, at most once a second, so that no
/// answer waits for a database that others write, too. Belongs to one process; the thread starts
/// with it, so not before a fork.
class Learner {
 public:
  /// Called in the learner's thread. Null where the storage cannot be opened, for now.
  using OpenStorage = std::function<std::unique_ptr<Storage>()>;

  explicit Learner(OpenStorage open);
  Learner(const Learner&) = delete;
  Learner& operator=(const Learner&) = delete;
  /// Writes what has been collected, and ends the thread.
  ~Learner();

  /// Never waits for the storage. Lessons beyond 20,000 that wait to be written are dropped.
  void Teach(const std::vector<Lesson>& lessons);

  std::uint64_t written() const { return written_; }
  std::uint64_t dropped() const { return dropped_; }

 private:
  void Run();
  /// In batches, each a transaction, so that others have their turn between them.
  void Write(std::vector<Lesson> lessons);
  bool WriteBatch(const std::vector<Lesson>& batch);

  OpenStorage open_;
  std::unique_ptr<Storage> storage_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Lesson> waiting_;
  bool is_ending_ = false;
  std::atomic<std::uint64_t> written_ = 0;
  std::atomic<std::uint64_t> dropped_ = 0;
  std::thread thread_;
};

}  // namespace kesu_server

#endif  // SERVER_LEARN_LEARNER_H_
