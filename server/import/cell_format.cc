#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <utility>

#include "server/import/csv_row.h"
#include "server/import/formats.h"
#include "server/storage/radio_name.h"

namespace kesu_server {
namespace {

enum Column { kRadio, kMcc, kNet, kArea, kCell, kLon, kLat, kRange, kSamples, kUpdated, kColumns };

/// A name, and where it is in files without a header.
struct ColumnName {
  const char* name;
  std::size_t position;
};
constexpr std::array<ColumnName, kColumns> kColumnNames = {{
    {"radio", 0},
    {"mcc", 1},
    {"net", 2},
    {"area", 3},
    {"cell", 4},
    {"lon", 6},
    {"lat", 7},
    {"range", 8},
    {"samples", 9},
    {"updated", 12},
}};

constexpr std::int64_t kMostSamples = 1'000'000;

class CellFormat final : public LineFormat {
 public:
  LineResult ReadLine(std::string_view line, RecordSink* sink) override {
    if (!row_.Parse(line)) return Rejected("wrong quotation marks");
    if (is_first_) {
      is_first_ = false;
      if (row_.IndexOf("radio") == 0) return ReadHeader();
    }
    return ReadCell(sink);
  }

  LineResult ReadEnd(RecordSink*) override {
    *this = CellFormat();
    return {};
  }

 private:
  LineResult ReadHeader() {
    for (std::size_t i = 0; i < kColumns; ++i) {
      positions_[i] = row_.IndexOf(kColumnNames[i].name);
      // What cannot be done without.
      if (i <= kLat && positions_[i] == std::string_view::npos) {
        return Rejected("the header lacks a column");
      }
    }
    return {};
  }

  std::string_view Field(Column column) const { return row_[positions_[column]]; }
  /// A number that may be missing, and is 0 then.
  bool ReadOptional(Column column, double* value) const {
    return Field(column).empty() || ParseNumber(Field(column), value);
  }

  LineResult ReadCell(RecordSink* sink) const {
    CellIdentity cell;
    const std::optional<RadioType> radio = RadioTypeNamed(Field(kRadio));
    if (!radio) return Rejected("unknown radio type");
    cell.radio = *radio;
    for (const auto& [column, number] :
         {std::pair(kMcc, &cell.mcc), std::pair(kNet, &cell.mnc), std::pair(kArea, &cell.area_code),
          std::pair(kCell, &cell.cell_id)}) {
      long long value = 0;
      if (!ParseNumber(Field(column), &value)) return Rejected("a number is missing or no number");
      *number = value;
    }
    const std::optional<StationKey> key = CellKey(cell);
    if (!key) return Rejected("no cell can have these numbers");

    StationRecord record;
    record.key = *key;
    double samples = 0;
    double updated = 0;
    if (!ParseNumber(Field(kLat), &record.position.latitude) ||
        !ParseNumber(Field(kLon), &record.position.longitude) ||
        !ReadOptional(kRange, &record.radius_m) || !ReadOptional(kSamples, &samples) ||
        !ReadOptional(kUpdated, &updated)) {
      return Rejected("a number is missing or no number");
    }
    if (!IsOnEarth(record.position)) return Rejected("the position is not on earth");
    if (record.radius_m < 0 || record.radius_m > kHalfCircumferenceM) {
      return Rejected("the range is absurd");
    }
    record.samples =
        static_cast<std::int64_t>(std::clamp(samples, 1.0, static_cast<double>(kMostSamples)));
    record.updated = updated > 0 && updated < 1e11 ? static_cast<std::int64_t>(updated) : 0;
    sink->TakeStation(record);
    return {};
  }

  static std::array<std::size_t, kColumns> StandardPositions() {
    std::array<std::size_t, kColumns> positions = {};
    std::transform(kColumnNames.begin(), kColumnNames.end(), positions.begin(),
                   [](const ColumnName& column) { return column.position; });
    return positions;
  }

  CsvRow row_;
  std::array<std::size_t, kColumns> positions_ = StandardPositions();
  bool is_first_ = true;
};

}  // namespace

std::unique_ptr<LineFormat> NewCellFormat() {
  return std::make_unique<CellFormat>();
}

}  // namespace kesu_server
