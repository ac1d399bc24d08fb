#include "kesu/common/base/vector.h"

#include <algorithm>
#include <thread>
#include <utility>

#include <doctest/doctest.h>

#include "kesu/common/base/global_static_pointer.h"
#include "kesu/common/base/gstring.h"
#include "kesu/common/base/hash_map_sizing.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::ToHex;

TEST_CASE("AdjustLength: growing, shrinking and freeing") {
  struct {
    int capacity, length, new_length, new_capacity;
  } const kCases[] = {
      {8, 8, 4, 4}, {8, 8, 5, 8}, {9, 9, 4, 4}, {9, 9, 5, 9},     {8, 2, 1, 1}, {8, 2, 3, 8},
      {8, 2, 2, 8}, {8, 8, 0, 0}, {8, 0, 0, 0}, {4, 3, 4, 4},     {4, 4, 5, 8}, {4, 4, 10, 10},
      {0, 0, 0, 0}, {0, 0, 1, 1}, {1, 1, 2, 2}, {64, 3, 65, 128},
  };
  for (const auto& c : kCases) {
    GVector<short> vector;
    vector.SetReserve(c.capacity);
    vector.AdjustLength(c.length);
    for (int i = 0; i < c.length; ++i) vector[i] = static_cast<short>(i + 1);
    vector.AdjustLength(c.new_length);
    CHECK(vector.capacity() == c.new_capacity);
    CHECK(vector.length() == c.new_length);
    CHECK((vector.data() == nullptr) == (c.new_capacity == 0));
    for (int i = 0; i < std::min(c.length, c.new_length); ++i) CHECK(vector[i] == i + 1);
  }
}

TEST_CASE("Append doubles, SetReserve never cuts, AdjustLengthAndZero clears what is new") {
  CHECK(GAlloc(0) == nullptr);
  CHECK(GReallocf(GAlloc(1), 0) == nullptr);
  ByteVector vector;
  for (const int capacity : {1, 2, 4, 4, 8}) {
    vector.Append(0xFF);
    CHECK(vector.capacity() == capacity);
  }
  vector.SetReserve(9);
  CHECK(vector.capacity() == 9);
  vector.SetReserve(3);
  CHECK(vector.capacity() == 5);
  vector.AdjustLengthAndZero(8);
  CHECK(ToHex(vector) == "FF FF FF FF FF 00 00 00");
  vector.AdjustLengthAndZero(6);
  CHECK(ToHex(vector) == "FF FF FF FF FF 00");
}

TEST_CASE("InsertItems and EraseItems") {
  struct {
    const char *before, *inserted;
    int position;
    const char* after;
  } const kInserts[] = {
      {"", "AA BB", 0, "AA BB"},
      {"", "", 0, ""},
      {"01 02 03", "AA BB", 3, "01 02 03 AA BB"},
      {"01 02", "A1 A2 A3 A4 A5 A6 A7 A8 A9", 1, "01 A1 A2 A3 A4 A5 A6 A7 A8 A9 02"},
  };
  for (const auto& c : kInserts) {
    ByteVector vector = Bytes(c.before);
    const ByteVector inserted = Bytes(c.inserted);
    const unsigned char* gap =
        vector.InsertItems(vector.begin() + c.position, inserted.length(), inserted.data());
    CHECK(ToHex(vector) == c.after);
    CHECK(gap == vector.data() + c.position);
  }
  ByteVector gapped = Bytes("01 02");
  GMemset(gapped.InsertItems(gapped.begin() + 1, 3, nullptr), 0xEE, 3);
  CHECK(ToHex(gapped) == "01 EE EE EE 02");

  struct {
    int position, count;
    const char* after;
    int capacity;
  } const kErasures[] = {
      {0, 1, "02 03 04 05 06 07 08", 8},
      {2, 3, "01 02 06 07 08", 8},
      {4, 4, "01 02 03 04", 4},
      {0, 8, "", 0},
      {3, 0, "01 02 03 04 05 06 07 08", 8},
  };
  for (const auto& c : kErasures) {
    ByteVector vector = Bytes("01 02 03 04 05 06 07 08");
    const unsigned char* next = vector.EraseItems(vector.begin() + c.position, c.count);
    CHECK(ToHex(vector) == c.after);
    CHECK(vector.capacity() == c.capacity);
    const bool is_null = c.count == 0 || vector.data() == nullptr;
    CHECK(next == (is_null ? nullptr : vector.data() + c.position));
  }
}

