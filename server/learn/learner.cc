#include "server/learn/learner.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <utility>

#include "server/learn/learn.h"

namespace kesu_server {
namespace {

constexpr std::size_t kMostWaiting = 20'000;
constexpr std::size_t kBatch = 500;
/// A batch that cannot be written is tried so often, with the second between writes before each.
constexpr int kTries = 3;
constexpr std::chrono::seconds kBetweenWrites(1);

}  // namespace

Learner::Learner(OpenStorage open) : open_(std::move(open)), thread_([this] { Run(); }) {}

Learner::~Learner() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void Learner::Teach(const std::vector<Lesson>& lessons) {
  if (lessons.empty()) return;
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::size_t fitting = std::min(lessons.size(), kMostWaiting - waiting_.size());
  waiting_.insert(waiting_.end(), lessons.begin(),
                  lessons.begin() + static_cast<std::ptrdiff_t>(fitting));
  dropped_ += lessons.size() - fitting;
}

void Learner::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  bool is_last = false;
  while (!is_last) {
    is_last = wake_.wait_for(lock, kBetweenWrites, [this] { return is_ending_; });
    std::vector<Lesson> lessons = std::exchange(waiting_, {});
    lock.unlock();
    Write(std::move(lessons));
    lock.lock();
  }
}

void Learner::Write(std::vector<Lesson> lessons) {
  // Those of a station stay in the order in which they came.
  std::stable_sort(lessons.begin(), lessons.end(),
                   [](const Lesson& a, const Lesson& b) { return a.station < b.station; });
  for (std::size_t begin = 0; begin < lessons.size();) {
    const std::size_t end = std::min(begin + kBatch, lessons.size());
    const std::vector<Lesson> batch(lessons.begin() + static_cast<std::ptrdiff_t>(begin),
                                    lessons.begin() + static_cast<std::ptrdiff_t>(end));
    bool is_written = false;
    for (int i = 0; i < kTries && !is_written; ++i) {
      if (i > 0) std::this_thread::sleep_for(kBetweenWrites);
      is_written = WriteBatch(batch);
    }
    (is_written ? written_ : dropped_) += batch.size();
    begin = end;
  }
}

bool Learner::WriteBatch(const std::vector<Lesson>& batch) {
  if (!storage_) storage_ = open_();
  if (!storage_) return false;
  std::vector<StationKey> keys;
  for (const Lesson& lesson : batch) {
    if (keys.empty() || keys.back() != lesson.station) keys.push_back(lesson.station);
  }
  const std::int64_t now = std::time(nullptr);
  return storage_->Learn(keys, [&](std::vector<LearnedStation>* stations) {
    std::size_t next = 0;
    for (LearnedStation& station : *stations) {
      for (; next < batch.size() && batch[next].station == station.key; ++next) {
        Learn(batch[next], now, &station);
      }
    }
  });
}

}  // namespace kesu_server
