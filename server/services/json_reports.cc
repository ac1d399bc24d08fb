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
/// Of a document without its items, too.
constexpr std::size_t kMaxReportBytes = std::size_t{1} << 20;
constexpr char kTooLong[] = "the report is too long";
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

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

/// Takes the elements of a document's "items" out of its text, so that they are never all in memory
/// as values. It sees no more than brackets, commas and texts: what is left, and each element, is
/// still to be parsed.
class ItemSplitter {
 public:
  explicit ItemSplitter(std::string_view text) : text_(text) {}

  /// Hands each element to `take`, and yields what is left of the text.
  template <typename Take>
  std::string Split(const Take& take) {
    std::string rest;
    std::size_t kept = 0;
    for (std::size_t at = 0; at < text_.size(); ++at) {
      switch (text_[at]) {
        case '"':
          at = SkipText(at);
          break;
        case '[':
          if (++depth_ != 2 || name_ != "\"items") break;
          items_begin_ = element_begin_ = at + 1;
          rest.append(text_, kept, items_begin_ - kept);
          kept = items_begin_;
          break;
        case '{':
          ++depth_;
          break;
        case ',':
          if (IsBetweenItems()) take(TakeElement(at));
          break;
        case ']':
        case '}':
          if (IsBetweenItems()) {
            const bool is_only = element_begin_ == items_begin_;
            const std::string_view last = TakeElement(at);
            if (!is_only || !IsBlank(last)) take(last);
            items_begin_ = 0;
            kept = at;
          }
          --depth_;
          break;
        default:
          break;
      }
    }
    return rest.append(text_, kept);
  }

 private:
  bool IsBetweenItems() const { return items_begin_ > 0 && depth_ == 2; }

  std::string_view TakeElement(std::size_t end) {
    const std::size_t begin = std::exchange(element_begin_, end + 1);
    return text_.substr(begin, end - begin);
  }

  /// Where the text that begins with a quotation mark at `begin` ends with one.
  std::size_t SkipText(std::size_t begin) {
    std::size_t end = begin + 1;
    while (end < text_.size() && text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
    if (depth_ == 1) name_ = text_.substr(begin, end - begin);
    return end;
  }

  std::string_view text_;
  int depth_ = 0;
  /// The last text among the members, with its first quotation mark.
  std::string_view name_;
  /// 0 outside of them.
  std::size_t items_begin_ = 0;
  std::size_t element_begin_ = 0;
};

}  // namespace

std::optional<Reports> ReadReports(std::string_view text) {
  Reports reports;
  bool is_json = true;
  const std::string rest = ItemSplitter(text).Split([&](std::string_view item) {
    if (item.size() > kMaxReportBytes) {
      ++reports.faults[kTooLong];
    } else if (is_json) {
      const Json json = ParseJson(item);
      is_json = !json.is_discarded();
      if (is_json) Read(json, &reports);
    }
  });
  if (!is_json) return std::nullopt;
  if (rest.size() > kMaxReportBytes) return Reports{false, {}, {{kTooLong, 1}}};
  const Json json = ParseJson(rest);
  if (json.is_discarded()) return std::nullopt;
  const Json& items = Member(json, "items");
  reports.has_items = items.is_array();
  if (!reports.has_items) {
    reports = {};
    Read(json, &reports);
    return reports;
  }
  // Those whose name was spelled with escapes.
  for (const Json& item : items) Read(item, &reports);
  return reports;
}

}  // namespace kesu_server
