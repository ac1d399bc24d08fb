#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <glib.h>

#include "server/import/csv_row.h"
#include "server/import/formats.h"

namespace kesu_server {
namespace {

enum Column { kMac, kSsid, kFirstSeen, kRssi, kLatitude, kLongitude, kAccuracy, kType, kColumns };
constexpr std::array<const char*, kColumns> kColumnNames = {
    "MAC",  "SSID", "FirstSeen", "RSSI", "CurrentLatitude", "CurrentLongitude", "AccuracyMeters",
    "Type",
};

/// Takes a number and the separator behind it off the front of `text`.
bool TakeNumber(std::string_view* text, char separator, int* value) {
  const std::size_t end = std::min(text->find(separator), text->size());
  long long number = 0;
  if (!ParseNumber(text->substr(0, end), &number) || number < 0 || number > 9999) return false;
  *value = static_cast<int>(number);
  text->remove_prefix(std::min(end + 1, text->size()));
  return true;
}

/// "2024-02-29 23:59:58", UTC, in seconds since 1970; 0 for anything else.
std::int64_t TimeOf(std::string_view text) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
  if (!TakeNumber(&text, '-', &year) || !TakeNumber(&text, '-', &month) ||
      !TakeNumber(&text, ' ', &day) || !TakeNumber(&text, ':', &hour) ||
      !TakeNumber(&text, ':', &minute) || !TakeNumber(&text, '.', &second)) {
    return 0;
  }
  const std::chrono::year_month_day date{std::chrono::year(year),
                                         std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (year < 1990 || !date.ok() || hour > 23 || minute > 59 || second > 60) return 0;
  const std::chrono::sys_seconds time = std::chrono::sys_days(date) + std::chrono::hours(hour) +
                                        std::chrono::minutes(minute) + std::chrono::seconds(second);
  return time.time_since_epoch().count();
}

bool HasSuffixOfCase(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() &&
         g_ascii_strncasecmp(text.data() + text.size() - suffix.size(), suffix.data(),
                             suffix.size()) == 0;
}

/// A strong signal was received near the station, and an exact position says more of where.
double WeightOf(double received_dbm, double accuracy_m) {
  constexpr double kLeast = 0.05;
  const double signal = std::clamp((received_dbm + 100) / 50, kLeast, 1.0);
  const double accuracy = std::clamp(10 / std::max(accuracy_m, 1.0), kLeast, 1.0);
  return signal * accuracy;
}

class WifiFormat final : public LineFormat {
 public:
  LineResult ReadLine(std::string_view line, RecordSink* sink) override {
    if (state_ == State::kNoWifiFile) return Rejected("the file does not begin with WigleWifi-1.4");
    if (state_ == State::kStart) return ReadVersion(line);
    if (!row_.Parse(line)) return Rejected("wrong quotation marks");
    return state_ == State::kHeader ? ReadHeader() : ReadSighting(sink);
  }

  LineResult ReadEnd(RecordSink*) override {
    *this = WifiFormat();
    return {};
  }

 private:
  enum class State { kStart, kNoWifiFile, kHeader, kRows };

  LineResult ReadVersion(std::string_view line) {
    constexpr std::string_view kName = "WigleWifi-";
    constexpr double kLeastVersion = 1.4;
    double version = 0;
    const std::string_view word = line.substr(0, line.find(','));
    const bool is_good = word.starts_with(kName) &&
                         ParseNumber(word.substr(kName.size()), &version) &&
                         version >= kLeastVersion;
    state_ = is_good ? State::kHeader : State::kNoWifiFile;
    return is_good ? LineResult() : Rejected("the file does not begin with WigleWifi-1.4");
  }

  LineResult ReadHeader() {
    for (std::size_t i = 0; i < kColumns; ++i) positions_[i] = row_.IndexOf(kColumnNames[i]);
    for (const Column needed : {kMac, kLatitude, kLongitude}) {
      if (positions_[needed] == std::string_view::npos) {
        state_ = State::kNoWifiFile;
        return Rejected("the header lacks a column");
      }
    }
    state_ = State::kRows;
    return {};
  }

  std::string_view Field(Column column) const { return row_[positions_[column]]; }

  LineResult ReadSighting(RecordSink* sink) const {
    const bool has_type = positions_[kType] != std::string_view::npos;
    if (has_type && Field(kType) != "WIFI") return PassedOver("no access point");
    const std::optional<StationKey> key = AccessPointKey(Field(kMac));
    if (!key) return Rejected("no MAC address");
    if (key->id == 0 || IsPassingMacAddress(*key)) {
      return PassedOver("a MAC address that belongs to no lasting station");
    }
    if (HasSuffixOfCase(Field(kSsid), "_nomap")) return PassedOver("its owner opted out (_nomap)");

    StationRecord record;
    record.key = *key;
    if (!ParseNumber(Field(kLatitude), &record.position.latitude) ||
        !ParseNumber(Field(kLongitude), &record.position.longitude)) {
      return Rejected("a number is missing or no number");
    }
    if (!IsOnEarth(record.position)) return Rejected("the position is not on earth");
    if (record.position.latitude == 0 && record.position.longitude == 0) {
      return Rejected("the device had no position");
    }
    double received_dbm = -80;
    double accuracy_m = 50;
    if ((!Field(kRssi).empty() && !ParseNumber(Field(kRssi), &received_dbm)) ||
        (!Field(kAccuracy).empty() && !ParseNumber(Field(kAccuracy), &accuracy_m)) ||
        accuracy_m < 0) {
      return Rejected("a number is missing or no number");
    }
    constexpr double kWorstAccuracyM = 1'000;
    if (accuracy_m > kWorstAccuracyM) return Rejected("the position is too inexact");
    record.weight = WeightOf(received_dbm, accuracy_m);
    record.updated = TimeOf(Field(kFirstSeen));
    sink->TakeStation(record);
    return {};
  }

  CsvRow row_;
  std::array<std::size_t, kColumns> positions_ = {};
  State state_ = State::kStart;
};

}  // namespace

std::unique_ptr<LineFormat> NewWifiFormat() {
  return std::make_unique<WifiFormat>();
}

}  // namespace kesu_server