TEST_CASE("construction tags, swap and BitwiseEquals") {
  const ByteVector source = Bytes("01 02 03");
  ByteVector copy(kAllocateAndCopy, source.data(), 3);
  CHECK(copy.data() != source.data());
  CHECK(copy.capacity() == 3);
  CHECK(copy.BitwiseEquals(source));
  CHECK_FALSE(copy.BitwiseEquals(Bytes("01 02 04")));
  CHECK_FALSE(copy.BitwiseEquals(Bytes("01 02 03 04")));

  auto* block = static_cast<unsigned char*>(GAlloc(4));
  GMemset(block, 7, 4);
  ByteVector owner(TakeOwnershipOfExistingBuffer{}, block, 4);
  owner.swap(&copy);
  CHECK(ToHex(copy) == "07 07 07 07");
  CHECK(copy.capacity() == 4);
  CHECK(ToHex(owner) == "01 02 03");

  ByteView view(source);
  CHECK(view.capacity() == 0);
  view.AdjustLength(0);
  CHECK(view.length() == 0);
  CHECK(ToHex(source) == "01 02 03");
}

TEST_CASE("elements with a destructor are destroyed exactly once, those of a view never") {
  const GString text("held");
  const auto holders = [&text] { return text->reference_count() - 1; };
  {
    GVector<GString> vector;
    for (int i = 0; i < 5; ++i) vector.Append(text);
    vector.EraseItems(vector.begin() + 1, 2);
    CHECK(holders() == 3);
    vector.AdjustLength(2);
    CHECK(holders() == 2);
    vector.AdjustLength(4);
    CHECK(vector[3]->IsEmpty());
    GVector<GString> copies;
    copies.AppendAll(vector);
    CHECK(holders() == 4);
    GVector<GString> moved(std::move(vector));
    moved = std::move(copies);
    CHECK(holders() == 2);
    const GVectorRef<GString> view(kReferenceExistingBuffer, moved.data(), moved.length());
    const GVectorRef<const GString> second_view(view);
    GVector<GString> emptied(kReferenceExistingBuffer, moved.data(), moved.length());
    emptied.Clear();
    CHECK(holders() == 2);
  }
  CHECK(holders() == 0);
}

TEST_CASE("ScopedPtr deletes its object once") {
  static int deleted = 0;
  struct Counted {
    ~Counted() { ++deleted; }
  };
  {
    ScopedPtr<Counted> a(new Counted);
    ScopedPtr<Counted> b(std::move(a));
    CHECK_FALSE(a);
    b.reset(b.get());
    CHECK(deleted == 0);
    b.reset(new Counted);
    CHECK(deleted == 1);
    a = std::move(b);
    delete a.release();
    a.reset(new Counted);
  }
  CHECK(deleted == 3);
}

TEST_CASE("GlobalStaticPointer gives each thread its own table") {
  void** slot = GlobalStaticPointer(5);
  CHECK(*slot == nullptr);
  *slot = &slot;
  CHECK(GlobalStaticPointer(6) == slot + 1);
  CHECK(*GlobalStaticPointer(kGlobalStaticPointerCount - 1) == nullptr);
  std::thread([slot] {
    CHECK(GlobalStaticPointer(5) != slot);
    CHECK(*GlobalStaticPointer(5) == nullptr);
  }).join();
  CHECK(*GlobalStaticPointer(5) == &slot);
  *slot = nullptr;
}

TEST_CASE("hash table sizes") {
  // The wanted number of buckets is (5 * items + 3) / 4, rounded down.
  struct {
    int items, buckets;
  } const kCases[] = {
      {-1, 11},     {0, 11},      {8, 11},      {9, 23},        {2864, 3581},
      {2865, 3583}, {3000, 3751}, {3002, 3753}, {52429, 65537},
  };
  for (const auto& c : kCases) CHECK(GHashMapFindNumBuckets(c.items) == c.buckets);
  CHECK(GHashMapMaxItemsForBuckets(11) == 9);
  CHECK(GHashMapMaxItemsForBuckets(3581) == 2865);
  CHECK(GHashMapMaxItemsForBuckets(2147483647) == 1717986918);
  CHECK(GHashMapNextIndexImpl(10, 11) == 0);
}
