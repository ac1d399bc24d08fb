#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <glib.h>
#include <nlohmann/json.hpp>

#include "server/import/csv_row.h"
#include "server/import/formats.h"
#include "server/storage/radio_name.h"

namespace kesu_server {
namespace {

using Json = nlohmann::json;

/// A whole document is held in memory; lines are not.
constexpr std::size_t kMaxDocumentBytes = std::size_t{64} << 20;
constexpr std::size_t kMaxLineBytes = std::size_t{1} << 20;
/// Reports need five.
constexpr int kMaxDepth = 16;

/// Discarded when the text is no JSON, or nested too deeply.
Json Parse(std::string_view text) {
  bool is_too_deep = false;
  const auto watch = [&](int depth, Json::parse_event_t, Json&) {
    is_too_deep = is_too_deep || depth > kMaxDepth;
    return !is_too_deep;
  };
  Json json = Json::parse(text, watch, /*allow_exceptions=*/false);
  if (is_too_deep) return Json(Json::value_t::discarded);
  return json;
}

/// A member of an object; null when there is none.
const Json& Member(const Json& object, const char* name) {
  static const Json kNone;
  if (!object.is_object()) return kNone;
  const auto found = object.find(name);
  return found == object.end() ? kNone : *found;
}

std::optional<double> NumberOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  if (!member.is_number()) return std::nullopt;
  const auto number = member.get<double>();
  if (!std::isfinite(number)) return std::nullopt;
  return number;
}

/// A whole number that `fallback` stands for where it is missing or beyond 2^53.
std::int64_t IntegerOf(const Json& object, const char* name, std::int64_t fallback) {
  constexpr double kExact = 9007199254740992;
  const std::optional<double> number = NumberOf(object, name);
  if (!number || std::abs(*number) > kExact) return fallback;
  return static_cast<std::int64_t>(*number);
}

std::string TextOf(const Json& object, const char* name) {
  const Json& member = Member(object, name);
  return member.is_string() ? member.get<std::string>() : std::string();
}

/// A signal that can have been measured.
std::optional<double> SignalOf(const Json& station) {
  const std::optional<double> dbm = NumberOf(station, "signalStrength");
  if (!dbm || *dbm >= 0 || *dbm < -140) return std::nullopt;
  return dbm;
}

bool MayBeLearned(const StationKey& access_point, std::string_view ssid) {
  constexpr std::string_view kOptOut = "_nomap";
  return access_point.id != 0 && !IsPassingMacAddress(access_point) && !ssid.empty() &&
         !(ssid.size() >= kOptOut.size() &&
           g_ascii_strncasecmp(ssid.data() + ssid.size() - kOptOut.size(), kOptOut.data(),
                               kOptOut.size()) == 0);
}

void ReadCells(const Json& cells, std::vector<SeenStation>* stations) {
  if (!cells.is_array()) return;
  for (const Json& cell : cells) {
    CellIdentity identity;
    identity.mcc = IntegerOf(cell, "mobileCountryCode", -1);
    identity.mnc = IntegerOf(cell, "mobileNetworkCode", -1);
    identity.area_code = IntegerOf(cell, "locationAreaCode", -1);
    identity.cell_id = IntegerOf(cell, "cellId", -1);
    identity.radio = RadioTypeNamed(TextOf(cell, "radioType")).value_or(RadioType::kUnknown);
    const std::optional<StationKey> key = CellKey(identity);
    if (key) stations->push_back({*key, SignalOf(cell), IntegerOf(cell, "age", 0)});
  }
}

void ReadAccessPoints(const Json& access_points, std::vector<SeenStation>* stations) {
  if (!access_points.is_array()) return;
  for (const Json& access_point : access_points) {
    const std::optional<StationKey> key = AccessPointKey(TextOf(access_point, "macAddress"));
    // A report need not say the name; one that it says to be empty is hidden.
    const bool has_name = Member(access_point, "ssid").is_string();
    if (!key || !MayBeLearned(*key, has_name ? TextOf(access_point, "ssid") : "unknown")) continue;
    stations->push_back({*key, SignalOf(access_point), IntegerOf(access_point, "age", 0)});
  }
}

LineResult ReadReport(const Json& json, RecordSink* sink) {
  if (!json.is_object()) return Rejected("no report");
  Report report;
  constexpr std::int64_t kMsPerSecond = 1000;
  report.time = IntegerOf(json, "timestamp", 0) / kMsPerSecond;
  const Json& position = Member(json, "position");
  const std::optional<double> latitude = NumberOf(position, "latitude");
  const std::optional<double> longitude = NumberOf(position, "longitude");
  if (!latitude || !longitude) return Rejected("no position");
  report.position = {*latitude, *longitude};
  if (!IsOnEarth(report.position)) return Rejected("the position is not on earth");
  report.accuracy_m = NumberOf(position, "accuracy");
  report.position_age_ms = IntegerOf(position, "age", 0);
  report.speed_m_per_s = NumberOf(position, "speed");
  ReadCells(Member(json, "cellTowers"), &report.stations);
  ReadAccessPoints(Member(json, "wifiAccessPoints"), &report.stations);
  if (report.stations.empty()) return Rejected("no station that may be learned");
  sink->TakeReport(report);
  return {};
}

/// A report, or a document of several. Of several faults the last is told.
LineResult ReadValue(const Json& json, RecordSink* sink) {
  if (json.is_discarded()) return Rejected("no JSON");
  const Json& items = Member(json, "items");
  if (!items.is_array()) return ReadReport(json, sink);
  LineResult result;
  for (const Json& item : items) {
    const LineResult one = ReadReport(item, sink);
    if (!one.reason.empty()) result = one;
  }
  return result;
}

/// One value a line; or one document over all lines, which the first cannot stand without.
class ReportFormat final : public LineFormat {
 public:
  std::size_t max_line_bytes() const override {
    return is_first_ ? kMaxDocumentBytes : kMaxLineBytes;
  }

  LineResult ReadLine(std::string_view line, RecordSink* sink) override {
    if (is_document_) return Collect(line);
    const Json json = Parse(line);
    const bool is_first = std::exchange(is_first_, false);
    if (!is_first || !json.is_discarded() || !line.starts_with('{')) return ReadValue(json, sink);
    is_document_ = true;
    return Collect(line);
  }

  LineResult ReadEnd(RecordSink* sink) override {
    LineResult result;
    if (is_document_) {
      result = is_too_long_ ? Rejected("a document of more than 64 MiB")
                            : ReadValue(Parse(document_), sink);
    }
    *this = ReportFormat();
    return result;
  }

 private:
  LineResult Collect(std::string_view line) {
    is_too_long_ = is_too_long_ || document_.size() + line.size() >= kMaxDocumentBytes;
    if (is_too_long_) {
      document_.clear();
    } else {
      document_.append(line).append(1, '\n');
    }
    return {};
  }

  bool is_first_ = true;
  bool is_document_ = false;
  bool is_too_long_ = false;
  std::string document_;
};

}  // namespace

std::unique_ptr<LineFormat> NewReportFormat() {
  return std::make_unique<ReportFormat>();
}

}  // namespace kesu_server
