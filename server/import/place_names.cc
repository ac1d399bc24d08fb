#include "server/import/place_names.h"

#include <vector>

#include "server/import/csv_row.h"

namespace kesu_server {

void PlaceNames::ReadRegion(std::string_view line) {
  std::vector<std::string_view> fields;
  SplitAtTabs(line, &fields);
  if (fields.size() >= 2) regions_[std::string(fields[0])] = CleanText(fields[1]);
}

void PlaceNames::ReadCountry(std::string_view line) {
  std::vector<std::string_view> fields;
  SplitAtTabs(line, &fields);
  if (fields.size() < 5 || line.starts_with('#')) return;
  countries_[std::string(fields[0])] = CleanText(fields[4]);
}

std::string PlaceNames::Region(std::string_view country_code, std::string_view region_code) const {
  const auto found = regions_.find(std::string(country_code).append(1, '.').append(region_code));
  return found == regions_.end() ? std::string() : found->second;
}

std::string PlaceNames::Country(std::string_view country_code) const {
  const auto found = countries_.find(country_code);
  return found == countries_.end() ? CleanText(country_code) : found->second;
}

}  // namespace kesu_server
