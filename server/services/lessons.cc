#include "server/services/lessons.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace kesu_server {
namespace {

constexpr std::size_t kMostLessons = 200;
constexpr double kMsPerS = 1000;
constexpr double kCmPerM = 100;

std::int64_t NowMs() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

/// The fix as a lesson that lacks its station; none where it says too little. Latitude and
/// longitude 0 is what a device states that knows neither.
std::optional<Lesson> ReadFix(const lbs::GLocation& fix) {
  const std::optional<LatLng> position = ReadPosition(fix);
  if (!position || !fix.has_accuracy_m() || fix.accuracy_m() < 0) return std::nullopt;
  if (position->latitude == 0 && position->longitude == 0) return std::nullopt;
  Lesson lesson;
  lesson.position = *position;
  lesson.accuracy_m = fix.accuracy_m();
  if (fix.has_timestamp_ms()) {
    lesson.age_s = std::max(
        (static_cast<double>(NowMs()) - static_cast<double>(fix.timestamp_ms())) / kMsPerS, 0.0);
  }
  if (fix.has_speed_cm_per_s()) {
    lesson.speed_m_per_s = std::abs(static_cast<double>(fix.speed_cm_per_s()) / kCmPerM);
  }
  return lesson;
}

}  // namespace

std::vector<Lesson> ReadLessons(const lbs::GLocRequest& request,
                                const std::vector<std::vector<Observation>>& observations) {
  std::vector<Lesson> lessons;
  for (int i = 0; i < request.requestelements_size(); ++i) {
    const std::optional<Lesson> fix = ReadFix(request.requestelements(i).location());
    if (!fix) continue;
    for (const Observation& observation : observations[static_cast<std::size_t>(i)]) {
      if (lessons.size() == kMostLessons) return lessons;
      if (!observation.may_be_learned) continue;
      Lesson& lesson = lessons.emplace_back(*fix);
      lesson.station = observation.key;
      lesson.age_s = std::abs(std::max(observation.age_s.value_or(0), 0.0) - fix->age_s);
      lesson.received_dbm = observation.received_dbm;
    }
  }
  return lessons;
}

}  // namespace kesu_server
