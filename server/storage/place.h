#ifndef SERVER_STORAGE_PLACE_H_
#define SERVER_STORAGE_PLACE_H_

#include <string>

#include "server/geo/geodesy.h"

namespace kesu_server {

/// A town or another place that has a name. The region is empty where it is not known.
struct Place {
  LatLng position;
  std::string name;
  std::string region;
  std::string country;
};

struct NearbyPlace {
  Place place;
  double distance_m = 0;
};

/// A street address. What is not known of it is empty.
struct Address {
  LatLng position;
  std::string number;
  std::string street;
  std::string unit;
  std::string city;
  std::string district;
  std::string region;
  std::string postcode;
  std::string country;
};

struct NearbyAddress {
  Address address;
  double distance_m = 0;
};

}  // namespace kesu_server

#endif  // SERVER_STORAGE_PLACE_H_
