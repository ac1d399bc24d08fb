#ifndef CLIENT_ANSWER_CACHE_H_
#define CLIENT_ANSWER_CACHE_H_

#include <chrono>
#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>

namespace kesu::detail {

/// Keeps answers for a time, by the bytes of their questions.
template <typename Answer>
class AnswerCache {
 public:
  using Time = std::chrono::microseconds;

  AnswerCache(Time lifetime, std::size_t capacity) : lifetime_(lifetime), capacity_(capacity) {}

  bool is_on() const { return lifetime_ > Time::zero() && capacity_ > 0; }

  /// Null where there is none; good until the cache changes.
  const Answer* Find(const std::string& question, Time now) {
    DropExpired(now);
    const auto found = answers_.find(question);
    return found == answers_.end() ? nullptr : &found->second.answer;
  }

  void Keep(const std::string& question, const Answer& answer, Time now) {
    if (!is_on()) return;
    DropExpired(now);
    answers_.insert_or_assign(question, Entry{answer, next_number_});
    ages_.push_back({now + lifetime_, next_number_++, question});
    while (ages_.size() > capacity_) DropOldest();
  }

 private:
  struct Entry {
    Answer answer;
    unsigned long long number;
  };
  struct Age {
    Time expiry;
    /// Of the entry; another by now where the question has been answered anew.
    unsigned long long number;
    std::string question;
  };

  void DropOldest() {
    const auto found = answers_.find(ages_.front().question);
    const bool is_same = found != answers_.end() && found->second.number == ages_.front().number;
    if (is_same) answers_.erase(found);
    ages_.pop_front();
  }
  void DropExpired(Time now) {
    while (!ages_.empty() && ages_.front().expiry <= now) DropOldest();
  }

  Time lifetime_;
  std::size_t capacity_;
  std::unordered_map<std::string, Entry> answers_;
  /// From the oldest on.
  std::deque<Age> ages_;
  unsigned long long next_number_ = 0;
};

}  // namespace kesu::detail

#endif  // CLIENT_ANSWER_CACHE_H_
