#ifndef SERVER_STORAGE_KEY_MATCH_H_
#define SERVER_STORAGE_KEY_MATCH_H_

#include <cstdint>

#include "server/storage/station_key.h"

namespace kesu_server {

/// The rows that may be the one that a key stands for: of a cell, those of all radio types.
struct IdRange {
  std::int64_t first = 0;
  std::int64_t last = 0;
};

inline IdRange RangeOf(const StationKey& key) {
  constexpr std::int64_t kRadioTypes = (1 << kRadioTypeBits) - 1;
  if (key.is_access_point() || key.id == kWholeArea) return {key.id, key.id};
  return {key.id & ~kRadioTypes, key.id | kRadioTypes};
}

/// How well a row with the id `found` of that range answers for the key; 0 means not at all. Of
/// those that answer alike the one of the lowest id counts.
inline constexpr int kExactMatch = 3;
inline int MatchOf(const StationKey& key, std::int64_t found) {
  if (found == key.id) return kExactMatch;
  if (RadioTypeOf({key.area, found}) == RadioType::kUnknown) return 2;
  return RadioTypeOf(key) == RadioType::kUnknown ? 1 : 0;
}

}  // namespace kesu_server

#endif  // SERVER_STORAGE_KEY_MATCH_H_
