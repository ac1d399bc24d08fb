#ifndef SERVER_LEARN_LEARNER_H_
#define SERVER_LEARN_LEARNER_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "server/learn/lesson.h"
#include "server/storage/storage.h"

namespace kesu_server {

/// What has become of lessons. All bytes zero is where it starts.
struct LessonCounts {
  using Count = std::atomic<std::uint64_t>;

  /// Those that say something.
  Count received;
  Count written;
  Count dropped;
  /// Stations that were found to be moving.
  Count blocked_stations;
};

/// Collects lessons and writes them from a thread of its own, once a second or when there are many,
/// so that no answer waits for a database that others write, too. Belongs to one process; the
/// thread starts with it, so not before a fork.
class Learner {
 public:
  /// Called in the learner's thread. Null where the storage cannot be opened, for now.
  using OpenStorage = std::function<std::unique_ptr<Storage>()>;

  /// `counts` is borrowed.
  Learner(OpenStorage open, LessonCounts* counts);
  Learner(const Learner&) = delete;
  Learner& operator=(const Learner&) = delete;
  /// Writes what has been collected, and ends the thread.
  ~Learner();

  /// Never waits for the storage. Lessons beyond 100,000 that wait to be written are dropped.
  void Teach(const std::vector<Lesson>& lessons);

 private:
  void Run();
  /// In batches, each a transaction, so that others have their turn between them.
  void Write(std::vector<Lesson> lessons);
  bool WriteBatch(std::span<const Lesson> batch);

  OpenStorage open_;
  LessonCounts* counts_;
  std::unique_ptr<Storage> storage_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Lesson> waiting_;
  bool is_ending_ = false;
  std::thread thread_;
};

}  // namespace kesu_server

#endif  // SERVER_LEARN_LEARNER_H_
