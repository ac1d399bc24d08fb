#ifndef KESU_COMMON_BASE_HASH_MAP_SIZING_H_
#define KESU_COMMON_BASE_HASH_MAP_SIZING_H_

#pragma GCC visibility push(hidden)
namespace common_base {

/// Sizes of an open-addressing hash table with linear probing, four fifths full at most.

/// The number of buckets for `items` items: a prime as far as the table of primes reaches, an odd
/// number beyond.
int GHashMapFindNumBuckets(int items);

/// The most items that `buckets` buckets hold.
int GHashMapMaxItemsForBuckets(int buckets);

/// The bucket probed after bucket `index`.
int GHashMapNextIndexImpl(int index, int buckets);

}  // namespace common_base
#pragma GCC visibility pop

#endif  // KESU_COMMON_BASE_HASH_MAP_SIZING_H_
