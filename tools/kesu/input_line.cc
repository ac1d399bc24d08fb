#include "tools/kesu/input_line.h"

#include <chrono>
#include <cstddef>
#include <limits>

#include <nlohmann/json.hpp>

#include "tools/kesu/argument_values.h"
#include "tools/kesu/json_object_reader.h"
#include "tools/kesu/value_ranges.h"

namespace kesu_tool {
namespace {

using nlohmann::json;

constexpr double kMost = std::numeric_limits<int>::max();

void TakeAge(JsonObjectReader* reader, std::optional<std::chrono::milliseconds>* age) {
  std::optional<double> number;
  reader->TakeNumber("age_ms", 0, kMost, &number);
  if (number) *age = std::chrono::milliseconds(static_cast<long long>(*number));
}

void TakePoint(JsonObjectReader* reader, double* latitude, double* longitude) {
  reader->TakeNumber("latitude", -kLargestLatitude, kLargestLatitude, latitude);
  reader->TakeNumber("longitude", -kLargestLongitude, kLargestLongitude, longitude);
}

void TakeCell(JsonObjectReader* reader, kesu::Cell* cell) {
  reader->TakeInteger("mcc", kMccRange, &cell->mcc);
  reader->TakeInteger("mnc", kMncRange, &cell->mnc);
  reader->TakeInteger("area", kAreaRange, &cell->area);
  reader->TakeInteger("cell", kCellRange, &cell->cell);
  reader->TakeInteger("signal_dbm", kSignalDbmRange, &cell->signal_dbm);
  reader->TakeInteger("timing_advance", kTimingAdvanceRange, &cell->timing_advance);
  reader->TakeInteger("scrambling_code", kScramblingCodeRange, &cell->scrambling_code);
  TakeAge(reader, &cell->age);
}

void TakeAccessPoint(JsonObjectReader* reader, kesu::AccessPoint* access_point) {
  reader->TakeText("mac_address", &access_point->mac_address);
  if (reader->is_ok() && !ParseMac(access_point->mac_address)) {
    reader->Fail("mac_address", "must be one like 00-00-5E-00-53-01");
  }
  reader->TakeText("name", &access_point->name);
  reader->TakeInteger("signal_dbm", kSignalDbmRange, &access_point->signal_dbm);
  reader->TakeInteger("channel", kChannelRange, &access_point->channel);
  TakeAge(reader, &access_point->age);
}

void TakeFix(JsonObjectReader* reader, kesu::Fix* fix) {
  TakePoint(reader, &fix->latitude, &fix->longitude);
  reader->TakeNumber("accuracy_m", 0, kLargestAccuracyM, &fix->accuracy_m);
  TakeAge(reader, &fix->age);
}

}  // namespace

std::optional<kesu::Point> ParsePointLine(std::string_view line, std::string* error) {
  const std::size_t start = line.find_first_not_of(" \t");
  if (start == std::string_view::npos || line[start] != '{') return ParsePoint(line, error);
  kesu::Point point;
  const json value = json::parse(line, nullptr, false);
  JsonObjectReader reader(value, "", error);
  TakePoint(&reader, &point.latitude, &point.longitude);
  return reader.is_ok() ? std::optional(point) : std::nullopt;
}

std::optional<kesu::Observation> ParseObservationLine(std::string_view line, std::string* error) {
  kesu::Observation seen;
  const json value = json::parse(line, nullptr, false);
  JsonObjectReader reader(value, "", error);
  reader.TakeList("cells",
                  [&](JsonObjectReader* cell) { TakeCell(cell, &seen.cells.emplace_back()); });
  reader.TakeList("access_points", [&](JsonObjectReader* access_point) {
    TakeAccessPoint(access_point, &seen.access_points.emplace_back());
  });
  reader.TakeObject("fix", [&](JsonObjectReader* fix) { TakeFix(fix, &seen.fix.emplace()); });
  reader.RefuseOthers();
  const bool is_empty = seen.cells.empty() && seen.access_points.empty() && !seen.fix;
  if (is_empty) reader.Fail("", "needs at least one of cells, access_points and fix");
  return reader.is_ok() ? std::optional(seen) : std::nullopt;
}

}  // namespace kesu_tool
