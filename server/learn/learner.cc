#include "server/learn/learner.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <utility>

#include "server/learn/write_lessons.h"

namespace kesu_server {
namespace {

constexpr std::size_t kMostWaiting = 100'000;
/// So many are written at once. Fewer wait, since those of one station are learned together.
constexpr std::size_t kManyWaiting = 10'000;
constexpr std::size_t kBatch = 500;
/// A batch that cannot be written is tried so often, with the second between writes before each.
constexpr int kTries = 3;
constexpr std::chrono::seconds kBetweenWrites(1);

}  // namespace

Learner::Learner(OpenStorage open, LessonCounts* counts)
    : open_(std::move(open)), counts_(counts), thread_([this] { Run(); }) {}

Learner::~Learner() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
  }
  wake_.notify_one();
  thread_.join();
}

void Learner::Teach(const std::vector<Lesson>& lessons) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const std::size_t waited = waiting_.size();
  for (const Lesson& lesson : lessons) {
    if (!(WeightOf(lesson) > 0)) continue;
    ++counts_->received;
    if (waiting_.size() < kMostWaiting) {
      waiting_.push_back(lesson);
    } else {
      ++counts_->dropped;
    }
  }
  if (waited < kManyWaiting && waiting_.size() >= kManyWaiting) wake_.notify_one();
}

void Learner::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  bool is_last = false;
  while (!is_last) {
    wake_.wait_for(lock, kBetweenWrites,
                   [this] { return is_ending_ || waiting_.size() >= kManyWaiting; });
    is_last = is_ending_;
    std::vector<Lesson> lessons = std::exchange(waiting_, {});
    lock.unlock();
    Write(std::move(lessons));
    lock.lock();
  }
}

void Learner::Write(std::vector<Lesson> lessons) {
  GroupByStation(&lessons);
  for (std::span<const Lesson> rest(lessons); !rest.empty();) {
    const std::span<const Lesson> batch = rest.first(std::min(kBatch, rest.size()));
    bool is_written = false;
    for (int i = 0; i < kTries && !is_written; ++i) {
      if (i > 0) std::this_thread::sleep_for(kBetweenWrites);
      is_written = WriteBatch(batch);
    }
    (is_written ? counts_->written : counts_->dropped) += batch.size();
    rest = rest.subspan(batch.size());
  }
}

bool Learner::WriteBatch(std::span<const Lesson> batch) {
  if (!storage_) storage_ = open_();
  if (!storage_) return false;
  const auto blocked = WriteLessons(batch, std::time(nullptr), storage_.get());
  counts_->blocked_stations += blocked.value_or(0);
  return blocked.has_value();
}

}  // namespace kesu_server
