#ifndef CLIENT_OBSERVATION_H_
#define CLIENT_OBSERVATION_H_

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kesu {

/// A cell of a mobile network, as it is received.
struct Cell {
  /// Mobile country code and mobile network code: 0 to 999.
  int mcc = 0;
  int mnc = 0;
  /// Location or tracking area code.
  int area = 0;
  int cell = 0;
  std::optional<int> signal_dbm = {};
  /// Since it was received.
  std::optional<std::chrono::milliseconds> age = {};
  std::optional<int> timing_advance = {};
  std::optional<int> scrambling_code = {};
};

/// A wifi access point, as it is received.
struct AccessPoint {
  /// Six bytes in hexadecimal, with or without hyphens or colons between them.
  std::string mac_address = {};
  std::optional<int> signal_dbm = {};
  /// Its network's name: empty where it hides it, absent where it is not known. It only decides
  /// whether the access point may be told; the name itself is never sent.
  std::optional<std::string> name = {};
  /// Since it was received.
  std::optional<std::chrono::milliseconds> age = {};
  std::optional<int> channel = {};
};

/// A position that the device has found by itself, in degrees, WGS 84.
struct Fix {
  double latitude = 0;
  double longitude = 0;
  std::optional<double> accuracy_m = {};
  /// Since it was taken.
  std::optional<std::chrono::milliseconds> age = {};
};

/// What a device observes where it is.
struct Observation {
  /// The serving cell first, then its neighbours.
  std::vector<Cell> cells = {};
  std::vector<AccessPoint> access_points = {};
  std::optional<Fix> fix = {};
};

}  // namespace kesu

#endif  // CLIENT_OBSERVATION_H_
