#ifndef TESTS_SOAK_SUBJECT_H_
#define TESTS_SOAK_SUBJECT_H_

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "kesu/services/location_service.h"
#include "kesu/services/reverse_geocode_service.h"

using Row = std::vector<std::string>;

/// The rows of a table of the data that kesu-server has built in.
inline std::vector<Row> ReadTable(const char* name) {
  std::vector<Row> rows;
  std::ifstream table(std::string(KESU_DATA "/") + name);
  for (std::string line; std::getline(table, line);) {
    if (line.starts_with('#')) continue;
    std::istringstream fields(line);
    rows.emplace_back();
    for (std::string field; std::getline(fields, field, '\t');) rows.back().push_back(field);
  }
  if (rows.empty()) std::abort();
  return rows;
}

/// A service under test, and the right answer to what it asks.
class Subject {
 public:
  virtual ~Subject() = default;
  /// Another question for another number. Not while an invocation runs.
  virtual void SetQuestion(int number, bool send_immediately) = 0;
  virtual common_base::RequestInterface* NewInvocation() = 0;
  /// Whether the last question was answered rightly or, with `wants_nothing`, with nothing.
  virtual bool IsAnswerRight(bool wants_nothing) const = 0;
  virtual int last_status() const = 0;
};

/// Asks where it is that one cell is heard, which is where that stands. A platform key, which comes
/// back, tells each lookup from all others.
class LocationSubject final : public Subject {
 public:
  void SetQuestion(int number, bool send_immediately) override {
    static const std::vector<Row> cells = ReadTable("cells.tsv");
    cell_ = &cells[number % cells.size()];
    key_ = ("soak-" + std::to_string(number)).c_str();
    lbs::GLocRequest* request = service_.request();
    request->Clear();
    request->mutable_platformprofile()->set_platform_key(key_);
    lbs::GLocRequestElement* element = request->add_requestelements();
    lbs::GCell* cell = element->mutable_cellularprofile()->mutable_primarycell();
    cell->set_mcc(std::stoi((*cell_)[0]));
    cell->set_mnc(std::stoi((*cell_)[1]));
    cell->set_area_code(std::stoi((*cell_)[2]));
    cell->set_cell_id(std::stoi((*cell_)[3]));
    locations_before_ = Locations().length();
    service_.set_send_immediately(send_immediately);
  }
  common_base::RequestInterface* NewInvocation() override { return service_.NewInvocation(); }
  bool IsAnswerRight(bool wants_nothing) const override {
    const auto locations = Locations();
    if (wants_nothing) return locations.length() == locations_before_;
    common_base::GString key;
    service_.GetPlatformKey(&key);
    if (key != key_ || locations.length() != locations_before_ + 1) return false;
    const lbs::GLatLng& position = locations[locations_before_]->latlng();
    constexpr double kToleranceDegrees = 2e-6;
    return std::abs(position.latitude_e7() / 1e7 - std::stod((*cell_)[4])) < kToleranceDegrees &&
           std::abs(position.longitude_e7() / 1e7 - std::stod((*cell_)[5])) < kToleranceDegrees;
  }
  int last_status() const override { return service_.last_status(); }

 private:
  common_base::GVector<lbs::GLocation*> Locations() const {
    common_base::GVector<lbs::GLocation*> locations;
    service_.GetGLocations(&locations);
    return locations;
  }

  common_kesu::LocationService service_{common_kesu::kLBSServiceUri, new lbs::GLocRequest};
  const Row* cell_ = nullptr;
  common_base::GString key_;
  /// They add up.
  int locations_before_ = 0;
};

/// Asks for the name of a place at its very position.
class GeocodeSubject final : public Subject {
 public:
  void SetQuestion(int number, bool send_immediately) override {
    static const std::vector<Row> places = ReadTable("places.tsv");
    const Row& place = places[number % places.size()];
    service_.InitializeLbsService(std::stof(place[0]), std::stof(place[1]), 0, "", "", "", "", "");
    answer_ = ("nearest listed place: " + place[4]).c_str();
    service_.set_send_immediately(send_immediately);
  }
  common_base::RequestInterface* NewInvocation() override { return service_.NewInvocation(); }
  bool IsAnswerRight(bool wants_nothing) const override {
    if (wants_nothing) return !service_.revgeocode_request_succeeded();
    return service_.revgeocode_request_succeeded() &&
           service_.GetLongestReverseGeocode()->StartsWith(answer_);
  }
  int last_status() const override { return service_.last_status(); }

 private:
  common_kesu::ReverseGeocodeService service_{0, 0, nullptr};
  common_base::GString answer_;
};

#endif  // TESTS_SOAK_SUBJECT_H_
