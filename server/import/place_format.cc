#include <cstddef>
#include <utility>
#include <vector>

#include "server/import/csv_row.h"
#include "server/import/formats.h"

namespace kesu_server {
namespace {

enum Column {
  kId = 0,
  kName = 1,
  kLatitude = 4,
  kLongitude = 5,
  kClass = 6,
  kCode = 7,
  kCountry = 8,
  kRegion = 10,
  kColumns = 19,
};

/// Places that are no more: abandoned, destroyed, historical.
bool IsOfThePast(std::string_view feature_code) {
  return feature_code == "PPLQ" || feature_code == "PPLW" || feature_code == "PPLH";
}

class PlaceFormat final : public LineFormat {
 public:
  PlaceFormat(std::string classes, const PlaceNames* names)
      : classes_(std::move(classes)), names_(names) {}

  LineResult ReadLine(std::string_view line, RecordSink* sink) override {
    SplitAtTabs(line, &fields_);
    if (fields_.size() != kColumns) return Rejected("not 19 columns");
    if (fields_[kClass].size() != 1 || classes_.find(fields_[kClass]) == std::string::npos) {
      return PassedOver("another feature class");
    }
    if (IsOfThePast(fields_[kCode])) return PassedOver("a place that is no more");
    long long id = 0;
    Place place;
    if (!ParseNumber(fields_[kId], &id) || id <= 0 ||
        !ParseNumber(fields_[kLatitude], &place.position.latitude) ||
        !ParseNumber(fields_[kLongitude], &place.position.longitude)) {
      return Rejected("a number is missing or no number");
    }
    if (!IsOnEarth(place.position)) return Rejected("the position is not on earth");
    place.name = CleanText(fields_[kName]);
    if (place.name.empty()) return Rejected("no name");
    place.region = names_->Region(fields_[kCountry], fields_[kRegion]);
    place.country = names_->Country(fields_[kCountry]);
    sink->TakePlace(id, place);
    return {};
  }

 private:
  std::string classes_;
  const PlaceNames* names_;
  std::vector<std::string_view> fields_;
};

}  // namespace

std::unique_ptr<LineFormat> NewPlaceFormat(const std::string& classes, const PlaceNames* names) {
  return std::make_unique<PlaceFormat>(classes, names);
}

}  // namespace kesu_server
