#ifndef SERVER_IMPORT_RECORD_H_
#define SERVER_IMPORT_RECORD_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "server/learn/lesson.h"
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

/// Takes records in, those of the kinds that it overrides.
class RecordSink {
 public:
  virtual ~RecordSink() = default;
  virtual void TakeStation(const StationRecord& /*station*/) {}
  virtual void TakePlace(std::int64_t /*id*/, const Place& /*place*/) {}
  virtual void TakeAddress(std::int64_t /*id*/, const Address& /*address*/) {}
  /// What one report teaches.
  virtual void TakeLessons(const std::vector<Lesson>& /*lessons*/) {}
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
  /// Of a line that holds many records, or the end of a file: why some were not taken, and how
  /// many.
  virtual std::map<std::string_view, std::int64_t> TakeFaults() { return {}; }
};

}  // namespace kesu_server

#endif  // SERVER_IMPORT_RECORD_H_
