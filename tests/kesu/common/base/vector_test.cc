#include "kesu/common/base/vector.h"

#include <string>
#include <thread>
#include <tuple>
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
  const int kCases[][4] = {
      {8, 8, 4, 4}, {8, 8, 5, 8}, {9, 9, 4, 4}, {9, 9, 5, 9}, {8, 2, 1, 1},   {8, 2, 3, 8},
      {8, 8, 0, 0}, {8, 0, 0, 0}, {0, 0, 1, 1}, {4, 4, 5, 8}, {4, 4, 10, 10}, {3, 5, 5, 5},
  };
  for (const auto& [reserve, length, new_length, new_capacity] : kCases) {
    ByteVector vector;
    for (int i = 0; i < length; ++i) vector.Append(7);
    vector.SetReserve(reserve);
    vector.AdjustLengthAndZero(new_length);
    CHECK(std::pair(vector.length(), vector.capacity()) == std::pair(new_length, new_capacity));
    CHECK((vector.data() == nullptr) == (new_capacity == 0));
    for (int i = 0; i < new_length; ++i) CHECK(vector[i] == (i < length ? 7 : 0));
  }
}

TEST_CASE("changes of a vector, which a view makes to a copy; the addresses they return") {
  static const ByteVector more = Bytes("A1 A2 A3 A4 A5 A6 A7");
  const std::tuple<const char*, void (*)(ByteVector*), const char*> kCases[] = {
      {"", [](auto* v) { v->InsertItems(v->end(), 2, more.data()); }, "A1 A2"},
      {"", [](auto* v) { CHECK(v->InsertItems(nullptr, 0, nullptr) == nullptr); }, ""},
      {"01 02", [](auto* v) { *v->InsertItems(v->begin() + 1, 1, nullptr) = 7; }, "01 07 02"},
      {"01 02", [](auto* v) { *v->InsertItems(v->begin() + 1, 7, more.data()) = 7; },
       "01 07 A2 A3 A4 A5 A6 A7 02"},
      {"01 02 03 04 05", [](auto* v) { *v->EraseItems(v->begin() + 1, 2) = 7; }, "01 07 05"},
      {"01 02", [](auto* v) { CHECK(v->EraseItems(v->begin(), 0) == nullptr); }, "01 02"},
      {"01 02", [](auto* v) { CHECK(v->EraseItems(v->begin(), 2) == nullptr); }, ""},
      {"01 02 03", [](auto* v) { v->AdjustLength(2), v->data()[1] = 7; }, "01 07"},
      {"01 02 03", [](auto* v) { v->SetReserve(1), v->data()[0] = 7; }, "07 02 03"},
      {"01 02 03", [](auto* v) { v->Clear(), v->Append(7); }, "07"},
      {"01 02", [](auto* v) { v->AppendAll(*v), v->AppendAll(*v); }, "01 02 01 02 01 02 01 02"},
  };
  for (const auto& [before, change, after] : kCases) {
    const ByteVector source = Bytes(before);
    ByteVector owner(kAllocateAndCopy, source.data(), source.length());
    ByteVector view(kReferenceExistingBuffer, source.data(), source.length());
    for (ByteVector* vector : {&owner, &view}) {
      CHECK(vector->BitwiseEquals(source));
      change(vector);
      CHECK(ToHex(*vector) == after);
    }
    CHECK(ToHex(source) == before);
  }
  CHECK_FALSE(more.BitwiseEquals(Bytes("A1 A2 A3 A4 A5 A6 A8")));
  CHECK_FALSE(more.BitwiseEquals(Bytes("A1 A2 A3 A4 A5 A6 A7 A8")));
  CHECK(ByteView(kReferenceExistingBuffer, more.data(), -1).IsEmpty());
}

TEST_CASE("elements with a destructor are destroyed exactly once, those of a view never") {
  const GString text("held");
  const auto holders = [&text] { return text->reference_count() - 1; };
  {
    GVector<GString> vector;
    for (int i = 0; i < 5; ++i) vector.Append(text);
    vector.EraseItems(vector.begin() + 1, 2);
    vector.AdjustLength(2);
    CHECK(holders() == 2);
    vector.AdjustLength(4);
    CHECK(vector[3]->IsEmpty());
    vector.AppendAll({kReferenceExistingBuffer, vector.begin() + 1, 1});
    GVector<GString> moved;
    moved = GVector<GString>(std::move(vector));
    auto* block = static_cast<GString*>(GAlloc(sizeof(GString)));
    const GVector<GString> taken(kTakeOwnershipOfExistingBuffer, new (block) GString(text), 1);
    ScopedPtr<GString> owner(new GString(text));
    ScopedPtr<GString> other(std::move(owner));
    other.reset(other.get());
    owner = std::move(other);
    CHECK(holders() == 5);
    owner.reset();
    CHECK(holders() == 4);
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
  const int kItemsAndBuckets[][2] = {{8, 11},      {9, 23},      {18, 23},      {2864, 3581},
                                     {2865, 3583}, {3002, 3753}, {52429, 65537}};
  for (const auto& [items, buckets] : kItemsAndBuckets)
    CHECK(GHashMapFindNumBuckets(items) == buckets);
  CHECK(GHashMapMaxItemsForBuckets(11) == 9);
  CHECK(GHashMapMaxItemsForBuckets(2147483647) == 1717986918);
  for (const int index : {0, 9, 10}) CHECK(GHashMapNextIndexImpl(index, 11) == (index + 1) % 11);
}
