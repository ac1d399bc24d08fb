#include "kesu/common/base/hash_map_sizing.h"

#include <algorithm>
#include <iterator>

namespace common_base {
namespace {

constexpr int kPrimes[] = {11,   23,   37,   47,   59,   71,   83,   97,   107,  127,  149,
                           167,  191,  211,  233,  257,  283,  313,  347,  383,  431,  479,
                           541,  599,  659,  727,  809,  907,  1009, 1117, 1229, 1361, 1499,
                           1657, 1823, 2011, 2213, 2437, 2683, 2953, 3251, 3581};
static_assert(std::size(kPrimes) == 42);

constexpr int kPrimeSearchLimit = 65536;

}  // namespace

int GHashMapFindNumBuckets(int items) {
  const int wanted = static_cast<int>((5LL * items + 3) / 4);
  if (wanted >= kPrimeSearchLimit) return wanted | 1;
  const int* prime = std::lower_bound(std::begin(kPrimes), std::end(kPrimes), wanted);
  return prime == std::end(kPrimes) ? wanted | 1 : *prime;
}

int GHashMapMaxItemsForBuckets(int buckets) {
  return static_cast<int>((buckets + 1LL) * 4 / 5);
}

int GHashMapNextIndexImpl(int index, int buckets) {
  return index + 1 == buckets ? 0 : index + 1;
}

}  // namespace common_base
