#include "kesu/common/base/vector.h"

#include <algorithm>
#include <string>
#include <utility>

#include <doctest/doctest.h>

#include "kesu/common/base/gstring.h"
#include "kesu/common/base/memory.h"

#include "support/bytes.h"

using namespace common_base;
using kesu_test::Bytes;
using kesu_test::TextOf;
using kesu_test::ToHex;

TEST_CASE("memory primitives") {
  CHECK(GAlloc(0) == nullptr);
  CHECK(GHeapBlockSize(nullptr) == 0);
  void* block = GReallocf(nullptr, 10);
  CHECK(GHeapBlockSize(block) >= 10);
  GMemset(block, 0xAB, 10);
  block = GReallocf(block, 5000);
  CHECK(static_cast<unsigned char*>(block)[9] == 0xAB);
  CHECK(GReallocf(block, 0) == nullptr);
  GFree(nullptr);
}

TEST_CASE("AdjustLength: growing, shrinking and freeing") {
  struct {
    const char* name;
    int capacity, length, new_length, new_capacity;
  } const kCases[] = {
      {"half the capacity cuts", 8, 8, 4, 4},
      {"above half keeps", 8, 8, 5, 8},
      {"half of an odd capacity rounds down", 9, 9, 4, 4},
      {"above half of an odd capacity", 9, 9, 5, 9},
      {"shrinking when already below half", 8, 2, 1, 1},
      {"growing below half keeps", 8, 2, 3, 8},
      {"the same length below half keeps", 8, 2, 2, 8},
      {"emptying", 8, 8, 0, 0},
      {"emptying what has only a reserve", 8, 0, 0, 0},
      {"filling up", 4, 3, 4, 4},
      {"doubling", 4, 4, 5, 8},
      {"more than double", 4, 4, 10, 10},
      {"nothing to nothing", 0, 0, 0, 0},
  };
  for (const auto& c : kCases) {
    INFO(std::string(c.name));
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

TEST_CASE("appending one by one doubles the buffer") {
  GVector<int> vector;
  for (const int capacity : {1, 2, 4, 4, 8, 8, 8, 8, 16}) {
    vector.Append(vector.length());
    CHECK(vector.capacity() == capacity);
  }
  for (int i = 0; i < vector.length(); ++i) CHECK(vector[i] == i);
}

TEST_CASE("SetReserve never cuts elements off") {
  ByteVector vector = Bytes("01 02 03 04 05");
  vector.SetReserve(3);
  CHECK(vector.capacity() == 5);
  vector.SetReserve(9);
  CHECK(vector.capacity() == 9);
  CHECK(ToHex(vector) == "01 02 03 04 05");
}

TEST_CASE("AdjustLengthAndZero clears the new elements only") {
  ByteVector vector = Bytes("FF FF FF FF FF FF FF FF");
  vector.AdjustLength(5);
  vector.AdjustLengthAndZero(8);
  CHECK(ToHex(vector) == "FF FF FF FF FF 00 00 00");
  vector.AdjustLengthAndZero(6);
  CHECK(ToHex(vector) == "FF FF FF FF FF 00");
}

TEST_CASE("InsertItems") {
  struct {
    const char *before, *inserted;
    int position;
    const char* after;
  } const kCases[] = {
      {"", "AA BB", 0, "AA BB"},
      {"", "", 0, ""},
      {"01 02 03", "AA BB", 0, "AA BB 01 02 03"},
      {"01 02 03", "AA BB", 1, "01 AA BB 02 03"},
      {"01 02 03", "AA BB", 3, "01 02 03 AA BB"},
      {"01 02 03", "", 2, "01 02 03"},
      {"01 02", "A1 A2 A3 A4 A5 A6 A7 A8 A9", 1, "01 A1 A2 A3 A4 A5 A6 A7 A8 A9 02"},
  };
  for (const auto& c : kCases) {
    ByteVector vector = Bytes(c.before);
    const ByteVector inserted = Bytes(c.inserted);
    const unsigned char* gap =
        vector.InsertItems(vector.begin() + c.position, inserted.length(), inserted.data());
    CHECK(ToHex(vector) == c.after);
    CHECK(gap == vector.data() + c.position);
  }
  ByteVector vector = Bytes("01 02");
  unsigned char* gap = vector.InsertItems(vector.begin() + 1, 3, nullptr);
  GMemset(gap, 0xEE, 3);
  CHECK(ToHex(vector) == "01 EE EE EE 02");
}

TEST_CASE("EraseItems") {
  struct {
    int position, count;
    const char* after;
    int capacity;
  } const kCases[] = {
      {0, 1, "02 03 04 05 06 07 08", 8}, {7, 1, "01 02 03 04 05 06 07", 8},
      {2, 3, "01 02 06 07 08", 8},       {0, 4, "05 06 07 08", 4},
      {4, 4, "01 02 03 04", 4},          {0, 8, "", 0},
  };
  for (const auto& c : kCases) {
    ByteVector vector = Bytes("01 02 03 04 05 06 07 08");
    const unsigned char* next = vector.EraseItems(vector.begin() + c.position, c.count);
    CHECK(ToHex(vector) == c.after);
    CHECK(vector.capacity() == c.capacity);
    CHECK(next == (vector.data() == nullptr ? nullptr : vector.data() + c.position));
  }
  ByteVector vector = Bytes("01 02");
  CHECK(vector.EraseItems(vector.begin(), 0) == nullptr);
  CHECK(ToHex(vector) == "01 02");
}

TEST_CASE("construction tags") {
  const ByteVector source = Bytes("01 02 03");
  const ByteVector copy(kAllocateAndCopy, source.data(), 3);
  CHECK(copy.data() != source.data());
  CHECK(copy.capacity() == 3);
  CHECK(copy.BitwiseEquals(source));
  const ByteVector room(kAllocateAndCopy, nullptr, 5);
  CHECK(room.capacity() == 5);
  CHECK(room.length() == 5);

  auto* block = static_cast<unsigned char*>(GAlloc(4));
  GMemset(block, 7, 4);
  const ByteVector owner(TakeOwnershipOfExistingBuffer{}, block, 4);
  CHECK(owner.owns_buffer());
  CHECK(ToHex(owner) == "07 07 07 07");

  const ByteView view(source);
  CHECK(view.capacity() == 0);
  CHECK(view.data() == source.data());
  ByteView emptied(view);
  emptied.AdjustLength(0);
  CHECK(emptied.length() == 0);
  CHECK(ToHex(source) == "01 02 03");
}

TEST_CASE("BitwiseEquals and swap") {
  CHECK(Bytes("01 02").BitwiseEquals(Bytes("01 02")));
  CHECK_FALSE(Bytes("01 02").BitwiseEquals(Bytes("01 03")));
  CHECK_FALSE(Bytes("01 02").BitwiseEquals(Bytes("01 02 03")));
  CHECK(ByteVector().BitwiseEquals(ByteView()));
  ByteVector a = Bytes("01 02 03");
  ByteVector b = Bytes("04");
  a.swap(&b);
  CHECK(ToHex(a) == "04");
  CHECK(ToHex(b) == "01 02 03");
  CHECK(a.element_size() == 1);
}

TEST_CASE("elements with a destructor are destroyed exactly once") {
  const GString text("held");
  const auto holders = [&text] { return text->reference_count() - 1; };
  {
    GVector<GString> vector;
    for (int i = 0; i < 5; ++i) vector.Append(text);
    CHECK(holders() == 5);
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
    CHECK(holders() == 4);
    moved = std::move(copies);
    CHECK(holders() == 2);
    moved.Clear();
    CHECK(holders() == 0);
  }
  CHECK(holders() == 0);
}

TEST_CASE("a view destroys none of the elements it refers to") {
  GString strings[] = {"one", "two"};
  {
    const GVectorRef<GString> view(kReferenceExistingBuffer, strings, 2);
    const GVectorRef<const GString> copy(view);
    GVector<GString> emptied(kReferenceExistingBuffer, strings, 2);
    emptied.Clear();
  }
  for (const GString& string : strings) CHECK(string->reference_count() == 1);
  CHECK(TextOf(strings[1]) == "two");
}
