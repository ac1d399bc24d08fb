#include <climits>
#include <thread>
#include <utility>

#include <doctest/doctest.h>

#include "kesu/common/base/global_static_pointer.h"
#include "kesu/common/base/hash_map_sizing.h"
#include "kesu/common/base/scoped_ptr.h"

using namespace common_base;

TEST_CASE("ScopedPtr deletes its object once") {
  static int deleted = 0;
  struct Base {
    virtual ~Base() = default;
  };
  struct Counted : Base {
    ~Counted() override { ++deleted; }
  };
  deleted = 0;
  {
    ScopedPtr<Base> a(new Counted);
    ScopedPtr<Base> b(std::move(a));
    CHECK_FALSE(a);
    b.reset(b.get());
    CHECK(deleted == 0);
    b.reset(new Counted);
    CHECK(deleted == 1);
    a = std::move(b);
    Base* released = a.release();
    CHECK(deleted == 1);
    delete released;
    a.reset(new Counted);
  }
  CHECK(deleted == 3);
}

TEST_CASE("GlobalStaticPointer gives each thread its own table") {
  void** slot = GlobalStaticPointer(5);
  CHECK(*slot == nullptr);
  *slot = &slot;
  CHECK(GlobalStaticPointer(5) == slot);
  CHECK(GlobalStaticPointer(6) == slot + 1);
  CHECK(*GlobalStaticPointer(kGlobalStaticPointerCount - 1) == nullptr);
  void** other_slot = nullptr;
  bool was_fresh = false;
  std::thread([&] {
    other_slot = GlobalStaticPointer(5);
    was_fresh = *other_slot == nullptr;
    *other_slot = &was_fresh;
  }).join();
  CHECK(other_slot != slot);
  CHECK(was_fresh);
  CHECK(*slot == &slot);
  *slot = nullptr;
}

TEST_CASE("hash table sizes") {
  // The wanted number of buckets is (5 * items + 3) / 4, rounded down.
  struct {
    int items, buckets;
  } const kCases[] = {
      {-1, 11},       {0, 11},
      {8, 11},        {9, 23},
      {18, 23},       {19, 37},
      {2864, 3581},   {2865, 3583},
      {3000, 3751},   {3001, 3753},
      {3002, 3753},   {52428, 65535},
      {52429, 65537}, {1000000, 1250001},
  };
  for (const auto& c : kCases) {
    CAPTURE(c.items);
    CHECK(GHashMapFindNumBuckets(c.items) == c.buckets);
  }
  CHECK(GHashMapMaxItemsForBuckets(11) == 9);
  CHECK(GHashMapMaxItemsForBuckets(3581) == 2865);
  CHECK(GHashMapMaxItemsForBuckets(INT_MAX) == 1717986918);
  for (int items = 1; items < 5000; ++items) {
    REQUIRE(GHashMapMaxItemsForBuckets(GHashMapFindNumBuckets(items)) >= items);
  }
  CHECK(GHashMapNextIndexImpl(9, 11) == 10);
  CHECK(GHashMapNextIndexImpl(10, 11) == 0);
}
