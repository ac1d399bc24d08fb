#include "kesu/common/base/vector.h"

#include <string>
#include <thread>
#include <type_traits>
#include <utility>

#include <doctest/doctest.h>

#include "kesu/common/base/global_static_pointer.h"
#include "kesu/common/base/hash_map_sizing.h"
#include "kesu/common/base/memory.h"
#include "kesu/common/base/scoped_ptr.h"

#include "support/bytes.h"

using namespace common_base;
using namespace kesu_test;

// What elements with a destructor would not survive cannot be written.
template <typename Vector>
concept CanErase = requires(Vector vector) {
  vector.EraseItems(vector.begin(), 1);
};
static_assert(CanErase<GVector<GString>> && !CanErase<GVectorRef<GString>>);
static_assert(!std::is_convertible_v<GVector<GString>*, GVectorImpl*>);
static_assert(!std::is_constructible_v<GVector<GString>, ReferenceExistingBuffer, GString*, int>);

TEST_CASE("AdjustLengthAndZero: growing, shrinking and freeing; SetReserve never cuts") {
  struct {
    int reserve, length, new_length, new_capacity;
  } const kCases[] = {
      {8, 8, 4, 4}, {8, 8, 5, 8}, {9, 9, 4, 4}, {9, 9, 5, 9}, {8, 2, 1, 1},   {8, 2, 3, 8},
      {8, 8, 0, 0}, {8, 0, 0, 0}, {0, 0, 1, 1}, {4, 4, 5, 8}, {4, 4, 10, 10}, {3, 5, 5, 5},
  };
  for (const auto& c : kCases) {
    ByteVector vector;
    for (int i = 0; i < c.length; ++i) vector.Append(7);
    vector.SetReserve(c.reserve);
    vector.AdjustLengthAndZero(c.new_length);
    CHECK(vector.capacity() == c.new_capacity);
    CHECK(vector.length() == c.new_length);
    CHECK((vector.data() == nullptr) == (c.new_capacity == 0));
    for (int i = 0; i < c.new_length; ++i) CHECK(vector[i] == (i < c.length ? 7 : 0));
  }
}

TEST_CASE("EraseItems, then InsertItems: both return the address at which they worked") {
  struct {
    const char* before;
    int position, erased;
    const char *inserted, *after;
  } const kCases[] = {
      {"", 0, 0, "AA BB", "AA BB"},
      {"01 02", 1, 0, "A1 A2 A3 A4 A5 A6 A7", "01 A1 A2 A3 A4 A5 A6 A7 02"},
      {"01 02 03 04 05 06", 1, 2, "AA", "01 AA 04 05 06"},
      {"01 02 03", 0, 3, "", ""},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.after));
    const ByteVector source = Bytes(c.before);
    ByteVector owner(kAllocateAndCopy, source.data(), source.length());
    // A view works on a copy of its own.
    ByteVector view(kReferenceExistingBuffer, source.data(), source.length());
    for (ByteVector* vector : {&owner, &view}) {
      unsigned char* at = vector->begin() + c.position;
      CHECK(vector->EraseItems(at, 0) == nullptr);
      if (c.erased > 0) at = vector->EraseItems(at, c.erased);
      CHECK(at == (vector->IsEmpty() ? nullptr : vector->data() + c.position));
      const ByteVector inserted = Bytes(c.inserted);
      at = vector->InsertItems(at, inserted.length(), inserted.data());
      CHECK(at == vector->data() + c.position);
      CHECK(ToHex(*vector) == c.after);
    }
    CHECK(ToHex(source) == c.before);
  }
}

TEST_CASE("views, copies, buffers taken over, swap and BitwiseEquals") {
  const ByteVector source = Bytes("01 02 03");
  CHECK_FALSE(source.BitwiseEquals(Bytes("01 02 04")));
  CHECK_FALSE(source.BitwiseEquals(Bytes("01 02 03 04")));
  ByteVector owner(kTakeOwnershipOfExistingBuffer, static_cast<unsigned char*>(GAlloc(4)), 4);
  struct {
    void (*change)(ByteVector*);
    const char* after;
  } const kChanges[] = {
      {[](ByteVector* view) { view->AdjustLengthAndZero(5); }, "01 02 03 00 00"},
      {[](ByteVector* view) { view->AdjustLength(2), (*view)[1] = 7; }, "01 07"},
      {[](ByteVector* view) { view->SetReserve(1), (*view)[0] = 7; }, "07 02 03"},
      {[](ByteVector* view) { view->Clear(), view->Append(7); }, "07"},
      {[](ByteVector* view) { view->AppendAll(*view), view->AppendAll({*view}); },
       "01 02 03 01 02 03 01 02 03 01 02 03"},
  };
  for (const auto& c : kChanges) {
    ByteVector view(kReferenceExistingBuffer, source.data(), source.length());
    c.change(&view);
    owner.swap(&view);
    CHECK(ToHex(owner) == c.after);
    CHECK(ToHex(source) == "01 02 03");
  }
  CHECK(ByteView(kReferenceExistingBuffer, source.data(), -1).IsEmpty());
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
    vector.AppendAll({kReferenceExistingBuffer, vector.begin() + 1, 1});
    GVector<GString> moved;
    moved = GVector<GString>(std::move(vector));
    CHECK(holders() == 3);
    ScopedPtr<GString> owner(new GString(text));
    ScopedPtr<GString> other(std::move(owner));
    other.reset(other.get());
    owner = std::move(other);
    CHECK(holders() == 4);
    owner.reset();
    CHECK(holders() == 3);
  }
  CHECK(holders() == 0);
}

TEST_CASE("GlobalStaticPointer gives each thread its own table") {
  void** slot = GlobalStaticPointer(5);
  CHECK(*slot == nullptr);
  *slot = &slot;
  CHECK(GlobalStaticPointer(6) == slot + 1);
  std::thread([] { CHECK(*GlobalStaticPointer(5) == nullptr); }).join();
  CHECK(*GlobalStaticPointer(5) == &slot);
}

TEST_CASE("hash table sizes") {
  for (const auto& [items, buckets] : {std::pair{0, 11},
                                       {8, 11},
                                       {9, 23},
                                       {18, 23},
                                       {19, 37},
                                       {2864, 3581},
                                       {2865, 3583},
                                       {3002, 3753},
                                       {52429, 65537}}) {
    CHECK(GHashMapFindNumBuckets(items) == buckets);
  }
  CHECK(GHashMapMaxItemsForBuckets(11) == 9);
  CHECK(GHashMapMaxItemsForBuckets(2147483647) == 1717986918);
  for (const int index : {0, 9, 10}) CHECK(GHashMapNextIndexImpl(index, 11) == (index + 1) % 11);
}
