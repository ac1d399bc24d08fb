#include "server/learn/write_lessons.h"

#include <algorithm>
#include <cstddef>

#include "server/learn/learn.h"

namespace kesu_server {

void GroupByStation(std::vector<Lesson>* lessons) {
  std::erase_if(*lessons, [](const Lesson& lesson) { return !(WeightOf(lesson) > 0); });
  std::stable_sort(lessons->begin(), lessons->end(),
                   [](const Lesson& a, const Lesson& b) { return a.station < b.station; });
}

std::optional<std::uint64_t> WriteLessons(std::span<const Lesson> lessons, std::int64_t now,
                                          Storage* storage, const std::function<bool()>& also) {
  std::vector<StationKey> keys;
  for (const Lesson& lesson : lessons) {
    if (keys.empty() || keys.back() != lesson.station) keys.push_back(lesson.station);
  }
  std::uint64_t blocked = 0;
  bool is_good = true;
  const bool is_written = storage->Learn(keys, [&](std::vector<LearnedStation>* stations) {
    blocked = 0;
    std::size_t next = 0;
    for (LearnedStation& station : *stations) {
      const int blocked_before = station.times_blocked;
      for (; next < lessons.size() && lessons[next].station == station.key; ++next) {
        const std::int64_t time = lessons[next].time;
        Learn(lessons[next], time > 0 ? std::min(time, now) : now, &station);
      }
      blocked += static_cast<std::uint64_t>(station.times_blocked > blocked_before);
    }
    is_good = also();
    if (!is_good) stations->clear();
  });
  return is_written && is_good ? std::optional(blocked) : std::nullopt;
}

}  // namespace kesu_server
