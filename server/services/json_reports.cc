#include "server/services/json_reports.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include "server/services/json_stations.h"

namespace kesu_server {
namespace {

constexpr std::size_t kMostLessons = 200;
constexpr double kMsPerS = 1000;
/// Far in the future.
constexpr double kLatestS = 1e12;

/// The position as a lesson that lacks its station. Latitude and longitude 0 is what a device
/// states that knows neither. A fault, which is a constant, or none.
std::string_view ReadPosition(const Json& report, Lesson* lesson) {
  const Json& position = Member(report, "position");
  const std::optional<double> latitude = NumberOf(position, "latitude");
  const std::optional<double> longitude = NumberOf(position, "longitude");
  const std::optional<double> accuracy_m = NumberOf(position, "accuracy");
  if (!latitude || !longitude) return "no position";
  lesson->position = {*latitude, *longitude};
  if (!IsOnEarth(lesson->position)) return "the position is not on earth";
  if (*latitude == 0 && *longitude == 0) return "the device had no position";
  if (!accuracy_m || *accuracy_m < 0) return "the position has no accuracy";
  lesson->accuracy_m = *accuracy_m;
  lesson->age_s = std::max(NumberOf(position, "age").value_or(0) / kMsPerS, 0.0);
  lesson->speed_m_per_s = std::max(NumberOf(position, "speed").value_or(0), 0.0);
  const double time_s = NumberOf(report, "timestamp").value_or(0) / kMsPerS;
  lesson->time = static_cast<std::int64_t>(std::clamp(time_s, 0.0, kLatestS));
  return {};
}

void Read(const Json& report, Reports* reports) {
  if (!report.is_object()) {
    ++reports->faults["no report"];
    return;
  }
  Lesson fix;
  const std::string_view fault = ReadPosition(report, &fix);
  if (!fault.empty()) {
    ++reports->faults[fault];
    return;
  }
  std::vector<Lesson> lessons;
  for (const Observation& observation : ReadJsonStations(report)) {
    if (!observation.may_be_learned || lessons.size() == kMostLessons) continue;
    Lesson& lesson = lessons.emplace_back(fix);
    lesson.station = observation.key;
    lesson.age_s = std::abs(observation.age_s.value_or(0) - fix.age_s);
    lesson.received_dbm = observation.received_dbm;
  }
  if (lessons.empty()) {
    ++reports->faults["no station that may be learned"];
  } else {
    reports->lessons.push_back(std::move(lessons));
  }
}

/// Takes the items out of a document while it is parsed, so that they are not all in memory.
class ItemReader {
 public:
  explicit ItemReader(Reports* reports) : reports_(reports) {}

  /// Whether what has been parsed is to be kept.
  bool OnEvent(int depth, Json::parse_event_t event, const Json& parsed) {
    using Event = Json::parse_event_t;
    if (depth == 1) {
      if (event == Event::key) is_named_items_ = parsed == "items";
      if (event == Event::array_start) is_in_items_ = is_named_items_;
      reports_->has_items = reports_->has_items || is_in_items_;
      if (event == Event::array_end) is_in_items_ = false;
    }
    const bool is_item = is_in_items_ && depth == 2 && event != Event::key &&
                         event != Event::object_start && event != Event::array_start;
    if (is_item) Read(parsed, reports_);
    return !is_item;
  }

 private:
  Reports* reports_;
  bool is_named_items_ = false;
  bool is_in_items_ = false;
};

}  // namespace

std::optional<Reports> ReadReports(std::string_view text) {
  if (IsTooDeep(text)) return std::nullopt;
  Reports reports;
  ItemReader items(&reports);
  const auto on_event = [&](int depth, Json::parse_event_t event, const Json& parsed) {
    return items.OnEvent(depth, event, parsed);
  };
  const Json json = Json::parse(text, on_event, /*allow_exceptions=*/false);
  if (json.is_discarded()) return std::nullopt;
  if (!reports.has_items) Read(json, &reports);
  return reports;
}

}  // namespace kesu_server
