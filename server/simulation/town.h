#ifndef SERVER_SIMULATION_TOWN_H_
#define SERVER_SIMULATION_TOWN_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "server/geo/radio_model.h"
#include "server/geo/tangent_plane.h"
#include "server/simulation/random.h"
#include "server/storage/station.h"

/// An invented town in which every position and every signal is known: to measure how well
/// positions are estimated.
namespace kesu_server {

struct TownPlan {
  std::uint64_t seed = 1;
  double side_m = 2400;
  double access_points_per_km2 = 500;
  /// Of as many cells each; all of a site have its position.
  int cell_sites = 12;
  int cells_of_a_site = 3;
  /// Of the access points, as parts of one: listed elsewhere in the town, and in another one.
  double moved_within = 0;
  double moved_away = 0;
  /// How far off the listed constants are, in dB.
  double reference_error_db = 2;
  /// The part of the shadowing's variance that is common to all that is received at a spot.
  double shared_shadowing = 0;
};

struct Transmitter {
  bool is_cell = false;
  PlanePoint position;
  RadioModel model;
  /// As the server's data have it.
  Station listed;
};

struct Reception {
  std::size_t transmitter = 0;
  int dbm = 0;
};

class Town {
 public:
  explicit Town(const TownPlan& plan);

  const std::vector<Transmitter>& transmitters() const { return transmitters_; }
  LatLng Position(const PlanePoint& point) const { return plane_.Position(point); }

  /// Anywhere, but not so near to the edge that there are no stations on one side.
  PlanePoint Indoors(Random* random) const;
  /// On one of the streets, which cross every 120 metres.
  PlanePoint OnStreet(Random* random) const;

  /// What a device receives there: each that is strong enough, but one in ten, which it misses.
  std::vector<Reception> Observe(const PlanePoint& point, Random* random) const;

 private:
  void AddAccessPoint(Random* random);
  void AddCellSite(Random* random);
  void Add(const Transmitter& transmitter, Random* random);
  PlanePoint AnyPoint(double margin_m, Random* random) const;

  TownPlan plan_;
  TangentPlane plane_;
  std::vector<Transmitter> transmitters_;
};

}  // namespace kesu_server

#endif  // SERVER_SIMULATION_TOWN_H_
