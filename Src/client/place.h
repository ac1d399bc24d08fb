#ifndef CLIENT_PLACE_H_
#define CLIENT_PLACE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kesu {

/// Degrees, WGS 84, north and east positive.
struct Point {
  double latitude = 0;
  double longitude = 0;
};

struct BoundingBox {
  Point south_west = {};
  Point north_east = {};
};

/// A piece of an address, such as its street or its country.
struct AddressComponent {
  std::string name = {};
  /// As the service numbers them; absent where it did not say.
  std::optional<std::int64_t> kind = {};
  /// "en", say.
  std::string language = {};
};

struct Address {
  /// As one would write them on an envelope.
  std::vector<std::string> lines = {};
  std::vector<AddressComponent> components = {};
};

/// Something on the map that has a name.
struct Feature {
  std::string name = {};
  /// As the service numbers them; absent where it did not say.
  std::optional<int> kind = {};
  std::optional<Point> centre = {};
  std::optional<BoundingBox> bounding_box = {};
  Address address = {};
};

/// Where a device is.
struct Location {
  double latitude = 0;
  double longitude = 0;
  /// The radius, in metres, that the service is confident of.
  std::optional<double> accuracy_m = {};
  /// What the service says of the surroundings, mostly nothing.
  std::vector<Feature> features = {};
  /// The answer to an earlier, equal question, see Options::cache_lifetime.
  bool is_from_cache = false;
};

/// What is at a point.
struct Place {
  /// The longest name of the features, in characters; the first of those as long.
  std::string name = {};
  std::vector<Feature> features = {};
  /// The answer to an earlier, equal question, see Options::cache_lifetime.
  bool is_from_cache = false;
};

}  // namespace kesu

#endif  // CLIENT_PLACE_H_
