#ifndef KESU_TOOL_OBSERVATION_H_
#define KESU_TOOL_OBSERVATION_H_

#include <optional>
#include <string>
#include <vector>

/// What a device observes, as the command line tells it.
namespace kesu_tool {

inline constexpr double kLargestLatitude = 90;
inline constexpr double kLargestLongitude = 180;
/// Of the coordinates in messages.
inline constexpr double kUnitsPerDegree = 1e7;

/// Degrees, WGS 84.
struct Point {
  double latitude = 0;
  double longitude = 0;
};

struct Cell {
  int mcc = 0;
  int mnc = 0;
  int area_code = 0;
  int cell_id = 0;
  std::optional<int> signal_strength_dbm;
};

struct AccessPoint {
  /// "00-00-5E-00-53-01"
  std::string mac_address;
  std::optional<int> signal_strength_dbm;
};

struct Observation {
  bool IsEmpty() const { return cells.empty() && access_points.empty() && !gps_fix; }

  /// The serving cell first, then its neighbours.
  std::vector<Cell> cells;
  std::vector<AccessPoint> access_points;
  std::optional<Point> gps_fix;
};

}  // namespace kesu_tool

#endif  // KESU_TOOL_OBSERVATION_H_
