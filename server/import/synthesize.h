#ifndef SERVER_IMPORT_SYNTHESIZE_H_
#define SERVER_IMPORT_SYNTHESIZE_H_

#include <cstdint>
#include <string>

#include "server/import/data_store.h"

namespace kesu_server {

/// More access points than this have no addresses left.
inline constexpr std::int64_t kMostInventedAccessPoints = std::int64_t{1} << 23;
inline constexpr std::int64_t kMostInventedStations = 1'000'000'000;

/// Puts invented stations into the database, around its places or, if it has none, the built-in
/// ones, and marks it. Three of four are access points, with addresses from 00-00-5e-80-00-00 on,
/// which no maker has; the others are LTE cells of the test network 001-01. The same seed and
/// places make the same stations.
bool Synthesize(std::int64_t stations, std::uint64_t seed, const DataStore& store,
                std::string* error);

}  // namespace kesu_server

#endif  // SERVER_IMPORT_SYNTHESIZE_H_
