#ifndef SERVER_IMPORT_RECORD_H_
#define SERVER_IMPORT_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/storage/place.h"
#include "server/storage/station.h"

/// What the lines of the files hold that can be imported.
namespace kesu_server {

/// A station at a position, as a file has it. Several of one station become one.
struct StationRecord {
  StationKey key;
  LatLng position;
  double radius_m = 0;
  std::int64_t samples = 1;
  std::int64_t updated = 0;
  /// How much it counts among others of the same station.
  double weight = 1;
};

/// A station that a device received; the signal, and its age in milliseconds, where they are known.
struct SeenStation {
  StationKey key;
  std::optional<double> received_dbm;
  std::int64_t age_ms = 0;
};

/// Where a device was, and what it received there.
struct Report {
  /// Seconds since 1970; 0 where it is not known.
  std::int64_t time = 0;
  LatLng position;
  std::optional<double> accuracy_m;
  std::int64_t position_age_ms = 0;
  std::optional<double> speed_m_per_s;
  std::vector<SeenStation> stations;
};

/// Takes records in, those of the kinds that it overrides.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual void TakeStation(const StationRecord& /*station*/) {}
  virtual void TakePlace(std::int64_t /*id*/, const Place& /*place*/) {}
  virtual void TakeAddress(std::int64_t /*id*/, const Address& /*address*/) {}
  virtual void TakeReport(const Report& /*report*/) {}
};

/// What became of a line: `reason` is empty when its records were taken, or it has none. Else it
/// says why it was rejected, or passed over for not being of what is imported. It is a constant, to
/// be counted by.
struct LineResult {
  std::string_view reason;
  bool is_passed_over = false;
};

constexpr LineResult Rejected(std::string_view reason) {
  return {reason, false};
}
constexpr LineResult PassedOver(std::string_view reason) {
  return {reason, true};
}

/// A format of files, line by line.
class LineFormat {
 public:
  virtual ~LineFormat() = default;
  /// The longest line that makes sense.
  virtual std::size_t max_line_bytes() const { return std::size_t{1} << 16; }
  /// Called for each line of a file that is not empty.
  virtual LineResult ReadLine(std::string_view line, RecordSink* sink) = 0;
  /// Called at the end of each file.
  virtual LineResult ReadEnd(RecordSink* /*sink*/) { return {}; }
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_RECORD_H_
