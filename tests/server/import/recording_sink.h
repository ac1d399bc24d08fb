#ifndef TESTS_SERVER_IMPORT_RECORDING_SINK_H_
#define TESTS_SERVER_IMPORT_RECORDING_SINK_H_

#include <cstdio>
#include <string>
#include <vector>

#include "server/import/record.h"
#include "server/storage/radio_name.h"

namespace kesu_test {

inline std::string NameOf(const kesu_server::StationKey& key) {
  if (key.is_access_point()) return kesu_server::MacAddressOf(key);
  const kesu_server::CellIdentity cell = kesu_server::CellOf(key);
  return std::string(kesu_server::NameOf(cell.radio)) + ' ' + std::to_string(cell.mcc) + ' ' +
         std::to_string(cell.mnc) + ' ' + std::to_string(cell.area_code) + ' ' +
         std::to_string(cell.cell_id);
}

inline std::string Text(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", number);
  return text;
}

/// Writes down in words what it takes.
class RecordingSink final : public kesu_server::RecordSink {
 public:
  void TakeStation(const kesu_server::StationRecord& station) override {
    text += NameOf(station.key) + At(station.position) + " r" + Text(station.radius_m) + " n" +
            std::to_string(station.samples) + " t" + std::to_string(station.updated) + " w" +
            Text(station.weight) + '\n';
  }
  void TakePlace(std::int64_t id, const kesu_server::Place& place) override {
    text += std::to_string(id) + At(place.position) + ' ' + place.name + '|' + place.region + '|' +
            place.country + '\n';
  }
  void TakeAddress(std::int64_t, const kesu_server::Address& address) override {
    text += At(address.position).substr(1) + ' ' + address.number + '|' + address.street + '|' +
            address.unit + '|' + address.city + '|' + address.district + '|' + address.region +
            '|' + address.postcode + '|' + address.country + '\n';
  }
  void TakeLessons(const std::vector<kesu_server::Lesson>& lessons) override {
    for (const kesu_server::Lesson& lesson : lessons) {
      text += NameOf(lesson.station) + At(lesson.position) + " a" + Text(lesson.accuracy_m) +
              " age" + Text(lesson.age_s) + " v" + Text(lesson.speed_m_per_s) + ' ' +
              Text(lesson.received_dbm.value_or(0)) + " t" + std::to_string(lesson.time) + '\n';
    }
  }

  std::string text;

 private:
  static std::string At(const kesu_server::LatLng& position) {
    return ' ' + Text(position.latitude) + ',' + Text(position.longitude);
  }
};

}  // namespace kesu_test

#endif  // TESTS_SERVER_IMPORT_RECORDING_SINK_H_
