#ifndef SERVER_LEARN_LESSON_H_
#define SERVER_LEARN_LESSON_H_

#include <cstdint>
#include <optional>
#include <string_view>

#include "server/geo/geodesy.h"
#include "server/storage/station_key.h"

namespace kesu_server {

/// One station, received where a device knew its position.
struct Lesson {
  StationKey station;
  LatLng position;
  /// Of the position, in metres.
  double accuracy_m = 0;
  /// How much time lies between the fix and the reception.
  double age_s = 0;
  double speed_m_per_s = 0;
  std::optional<double> received_dbm = {};
  /// When that was, in seconds since 1970; 0 where it is not known, which means now.
  std::int64_t time = 0;
};

/// How much a lesson counts: the product of four factors, for the accuracy of the fix, the age, the
/// speed and the signal. 0 when it says nothing; never more than 10.
double WeightOf(const Lesson& lesson);

/// Whether it may be learned at all: not when the owner says no by a name that ends in "_nomap", in
/// whatever case, or hides the name, and not when the address is a passing one. `name` is none when
/// it was not said. Cells may always be.
bool MayBeLearned(const StationKey& station, std::optional<std::string_view> name);

}  // namespace kesu_server

#endif  // SERVER_LEARN_LESSON_H_
