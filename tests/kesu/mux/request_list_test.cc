#include "kesu/mux/request_list.h"

#include <string>

#include <doctest/doctest.h>

#include "kesu/mux/mux_fixture.h"

using common_kesu::Request;
using common_kesu::RequestList;
using kesu_test::TestRequest;

TEST_CASE("cancelling in a list of requests") {
  TestRequest a(nullptr), b(nullptr);
  struct Row {
    /// "a" and "b" append, "A" cancels all of a, "1" the first a, "0" takes the first entry, "."
    /// takes all.
    std::string steps;
    std::string entries;
  };
  const Row rows[] = {
      {"", ""},
      {"ab", "ab"},
      {"A", ""},
      {"abA", "-b"},
      {"aba1", "-ba"},
      {"aba11", "-b-"},
      {"aba111", "-b-"},
      {"abaA", "-b-"},
      {"abaA1", "-b-"},
      {"aAa", "-a"},
      {"aAaA", "--"},
      {"a1a1", "--"},
      {"aba1a1", "-b-a"},
      {"aA.baA", "b-"},
      {"ba1.a1", "-"},
      {"aba01", "-b-"},
      {"bA0a", "-a"},
      {"bA0aA", "--"},
      {"ab1b0a11", "-bb-"},
  };
  for (const Row& row : rows) {
    CAPTURE(row.steps);
    RequestList list;
    for (const char step : row.steps) {
      if (step == 'a') list.Append(&a);
      if (step == 'b') list.Append(&b);
      if (step == 'A') list.CancelAll(&a);
      if (step == '1') list.CancelFirst(&a);
      if (step == '0') list.Take(0);
      if (step == '.') list.TakeAll();
    }
    std::string entries;
    for (const Request* entry : list.entries()) {
      entries += entry == nullptr ? '-' : entry == &a ? 'a' : 'b';
    }
    CHECK(entries == row.entries);
    CHECK(list.length() == static_cast<int>(row.entries.size()));
    CHECK(list.IsEmpty() == row.entries.empty());
  }
}
